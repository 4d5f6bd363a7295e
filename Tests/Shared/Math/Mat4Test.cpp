#include "Mat4.h"

#include "Quaternion.h"

#include "MathExpect.h"

#include <cmath>
#include <limits>

using Brindel::GaussianBlur::Mat4;
using Brindel::GaussianBlur::Quaternion;
using Brindel::GaussianBlur::Vec3;
using Brindel::GaussianBlur::Vec4;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kPi = 3.14159265358979323846;

::testing::AssertionResult sameMatrix(Mat4 const& a, Mat4 const& b, double tol = 1e-12) {
    double const* x = a.m;
    double const* y = b.m;
    return eachWithin({x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], x[8], x[9], x[10], x[11],
                       x[12], x[13], x[14], x[15]},
                      {y[0], y[1], y[2], y[3], y[4], y[5], y[6], y[7], y[8], y[9], y[10], y[11],
                       y[12], y[13], y[14], y[15]},
                      tol);
}

::testing::AssertionResult sameVec(Vec3 const& a, Vec3 const& b, double tol = 1e-12) {
    return eachWithin({a.x, a.y, a.z}, {b.x, b.y, b.z}, tol);
}

// A general matrix with no special structure, including the bottom row.
Mat4 general() {
    return Mat4(2.0, 0.5, -1.0, 0.25, 1.0, 3.0, 0.5, -0.5, -2.0, 1.0, 4.0, 0.125, 5.0, -6.0, 7.0,
                1.5, true);
}

// Unit quaternion of `angle` radians about a normalised axis.
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
    Mat4 columns(v, true);
    Vec4 row0 = columns.getRow(0);
    EXPECT_TRUE(eachSameBits({row0.x, row0.y, row0.z, row0.w, columns.m[1]}, {1, 5, 9, 13, 2}));
    Mat4 rows(v, false);
    row0 = rows.getRow(0);
    EXPECT_TRUE(eachSameBits({row0.x, row0.y, row0.z, row0.w, rows.m[1]}, {1, 2, 3, 4, 5}));
    EXPECT_TRUE(
        sameMatrix(Mat4(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, false), rows, 0.0));
    EXPECT_TRUE(sameMatrix(Mat4(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, true),
                           columns, 0.0));
    Mat4 s(true);
    s.set(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    EXPECT_TRUE(sameMatrix(s, rows, 0.0));

    Vec4 a(1, 2, 3, 4), b(5, 6, 7, 8), c(9, 10, 11, 12), d(13, 14, 15, 16);
    EXPECT_TRUE(sameMatrix(Mat4(a, b, c, d, true), rows, 0.0));
    EXPECT_TRUE(sameMatrix(Mat4(a, b, c, d, false), columns, 0.0));

    EXPECT_TRUE(
        sameMatrix(Mat4(false), Mat4(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, true), 0.0));
    EXPECT_TRUE(sameMatrix(Mat4::identity(),
                           Mat4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, true), 0.0));
}

TEST(Mat4Test, EqualityPassesAtTheBoundAndFailsOnNaN) {
    Mat4 zero(false);
    Mat4 nudged(false);
    nudged.m[7] = 1e-12;
    EXPECT_TRUE(zero == nudged);
    nudged.m[7] = 2e-12;
    EXPECT_FALSE(zero == nudged);
    nudged.m[7] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(zero == nudged);
}

TEST(Mat4Test, ProductsApplyTheRightOperandFirstAndMayAlias) {
    Mat4 a = general();
    Mat4 b;
    b.setRotation(0.7, 1.0, -2.0, 0.5);
    b.translate(3.0, -1.0, 2.0);
    Vec4 v(0.5, -1.5, 2.0, 1.0);

    // (a*b)v == a(bv): checked through vectors, not a restated formula.
    Mat4 ab = a * b;
    Vec4 bv = b * v;
    Vec4 expected = a * bv;
    Vec4 got = ab * v;
    EXPECT_TRUE(
        eachWithin({got.x, got.y, got.z, got.w}, {expected.x, expected.y, expected.z, expected.w}));

    Mat4 first = a;
    Mat4::mult(first, b, first);
    EXPECT_TRUE(sameMatrix(first, ab, 0.0));
    Mat4 second = b;
    Mat4::mult(a, second, second);
    EXPECT_TRUE(sameMatrix(second, ab, 0.0));
    Mat4 self = a;
    self.mult(self);
    EXPECT_TRUE(sameMatrix(self, a * a, 0.0));
    Mat4 inPlace = a;
    inPlace.mult(b);
    EXPECT_TRUE(sameMatrix(inPlace, ab, 0.0));

    // A translation after a scale: the scale acts on the point first.
    Mat4 t;
    t.setTranslate(10.0, 0.0, 0.0);
    Mat4 s;
    s.setScale(2.0, 2.0, 2.0);
    EXPECT_TRUE(sameVec((t * s) * Vec3(1.0, 1.0, 1.0), Vec3(12.0, 2.0, 2.0)));
}

TEST(Mat4Test, ElementArithmeticCoversEveryElement) {
    Mat4 a = general();
    Mat4 twice = a * 2.0;
    EXPECT_EQ(twice.m[15], 3.0);
    EXPECT_TRUE(sameMatrix(a + a, twice, 0.0));
    EXPECT_TRUE(sameMatrix(twice - a, a, 0.0));
    Mat4 sum(false);
    Mat4::add(a, a, sum);
    EXPECT_TRUE(sameMatrix(sum, twice, 0.0));
    Mat4::subtract(sum, a, sum);
    EXPECT_TRUE(sameMatrix(sum, a, 0.0));
    sum.add(a);
    EXPECT_TRUE(sameMatrix(sum, twice, 0.0));
    sum.subtract(twice);
    EXPECT_TRUE(sameMatrix(sum, Mat4(false), 0.0));
}

TEST(Mat4Test, InverseHasNoToleranceAndFailsOnlyOnAnExactZeroDeterminant) {
    Mat4 a = general();
    Mat4 inv(false);
    ASSERT_TRUE(a.getInverse(inv));
    EXPECT_TRUE(sameMatrix(a * inv, Mat4::identity()));
    EXPECT_TRUE(sameMatrix(inv * a, Mat4::identity()));
    // The determinant agrees with its product rule.
    Mat4 b;
    b.setRotation(1.1, 0.3, 0.2, -0.9);
    b.scale(2.0, 3.0, -0.5);
    EXPECT_NEAR((a * b).determinant(), a.determinant() * b.determinant(), 1e-12);
    EXPECT_NEAR(b.determinant(), -3.0, 1e-12);

    Mat4 self = a;
    ASSERT_TRUE(self.getInverse(self));
    EXPECT_TRUE(sameMatrix(self, inv, 0.0));

    Mat4 tiny;
    tiny.setScale(1e-10, 1e-10, 1e-10);
    ASSERT_TRUE(tiny.getInverse(inv));
    EXPECT_TRUE(
        sameMatrix(inv * (1e-10), Mat4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1e-10, true)));

    // Two equal rows: singular, and the argument becomes the identity.
    Mat4 singular(1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 9, 1, 2, 3, false);
    EXPECT_EQ(singular.determinant(), 0.0);
    Mat4 out = general();
    EXPECT_FALSE(singular.getInverse(out));
    EXPECT_TRUE(sameMatrix(out, Mat4::identity(), 0.0));
}

TEST(Mat4Test, TransposeRowsAndColumnsAgree) {
    Mat4 a = general();
    Mat4 t(false);
    a.transpose(t);
    for (int i = 0; i < 4; ++i) {
        Vec4 row = a.getRow(i);
        Vec4 col = t.getColumn(i);
        EXPECT_TRUE(eachSameBits({row.x, row.y, row.z, row.w}, {col.x, col.y, col.z, col.w}));
    }
    Mat4 self = a;
    self.transpose(self);
    EXPECT_TRUE(sameMatrix(self, t, 0.0));
    self.setTranspose();
    EXPECT_TRUE(sameMatrix(self, a, 0.0));

    Mat4 built(false);
    built.setRow(2, Vec4(1, 2, 3, 4));
    built.setColumn(1, Vec4(5, 6, 7, 8));
    EXPECT_TRUE(eachSameBits(
        {built.m[2], built.m[4], built.m[5], built.m[6], built.m[7], built.m[10], built.m[14]},
        {1, 5, 6, 7, 8, 3, 4}));
}

TEST(Mat4Test, MaxScaleIgnoresTheFourthRow) {
    Mat4 m(1, 2, 2, 100, 0, 0, 4, 100, 1, 1, 1, 100, 0, 0, 0, 1, true);
    EXPECT_EQ(m.getMaxScaleOnAxis(), 4.0);
    Mat4 s;
    s.setScale(-5.0, 2.0, 3.0);
    EXPECT_EQ(s.getMaxScaleOnAxis(), 5.0);
}

TEST(Mat4Test, RotationsAreRightHanded) {
    Mat4 r;
    r.setXRotation(kPi / 2);
    EXPECT_TRUE(sameVec(r * Vec3(0, 1, 0), Vec3(0, 0, 1)));
    r.setYRotation(kPi / 2);
    EXPECT_TRUE(sameVec(r * Vec3(1, 0, 0), Vec3(0, 0, -1)));
    r.setZRotation(kPi / 2);
    EXPECT_TRUE(sameVec(r * Vec3(1, 0, 0), Vec3(0, 1, 0)));

    // The axis form agrees with the single-axis builders, whatever the axis length.
    Mat4 axis;
    axis.setRotation(0.8, 0.0, 0.0, 7.0);
    r.setZRotation(0.8);
    EXPECT_TRUE(sameMatrix(axis, r));
    axis.setRotation(0.8, Vec3(0.0, -0.1, 0.0));
    r.setYRotation(-0.8);
    EXPECT_TRUE(sameMatrix(axis, r));
    // A zero axis is normalised to +x.
    axis.setRotation(0.8, 0.0, 0.0, 0.0);
    r.setXRotation(0.8);
    EXPECT_TRUE(sameMatrix(axis, r));

    // A general axis is left fixed and the result is orthonormal.
    Vec3 dir(1.0, -2.0, 0.5);
    axis.setRotation(2.2, dir);
    EXPECT_TRUE(sameVec(axis * dir, dir));
    Mat4 inv(false);
    axis.transpose(inv);
    EXPECT_TRUE(sameMatrix(axis * inv, Mat4::identity()));
}

TEST(Mat4Test, ProjectionsPlaceTheirElements) {
    Mat4 p;
    p.setPerspective(kPi / 2, 2.0, 1.0, 3.0);
    EXPECT_TRUE(sameMatrix(p, Mat4(0.5, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, -1, 0, 0, -3, 0, true)));
    p.setFrustum(-1.0, 3.0, -2.0, 4.0, 1.0, 5.0);
    EXPECT_TRUE(sameMatrix(
        p, Mat4(0.5, 0, 0, 0, 0, 1.0 / 3, 0, 0, 0.5, 1.0 / 3, -1.5, -1, 0, 0, -2.5, 0, true)));
    // Top before bottom: swapping them flips the y scale and offset.
    p.setOrtho(-1.0, 3.0, 4.0, -2.0, 1.0, 5.0);
    EXPECT_TRUE(sameMatrix(
        p, Mat4(0.5, 0, 0, 0, 0, 1.0 / 3, 0, 0, 0, 0, -0.5, 0, -0.5, -1.0 / 3, -1.5, 1, true)));
    // The near plane maps to depth -1 and the far plane to +1.
    p.setPerspective(1.0, 1.5, 2.0, 10.0);
    EXPECT_NEAR(p.multAndProject(Vec3(0.0, 0.0, -2.0)).z, -1.0, 1e-12);
    EXPECT_NEAR(p.multAndProject(Vec3(0.0, 0.0, -10.0)).z, 1.0, 1e-12);
}

TEST(Mat4Test, LookAtWritesOnlyTheUpperLeftBlock) {
    Mat4 m;
    m.setLookAt(Vec3(0, 0, 5), Vec3(0, 0, 0), Vec3(0, 1, 0));
    EXPECT_TRUE(sameMatrix(m, Mat4::identity(), 0.0));
    m.setLookAt(1, 2, 3, 1, 2, 3, 0, 1, 0);
    EXPECT_TRUE(sameMatrix(m, Mat4::identity(), 0.0));

    // Looking along up: z is nudged by the single-precision 0.0001 and kept.
    m.setLookAt(Vec3(0, 5, 0), Vec3(0, 0, 0), Vec3(0, 1, 0));
    EXPECT_TRUE(eachSameBits({m.m[8], m.m[9], m.m[10]}, {0.0, 1.0, 9.999999747378752e-05}));
    EXPECT_TRUE(eachWithin({m.m[0], m.m[1], m.m[2], m.m[4], m.m[5], m.m[6]},
                           {1.0, 0.0, 0.0, 0.0, 9.999999747378752e-05, -1.0}));

    Mat4 kept(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, true);
    kept.setLookAt(Vec3(3, 4, 5), Vec3(-1, 0, 2), Vec3(0, 0, 1));
    EXPECT_TRUE(eachSameBits(
        {kept.m[3], kept.m[7], kept.m[11], kept.m[12], kept.m[13], kept.m[14], kept.m[15]},
        {4, 8, 12, 13, 14, 15, 16}));
    // z points from the target to the eye and the axes are orthonormal.
    Vec3 x(kept.m[0], kept.m[1], kept.m[2]);
    Vec3 y(kept.m[4], kept.m[5], kept.m[6]);
    Vec3 z(kept.m[8], kept.m[9], kept.m[10]);
    Vec3 toEye(4, 4, 3);
    toEye.normalize();
    EXPECT_TRUE(sameVec(z, toEye));
    EXPECT_TRUE(eachWithin({x.length(), y.length(), x.dot(y), x.dot(z)}, {1.0, 1.0, 0.0, 0.0}));
    EXPECT_TRUE(sameVec(x.cross(y), z));
}

TEST(Mat4Test, HostToGLPutsTheOriginAtTheCentreWithYUp) {
    Mat4 m = Mat4::getAEToGLConversionMatrix(1920.0, 1080.0);
    EXPECT_TRUE(sameVec(m * Vec3(0, 0, 0), Vec3(-960, 540, 0)));
    EXPECT_TRUE(sameVec(m * Vec3(1920, 1080, 0), Vec3(960, -540, 0)));
    EXPECT_TRUE(sameVec(m * Vec3(960, 540, 7), Vec3(0, 0, -7)));
}

TEST(Mat4Test, ChainOperationsActBeforeWhatTheMatrixHolds) {
    Mat4 m;
    m.setScale(2.0, 2.0, 2.0);
    m.position(Vec3(10.0, 20.0, 30.0));
    Mat4 moved = m;
    moved.translate(1.0, 2.0, 3.0);
    EXPECT_TRUE(eachSameBits({moved.m[12], moved.m[13], moved.m[14]}, {12.0, 24.0, 36.0}));
    Mat4 viaVec4 = m;
    viaVec4.translate(Vec4(1.0, 2.0, 3.0, 99.0));
    EXPECT_TRUE(sameMatrix(viaVec4, moved, 0.0));
    Mat4 scaled = m;
    scaled.scale(Vec3(1.0, 2.0, 3.0));
    EXPECT_TRUE(eachSameBits(
        {scaled.m[0], scaled.m[5], scaled.m[10], scaled.m[12], scaled.m[13], scaled.m[14]},
        {2.0, 4.0, 6.0, 10.0, 20.0, 30.0}));

    Mat4 t;
    t.setTranslate(Vec3(1.0, 2.0, 3.0));
    t.rotateZ(kPi / 2);
    EXPECT_TRUE(sameVec(t * Vec3(1, 0, 0), Vec3(1, 3, 3)));

    // Each chain operation equals multiplying by the matrix its builder makes.
    Mat4 g = general();
    Mat4 r;
    r.setRotation(0.4, Vec3(1, 1, 0));
    Mat4 chained = g;
    chained.rotate(0.4, Vec4(1, 1, 0, 5));
    EXPECT_TRUE(sameMatrix(chained, g * r));
    r.setXRotation(-1.3);
    chained = g;
    chained.rotateX(-1.3);
    EXPECT_TRUE(sameMatrix(chained, g * r));
    r.setYRotation(0.6);
    chained = g;
    chained.rotateY(0.6);
    EXPECT_TRUE(sameMatrix(chained, g * r));
    r.setScale(2.0, -1.0, 0.5);
    chained = g;
    chained.scale(Vec4(2.0, -1.0, 0.5, 9.0));
    EXPECT_TRUE(sameMatrix(chained, g * r));
    r.setTranslate(2.0, -1.0, 0.5);
    chained = g;
    chained.translate(Vec3(2.0, -1.0, 0.5));
    EXPECT_TRUE(sameMatrix(chained, g * r));
}

TEST(Mat4Test, VectorProductsTreatTheFourthComponentAsStated) {
    Mat4 m(2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 20, 30, 2, true);
    EXPECT_TRUE(
        eachSameBits({(m * Vec3(1, 2, 3)).x, m.mult(Vec3(1, 2, 3)).y, (m * Vec3(1, 2, 3)).z},
                     {12.0, 24.0, 36.0}));
    Vec3 noMove = m.multWithoutTranslate(Vec3(1, 2, 3));
    EXPECT_TRUE(eachSameBits({noMove.x, noMove.y, noMove.z}, {2.0, 4.0, 6.0}));
    Vec3 projected = m.multAndProject(Vec3(1, 2, 3));
    EXPECT_TRUE(eachSameBits({projected.x, projected.y, projected.z}, {6.0, 12.0, 18.0}));
    Vec4 full = m.mult(Vec4(1, 2, 3, 0.5));
    EXPECT_TRUE(eachSameBits({full.x, full.y, full.z, full.w}, {7.0, 14.0, 21.0, 1.0}));

    m.m[15] = 0.0;
    Vec3 atInfinity = m.multAndProject(Vec3(1, 2, 3));
    EXPECT_TRUE(std::isinf(atInfinity.x) && std::isinf(atInfinity.y) && std::isinf(atInfinity.z));
}

TEST(Mat4Test, ComposeMatchesTheLayerTransformWithAndWithoutAnchor) {
    Quaternion quarterZ(0.0, 0.0, std::sin(kPi / 4), std::cos(kPi / 4));
    Mat4 m;
    m.compose(Vec3(1, 1, 1), Vec3(10, 20, 30), quarterZ, Vec3(2, 3, 4));
    EXPECT_TRUE(sameMatrix(m, Mat4(0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 13, 18, 26, 1, true)));
    EXPECT_TRUE(sameVec(m * Vec3(1, 1, 1), Vec3(10, 20, 30)));

    Mat4 plain;
    plain.compose(Vec3(10, 20, 30), quarterZ, Vec3(2, 3, 4));
    EXPECT_TRUE(sameMatrix(plain, Mat4(0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1, true)));

    // A zero anchor and unit scale reduce both forms to T(p) R.
    Quaternion q = rotation(0.9, 1, 2, 3);
    Mat4 anchored;
    anchored.compose(Vec3(), Vec3(-1, 2, 5), q, Vec3(1, 1, 1));
    plain.compose(Vec3(-1, 2, 5), q, Vec3(1, 1, 1));
    Mat4 tr;
    tr.setTranslate(-1, 2, 5);
    Mat4 r;
    r.setWithQuaternion(q);
    EXPECT_TRUE(sameMatrix(anchored, tr * r));
    EXPECT_TRUE(sameMatrix(plain, tr * r));

    // position() replaces the translation and nothing else.
    m.m[15] = 3.0;
    double before0 = m.m[0];
    m.position(Vec3(-1, -2, -3));
    EXPECT_TRUE(
        eachSameBits({m.m[12], m.m[13], m.m[14], m.m[15], m.m[0]}, {-1, -2, -3, 3.0, before0}));
}

TEST(Mat4Test, DecomposeInvertsComposeForPositiveScales) {
    struct Case {
        Vec3 anchor;
        Vec3 position;
        Quaternion rotation;
        Vec3 scale;
    };
    Case cases[] = {
        {Vec3(1, 1, 1), Vec3(10, 20, 30), rotation(kPi / 2, 0, 0, 1), Vec3(2, 3, 4)},
        {Vec3(-4, 0.5, 2), Vec3(0.1, -7, 3), rotation(2.5, 1, -1, 0.3), Vec3(0.5, 1, 7)},
        {Vec3(100, 50, 0), Vec3(960, 540, -20), rotation(3.0, 0.2, 0.9, -0.1), Vec3(1, 1, 1)},
        {Vec3(0, 0, 0), Vec3(0, 0, 0), Quaternion(), Vec3(3, 0.25, 1)},
    };
    for (Case const& c : cases) {
        Mat4 m;
        m.compose(c.anchor, c.position, c.rotation, c.scale);
        Vec3 p;
        Quaternion q(0, 0, 0, 0);
        Vec3 s;
        m.decompose(c.anchor, p, q, s);
        EXPECT_TRUE(sameVec(p, c.position, 1e-11));
        EXPECT_TRUE(sameVec(s, c.scale));
        // Equal up to the sign of the quaternion.
        double sign = q.dot(c.rotation) < 0.0 ? -1.0 : 1.0;
        EXPECT_TRUE(eachWithin({q.x * sign, q.y * sign, q.z * sign, q.w * sign},
                               {c.rotation.x, c.rotation.y, c.rotation.z, c.rotation.w}));

        Mat4 plain;
        plain.compose(c.position, c.rotation, c.scale);
        plain.decompose(p, q, s);
        EXPECT_TRUE(sameVec(p, c.position, 0.0));
        EXPECT_TRUE(sameVec(s, c.scale));
        Mat4 rebuilt;
        rebuilt.compose(p, q, s);
        EXPECT_TRUE(sameMatrix(rebuilt, plain, 1e-11));
    }
}

TEST(Mat4Test, DecomposePutsTheMirrorOnXAndSubstitutesZeroScales) {
    Vec3 p;
    Quaternion q;
    Vec3 s;
    Mat4(-2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1, true).decompose(p, q, s);
    EXPECT_TRUE(eachSameBits({p.x, p.y, p.z, s.x, s.y, s.z}, {1, 2, 3, -2, 3, 4}));
    EXPECT_TRUE(eachWithin({q.x, q.y, q.z, q.w}, {0, 0, 0, 1}));

    // Mirrored on y: the sign still goes to x, and the rotation absorbs the rest.
    Mat4 mirroredY(2, 0, 0, 0, 0, -3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1, true);
    mirroredY.decompose(p, q, s);
    EXPECT_TRUE(eachSameBits({s.x, s.y, s.z}, {-2, 3, 4}));
    Mat4 rebuilt;
    rebuilt.compose(p, q, s);
    EXPECT_TRUE(sameMatrix(rebuilt, mirroredY));

    // A zero column: no sign change, 1e-06 instead, and an unnormalised rotation.
    Mat4(0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1, true).decompose(p, q, s);
    EXPECT_TRUE(eachSameBits({s.x, s.y, s.z}, {1e-06, 3, 4}));
    EXPECT_TRUE(eachWithin({q.x, q.y, q.z, q.w}, {0, 0, 0, std::sqrt(3.0) / 2}));

    Mat4(false).decompose(p, q, s);
    EXPECT_TRUE(eachSameBits({p.x, p.y, p.z, s.x, s.y, s.z}, {0, 0, 0, 1e-06, 1e-06, 1e-06}));
    EXPECT_TRUE(eachWithin({q.x, q.y, q.z, q.w}, {0, 0, 0.5, 0}));

    // A negative determinant with a zero x scale: -0 counts as zero and the
    // substitute is positive.
    Mat4 swapped(0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, true);
    ASSERT_LT(swapped.determinant(), 0.0);
    swapped.decompose(p, q, s);
    EXPECT_TRUE(eachSameBits({s.x}, {1e-06}));

    // The anchor form reads the anchor before writing the position, so the two may alias.
    Mat4 m;
    m.compose(Vec3(1, 1, 1), Vec3(10, 20, 30), rotation(kPi / 2, 0, 0, 1), Vec3(2, 3, 4));
    Vec3 shared(1, 1, 1);
    m.decompose(shared, shared, q, s);
    EXPECT_TRUE(sameVec(shared, Vec3(10, 20, 30)));
}
