#include "Quaternion.h"

#include "Mat4.h"

#include "MathExpect.h"

#include <cmath>

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

constexpr double kPi = 3.14159265358979323846;
const double kS45 = std::sin(kPi / 4);
const double kC45 = std::cos(kPi / 4);

// Equal as rotations: q and -q are the same turn.
::testing::AssertionResult sameRotation(Quaternion q, Quaternion const& r) {
    double sign = q.dot(r) < 0.0 ? -1.0 : 1.0;
    return is(q, r.x * sign, r.y * sign, r.z * sign, r.w * sign);
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

TEST(QuaternionTest, ConstructionKeepsWhatItIsGivenAndEqualityIsExact) {
    Quaternion q(1, 2, 3, 4);
    q.set(7, 8, 9); // keeps w, unlike the constructor
    EXPECT_TRUE(is(q, 7, 8, 9, 4, 0.0));
    EXPECT_TRUE(is(Quaternion(7, 8, 9), 7, 8, 9, 1, 0.0));
    // The constructor takes the axis as given; set normalises it first.
    EXPECT_TRUE(is(Quaternion(Vec3(0, 0, 2), kPi / 2), 0, 0, 2 * kS45, kC45));
    q.set(Vec3(0, 0, 2), kPi / 2);
    EXPECT_TRUE(is(q, 0, 0, kS45, kC45));
    Quaternion p(0.1, 0.2, 0.3, 0.4);
    EXPECT_TRUE(p == Quaternion(0.1, 0.2, 0.3, 0.4));
    EXPECT_TRUE(p != Quaternion(0.1, 0.2, 0.3 + 1e-13, 0.4));
}

TEST(QuaternionTest, NormalisationConjugateAndInverse) {
    Quaternion zero(0, 0, 0, 0), i(0, 3, 0, 4);
    zero.normalize();
    EXPECT_TRUE(is(zero, 0, 0, 0, 1, 0.0));
    i.setInverse();
    EXPECT_TRUE(eachWithin({i.x, i.z}, {-0.0, -0.0}, 0.0));
    EXPECT_TRUE(is(i, 0, -0.6, 0, 0.8));
}

TEST(QuaternionTest, ProductsMatchTheMatrixProductOrderAndMayAlias) {
    Quaternion ab(0.1, 0.2, 0.3, 0.4), ba(0.1, 0.2, 0.3, 0.4);
    ab.multiply(Quaternion(0.5, -0.6, 0.7, 0.8));
    ba.premultiply(Quaternion(0.5, -0.6, 0.7, 0.8));
    EXPECT_TRUE(is(ab, 0.6, 0, 0.36, 0.18, 1e-15));
    EXPECT_TRUE(is(ba, -0.04, -0.16, 0.68, 0.18, 1e-15));
    Quaternion p = unit(0.8, 1, 0, 1), q = unit(-2.1, 0.3, 1, -0.2), pq;
    pq.multiplyQuaternions(p, q);
    EXPECT_TRUE(matrixOf(pq) == matrixOf(p) * matrixOf(q));
    Quaternion first = p, second = q;
    first.multiplyQuaternions(first, q);
    second.multiplyQuaternions(p, second);
    EXPECT_TRUE(first == pq && second == pq);
}

TEST(QuaternionTest, MatrixRoundTripsThroughEveryBranch) {
    // Small angles take the trace branch; half turns about each axis the
    // branch of that axis's diagonal element.
    for (Quaternion const& q : {unit(0.5, 1, 2, 3), unit(3.0, 1, 0.1, 0.2), unit(3.0, 0.1, 1, 0.2),
                                unit(3.0, 0.1, 0.2, 1), unit(kPi, 0, 0, 1)}) {
        Quaternion back(9, 9, 9, 9);
        back.setWithMat4(matrixOf(q));
        EXPECT_TRUE(sameRotation(back, q));
    }
    // No normalising either way: the zero matrix falls to the last branch,
    // a scaled matrix keeps its scale, and a long quaternion is used as it is.
    Quaternion fromZero, fromScaled;
    fromZero.setWithMat4(Mat4(false));
    fromScaled.setWithMat4(Mat4::identity() * 4.0);
    EXPECT_TRUE(is(fromZero, 0, 0, 0.5, 0, 0.0));
    EXPECT_TRUE(is(fromScaled, 0, 0, 0, std::sqrt(13.0) / 2));
    EXPECT_TRUE(matrixOf(Quaternion(0, 0, 0, 2)) == Mat4::identity());
}

TEST(QuaternionTest, AngleInDegreesAndAxis) {
    Quaternion quarter(0, 0, kS45, kC45), q = unit(1.0, 0.6, 0.0, -0.8);
    EXPECT_NEAR(quarter.getRotationAngle(), 90.0, 1e-12);
    EXPECT_TRUE(is(quarter.getRotationAxis(), 0, 0, 1));
    EXPECT_TRUE(is(Quaternion().getRotationAxis(), 0, 0, 1, 0.0));
    EXPECT_TRUE(is(q.getRotationAxis(), 0.6, 0.0, -0.8));
    EXPECT_TRUE(std::isnan(Quaternion(0, 0, 0, 1.5).getRotationAngle()));
}

TEST(QuaternionTest, DirectionsTakeTheShortestTurnAndPickAPerpendicularWhenOpposite) {
    EXPECT_TRUE(is(Quaternion(Vec3(1, 0, 0), Vec3(0, 1, 0)), 0, 0, kS45, kC45));
    EXPECT_TRUE(is(Quaternion(Vec3(0.6, 0, 0.8), Vec3(-0.6, 0, -0.8)), 0, -1, 0, 0));
    EXPECT_TRUE(is(Quaternion(Vec3(0.8, 0, 0.6), Vec3(-0.8, 0, -0.6)), 0, 1, 0, 0));
    double h = std::sqrt(0.5); // a tie between |x| and |z| takes the second perpendicular
    EXPECT_TRUE(is(Quaternion(Vec3(h, 0, h), Vec3(-h, 0, -h)), 0, -1, 0, 0));
    EXPECT_TRUE(is(Quaternion(Vec3(), Vec3()), 0, 0, 0, 1, 0.0));
    Vec3 from(2, -1, 0.5), to(-1, 0.25, 3);
    from.normalize();
    to.normalize();
    EXPECT_TRUE(is(Quaternion::quaternionMulVec3(Quaternion(from, to), from), to.x, to.y, to.z));
    // Non-unit inputs are not corrected.
    EXPECT_TRUE(is(Quaternion(Vec3(2, 0, 0), Vec3(0, 2, 0)), 0, 0, 4 / std::sqrt(17.0),
                   1 / std::sqrt(17.0)));
}

TEST(QuaternionTest, SlerpExitsInTheWrittenOrder) {
    Quaternion quarter(0, 0, kS45, kC45), q;
    q.slerp(quarter, 0.0);
    EXPECT_TRUE(q == Quaternion());
    // Opposite quaternions are one rotation: the object stays, except at t = 1.
    q.slerp(Quaternion(0, 0, 0, -1), 0.7);
    EXPECT_TRUE(q == Quaternion());
    q.slerp(Quaternion(0, 0, 0, -1), 1.0);
    EXPECT_TRUE(q == Quaternion(0, 0, 0, -1));

    Quaternion viaNegative, tiny, beyond, from = unit(0.2, 1, 1, 0);
    viaNegative.slerp(Quaternion(0, 0, -kS45, -kC45), 0.5); // the short way round
    EXPECT_TRUE(is(viaNegative, 0, 0, std::sin(kPi / 8), std::cos(kPi / 8)));
    tiny.slerp(Quaternion(0, 0, std::sin(0.0005), std::cos(0.0005)), 0.3); // averages, t unused
    EXPECT_TRUE(is(tiny, 0, 0, 0.5 * std::sin(0.0005), 0.5 * (1 + std::cos(0.0005))));
    beyond.slerp(quarter, 2.0); // t is not clamped
    EXPECT_TRUE(is(beyond, 0, 0, 1, 0));
    from.slerp(unit(1.4, 1, 1, 0), 0.25);
    EXPECT_TRUE(sameRotation(from, unit(0.5, 1, 1, 0)));
}

TEST(QuaternionTest, LerpIsASlerpOnACopyExceptForEqualOperands) {
    Quaternion a = unit(0.2, 0, 1, 0), b = unit(1.0, 0, 1, 0);
    EXPECT_TRUE(sameRotation(Quaternion::lerp(a, b, 0.5), unit(0.6, 0, 1, 0)));
    EXPECT_TRUE(a == unit(0.2, 0, 1, 0));
    // slerp would move a short quaternion even towards itself.
    Quaternion odd(0, 0, 0, 0.5), moved(0, 0, 0, 0.5);
    moved.slerp(odd, 0.5);
    ASSERT_FALSE(moved == odd);
    EXPECT_TRUE(Quaternion::lerp(odd, odd, 0.5) == odd);
}
