#include "MathExpect.h"

#include <algorithm>

using namespace MathExpect;

namespace {

constexpr double kPi = 3.14159265358979323846;

Mat4 columns(std::initializer_list<double> v) {
    double a[16];
    std::copy(v.begin(), v.end(), a);
    return Mat4(a, true);
}

// No special structure, bottom row included.
Mat4 general() {
    return columns({2, 0.5, -1, 0.25, 1, 3, 0.5, -0.5, -2, 1, 4, 0.125, 5, -6, 7, 1.5});
}

Quaternion rotation(double angle, double x, double y, double z) {
    Quaternion q;
    q.set(Vec3(x, y, z), angle);
    return q;
}

Parts identity() {
    return parts(Mat4::identity());
}

} // namespace

TEST(Mat4Test, ConstructorFlagsReadArraysAndVectorRowsTheOtherWayRound) {
    double v[16];
    for (int i = 0; i < 16; ++i) {
        v[i] = i + 1.0;
    }
    Mat4 byColumns(v, true), byRows(v, false);
    Vec4 a(1, 2, 3, 4), b(5, 6, 7, 8), c(9, 10, 11, 12), d(13, 14, 15, 16);
    expectRows({
        ROW(byColumns.getRow(0), 0.0, 1, 5, 9, 13),
        ROW(byRows.getRow(0), 0.0, 1, 2, 3, 4),
        ROW(byRows.m[1], 0.0, 5),
    });
    Parts rows = parts(byRows), cols = parts(byColumns);
    EXPECT_EQ(
        parts(after(Mat4(false),
                    [](Mat4& m) { m.set(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16); })),
        rows);
    EXPECT_EQ(parts(Mat4(a, b, c, d, true)), rows);
    EXPECT_EQ(parts(Mat4(a, b, c, d, false)), cols);
    EXPECT_EQ(parts(after(byRows, [](Mat4& m) { m.transpose(m); })), cols);
}

TEST(Mat4Test, ProductsApplyTheRightOperandFirstAndMayAlias) {
    Mat4 a = general(), b;
    b.setRotation(0.7, 1.0, -2.0, 0.5);
    b.translate(3.0, -1.0, 2.0);
    Vec4 v(0.5, -1.5, 2.0, 1.0);
    Mat4 ab = a * b;
    EXPECT_TRUE(within(parts(ab * v), parts(a * (b * v))));
    EXPECT_EQ(parts(after(a, [&b](Mat4& m) { Mat4::mult(m, b, m); })), parts(ab));
    EXPECT_EQ(parts(after(b, [&a](Mat4& m) { Mat4::mult(a, m, m); })), parts(ab));
    EXPECT_EQ(parts(after(a, [](Mat4& m) { m.mult(m); })), parts(a * a));
    EXPECT_EQ(parts(a + a), parts(a * 2.0)); // m[15] included
}

TEST(Mat4Test, InverseHasNoToleranceAndFailsOnlyOnAnExactZeroDeterminant) {
    Mat4 a = general(), inv(false), self = a, b, tiny, tinyInv, out = general();
    ASSERT_TRUE(a.getInverse(inv));
    ASSERT_TRUE(self.getInverse(self));
    b.setRotation(1.1, 0.3, 0.2, -0.9);
    b.scale(2.0, 3.0, -0.5);
    tiny.setScale(1e-10, 1e-10, 1e-10); // a determinant of 1e-30 is still inverted
    ASSERT_TRUE(tiny.getInverse(tinyInv));
    // Two equal rows: singular, and the argument becomes the identity.
    EXPECT_FALSE(Mat4(1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 9, 1, 2, 3, false).getInverse(out));
    expectRows({
        {"a * inv", parts(a * inv), identity(), 1e-12},
        {"inv * a", parts(inv * a), identity(), 1e-12},
        {"in place", parts(self), parts(inv), 0.0},
        {"singular", parts(out), identity(), 0.0},
        ROW(b.determinant(), 1e-12, -3.0),
        ROW((a * b).determinant(), 1e-12, a.determinant() * b.determinant()),
        ROW(tinyInv.m[0], 1e-3, 1e10),
    });
}

TEST(Mat4Test, BuildersAreRightHandedAndMapTheirVolumeOntoTheUnitCube) {
    Mat4 x, y, z, axis, zeroAxis, xAt, p, f, o;
    x.setXRotation(kPi / 2);
    y.setYRotation(kPi / 2);
    z.setZRotation(0.8);
    axis.setRotation(0.8, 0.0, 0.0, 7.0);     // the axis is normalised
    zeroAxis.setRotation(0.8, 0.0, 0.0, 0.0); // a zero axis is +x
    xAt.setXRotation(0.8);
    p.setPerspective(kPi / 2, 2.0, 1.0, 3.0);
    f.setFrustum(-1.0, 3.0, -2.0, 4.0, 1.0, 5.0);
    o.setOrtho(-1.0, 3.0, 4.0, -2.0, 1.0, 5.0); // top comes before bottom here
    expectRows({
        ROW(x * Vec3(0, 1, 0), 1e-12, 0, 0, 1),
        ROW(y * Vec3(1, 0, 0), 1e-12, 0, 0, -1),
        {"z axis", parts(axis), parts(z), 1e-12},
        {"zero axis", parts(zeroAxis), parts(xAt), 1e-12},
        // The fourth row takes no part in the largest scale.
        ROW(columns({1, 2, 2, 100, 0, 0, 4, 100, 1, 1, 1, 100, 0, 0, 0, 1}).getMaxScaleOnAxis(),
            0.0, 4),
        ROW(p.multAndProject(Vec3(-2, -1, -1)), 1e-12, -1, -1, -1),
        ROW(p.multAndProject(Vec3(6, 3, -3)), 1e-12, 1, 1, 1),
        ROW(f.multAndProject(Vec3(-1, -2, -1)), 1e-12, -1, -1, -1),
        ROW(f.multAndProject(Vec3(15, 20, -5)), 1e-12, 1, 1, 1),
        ROW(o * Vec3(-1, -2, -1), 1e-12, -1, -1, -1),
        ROW(o * Vec3(3, 4, -5), 1e-12, 1, 1, 1),
        // Host layer to GL: origin at the centre, y up, z out.
        ROW(Mat4::getAEToGLConversionMatrix(1920, 1080) * Vec3(1920, 1080, 7), 1e-12, 960, -540,
            -7),
    });
}

TEST(Mat4Test, LookAtWritesOnlyTheUpperLeftBlock) {
    Mat4 m, same, up;
    m.setLookAt(Vec3(0, 0, 5), Vec3(0, 0, 0), Vec3(0, 1, 0));
    same.setLookAt(1, 2, 3, 1, 2, 3, 0, 1, 0);
    // Looking along up: z is nudged by the single-precision 0.0001 and kept.
    up.setLookAt(Vec3(0, 5, 0), Vec3(0, 0, 0), Vec3(0, 1, 0));
    Mat4 kept = columns({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    kept.setLookAt(Vec3(3, 4, 5), Vec3(-1, 0, 2), Vec3(0, 0, 1));
    // z points from the target to the eye, and the axes are right-handed.
    Vec3 x(kept.m[0], kept.m[1], kept.m[2]), y(kept.m[4], kept.m[5], kept.m[6]);
    Vec3 toEye(4, 4, 3);
    toEye.normalize();
    expectRows({
        {"along -z", parts(m), identity(), 0.0},
        {"eye on target", parts(same), identity(), 0.0},
        ROW(Vec3(up.m[8], up.m[9], up.m[10]), 0.0, 0.0, 1.0, 9.999999747378752e-05),
        ROW(Vec3(up.m[0], up.m[5], up.m[6]), 1e-12, 1.0, 9.999999747378752e-05, -1.0),
        {"kept",
         {kept.m[3], kept.m[7], kept.m[11], kept.m[12], kept.m[13], kept.m[14], kept.m[15]},
         {4, 8, 12, 13, 14, 15, 16},
         0.0},
        ROW(x.cross(y), 1e-12, toEye.x, toEye.y, toEye.z),
        ROW(Vec3(kept.m[8], kept.m[9], kept.m[10]), 1e-12, toEye.x, toEye.y, toEye.z),
    });
}

TEST(Mat4Test, ChainOperationsActBeforeWhatTheMatrixHolds) {
    Mat4 m, r;
    m.setScale(2.0, 2.0, 2.0);
    m.position(Vec3(10.0, 20.0, 30.0));
    Mat4 moved = after(m, [](Mat4& n) { n.translate(Vec4(1.0, 2.0, 3.0, 99.0)); });
    Mat4 scaled = after(m, [](Mat4& n) { n.scale(Vec3(1.0, 2.0, 3.0)); });
    // A chain operation equals multiplying by the matrix its builder makes.
    r.setRotation(0.4, Vec3(1, 1, 0));
    Mat4 chained = after(general(), [](Mat4& n) { n.rotate(0.4, Vec4(1, 1, 0, 5)); });
    // Products with a Vec3 drop w without dividing by it; multAndProject divides.
    Mat4 w = columns({2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 20, 30, 2});
    expectRows({
        ROW(Vec3(moved.m[12], moved.m[13], moved.m[14]), 0.0, 12, 24, 36),
        ROW(Vec3(scaled.m[5], scaled.m[10], scaled.m[12]), 0.0, 4, 6, 10),
        {"rotate", parts(chained), parts(general() * r), 1e-12},
        ROW(w * Vec3(1, 2, 3), 0.0, 12, 24, 36),
        ROW(w.multWithoutTranslate(Vec3(1, 2, 3)), 0.0, 2, 4, 6),
        ROW(w.multAndProject(Vec3(1, 2, 3)), 0.0, 6, 12, 18),
    });
}

TEST(Mat4Test, ComposeAndDecomposeInvertEachOtherForPositiveScales) {
    // The layer transform, with and without anchor, against its matrix written out.
    Mat4 m, plain;
    m.compose(Vec3(1, 1, 1), Vec3(10, 20, 30), rotation(kPi / 2, 0, 0, 1), Vec3(2, 3, 4));
    plain.compose(Vec3(10, 20, 30), rotation(kPi / 2, 0, 0, 1), Vec3(2, 3, 4));
    expectRows({
        ROW(m, 1e-12, 0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 13, 18, 26, 1),
        ROW(plain, 1e-12, 0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1),
        ROW(m * Vec3(1, 1, 1), 1e-12, 10, 20, 30),
    });
    struct Case {
        Vec3 anchor, position;
        Quaternion rotation;
        Vec3 scale;
    };
    const Case cases[] = {
        {Vec3(1, 1, 1), Vec3(10, 20, 30), rotation(kPi / 2, 0, 0, 1), Vec3(2, 3, 4)},
        {Vec3(-4, 0.5, 2), Vec3(0.1, -7, 3), rotation(2.5, 1, -1, 0.3), Vec3(0.5, 1, 7)},
        {Vec3(100, 50, 0), Vec3(960, 540, -20), rotation(3.0, 0.2, 0.9, -0.1), Vec3(1, 1, 1)},
    };
    for (Case const& c : cases) {
        Mat4 withAnchor, rebuilt;
        withAnchor.compose(c.anchor, c.position, c.rotation, c.scale);
        Vec3 p, s;
        Quaternion q(0, 0, 0, 0);
        withAnchor.decompose(c.anchor, p, q, s);
        double sign = q.dot(c.rotation) < 0.0 ? -1.0 : 1.0; // q and -q are one rotation
        EXPECT_TRUE(within(parts(p), parts(c.position), 1e-11));
        EXPECT_TRUE(within(parts(s), parts(c.scale)));
        EXPECT_TRUE(within({q.x * sign, q.y * sign, q.z * sign, q.w * sign}, parts(c.rotation)));
        plain.compose(c.position, c.rotation, c.scale);
        plain.decompose(p, q, s);
        rebuilt.compose(p, q, s);
        EXPECT_TRUE(within(parts(rebuilt), parts(plain), 1e-11));
    }
}

TEST(Mat4Test, DecomposePutsTheMirrorOnXAndSubstitutesZeroScales) {
    struct Case {
        Mat4 m;
        Parts scale, rotation; // no rotation given: compose must rebuild m
    };
    const Case cases[] = {
        {columns({-2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1}), {-2, 3, 4}, {0, 0, 0, 1}},
        // Mirrored on y: the sign still goes to x, and the rotation takes the rest.
        {columns({2, 0, 0, 0, 0, -3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}), {-2, 3, 4}, {}},
        // A zero column: no sign change, 1e-06 instead, and an unnormalised rotation.
        {columns({0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1}),
         {1e-06, 3, 4},
         {0, 0, 0, std::sqrt(3.0) / 2}},
        {Mat4(false), {1e-06, 1e-06, 1e-06}, {0, 0, 0.5, 0}},
        // A negative determinant with a zero x scale: -0 becomes +1e-06.
        {columns({0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0}), {1e-06, 1, 1}, {}},
    };
    for (Case const& c : cases) {
        Vec3 p, s;
        Quaternion q;
        Mat4 m = c.m, rebuilt;
        m.decompose(p, q, s);
        EXPECT_TRUE(within(parts(s), c.scale, 0.0));
        if (!c.rotation.empty()) {
            EXPECT_TRUE(within(parts(q), c.rotation));
        } else if (c.scale[0] != 1e-06) {
            rebuilt.compose(p, q, s);
            EXPECT_TRUE(within(parts(rebuilt), parts(c.m)));
        }
    }
}
