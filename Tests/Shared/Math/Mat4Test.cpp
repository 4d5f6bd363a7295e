#include "Mat4.h"

#include "Quaternion.h"

#include "MathExpect.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>

using Brindel::GaussianBlur::Mat4;
using Brindel::GaussianBlur::Quaternion;
using Brindel::GaussianBlur::Vec3;
using Brindel::GaussianBlur::Vec4;
using MathExpect::eachWithin;
using MathExpect::is;

namespace {

constexpr double kPi = 3.14159265358979323846;

::testing::AssertionResult sameMatrix(Mat4 const& a, Mat4 const& b, double tol = 1e-12) {
    for (int i = 0; i < 16; ++i) {
        if (!eachWithin({a.m[i]}, {b.m[i]}, tol)) {
            return ::testing::AssertionFailure()
                   << "element " << i << ": " << a.m[i] << " against " << b.m[i];
        }
    }
    return ::testing::AssertionSuccess();
}

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

} // namespace

TEST(Mat4Test, ConstructorFlagsReadArraysAndVectorRowsTheOtherWayRound) {
    double v[16];
    for (int i = 0; i < 16; ++i) {
        v[i] = i + 1.0;
    }
    Mat4 byColumns(v, true), byRows(v, false);
    EXPECT_TRUE(is(byColumns.getRow(0), 1, 5, 9, 13, 0.0));
    EXPECT_TRUE(is(byRows.getRow(0), 1, 2, 3, 4, 0.0));
    EXPECT_EQ(byRows.m[1], 5.0);
    Mat4 set(false);
    set.set(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    EXPECT_TRUE(sameMatrix(set, byRows, 0.0));
    Vec4 a(1, 2, 3, 4), b(5, 6, 7, 8), c(9, 10, 11, 12), d(13, 14, 15, 16);
    EXPECT_TRUE(sameMatrix(Mat4(a, b, c, d, true), byRows, 0.0));
    EXPECT_TRUE(sameMatrix(Mat4(a, b, c, d, false), byColumns, 0.0));
    byRows.transpose(byRows);
    EXPECT_TRUE(sameMatrix(byRows, byColumns, 0.0));
}

TEST(Mat4Test, EqualityPassesAtTheBoundAndFailsOnNaN) {
    Mat4 zero(false), nudged(false);
    nudged.m[7] = 1e-12;
    EXPECT_TRUE(zero == nudged);
    nudged.m[7] = 2e-12;
    EXPECT_FALSE(zero == nudged);
    nudged.m[7] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(zero == nudged);
}

TEST(Mat4Test, ProductsApplyTheRightOperandFirstAndMayAlias) {
    Mat4 a = general(), b;
    b.setRotation(0.7, 1.0, -2.0, 0.5);
    b.translate(3.0, -1.0, 2.0);
    Vec4 v(0.5, -1.5, 2.0, 1.0);
    Mat4 ab = a * b;
    Vec4 bv = b * v;
    Vec4 expected = a * bv;
    EXPECT_TRUE(is(ab * v, expected.x, expected.y, expected.z, expected.w));

    Mat4 first = a, second = b, self = a;
    Mat4::mult(first, b, first);
    Mat4::mult(a, second, second);
    self.mult(self);
    EXPECT_TRUE(sameMatrix(first, ab, 0.0));
    EXPECT_TRUE(sameMatrix(second, ab, 0.0));
    EXPECT_TRUE(sameMatrix(self, a * a, 0.0));
    EXPECT_TRUE(sameMatrix(a + a, a * 2.0, 0.0)); // m[15] included
}

TEST(Mat4Test, InverseHasNoToleranceAndFailsOnlyOnAnExactZeroDeterminant) {
    Mat4 a = general(), inv(false);
    ASSERT_TRUE(a.getInverse(inv));
    EXPECT_TRUE(sameMatrix(a * inv, Mat4::identity()));
    EXPECT_TRUE(sameMatrix(inv * a, Mat4::identity()));
    Mat4 self = a;
    ASSERT_TRUE(self.getInverse(self));
    EXPECT_TRUE(sameMatrix(self, inv, 0.0));

    Mat4 b;
    b.setRotation(1.1, 0.3, 0.2, -0.9);
    b.scale(2.0, 3.0, -0.5);
    EXPECT_NEAR(b.determinant(), -3.0, 1e-12);
    EXPECT_NEAR((a * b).determinant(), a.determinant() * b.determinant(), 1e-12);

    // A determinant of 1e-30 is still inverted.
    Mat4 tiny;
    tiny.setScale(1e-10, 1e-10, 1e-10);
    ASSERT_TRUE(tiny.getInverse(inv));
    EXPECT_NEAR(inv.m[0], 1e10, 1e-3);
    // Two equal rows: singular, and the argument becomes the identity.
    Mat4 out = general();
    EXPECT_FALSE(Mat4(1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 9, 1, 2, 3, false).getInverse(out));
    EXPECT_TRUE(sameMatrix(out, Mat4::identity(), 0.0));
}

TEST(Mat4Test, RotationsAreRightHandedAndNormaliseTheirAxis) {
    Mat4 r, axis;
    r.setXRotation(kPi / 2);
    EXPECT_TRUE(is(r * Vec3(0, 1, 0), 0, 0, 1));
    r.setYRotation(kPi / 2);
    EXPECT_TRUE(is(r * Vec3(1, 0, 0), 0, 0, -1));
    r.setZRotation(0.8);
    axis.setRotation(0.8, 0.0, 0.0, 7.0);
    EXPECT_TRUE(sameMatrix(axis, r));
    // A zero axis is normalised to +x.
    r.setXRotation(0.8);
    axis.setRotation(0.8, 0.0, 0.0, 0.0);
    EXPECT_TRUE(sameMatrix(axis, r));
    // The fourth row takes no part in the largest scale.
    EXPECT_EQ(columns({1, 2, 2, 100, 0, 0, 4, 100, 1, 1, 1, 100, 0, 0, 0, 1}).getMaxScaleOnAxis(),
              4.0);
}

TEST(Mat4Test, ProjectionsMapTheirVolumeOntoTheUnitCube) {
    Mat4 p;
    p.setPerspective(kPi / 2, 2.0, 1.0, 3.0);
    EXPECT_TRUE(is(p.multAndProject(Vec3(-2, -1, -1)), -1, -1, -1));
    EXPECT_TRUE(is(p.multAndProject(Vec3(6, 3, -3)), 1, 1, 1));
    p.setFrustum(-1.0, 3.0, -2.0, 4.0, 1.0, 5.0);
    EXPECT_TRUE(is(p.multAndProject(Vec3(-1, -2, -1)), -1, -1, -1));
    EXPECT_TRUE(is(p.multAndProject(Vec3(15, 20, -5)), 1, 1, 1));
    // Top comes before bottom here.
    p.setOrtho(-1.0, 3.0, 4.0, -2.0, 1.0, 5.0);
    EXPECT_TRUE(is(p * Vec3(-1, -2, -1), -1, -1, -1));
    EXPECT_TRUE(is(p * Vec3(3, 4, -5), 1, 1, 1));
    // Host layer to GL: origin at the centre, y up, z out.
    Mat4 host = Mat4::getAEToGLConversionMatrix(1920.0, 1080.0);
    EXPECT_TRUE(is(host * Vec3(1920, 1080, 7), 960, -540, -7));
}

TEST(Mat4Test, LookAtWritesOnlyTheUpperLeftBlock) {
    Mat4 m;
    m.setLookAt(Vec3(0, 0, 5), Vec3(0, 0, 0), Vec3(0, 1, 0));
    EXPECT_TRUE(sameMatrix(m, Mat4::identity(), 0.0));
    m.setLookAt(1, 2, 3, 1, 2, 3, 0, 1, 0);
    EXPECT_TRUE(sameMatrix(m, Mat4::identity(), 0.0));
    // Looking along up: z is nudged by the single-precision 0.0001 and kept.
    m.setLookAt(Vec3(0, 5, 0), Vec3(0, 0, 0), Vec3(0, 1, 0));
    EXPECT_TRUE(eachWithin({m.m[8], m.m[9], m.m[10]}, {0.0, 1.0, 9.999999747378752e-05}, 0.0));
    EXPECT_TRUE(eachWithin({m.m[0], m.m[5], m.m[6]}, {1.0, 9.999999747378752e-05, -1.0}));

    Mat4 kept = columns({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    kept.setLookAt(Vec3(3, 4, 5), Vec3(-1, 0, 2), Vec3(0, 0, 1));
    EXPECT_TRUE(eachWithin(
        {kept.m[3], kept.m[7], kept.m[11], kept.m[12], kept.m[13], kept.m[14], kept.m[15]},
        {4, 8, 12, 13, 14, 15, 16}, 0.0));
    // z points from the target to the eye, and the axes are right-handed.
    Vec3 x(kept.m[0], kept.m[1], kept.m[2]), y(kept.m[4], kept.m[5], kept.m[6]);
    Vec3 toEye(4, 4, 3);
    toEye.normalize();
    EXPECT_TRUE(is(x.cross(y), toEye.x, toEye.y, toEye.z));
    EXPECT_TRUE(is(Vec3(kept.m[8], kept.m[9], kept.m[10]), toEye.x, toEye.y, toEye.z));
}

TEST(Mat4Test, ChainOperationsActBeforeWhatTheMatrixHolds) {
    Mat4 m;
    m.setScale(2.0, 2.0, 2.0);
    m.position(Vec3(10.0, 20.0, 30.0));
    Mat4 moved = m, scaled = m;
    moved.translate(Vec4(1.0, 2.0, 3.0, 99.0));
    EXPECT_TRUE(eachWithin({moved.m[12], moved.m[13], moved.m[14]}, {12, 24, 36}, 0.0));
    scaled.scale(Vec3(1.0, 2.0, 3.0));
    EXPECT_TRUE(eachWithin({scaled.m[5], scaled.m[10], scaled.m[12]}, {4, 6, 10}, 0.0));
    // A chain operation equals multiplying by the matrix its builder makes.
    Mat4 g = general(), r, chained = general();
    r.setRotation(0.4, Vec3(1, 1, 0));
    chained.rotate(0.4, Vec4(1, 1, 0, 5));
    EXPECT_TRUE(sameMatrix(chained, g * r));
    // Products with a Vec3 drop w without dividing by it; multAndProject divides.
    Mat4 w = columns({2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 20, 30, 2});
    EXPECT_TRUE(is(w * Vec3(1, 2, 3), 12, 24, 36, 0.0));
    EXPECT_TRUE(is(w.multWithoutTranslate(Vec3(1, 2, 3)), 2, 4, 6, 0.0));
    EXPECT_TRUE(is(w.multAndProject(Vec3(1, 2, 3)), 6, 12, 18, 0.0));
}

TEST(Mat4Test, ComposeMatchesTheLayerTransformWithAndWithoutAnchor) {
    Quaternion quarterZ(0.0, 0.0, std::sin(kPi / 4), std::cos(kPi / 4));
    Mat4 m, plain;
    m.compose(Vec3(1, 1, 1), Vec3(10, 20, 30), quarterZ, Vec3(2, 3, 4));
    EXPECT_TRUE(sameMatrix(m, columns({0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 13, 18, 26, 1})));
    EXPECT_TRUE(is(m * Vec3(1, 1, 1), 10, 20, 30));
    plain.compose(Vec3(10, 20, 30), quarterZ, Vec3(2, 3, 4));
    EXPECT_TRUE(sameMatrix(plain, columns({0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1})));
}

TEST(Mat4Test, DecomposeInvertsComposeForPositiveScales) {
    struct Case {
        Vec3 anchor, position;
        Quaternion rotation;
        Vec3 scale;
    };
    Case cases[] = {
        {Vec3(1, 1, 1), Vec3(10, 20, 30), rotation(kPi / 2, 0, 0, 1), Vec3(2, 3, 4)},
        {Vec3(-4, 0.5, 2), Vec3(0.1, -7, 3), rotation(2.5, 1, -1, 0.3), Vec3(0.5, 1, 7)},
        {Vec3(100, 50, 0), Vec3(960, 540, -20), rotation(3.0, 0.2, 0.9, -0.1), Vec3(1, 1, 1)},
    };
    for (Case const& c : cases) {
        Mat4 m, plain, rebuilt;
        m.compose(c.anchor, c.position, c.rotation, c.scale);
        Vec3 p, s;
        Quaternion q(0, 0, 0, 0);
        m.decompose(c.anchor, p, q, s);
        EXPECT_TRUE(is(p, c.position.x, c.position.y, c.position.z, 1e-11));
        EXPECT_TRUE(is(s, c.scale.x, c.scale.y, c.scale.z));
        double sign = q.dot(c.rotation) < 0.0 ? -1.0 : 1.0; // q and -q are one rotation
        EXPECT_TRUE(is(q, c.rotation.x * sign, c.rotation.y * sign, c.rotation.z * sign,
                       c.rotation.w * sign));
        plain.compose(c.position, c.rotation, c.scale);
        plain.decompose(p, q, s);
        rebuilt.compose(p, q, s);
        EXPECT_TRUE(sameMatrix(rebuilt, plain, 1e-11));
    }
}

TEST(Mat4Test, DecomposePutsTheMirrorOnXAndSubstitutesZeroScales) {
    Vec3 p, s;
    Quaternion q;
    columns({-2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1}).decompose(p, q, s);
    EXPECT_TRUE(eachWithin({p.x, p.y, p.z, s.x, s.y, s.z}, {1, 2, 3, -2, 3, 4}, 0.0));
    EXPECT_TRUE(is(q, 0, 0, 0, 1));
    // Mirrored on y: the sign still goes to x, and the rotation takes the rest.
    Mat4 mirroredY = columns({2, 0, 0, 0, 0, -3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}), rebuilt;
    mirroredY.decompose(p, q, s);
    EXPECT_TRUE(is(s, -2, 3, 4, 0.0));
    rebuilt.compose(p, q, s);
    EXPECT_TRUE(sameMatrix(rebuilt, mirroredY));

    // A zero column: no sign change, 1e-06 instead, and an unnormalised rotation.
    columns({0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1}).decompose(p, q, s);
    EXPECT_TRUE(is(s, 1e-06, 3, 4, 0.0));
    EXPECT_TRUE(is(q, 0, 0, 0, std::sqrt(3.0) / 2));
    Mat4(false).decompose(p, q, s);
    EXPECT_TRUE(is(s, 1e-06, 1e-06, 1e-06, 0.0));
    EXPECT_TRUE(is(q, 0, 0, 0.5, 0));
    // A negative determinant with a zero x scale: -0 becomes +1e-06.
    Mat4 swapped = columns({0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0});
    ASSERT_LT(swapped.determinant(), 0.0);
    swapped.decompose(p, q, s);
    EXPECT_TRUE(eachWithin({s.x}, {1e-06}, 0.0));
}
