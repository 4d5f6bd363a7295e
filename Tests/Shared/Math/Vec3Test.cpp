#include "Vec3.h"

#include "Mat4.h"
#include "Quaternion.h"

#include "MathExpect.h"

#include <cmath>

using Brindel::GaussianBlur::cyclicDifference;
using Brindel::GaussianBlur::Mat4;
using Brindel::GaussianBlur::Quaternion;
using Brindel::GaussianBlur::Vec2;
using Brindel::GaussianBlur::Vec3;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kPi = 3.14159265358979323846;

} // namespace

TEST(Vec3Test, ConstructionAndArraysPlaceTheComponentsInOrder) {
    Vec3 splat(2.5);
    EXPECT_TRUE(eachSameBits({splat.x, splat.y, splat.z}, {2.5, 2.5, 2.5}));
    Vec3 lifted(Vec2(1.0, 2.0), 3.0);
    EXPECT_TRUE(eachSameBits({lifted.x, lifted.y, lifted.z}, {1.0, 2.0, 3.0}));
    Vec2 flat = lifted.getVec2();
    EXPECT_TRUE(eachSameBits({flat.x, flat.y}, {1.0, 2.0}));

    double out[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
    lifted.toArray(out, 2);
    EXPECT_TRUE(eachSameBits({out[0], out[1], out[2], out[3], out[4]}, {0, 0, 1.0, 2.0, 3.0}));
    Vec3 read;
    read.fromArray(out, 1);
    EXPECT_TRUE(eachSameBits({read.x, read.y, read.z}, {0.0, 1.0, 2.0}));

    Vec3 v;
    v.set(0, 1.0);
    v.set(1, 2.0);
    EXPECT_TRUE(eachSameBits({v.x, v.y, v.z}, {1.0, 2.0, 0.0}));
    v.set(5, 7.0);
    EXPECT_EQ(v.z, 7.0);
    v.set(-1, 8.0);
    EXPECT_TRUE(eachSameBits({v.x, v.y, v.z}, {1.0, 2.0, 8.0}));
}

TEST(Vec3Test, LargestAbsComponentGivesTiesToTheHigherIndex) {
    EXPECT_EQ(Vec3(-3.0, 2.0, 1.0).largestAbsComponent(), 0);
    EXPECT_EQ(Vec3(1.0, -4.0, 3.0).largestAbsComponent(), 1);
    EXPECT_EQ(Vec3(1.0, 1.0, 1.0).largestAbsComponent(), 2);
    EXPECT_EQ(Vec3(1.0, -1.0, 0.0).largestAbsComponent(), 1);
    EXPECT_EQ(Vec3(-1.0, 0.0, 1.0).largestAbsComponent(), 2);
    EXPECT_EQ(Vec3(0.0, 0.0, 0.0).largestAbsComponent(), 2);
}

TEST(Vec3Test, EqualityBoundsEachComponentAndLetsTheBoundPass) {
    Vec3 a(1.0, 2.0, 3.0);
    EXPECT_FALSE(a == Vec3(1.0, 2.0, 3.5));
    EXPECT_TRUE(a.equal(Vec3(1.0, 2.0, 3.5), 0.5));
    EXPECT_FALSE(a.equal(Vec3(1.0, 2.0, 3.5), 0.4));
    // The bound itself passes on each component, as for Vec2.
    EXPECT_TRUE(Vec3() == Vec3(1e-12, -1e-12, 1e-12));
    EXPECT_FALSE(Vec3() != Vec3(1e-12, -1e-12, 1e-12));
    EXPECT_TRUE(Vec3() != Vec3(0.0, 0.0, 2e-12));
    EXPECT_TRUE(Vec3(0.0, -0.0, 0.0).isZero());
    EXPECT_FALSE(Vec3(0.0, 0.0, 1e-300).isZero());
}

TEST(Vec3Test, ZeroVectorsNormalizeToPlusX) {
    Vec3 v;
    v.normalize();
    EXPECT_TRUE(eachSameBits({v.x, v.y, v.z}, {1.0, 0.0, 0.0}));
    Vec3 w;
    w.setLength(3.0);
    EXPECT_TRUE(eachSameBits({w.x, w.y, w.z}, {3.0, 0.0, 0.0}));

    Vec3 u(2.0, -3.0, 6.0);
    u.setLength(14.0);
    EXPECT_TRUE(eachWithin({u.x, u.y, u.z}, {4.0, -6.0, 12.0}));
    u.normalize();
    EXPECT_NEAR(u.length(), 1.0, 1e-15);
}

TEST(Vec3Test, AngleBetweenIsUnsignedRadiansAndNaNAgainstZero) {
    EXPECT_NEAR(Vec3(1, 0, 0).angleBetween(Vec3(0, 1, 0)), kPi / 2, 1e-15);
    EXPECT_NEAR(Vec3(0, 1, 0).angleBetween(Vec3(1, 0, 0)), kPi / 2, 1e-15);
    EXPECT_NEAR(Vec3(2, 0, 0).angleBetween(Vec3(-3, 0, 0)), kPi, 1e-15);
    EXPECT_TRUE(std::isnan(Vec3(1, 0, 0).angleBetween(Vec3(0, 0, 0))));
}

TEST(Vec3Test, CrossFollowsTheRightHandRule) {
    Vec3 z = Vec3(1, 0, 0).cross(Vec3(0, 1, 0));
    EXPECT_TRUE(eachSameBits({z.x, z.y, z.z}, {0.0, 0.0, 1.0}));
    Vec3 a(1.0, 2.0, 3.0);
    Vec3 b(-4.0, 0.5, 2.0);
    Vec3 c = a.cross(b);
    EXPECT_NEAR(c.dot(a), 0.0, 1e-12);
    EXPECT_NEAR(c.dot(b), 0.0, 1e-12);
    Vec3 reversed = b.cross(a).negate();
    EXPECT_TRUE(eachWithin({c.x, c.y, c.z}, {reversed.x, reversed.y, reversed.z}));
}

TEST(Vec3Test, OrthoBuildsOnTheAxisBeforeTheLargestComponent) {
    Vec3 v(0.0, 0.0, 5.0);
    v.ortho(Vec3(1.0, 0.0, 0.0));
    EXPECT_TRUE(eachWithin({v.x, v.y, v.z}, {0.0, 0.0, 1.0}));

    // A zero object picks index 2, so the y axis: x cross y = z.
    Vec3 zero;
    zero.ortho(Vec3(1.0, 0.0, 0.0));
    EXPECT_TRUE(eachWithin({zero.x, zero.y, zero.z}, {0.0, 0.0, 1.0}));

    // Largest component x: the z axis is used, and y cross z = x.
    Vec3 bigX(9.0, 1.0, 1.0);
    bigX.ortho(Vec3(0.0, 1.0, 0.0));
    EXPECT_TRUE(eachWithin({bigX.x, bigX.y, bigX.z}, {1.0, 0.0, 0.0}));

    // v along the chosen axis: the cross product is zero and normalises to +x.
    Vec3 bigY(1.0, 9.0, 1.0);
    bigY.ortho(Vec3(-2.0, 0.0, 0.0));
    EXPECT_TRUE(eachWithin({bigY.x, bigY.y, bigY.z}, {1.0, 0.0, 0.0}, 0.0));

    // For a general v the result is a unit vector at right angles to it.
    Vec3 general(0.3, -0.2, 0.1);
    Vec3 dir(1.0, 2.0, -0.5);
    general.ortho(dir);
    EXPECT_NEAR(general.length(), 1.0, 1e-15);
    EXPECT_NEAR(general.dot(dir), 0.0, 1e-15);
}

TEST(Vec3Test, CyclicDifferenceWrapsByOnePeriodAtMost) {
    EXPECT_EQ(cyclicDifference(350.0, 10.0, 360.0), -20.0);
    EXPECT_EQ(cyclicDifference(10.0, 350.0, 360.0), 20.0);
    // Exactly half a period is not beyond half a period.
    EXPECT_EQ(cyclicDifference(190.0, 10.0, 360.0), 180.0);
    EXPECT_EQ(cyclicDifference(10.0, 190.0, 360.0), -180.0);
    EXPECT_EQ(cyclicDifference(900.0, 0.0, 360.0), 540.0);

    Vec3 d = Vec3(350.0, 0.0, -5.0).rotationalDifference(Vec3(10.0, 0.0, 5.0));
    EXPECT_TRUE(eachSameBits({d.x, d.y, d.z}, {340.0, 0.0, -10.0}));
}

TEST(Vec3Test, CopyOperationsLeaveTheObjectAlone) {
    Vec3 v(1.5, -1.5, 2.0);
    Vec3 floored = v.floor();
    EXPECT_TRUE(eachSameBits({floored.x, floored.y, floored.z}, {1.0, -2.0, 2.0}));
    EXPECT_TRUE(eachSameBits({v.x, v.y, v.z}, {1.5, -1.5, 2.0}));

    Vec3 n = Vec3(0.0, 1.0, -2.0).negate();
    EXPECT_TRUE(eachSameBits({n.x, n.y, n.z}, {-0.0, -1.0, 2.0}));
    Vec3 i = Vec3(2.0, -4.0, 0.0).invert();
    EXPECT_TRUE(eachSameBits({i.x, i.y, i.z}, {0.5, -0.25, INFINITY}));

    Vec3 s(0.0, 1.0, -2.0);
    s.setNegate();
    EXPECT_TRUE(eachSameBits({s.x, s.y, s.z}, {-0.0, -1.0, 2.0}));
    s.setInvert();
    EXPECT_TRUE(eachSameBits({s.x, s.y, s.z}, {-INFINITY, -1.0, 0.5}));
}

TEST(Vec3Test, ArithmeticAndDistances) {
    Vec3 a(1.0, 2.0, 3.0);
    a += Vec3(2.0, 1.0, 0.0);
    a *= Vec3(1.0, 2.0, 5.0);
    a /= 3.0;
    a -= 1.0;
    a += 1.0;
    EXPECT_TRUE(eachSameBits({a.x, a.y, a.z}, {1.0, 2.0, 5.0}));
    Vec3 b = (a + 1.0) * 2.0 - Vec3(4.0, 6.0, 12.0);
    EXPECT_TRUE(eachSameBits({b.x, b.y, b.z}, {0.0, 0.0, 0.0}));

    EXPECT_EQ(Vec3(1.0, 2.0, 2.0).length(), 3.0);
    EXPECT_EQ(Vec3(1.0, 2.0, 2.0).lengthSquare(), 9.0);
    EXPECT_EQ(Vec3(1.0, 1.0, 1.0).distance(Vec3(3.0, 4.0, 7.0)), 7.0);
    EXPECT_EQ(Vec3(1.0, 1.0, 1.0).distanceSquare(Vec3(3.0, 4.0, 7.0)), 49.0);
}

TEST(Vec3Test, BoundsAndMixing) {
    Vec3 m(1.0, 5.0, -1.0);
    m.getMin(Vec3(3.0, 2.0, -1.0));
    EXPECT_TRUE(eachSameBits({m.x, m.y, m.z}, {1.0, 2.0, -1.0}));
    m.getMax(Vec3(0.0, 4.0, 0.0));
    EXPECT_TRUE(eachSameBits({m.x, m.y, m.z}, {1.0, 4.0, 0.0}));

    // Lo above hi on x: a value below lo takes lo, any other takes hi.
    Vec3 low(0.0, -1.0, 9.0);
    low.clamp(Vec3(5.0, 0.0, 0.0), Vec3(1.0, 2.0, 2.0));
    EXPECT_TRUE(eachSameBits({low.x, low.y, low.z}, {5.0, 0.0, 2.0}));
    Vec3 high(7.0, 1.0, 1.0);
    high.clamp(Vec3(5.0, 0.0, 0.0), Vec3(1.0, 2.0, 2.0));
    EXPECT_TRUE(eachSameBits({high.x, high.y, high.z}, {1.0, 1.0, 1.0}));

    Vec3 l = Vec3::lerp(Vec3(0.0, 10.0, -2.0), Vec3(10.0, 20.0, 2.0), -0.5);
    EXPECT_TRUE(eachWithin({l.x, l.y, l.z}, {-5.0, 5.0, -4.0}));
}

TEST(Vec3Test, MatrixTransformsDifferInTranslationAndDivision) {
    // A bottom row that is not (0, 0, 0, 1).
    Mat4 m(2, 0, 0, 1, 0, 3, 0, 0, 0, 0, 4, 0, 10, 20, 30, 2, true);
    Vec3 point(1, 1, 1);
    point.applyMatrix4(m);
    EXPECT_TRUE(eachSameBits({point.x, point.y, point.z}, {12, 23, 34}));
    Vec3 asMatrix = m * Vec3(1, 1, 1);
    EXPECT_TRUE(eachSameBits({asMatrix.x, asMatrix.y, asMatrix.z}, {12, 23, 34}));

    Vec3 projected(1, 1, 1);
    projected.applyProjection(m);
    EXPECT_TRUE(eachWithin({projected.x, projected.y, projected.z}, {4, 23.0 / 3, 34.0 / 3}));
    Vec3 viaMatrix = m.multAndProject(Vec3(1, 1, 1));
    EXPECT_TRUE(eachWithin({projected.x, projected.y, projected.z},
                           {viaMatrix.x, viaMatrix.y, viaMatrix.z}));
    Vec3 unchanged(3, -4, 5);
    unchanged.applyProjection(Mat4::identity());
    EXPECT_TRUE(eachSameBits({unchanged.x, unchanged.y, unchanged.z}, {3, -4, 5}));

    Vec3 dir(0, 1, 0);
    dir.transformDirection(m);
    EXPECT_TRUE(eachSameBits({dir.x, dir.y, dir.z}, {0, 1, 0}));
    Vec3 flattened(0, 0, 1);
    flattened.transformDirection(Mat4(false));
    EXPECT_TRUE(eachSameBits({flattened.x, flattened.y, flattened.z}, {1, 0, 0}));

    Vec3 column;
    column.setFromMatrixColumn(m, 3);
    EXPECT_TRUE(eachSameBits({column.x, column.y, column.z}, {10, 20, 30}));
    column.setFromMatrixColumn(m, 0);
    EXPECT_TRUE(eachSameBits({column.x, column.y, column.z}, {2, 0, 0}));
    Vec3 position;
    position.setFromMatrixPosition(m);
    EXPECT_TRUE(eachSameBits({position.x, position.y, position.z}, {10, 20, 30}));
}

TEST(Vec3Test, ApplyQuaternionTurnsAndScalesByTheSquaredLength) {
    Vec3 v(1, 0, 0);
    v.applyQuaternion(Quaternion(0, 0, std::sin(kPi / 4), std::cos(kPi / 4)));
    EXPECT_TRUE(eachWithin({v.x, v.y, v.z}, {0, 1, 0}));
    // Not normalised: a quaternion of length 2 scales by 4.
    Vec3 w(0, 3, 0);
    w.applyQuaternion(Quaternion(0, 0, 0, 2));
    EXPECT_TRUE(eachSameBits({w.x, w.y, w.z}, {0, 12, 0}));
}
