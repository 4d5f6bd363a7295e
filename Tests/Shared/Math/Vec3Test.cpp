#include "Vec3.h"

#include "Mat4.h"
#include "Quaternion.h"

#include "MathExpect.h"

#include <cmath>

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

constexpr double kPi = 3.14159265358979323846;

} // namespace

TEST(Vec3Test, IndicesAndArraysAddressTheComponentsInOrder) {
    double out[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
    Vec3(Vec2(1.0, 2.0), 3.0).toArray(out, 2);
    Vec3 v;
    v.fromArray(out, 1);
    EXPECT_TRUE(is(v, 0.0, 1.0, 2.0, 0.0));
    // Any index other than 0 and 1 writes z.
    v.set(5, 7.0);
    EXPECT_EQ(v.z, 7.0);
    v.set(-1, 8.0);
    EXPECT_TRUE(is(v, 0.0, 1.0, 8.0, 0.0));
    EXPECT_EQ(Vec3(-3.0, 2.0, 1.0).largestAbsComponent(), 0);
    // Ties go to the higher index.
    EXPECT_EQ(Vec3(1.0, -1.0, 0.0).largestAbsComponent(), 1);
    EXPECT_EQ(Vec3(-1.0, 0.0, 1.0).largestAbsComponent(), 2);
    EXPECT_EQ(Vec3(0.0, 0.0, 0.0).largestAbsComponent(), 2);
}

TEST(Vec3Test, EqualityBoundsEachComponentAndLetsTheBoundPass) {
    EXPECT_FALSE(Vec3(1.0, 2.0, 3.0) == Vec3(1.0, 2.0, 3.5));
    EXPECT_TRUE(Vec3(1.0, 2.0, 3.0).equal(Vec3(1.0, 2.0, 3.5), 0.5));
    EXPECT_TRUE(Vec3() == Vec3(1e-12, -1e-12, 1e-12));
    EXPECT_TRUE(Vec3() != Vec3(0.0, 0.0, 2e-12));
}

TEST(Vec3Test, ZeroVectorsNormalizeToPlusXAndHaveNoAngle) {
    Vec3 v, w;
    v.normalize();
    w.setLength(3.0);
    EXPECT_TRUE(is(v, 1.0, 0.0, 0.0, 0.0));
    EXPECT_TRUE(is(w, 3.0, 0.0, 0.0, 0.0));
    // Unsigned radians, unlike Vec2's signed degrees.
    EXPECT_NEAR(Vec3(0, 1, 0).angleBetween(Vec3(1, 0, 0)), kPi / 2, 1e-15);
    EXPECT_TRUE(std::isnan(Vec3(1, 0, 0).angleBetween(Vec3(0, 0, 0))));
}

TEST(Vec3Test, OrthoBuildsOnTheAxisBeforeTheLargestComponent) {
    Vec3 v(0.0, 0.0, 5.0), zero, bigX(9.0, 1.0, 1.0), bigY(1.0, 9.0, 1.0);
    v.ortho(Vec3(1.0, 0.0, 0.0));
    zero.ortho(Vec3(1.0, 0.0, 0.0));  // index 2, so the y axis
    bigX.ortho(Vec3(0.0, 1.0, 0.0));  // the z axis
    bigY.ortho(Vec3(-2.0, 0.0, 0.0)); // parallel to the x axis: a zero cross product
    EXPECT_TRUE(is(v, 0.0, 0.0, 1.0));
    EXPECT_TRUE(is(zero, 0.0, 0.0, 1.0));
    EXPECT_TRUE(is(bigX, 1.0, 0.0, 0.0));
    EXPECT_TRUE(is(bigY, 1.0, 0.0, 0.0));
    Vec3 general(0.3, -0.2, 0.1), dir(1.0, 2.0, -0.5);
    general.ortho(dir);
    EXPECT_TRUE(eachWithin({general.length(), general.dot(dir)}, {1.0, 0.0}, 1e-15));
}

TEST(Vec3Test, CyclicDifferenceWrapsByOnePeriodAtMost) {
    EXPECT_EQ(cyclicDifference(350.0, 10.0, 360.0), -20.0);
    EXPECT_EQ(cyclicDifference(10.0, 350.0, 360.0), 20.0);
    // Exactly half a period is not beyond half a period.
    EXPECT_EQ(cyclicDifference(190.0, 10.0, 360.0), 180.0);
    EXPECT_EQ(cyclicDifference(10.0, 190.0, 360.0), -180.0);
    EXPECT_EQ(cyclicDifference(900.0, 0.0, 360.0), 540.0);
    EXPECT_TRUE(is(Vec3(350, 0, 0).rotationalDifference(Vec3(10, 0, 0)), 340, 0, 0, 0.0));
}

TEST(Vec3Test, CopyFormsLeaveTheObjectAloneAndClampPrefersLo) {
    Vec3 v(1.5, -1.5, 2.0);
    EXPECT_TRUE(is(v.floor(), 1.0, -2.0, 2.0, 0.0));
    EXPECT_TRUE(is(v, 1.5, -1.5, 2.0, 0.0));
    Vec3 s(0.0, -4.0, 2.0);
    s.setInvert();
    s.setNegate();
    EXPECT_TRUE(is(s, -INFINITY, 0.25, -0.5, 0.0));
    // lo above hi on x: a value below lo takes lo, any other takes hi.
    Vec3 low(0.0, -1.0, 9.0), high(7.0, 1.0, 1.0);
    low.clamp(Vec3(5.0, 0.0, 0.0), Vec3(1.0, 2.0, 2.0));
    high.clamp(Vec3(5.0, 0.0, 0.0), Vec3(1.0, 2.0, 2.0));
    EXPECT_TRUE(is(low, 5.0, 0.0, 2.0, 0.0));
    EXPECT_TRUE(is(high, 1.0, 1.0, 1.0, 0.0));
}

TEST(Vec3Test, MatrixTransformsDifferInTranslationAndDivision) {
    // A bottom row that is not (0, 0, 0, 1).
    Mat4 m(2, 0, 0, 1, 0, 3, 0, 0, 0, 0, 4, 0, 10, 20, 30, 2, true);
    Vec3 point(1, 1, 1), projected(1, 1, 1), dir(0, 1, 0), flat(0, 0, 1), column;
    point.applyMatrix4(m);
    projected.applyProjection(m);
    dir.transformDirection(m);
    flat.transformDirection(Mat4(false));
    EXPECT_TRUE(is(point, 12, 23, 34, 0.0));
    EXPECT_TRUE(is(projected, 4, 23.0 / 3, 34.0 / 3));
    EXPECT_TRUE(is(dir, 0, 1, 0, 0.0));
    EXPECT_TRUE(is(flat, 1, 0, 0, 0.0));
    column.setFromMatrixColumn(m, 0);
    EXPECT_TRUE(is(column, 2, 0, 0, 0.0));
    column.setFromMatrixPosition(m);
    EXPECT_TRUE(is(column, 10, 20, 30, 0.0));
}

TEST(Vec3Test, ApplyQuaternionAgreesWithTheMatrixAndDoesNotNormalise) {
    Quaternion q;
    q.set(Vec3(-1, 0.5, 2), 2.4);
    Mat4 r;
    r.setWithQuaternion(q);
    Vec3 byMatrix = r * Vec3(3, -1, 0.25), applied(3, -1, 0.25);
    applied.applyQuaternion(q);
    EXPECT_TRUE(is(applied, byMatrix.x, byMatrix.y, byMatrix.z));
    EXPECT_TRUE(is(Quaternion::quaternionMulVec3(q, Vec3(3, -1, 0.25)), byMatrix.x, byMatrix.y,
                   byMatrix.z));
    // A quaternion of length 2 scales by 4.
    Vec3 w(0, 3, 0);
    w.applyQuaternion(Quaternion(0, 0, 0, 2));
    EXPECT_TRUE(is(w, 0, 12, 0, 0.0));
}
