#include "Vec2.h"

#include "MathExpect.h"

#include <cmath>
#include <limits>

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

} // namespace

TEST(Vec2Test, RotateUsesTheWrittenDegreeFactor) {
    // With the full-precision factor cos(90 degrees) would be about 6e-17.
    Vec2 v(1.0, 0.0);
    v.rotate(90.0);
    EXPECT_TRUE(is(v, 2.6484540326036093e-14, 1.0, 0.0));
    Vec2 p(2.0, 1.0);
    EXPECT_TRUE(is(p.rotateRound(90.0, Vec2(1.0, 1.0)), 1.0000000000000264, 2.0, 0.0));
    p.rotateAround(90.0, Vec2(1.0, 1.0));
    EXPECT_TRUE(is(p, 1.0000000000000264, 2.0, 0.0));
    // setAngle turns by the same factor.
    Vec2 a(3.0, 4.0), r(5.0, 0.0);
    a.setAngle(135.0);
    r.rotate(135.0);
    EXPECT_TRUE(is(a, r.x, r.y, 1e-14));
}

TEST(Vec2Test, RotationsByExactlyZeroLeaveTheBitsUntouched) {
    // The formula with cos 0 and sin 0 would turn -0 into +0 and the
    // infinity into NaN.
    Vec2 v(-0.0, kInf);
    v.rotate(0.0);
    EXPECT_TRUE(is(v, -0.0, kInf, 0.0));
    EXPECT_TRUE(is(v.rotateRound(0.0, Vec2(3.0, 4.0)), -0.0, kInf, 0.0));
    v.rotateAround(0.0, Vec2(3.0, 4.0));
    EXPECT_TRUE(is(v, -0.0, kInf, 0.0));
}

TEST(Vec2Test, EqualityIsInclusiveWhileNegligibleDuplicateAndRadiusTestsAreStrict) {
    EXPECT_TRUE(Vec2() == Vec2(1e-12, -1e-12));
    EXPECT_FALSE(Vec2() == Vec2(0.0, 2e-12));
    EXPECT_TRUE(Vec2(1.0, 2.0).equal(Vec2(1.5, 1.5), 0.5));
    EXPECT_FALSE(Vec2::negligible(1e-12));
    EXPECT_TRUE(Vec2(1e-12, 0.0).nonNegligible());
    EXPECT_FALSE(Vec2::isDuplicate(Vec2(0.0, 0.0), Vec2(0.25, 0.0)));
    // A box, not a circle: the diagonal distance is above 0.25.
    EXPECT_TRUE(Vec2::isDuplicate(Vec2(0.0, 0.0), Vec2(0.2499, -0.2499)));
    EXPECT_FALSE(Vec2::equalWithTolerance(Vec2(0.0, 0.0), Vec2(3.0, 4.0), 5.0));
    EXPECT_TRUE(Vec2::equalWithTolerance(0.0, 0.0, 3.0, 4.0, 5.000001));

    // NaN fails every test but the two complements.
    Vec2 bad(kNaN, 0.0);
    EXPECT_FALSE(bad == bad || bad.equal(bad, 1.0) || bad.isZero() || bad.negligible() ||
                 bad.isCollinear(Vec2(1, 0)) || bad.isOrthogonal(Vec2(0, 1)) ||
                 Vec2::isDuplicate(bad, Vec2()) || Vec2::equalWithTolerance(bad, Vec2(), 1.0));
    EXPECT_TRUE(bad != bad && bad.nonNegligible());
}

TEST(Vec2Test, CollinearAndOrthogonalScaleTheToleranceByTheLengths) {
    EXPECT_TRUE(Vec2(1.0, 1.0).isOrthogonal(Vec2(1.0, -1.0)));
    // Products of 1e-16 would pass an unscaled 1e-12; a cross product of 100
    // would fail it.
    EXPECT_FALSE(Vec2(1e-8, 0.0).isCollinear(Vec2(0.0, 1e-8)));
    EXPECT_FALSE(Vec2(1e-8, 0.0).isOrthogonal(Vec2(1e-8, 0.0)));
    EXPECT_TRUE(Vec2(1e8, 1e8).isCollinear(Vec2(1e8, 1e8 + 1e-6)));
    EXPECT_TRUE(Vec2().isCollinear(Vec2(3.0, 4.0)) && Vec2(3.0, 4.0).isOrthogonal(Vec2()));
}

TEST(Vec2Test, ZeroVectorsTakeThePlusXDirectionExceptInThePointerForm) {
    Vec2 v, w, tiny(3e-100, 4e-100);
    v.normalize();
    w.setLength(5.0);
    tiny.normalize(); // no tolerance: still scaled
    EXPECT_TRUE(is(v, 1.0, 0.0, 0.0));
    EXPECT_TRUE(is(w, 5.0, 0.0, 0.0));
    EXPECT_TRUE(is(tiny, 0.6, 0.8));
    double a = 0.0, b = 0.0, c = 0.0, d = -1e-12;
    Vec2::normalize(&a, &b);
    Vec2::normalize(&c, &d); // a length of exactly 1e-12 is not above the bound
    EXPECT_TRUE(eachWithin({a, b, c, d}, {0.0, 0.0, 0.0, -1e-12}, 0.0));
}

TEST(Vec2Test, AnglesAreSignedDegrees) {
    EXPECT_EQ(Vec2(-0.0, 0.0).getAngle(), 0.0); // atan2 alone would say 180
    EXPECT_EQ(Vec2(-1.0, 0.0).getAngle(), 180.0);
    EXPECT_EQ(Vec2(0.0, -1.0).getAngle(), -90.0);
    EXPECT_NEAR(Vec2(0.0, 1.0).angleBetween(Vec2(1.0, 0.0)), -90.0, 1e-12);
}

TEST(Vec2Test, OperationsWithSimilarNamesKeepTheirOwnMeanings) {
    EXPECT_TRUE(is(Vec2(2.0, 3.0).dotProduction(Vec2(4.0, 5.0)), 8.0, 15.0, 0.0));
    EXPECT_EQ(Vec2(2.0, 3.0).dot(Vec2(4.0, 5.0)), 23.0);
    EXPECT_TRUE(is(Vec2(-7.0, 7.0) % Vec2(3.0, -3.0), -1.0, 1.0, 0.0));
    EXPECT_TRUE(is(Vec2(0.0, -2.0).negate(), -0.0, 2.0, 0.0));
    double arr[] = {9.0, 8.0, 7.0};
    Vec2 f(1.0, 1.0);
    f.fromArray(nullptr, 0);
    EXPECT_TRUE(is(f, 1.0, 1.0, 0.0));
    f.fromArray(arr, 1);
    EXPECT_TRUE(is(f, 8.0, 7.0, 0.0));
}

TEST(Vec2Test, QuadrantsCountZeroAsNonNegativeAndOppositeComparesSignsOnly) {
    EXPECT_EQ(Vec2(0.0, 0.0).getQuadrant(), 1);
    EXPECT_EQ(Vec2(-1.0, 0.0).getQuadrant(), 2);
    EXPECT_EQ(Vec2(0.0, -1.0).getQuadrant(), 4);
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(1.0, 1.0), Vec2(0.0, -1.0)));
    EXPECT_FALSE(Vec2::oppositeQuadrant(Vec2(1.0, 1.0), Vec2(-1.0, 1.0)));
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(0.0, 2.0), Vec2(0.0, 0.0)));
    EXPECT_FALSE(Vec2::oppositeQuadrant(Vec2(1.0, 0.0), Vec2(1.0, 2.0)));
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(kNaN, 1.0), Vec2(0.0, -1.0)));
}

TEST(Vec2Test, SignsAndBoundsChangeTheReceiver) {
    Vec2 a(2.0, 3.0), b(-2.0, 3.0);
    a.followSigns(Vec2(0.0, 1.0));
    b.followSigns(Vec2(0.0, 0.0)); // zero counts as not positive
    EXPECT_TRUE(is(a, -2.0, 3.0, 0.0));
    EXPECT_TRUE(is(b, -2.0, -3.0, 0.0));
    Vec2 m(1.0, 5.0);
    m.getMin(Vec2(3.0, 2.0));
    EXPECT_TRUE(is(m, 1.0, 2.0, 0.0));
    // lo above hi: a value below lo takes lo, any other takes hi.
    Vec2 low(0.0, 3.0), high(7.0, 7.0);
    low.clamp(Vec2(5.0, 5.0), Vec2(1.0, 1.0));
    high.clamp(Vec2(5.0, 5.0), Vec2(1.0, 1.0));
    EXPECT_TRUE(is(low, 5.0, 5.0, 0.0));
    EXPECT_TRUE(is(high, 1.0, 1.0, 0.0));
}

TEST(Vec2Test, ProjectionsUseTheInfiniteLine) {
    EXPECT_TRUE(is(Vec2(3.0, 4.0).project(Vec2(0.0, 0.0)), 0.0, 0.0, 0.0));
    EXPECT_TRUE(is(Vec2(2.0, 0.0).project(Vec2(1.0, 1.0)), 1.0, 1.0));
    // The foot lies beyond b: a segment distance would be sqrt(17).
    Vec2 point(5.0, 1.0);
    EXPECT_NEAR(point.distanceToLine(Vec2(0.0, 0.0), Vec2(1.0, 0.0)), 1.0, 1e-12);
    EXPECT_NEAR(point.lineProjectionLength(Vec2(7.0, 0.0), Vec2(8.0, 0.0)), 2.0, 1e-12);
    EXPECT_TRUE(std::isnan(point.distanceToLine(Vec2(1.0, 1.0), Vec2(1.0, 1.0))));
}

TEST(Vec2Test, SideTestsLookOnlyAtTheLineThroughTheFirstPair) {
    Vec2 a(0.0, 0.0), b(1.0, 0.0);
    EXPECT_EQ(Vec2::signedArea(a, b, Vec2(0.0, 1.0)), 1.0);
    // c-d crosses the line far beyond b and still counts.
    EXPECT_TRUE(Vec2::intersecting(a, b, Vec2(9.0, 1.0), Vec2(9.0, -1.0)));
    // A point on the line counts with the negative side.
    EXPECT_FALSE(Vec2::intersecting(a, b, Vec2(0.5, 0.0), Vec2(0.5, -1.0)));
    EXPECT_TRUE(Vec2::intersecting(a, b, Vec2(0.5, 0.0), Vec2(0.5, 1.0)));
}

TEST(Vec2Test, AnchorsOrientTheDirectionAgainstTheVectorFromCToB) {
    Vec2 a(1.0, 0.0), b(2.0, 0.0), c(0.0, 0.0);
    EXPECT_TRUE(Vec2::anchorOutwardD(a, b, c));
    EXPECT_FALSE(Vec2::anchorOutward(a, b, c, false));
    EXPECT_TRUE(Vec2::anchorInward(a, b, c));
    EXPECT_TRUE(is(a, -1.0, -0.0, 0.0));
    // D = 0 is not outward: the non-flipping form negates, the flipping one keeps.
    Vec2 side(0.0, 1.0);
    EXPECT_TRUE(Vec2::anchorOutward(side, b, c, false));
    EXPECT_FALSE(Vec2::anchorInward(side, b, c));
    EXPECT_TRUE(is(side, -0.0, -1.0, 0.0));
}

TEST(Vec2Test, IntersectReportsWhichParametersFallOutside) {
    Vec2 out;
    double t = -1.0, u = -1.0;
    auto run = [&](Vec2 a, Vec2 b, Vec2 c, Vec2 d) {
        return Vec2::intersect(a, b, c, d, out, &t, &u);
    };
    EXPECT_EQ(run(Vec2(0, 0), Vec2(1, 0), Vec2(2, -1), Vec2(2, 1)), 3);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {2.0, 0.0, 2.0, 0.5}));
    EXPECT_EQ(run(Vec2(2, -1), Vec2(2, 1), Vec2(0, 0), Vec2(1, 0)), 4);
    EXPECT_EQ(run(Vec2(0, 0), Vec2(1, 0), Vec2(3, 1), Vec2(3, 2)), 5);
    // Parameters of exactly 0 and 1 are inside.
    EXPECT_EQ(run(Vec2(0, 0), Vec2(1, 0), Vec2(1, 0), Vec2(1, 1)), 1);
    EXPECT_TRUE(eachWithin({t, u}, {1.0, 0.0}, 0.0));
    // Parallel and coincident lines leave the parameters alone.
    t = u = -1.0;
    EXPECT_EQ(run(Vec2(0, 0), Vec2(1, 0), Vec2(0, 1), Vec2(1, 1)), 0);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {0.0, 0.0, -1.0, -1.0}, 0.0));
    EXPECT_EQ(run(Vec2(0, 0), Vec2(2, 0), Vec2(1, 0), Vec2(3, 0)), 2);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {1.0, 0.0, -1.0, -1.0}, 0.0));
    // Without the pointers the point and the code are the same.
    EXPECT_EQ(
        Vec2::intersect(Vec2(0, 0), Vec2(2, 2), Vec2(0, 2), Vec2(2, 0), out, nullptr, nullptr), 1);
    EXPECT_TRUE(is(out, 1.0, 1.0));
}
