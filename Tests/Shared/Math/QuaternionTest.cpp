#include "Quaternion.h"

#include "Mat4.h"

#include "MathExpect.h"

#include <cmath>

using Brindel::GaussianBlur::Mat4;
using Brindel::GaussianBlur::Quaternion;
using Brindel::GaussianBlur::Vec3;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kPi = 3.14159265358979323846;
const double kS45 = std::sin(kPi / 4);
const double kC45 = std::cos(kPi / 4);

::testing::AssertionResult quatNear(Quaternion const& q, double x, double y, double z, double w,
                                    double tol = 1e-12) {
    return eachWithin({q.x, q.y, q.z, q.w}, {x, y, z, w}, tol);
}

// Equal as rotations: q and -q are the same turn.
::testing::AssertionResult sameRotation(Quaternion q, Quaternion const& r, double tol = 1e-12) {
    if (q.dot(r) < 0.0) {
        q.set(-q.x, -q.y, -q.z, -q.w);
    }
    return quatNear(q, r.x, r.y, r.z, r.w, tol);
}

Quaternion unit(double angle, double x, double y, double z) {
    Quaternion q;
    q.set(Vec3(x, y, z), angle);
    return q;
}

Mat4 matrixOf(Quaternion const& q) {
    Mat4 m;
    m.setWithQuaternion(q);
    return m;
}

} // namespace

TEST(QuaternionTest, ConstructionKeepsWhatItIsGiven) {
    EXPECT_TRUE(quatNear(Quaternion(), 0, 0, 0, 1, 0.0));
    EXPECT_TRUE(quatNear(Quaternion(7, 8, 9), 7, 8, 9, 1, 0.0));
    Quaternion q(1, 2, 3, 4);
    q.set(7, 8, 9);
    EXPECT_TRUE(quatNear(q, 7, 8, 9, 4, 0.0));

    // The constructor takes the axis as given; set normalises it first.
    Quaternion raw(Vec3(0, 0, 2), kPi / 2);
    EXPECT_TRUE(quatNear(raw, 0, 0, 2 * kS45, kC45));
    Quaternion normalised;
    normalised.set(Vec3(0, 0, 2), kPi / 2);
    EXPECT_TRUE(quatNear(normalised, 0, 0, kS45, kC45));

    double a[6] = {0, 0, 0, 0, 0, 0};
    Quaternion(1, 2, 3, 4).toArray(a, 2);
    EXPECT_TRUE(eachSameBits({a[0], a[1], a[2], a[3], a[4], a[5]}, {0, 0, 1, 2, 3, 4}));
    q.setWithArray(a, 1);
    EXPECT_TRUE(quatNear(q, 0, 1, 2, 3, 0.0));
}

TEST(QuaternionTest, EqualityIsExact) {
    Quaternion q(0.1, 0.2, 0.3, 0.4);
    EXPECT_TRUE(q == Quaternion(0.1, 0.2, 0.3, 0.4));
    EXPECT_FALSE(q == Quaternion(0.1, 0.2, 0.3 + 1e-13, 0.4));
    EXPECT_TRUE(q != Quaternion(0.1, 0.2, 0.3 + 1e-13, 0.4));
    EXPECT_FALSE(q != Quaternion(0.1, 0.2, 0.3, 0.4));
}

TEST(QuaternionTest, NormalisationConjugateAndInverse) {
    Quaternion zero(0, 0, 0, 0);
    zero.normalize();
    EXPECT_TRUE(quatNear(zero, 0, 0, 0, 1, 0.0));
    Quaternion q(0, 3, 0, 4);
    q.normalize();
    EXPECT_TRUE(quatNear(q, 0, 0.6, 0, 0.8));

    Quaternion c(0, 3, 0, 4);
    c.conjugate();
    EXPECT_TRUE(eachSameBits({c.x, c.y, c.z, c.w}, {-0.0, -3.0, -0.0, 4.0}));
    EXPECT_EQ(c.length(), 5.0);
    EXPECT_EQ(c.lengthSq(), 25.0);
    Quaternion i(0, 3, 0, 4);
    i.setInverse();
    EXPECT_TRUE(eachSameBits({i.x, i.z}, {-0.0, -0.0}));
    EXPECT_TRUE(quatNear(i, 0, -0.6, 0, 0.8));

    // The inverse undoes the rotation.
    Quaternion r = unit(1.2, 1, -2, 0.5);
    Quaternion inv = r;
    inv.setInverse();
    inv.multiply(r);
    EXPECT_TRUE(quatNear(inv, 0, 0, 0, 1));
}

TEST(QuaternionTest, ProductsMatchTheMatrixProductOrder) {
    Quaternion a(0.1, 0.2, 0.3, 0.4);
    Quaternion b(0.5, -0.6, 0.7, 0.8);
    Quaternion ab = a;
    ab.multiply(b);
    EXPECT_TRUE(quatNear(ab, 0.6, 0, 0.36, 0.18, 1e-15));
    Quaternion ba = a;
    ba.premultiply(b);
    EXPECT_TRUE(quatNear(ba, -0.04, -0.16, 0.68, 0.18, 1e-15));

    // For unit quaternions the product is the product of the matrices.
    Quaternion p = unit(0.8, 1, 0, 1);
    Quaternion q = unit(-2.1, 0.3, 1, -0.2);
    Quaternion pq;
    pq.multiplyQuaternions(p, q);
    Mat4 expected = matrixOf(p) * matrixOf(q);
    Mat4 got = matrixOf(pq);
    EXPECT_TRUE(got == expected);

    // Either operand may be the object itself.
    Quaternion self = p;
    self.multiplyQuaternions(self, q);
    EXPECT_TRUE(self == pq);
    self = q;
    self.multiplyQuaternions(p, self);
    EXPECT_TRUE(self == pq);
    self = p;
    self.multiplyQuaternions(self, self);
    Quaternion squared;
    squared.multiplyQuaternions(p, p);
    EXPECT_TRUE(self == squared);
}

TEST(QuaternionTest, RotatingAVectorAgreesWithTheMatrix) {
    Quaternion quarter(0, 0, kS45, kC45);
    Vec3 turned = Quaternion::quaternionMulVec3(quarter, Vec3(1, 0, 0));
    EXPECT_TRUE(eachWithin({turned.x, turned.y, turned.z}, {0, 1, 0}));

    Quaternion q = unit(2.4, -1, 0.5, 2);
    Vec3 v(3, -1, 0.25);
    Vec3 byQuat = Quaternion::quaternionMulVec3(q, v);
    Vec3 byMatrix = matrixOf(q) * v;
    Vec3 applied = v;
    applied.applyQuaternion(q);
    EXPECT_TRUE(eachWithin({byQuat.x, byQuat.y, byQuat.z}, {byMatrix.x, byMatrix.y, byMatrix.z}));
    EXPECT_TRUE(
        eachWithin({applied.x, applied.y, applied.z}, {byMatrix.x, byMatrix.y, byMatrix.z}));
}

TEST(QuaternionTest, MatrixRoundTripsThroughEveryBranch) {
    // Small angles take the trace branch; half turns about each axis the
    // branch of that axis's diagonal element.
    Quaternion cases[] = {unit(0.5, 1, 2, 3),        unit(3.0, 1, 0.1, 0.2), unit(3.0, 0.1, 1, 0.2),
                          unit(3.0, 0.1, 0.2, 1),    unit(kPi, 1, 0, 0),     unit(kPi, 0, 0, 1),
                          unit(-2.0, 0.3, -0.4, 0.5)};
    for (Quaternion const& q : cases) {
        Quaternion back(9, 9, 9, 9);
        back.setWithMat4(matrixOf(q));
        EXPECT_TRUE(sameRotation(back, q)) << q.x << " " << q.y << " " << q.z << " " << q.w;
    }

    // No normalising: the zero matrix falls to the last branch.
    Quaternion fromZero;
    fromZero.setWithMat4(Mat4(false));
    EXPECT_TRUE(quatNear(fromZero, 0, 0, 0.5, 0, 0.0));
    // A scaled rotation keeps the scale in the length.
    Quaternion fromScaled;
    fromScaled.setWithMat4(Mat4::identity() * 4.0);
    EXPECT_TRUE(quatNear(fromScaled, 0, 0, 0, std::sqrt(13.0) / 2));

    // The matrix takes the components as they are.
    Mat4 m;
    m.setWithQuaternion(Quaternion(0, 0, 0, 2));
    EXPECT_TRUE(m == Mat4::identity());
    m.setWithQuaternion(Quaternion(1, 0, 0, 0));
    EXPECT_TRUE(m == Mat4(1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, true));
}

TEST(QuaternionTest, AngleInDegreesAndAxis) {
    Quaternion quarter(0, 0, kS45, kC45);
    EXPECT_NEAR(quarter.getRotationAngle(), 90.0, 1e-12);
    Vec3 axis = quarter.getRotationAxis();
    EXPECT_TRUE(eachWithin({axis.x, axis.y, axis.z}, {0, 0, 1}));

    Vec3 identityAxis = Quaternion().getRotationAxis();
    EXPECT_TRUE(eachSameBits({identityAxis.x, identityAxis.y, identityAxis.z}, {0, 0, 1}));

    Quaternion q = unit(1.0, 0.6, 0.0, -0.8);
    Vec3 general = q.getRotationAxis();
    EXPECT_TRUE(eachWithin({general.x, general.y, general.z}, {0.6, 0.0, -0.8}));
    EXPECT_NEAR(q.getRotationAngle(), 57.29577951308232, 1e-10);

    EXPECT_TRUE(std::isnan(Quaternion(0, 0, 0, 1.5).getRotationAngle()));
}

TEST(QuaternionTest, DirectionsTakeTheShortestTurnAndPickAPerpendicularWhenOpposite) {
    EXPECT_TRUE(quatNear(Quaternion(Vec3(1, 0, 0), Vec3(0, 1, 0)), 0, 0, kS45, kC45));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(1, 0, 0), Vec3(-1, 0, 0)), 0, 1, 0, 0));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(0, 0, 1), Vec3(0, 0, -1)), 0, -1, 0, 0));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(0, 1, 0), Vec3(0, -1, 0)), 0, 0, 1, 0));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(0.6, 0, 0.8), Vec3(-0.6, 0, -0.8)), 0, -1, 0, 0));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(0.8, 0, 0.6), Vec3(-0.8, 0, -0.6)), 0, 1, 0, 0));
    // A tie between |x| and |z| takes the second perpendicular.
    double h = std::sqrt(0.5);
    Quaternion tie(Vec3(h, 0, h), Vec3(-h, 0, -h));
    EXPECT_TRUE(quatNear(tie, 0, -1, 0, 0));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(0, 1, 0), Vec3(0, 1, 0)), 0, 0, 0, 1, 0.0));
    EXPECT_TRUE(quatNear(Quaternion(Vec3(), Vec3()), 0, 0, 0, 1, 0.0));

    // Unit inputs: the result carries one onto the other.
    Vec3 from(2, -1, 0.5);
    Vec3 to(-1, 0.25, 3);
    from.normalize();
    to.normalize();
    Vec3 carried = Quaternion::quaternionMulVec3(Quaternion(from, to), from);
    EXPECT_TRUE(eachWithin({carried.x, carried.y, carried.z}, {to.x, to.y, to.z}));

    // Non-unit inputs are not corrected.
    Quaternion uncorrected(Vec3(2, 0, 0), Vec3(0, 2, 0));
    EXPECT_TRUE(quatNear(uncorrected, 0, 0, 4 / std::sqrt(17.0), 1 / std::sqrt(17.0)));
}

TEST(QuaternionTest, SlerpExitsInTheWrittenOrder) {
    Quaternion quarter(0, 0, kS45, kC45);
    Quaternion start;
    start.slerp(quarter, 1.0);
    EXPECT_TRUE(start == quarter);
    start = Quaternion();
    start.slerp(quarter, 0.0);
    EXPECT_TRUE(start == Quaternion());

    // Halfway to the negated target is the same as to the positive one.
    Quaternion viaNegative;
    viaNegative.slerp(Quaternion(0, 0, -kS45, -kC45), 0.5);
    Quaternion viaPositive;
    viaPositive.slerp(quarter, 0.5);
    EXPECT_TRUE(quatNear(viaNegative, 0, 0, std::sin(kPi / 8), std::cos(kPi / 8)));
    EXPECT_TRUE(quatNear(viaPositive, 0, 0, std::sin(kPi / 8), std::cos(kPi / 8)));

    // Opposite quaternions are the same rotation: the object stays, except at t = 1.
    Quaternion stays;
    stays.slerp(Quaternion(0, 0, 0, -1), 0.7);
    EXPECT_TRUE(stays == Quaternion());
    stays.slerp(Quaternion(0, 0, 0, -1), 1.0);
    EXPECT_TRUE(stays == Quaternion(0, 0, 0, -1));

    // A tiny arc averages whatever t is.
    Quaternion near;
    near.slerp(Quaternion(0, 0, std::sin(0.0005), std::cos(0.0005)), 0.3);
    EXPECT_TRUE(quatNear(near, 0, 0, 0.5 * std::sin(0.0005), 0.5 * (1 + std::cos(0.0005))));

    // t is not clamped.
    Quaternion beyond;
    beyond.slerp(quarter, 2.0);
    EXPECT_TRUE(quatNear(beyond, 0, 0, 1, 0));

    // Along one axis slerp scales the angle.
    Quaternion from = unit(0.2, 1, 1, 0);
    from.slerp(unit(1.4, 1, 1, 0), 0.25);
    EXPECT_TRUE(sameRotation(from, unit(0.5, 1, 1, 0)));
}

TEST(QuaternionTest, LerpIsASlerpOnACopy) {
    Quaternion a = unit(0.2, 0, 1, 0);
    Quaternion b = unit(1.0, 0, 1, 0);
    Quaternion r = Quaternion::lerp(a, b, 0.5);
    EXPECT_TRUE(sameRotation(r, unit(0.6, 0, 1, 0)));
    EXPECT_TRUE(a == unit(0.2, 0, 1, 0));
    EXPECT_TRUE(b == unit(1.0, 0, 1, 0));
    // Equal operands come back as they are, even when slerp would move them.
    Quaternion odd(0, 0, 0, 0.5);
    Quaternion moved = odd;
    moved.slerp(odd, 0.5);
    ASSERT_FALSE(moved == odd);
    EXPECT_TRUE(Quaternion::lerp(odd, odd, 0.5) == odd);
}
