#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
namespace {
Mat4 columns(std::initializer_list<double> v) { return Mat4(std::vector<double>(v).data(), true); }
Mat4 general() { return columns({2, 0.5, -1, 0.25, 1, 3, 0.5, -0.5, -2, 1, 4, 0.125, 5, -6, 7, 1.5}); } // no special structure
} // namespace

TEST(Mat4Test, LayoutProductsInverseAndBuildersAgreeWithEachOther) {
    Mat4 a = general(), b, inv(false), singular = general(), x, p, f, o, r, look;
    b.setRotation(0.7, 1.0, -2.0, 0.5), b.translate(3.0, -1.0, 2.0), b.scale(2.0, 3.0, -0.5);
    ASSERT_TRUE(a.getInverse(inv));
    EXPECT_FALSE(Mat4(1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 9, 1, 2, 3, false).getInverse(singular)); // two equal rows
    x.setXRotation(kPi / 2), r.setRotation(0.4, Vec3(1, 1, 0));
    p.setPerspective(kPi / 2, 2.0, 1.0, 3.0), f.setFrustum(-1.0, 3.0, -2.0, 4.0, 1.0, 5.0), o.setOrtho(-1.0, 3.0, 4.0, -2.0, 1.0, 5.0);
    look = columns({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}), look.setLookAt(Vec3(3, 4, 5), Vec3(-1, 0, 2), Vec3(0, 0, 1));
    Vec3 toEye = Vec3(4, 4, 3) / std::sqrt(41.0);
    Mat4 w = columns({2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 20, 30, 2});
    Vec4 v(0.5, -1.5, 2.0, 1.0);
    expectRows({
        ROW(general().getRow(0), 0.0, 2, 1, -2, 5),
        SAME(Mat4(general().getRow(0), general().getRow(1), general().getRow(2), general().getRow(3), true), general(), 0.0),
        SAME((a * b) * v, a * (b * v), 1e-12), // the right operand acts first
        SAME(after(a, [&b](Mat4& m) { Mat4::mult(m, b, m); }), a * b, 0.0),
        SAME(after(b, [&a](Mat4& m) { Mat4::mult(a, m, m); }), a * b, 0.0),
        SAME(a * inv, Mat4::identity(), 1e-12),
        SAME(singular, Mat4::identity(), 0.0), // a singular matrix leaves the identity
        ROW(b.determinant(), 1e-12, -3.0),
        ROW((a * b).determinant(), 1e-12, a.determinant() * b.determinant()),
        SAME(after(a, [](Mat4& m) { m.rotate(0.4, Vec4(1, 1, 0, 5)); }), a * r, 1e-12), // chains act first
        ROW(x * Vec3(0, 1, 0), 1e-12, 0, 0, 1),
        ROW(after(Mat4(), [](Mat4& m) { m.setRotation(0.8, 0, 0, 7); }) * Vec3(1, 0, 0), 1e-12, std::cos(0.8), std::sin(0.8), 0),
        ROW(p.multAndProject(Vec3(6, 3, -3)), 1e-12, 1, 1, 1),
        ROW(f.multAndProject(Vec3(15, 20, -5)), 1e-12, 1, 1, 1),
        ROW(o * Vec3(3, 4, -5), 1e-12, 1, 1, 1), // top comes before bottom
        ROW(Mat4::getAEToGLConversionMatrix(1920, 1080) * Vec3(1920, 1080, 7), 1e-12, 960, -540, -7),
        ROW(Vec3(look.m[8], look.m[9], look.m[10]), 1e-12, toEye.x, toEye.y, toEye.z),
        ROW(w * Vec3(1, 2, 3), 0.0, 12, 24, 36), // a Vec3 drops w without dividing
        ROW(w.multAndProject(Vec3(1, 2, 3)), 0.0, 6, 12, 18),
    });
}

TEST(Mat4Test, ComposeAndDecomposeInvertEachOtherAndPutTheMirrorOnX) {
    Mat4 m, mirrored = columns({2, 0, 0, 0, 0, -3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}), zero = columns({0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1}), rebuilt;
    Quaternion turn(0.3, -0.1, 0.5, 0.8), q, mq, zq;
    Vec3 p, s, mp, ms, zp, zs;
    turn.normalize();
    m.compose(Vec3(-4, 0.5, 2), Vec3(0.1, -7, 3), turn, Vec3(0.5, 1, 7)), m.decompose(Vec3(-4, 0.5, 2), p, q, s);
    mirrored.decompose(mp, mq, ms), rebuilt.compose(mp, mq, ms), zero.decompose(zp, zq, zs);
    expectRows({
        ROW(after(Mat4(), [](Mat4& n) { n.compose(Vec3(1, 1, 1), Vec3(10, 20, 30), Quaternion(Vec3(0, 0, 1), kPi / 2), Vec3(2, 3, 4)); }), 1e-12, 0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 13, 18, 26, 1),
        ROW(after(Mat4(), [](Mat4& n) { n.compose(Vec3(10, 20, 30), Quaternion(Vec3(0, 0, 1), kPi / 2), Vec3(2, 3, 4)); }), 1e-12, 0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1),
        ROW(p, 1e-11, 0.1, -7, 3), ROW(s, 1e-12, 0.5, 1, 7), SAME(q, turn, 1e-12),
        ROW(ms, 0.0, -2, 3, 4), SAME(rebuilt, mirrored, 1e-12), // a mirror on y still goes to x
        ROW(zs, 0.0, 1e-06, 3, 4), // a zero column: 1e-06 and no sign change
    });
}
// clang-format on
