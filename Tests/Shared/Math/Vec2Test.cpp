#include "Vec2.h"

#include "MathExpect.h"

#include <cmath>
#include <limits>

using Brindel::GaussianBlur::Vec2;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

} // namespace

TEST(Vec2Test, RotateUsesTheWrittenDegreeFactor) {
    // With the full-precision factor cos(90 degrees) would be about 6e-17.
    Vec2 v(1.0, 0.0);
    v.rotate(90.0);
    EXPECT_TRUE(eachSameBits({v.x, v.y}, {2.6484540326036093e-14, 1.0}));

    Vec2 p(2.0, 1.0);
    Vec2 turned = p.rotateRound(90.0, Vec2(1.0, 1.0));
    EXPECT_TRUE(eachSameBits({turned.x, turned.y}, {1.0000000000000264, 2.0}));
    EXPECT_TRUE(eachSameBits({p.x, p.y}, {2.0, 1.0}));

    p.rotateAround(90.0, Vec2(1.0, 1.0));
    EXPECT_TRUE(eachSameBits({p.x, p.y}, {1.0000000000000264, 2.0}));
}

TEST(Vec2Test, RotationsByExactlyZeroLeaveTheBitsUntouched) {
    // Running the formula with cos 0 and sin 0 would turn -0 into +0 and
    // multiply the infinity by zero.
    Vec2 v(-0.0, kInf);
    v.rotate(0.0);
    EXPECT_TRUE(eachSameBits({v.x, v.y}, {-0.0, kInf}));

    Vec2 copy = v.rotateRound(0.0, Vec2(3.0, 4.0));
    EXPECT_TRUE(eachSameBits({copy.x, copy.y}, {-0.0, kInf}));

    v.rotateAround(0.0, Vec2(3.0, 4.0));
    EXPECT_TRUE(eachSameBits({v.x, v.y}, {-0.0, kInf}));
}

TEST(Vec2Test, EqualityIsInclusiveWhileNegligibleAndDuplicateAreStrict) {
    EXPECT_TRUE(Vec2(0.0, 0.0) == Vec2(1e-12, 0.0));
    EXPECT_TRUE(Vec2(0.0, 0.0) == Vec2(0.0, -1e-12));
    EXPECT_FALSE(Vec2(0.0, 0.0) == Vec2(0.0, 2e-12));
    Vec2 origin;
    EXPECT_FALSE(origin != Vec2(1e-12, 1e-12));
    EXPECT_TRUE(origin != Vec2(2e-12, 0.0));
    EXPECT_TRUE(Vec2(1.0, 2.0).equal(Vec2(1.5, 1.5), 0.5));
    EXPECT_FALSE(Vec2(1.0, 2.0).equal(Vec2(1.5, 1.4), 0.5));

    EXPECT_FALSE(Vec2::negligible(1e-12));
    EXPECT_FALSE(Vec2::negligible(-1e-12));
    EXPECT_TRUE(Vec2::negligible(9e-13));
    EXPECT_FALSE(Vec2(1e-12, 0.0).negligible());
    EXPECT_TRUE(Vec2(1e-12, 0.0).nonNegligible());
    EXPECT_TRUE(Vec2(9e-13, -9e-13).negligible());

    EXPECT_FALSE(Vec2::isDuplicate(Vec2(0.0, 0.0), Vec2(0.25, 0.0)));
    EXPECT_TRUE(Vec2::isDuplicate(Vec2(0.0, 0.0), Vec2(0.2499, 0.2499)));
    // A box test: the diagonal distance is beyond 0.25.
    EXPECT_TRUE(Vec2::isDuplicate(Vec2(0.0, 0.0), Vec2(0.24, -0.24)));

    // A radius test on squares: the radius itself fails.
    EXPECT_FALSE(Vec2::equalWithTolerance(Vec2(0.0, 0.0), Vec2(3.0, 4.0), 5.0));
    EXPECT_TRUE(Vec2::equalWithTolerance(Vec2(0.0, 0.0), Vec2(3.0, 4.0), 5.000001));
    EXPECT_FALSE(Vec2::equalWithTolerance(1.0, 1.0, 1.3, 1.5, 0.5));
    EXPECT_TRUE(Vec2::equalWithTolerance(1.0, 1.0, 1.3, 1.3, 0.5));

    EXPECT_TRUE(Vec2(-0.0, 0.0).isZero());
    EXPECT_FALSE(Vec2(1e-300, 0.0).isZero());
}

TEST(Vec2Test, NaNFailsEveryTestButTheComplements) {
    Vec2 bad(kNaN, 0.0);
    EXPECT_FALSE(bad == bad);
    EXPECT_TRUE(bad != bad);
    EXPECT_FALSE(bad.equal(bad, 1.0));
    EXPECT_FALSE(bad.isZero());
    EXPECT_FALSE(bad.negligible());
    EXPECT_TRUE(bad.nonNegligible());
    EXPECT_FALSE(bad.isCollinear(Vec2(1.0, 0.0)));
    EXPECT_FALSE(bad.isOrthogonal(Vec2(1.0, 0.0)));
    EXPECT_FALSE(Vec2::isDuplicate(bad, Vec2()));
    EXPECT_FALSE(Vec2::equalWithTolerance(bad, Vec2(), 1.0));
}

TEST(Vec2Test, CollinearAndOrthogonalScaleTheToleranceByTheLengths) {
    EXPECT_TRUE(Vec2(1.0, 1.0).isOrthogonal(Vec2(1.0, -1.0)));
    EXPECT_FALSE(Vec2(1.0, 1.0).isOrthogonal(Vec2(1.0, 1.0)));
    EXPECT_TRUE(Vec2(2.0, 4.0).isCollinear(Vec2(-1.0, -2.0)));
    EXPECT_FALSE(Vec2(2.0, 4.0).isCollinear(Vec2(-1.0, 2.0)));

    // Cross and dot products of 1e-16 would pass an unscaled 1e-12.
    EXPECT_FALSE(Vec2(1e-8, 0.0).isCollinear(Vec2(0.0, 1e-8)));
    EXPECT_FALSE(Vec2(1e-8, 0.0).isOrthogonal(Vec2(1e-8, 0.0)));
    // And large vectors that are nearly aligned pass although the raw cross
    // product is far above 1e-12.
    EXPECT_TRUE(Vec2(1e8, 1e8).isCollinear(Vec2(1e8, 1e8 + 1e-6)));

    EXPECT_TRUE(Vec2().isCollinear(Vec2(3.0, 4.0)));
    EXPECT_TRUE(Vec2(3.0, 4.0).isOrthogonal(Vec2()));
}

TEST(Vec2Test, ZeroVectorsTakeThePlusXDirectionExceptInThePointerForm) {
    Vec2 v;
    v.normalize();
    EXPECT_TRUE(eachSameBits({v.x, v.y}, {1.0, 0.0}));

    Vec2 w;
    w.setLength(5.0);
    EXPECT_TRUE(eachSameBits({w.x, w.y}, {5.0, 0.0}));

    Vec2 u(3.0, 4.0);
    u.setLength(10.0);
    EXPECT_TRUE(eachWithin({u.x, u.y}, {6.0, 8.0}));
    u.setLength(-5.0);
    EXPECT_TRUE(eachWithin({u.x, u.y}, {-3.0, -4.0}));

    // No tolerance in the member form: a tiny vector is still scaled.
    Vec2 tiny(3e-100, 4e-100);
    tiny.normalize();
    EXPECT_TRUE(eachWithin({tiny.x, tiny.y}, {0.6, 0.8}));

    double a = 0.0;
    double b = 0.0;
    Vec2::normalize(&a, &b);
    EXPECT_TRUE(eachSameBits({a, b}, {0.0, 0.0}));
    // A length of exactly 1e-12 is not above the bound.
    a = 0.0;
    b = -1e-12;
    Vec2::normalize(&a, &b);
    EXPECT_TRUE(eachSameBits({a, b}, {0.0, -1e-12}));
    a = 3.0;
    b = -4.0;
    Vec2::normalize(&a, &b);
    EXPECT_TRUE(eachWithin({a, b}, {0.6, -0.8}));
}

TEST(Vec2Test, AnglesAreDegreesAndSigned) {
    EXPECT_EQ(Vec2().getAngle(), 0.0);
    // atan2 alone would answer 180 for a negative zero x.
    EXPECT_EQ(Vec2(-0.0, 0.0).getAngle(), 0.0);
    EXPECT_EQ(Vec2(-1.0, 0.0).getAngle(), 180.0);
    EXPECT_EQ(Vec2(0.0, -1.0).getAngle(), -90.0);
    EXPECT_NEAR(Vec2(1.0, 1.0).getAngle(), 45.0, 1e-12);

    EXPECT_NEAR(Vec2(1.0, 0.0).angleBetween(Vec2(0.0, 1.0)), 90.0, 1e-12);
    EXPECT_NEAR(Vec2(0.0, 1.0).angleBetween(Vec2(1.0, 0.0)), -90.0, 1e-12);

    Vec2 v(3.0, 4.0);
    v.setAngle(135.0);
    EXPECT_NEAR(v.length(), 5.0, 1e-12);
    EXPECT_NEAR(v.getAngle(), 135.0, 1e-9);
    // setAngle goes through the same truncated factor as rotate.
    Vec2 r(5.0, 0.0);
    r.rotate(135.0);
    EXPECT_TRUE(eachWithin({v.x, v.y}, {r.x, r.y}, 1e-14));

    Vec2 zero;
    zero.setAngle(30.0);
    EXPECT_TRUE(zero.isZero());
}

TEST(Vec2Test, ComponentOperationsKeepTheirDistinctMeanings) {
    Vec2 a(2.0, 3.0);
    Vec2 b(4.0, 5.0);
    Vec2 prod = a.dotProduction(b);
    EXPECT_TRUE(eachSameBits({prod.x, prod.y}, {8.0, 15.0}));
    EXPECT_EQ(a.dot(b), 23.0);
    EXPECT_EQ(a.cross(b), -2.0);
    EXPECT_EQ(Vec2::cross(2.0, 3.0, 4.0, 5.0), -2.0);
    EXPECT_EQ(Vec2::distanceSquared(a, b), 8.0);
    EXPECT_EQ(Vec2(3.0, 6.0).slope(), 2.0);

    Vec2 m = Vec2(-7.0, 7.0) % Vec2(3.0, -3.0);
    EXPECT_TRUE(eachSameBits({m.x, m.y}, {-1.0, 1.0}));

    Vec2 n = Vec2(0.0, -2.0).negate();
    EXPECT_TRUE(eachSameBits({n.x, n.y}, {-0.0, 2.0}));

    // No guard on a zero divisor.
    Vec2 d = Vec2(1.0, -1.0) / 0.0;
    EXPECT_TRUE(eachSameBits({d.x, d.y}, {kInf, -kInf}));

    Vec2 c(1.0, 2.0);
    c += Vec2(1.0, 1.0);
    c *= 3.0;
    c -= 1.0;
    c /= Vec2(5.0, 4.0);
    EXPECT_TRUE(eachSameBits({c.x, c.y}, {1.0, 2.0}));

    double arr[] = {9.0, 8.0, 7.0};
    Vec2 f(1.0, 1.0);
    f.fromArray(nullptr, 0);
    EXPECT_TRUE(eachSameBits({f.x, f.y}, {1.0, 1.0}));
    f.fromArray(arr, 1);
    EXPECT_TRUE(eachSameBits({f.x, f.y}, {8.0, 7.0}));
}

TEST(Vec2Test, QuadrantsCountZeroAsNonNegative) {
    EXPECT_EQ(Vec2(0.0, 0.0).getQuadrant(), 1);
    EXPECT_EQ(Vec2(-1.0, 0.0).getQuadrant(), 2);
    EXPECT_EQ(Vec2(-1.0, -1.0).getQuadrant(), 3);
    EXPECT_EQ(Vec2(0.0, -1.0).getQuadrant(), 4);

    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(1.0, 1.0), Vec2(0.0, -1.0)));
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(1.0, 0.0), Vec2(-1.0, 1.0)));
    EXPECT_FALSE(Vec2::oppositeQuadrant(Vec2(1.0, 1.0), Vec2(-1.0, 1.0)));
    // Both on an axis, on opposite sides of the origin.
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(2.0, 0.0), Vec2(-3.0, 0.0)));
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(0.0, 2.0), Vec2(0.0, -3.0)));
    // A zero sign against a non-zero one counts as different.
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(0.0, 2.0), Vec2(0.0, 0.0)));
    // Same x sign and y signs that differ, with neither pair both zero.
    EXPECT_FALSE(Vec2::oppositeQuadrant(Vec2(1.0, 0.0), Vec2(1.0, 2.0)));
    // NaN counts as a zero sign.
    EXPECT_TRUE(Vec2::oppositeQuadrant(Vec2(kNaN, 1.0), Vec2(0.0, -1.0)));
    // Signs alone decide, not magnitudes.
    EXPECT_FALSE(Vec2::oppositeQuadrant(Vec2(1e-300, 1e-300), Vec2(1e300, 1e300)));
}

TEST(Vec2Test, SignsAndBoundsChangeTheReceiver) {
    Vec2 a(2.0, 3.0);
    a.followSigns(Vec2(0.0, 1.0));
    EXPECT_TRUE(eachSameBits({a.x, a.y}, {-2.0, 3.0}));
    Vec2 b(-2.0, 3.0);
    b.followSigns(Vec2(0.0, 0.0));
    EXPECT_TRUE(eachSameBits({b.x, b.y}, {-2.0, -3.0}));

    Vec2 m(1.0, 5.0);
    m.getMin(Vec2(3.0, 2.0));
    EXPECT_TRUE(eachSameBits({m.x, m.y}, {1.0, 2.0}));
    m.getMax(Vec2(3.0, 0.0));
    EXPECT_TRUE(eachSameBits({m.x, m.y}, {3.0, 2.0}));

    Vec2 low(0.0, 3.0);
    low.clamp(Vec2(5.0, 5.0), Vec2(1.0, 1.0));
    EXPECT_TRUE(eachSameBits({low.x, low.y}, {5.0, 5.0}));
    Vec2 high(7.0, 7.0);
    high.clamp(Vec2(5.0, 5.0), Vec2(1.0, 1.0));
    EXPECT_TRUE(eachSameBits({high.x, high.y}, {1.0, 1.0}));
    Vec2 mid(-1.0, 9.0);
    mid.clamp(Vec2(0.0, 0.0), Vec2(4.0, 4.0));
    EXPECT_TRUE(eachSameBits({mid.x, mid.y}, {0.0, 4.0}));

    Vec2 l = Vec2::lerp(Vec2(0.0, 10.0), Vec2(10.0, 20.0), 1.5);
    EXPECT_TRUE(eachWithin({l.x, l.y}, {15.0, 25.0}));
}

TEST(Vec2Test, PerpendicularsTurnByAQuarterEachWay) {
    Vec2 v(2.0, 3.0);
    Vec2 left = v.perpindicularLeft();
    Vec2 normal = v.normal();
    Vec2 right = v.perpindicularRight();
    EXPECT_TRUE(eachSameBits({left.x, left.y}, {-3.0, 2.0}));
    EXPECT_TRUE(eachSameBits({normal.x, normal.y}, {-3.0, 2.0}));
    EXPECT_TRUE(eachSameBits({right.x, right.y}, {3.0, -2.0}));
    EXPECT_NEAR(v.angleBetween(left), 90.0, 1e-12);
    v.prepen();
    EXPECT_TRUE(eachSameBits({v.x, v.y}, {-3.0, 2.0}));
}

TEST(Vec2Test, ProjectionsUseTheInfiniteLine) {
    Vec2 onZero = Vec2(3.0, 4.0).project(Vec2(0.0, 0.0));
    EXPECT_TRUE(eachSameBits({onZero.x, onZero.y}, {0.0, 0.0}));
    Vec2 p = Vec2(2.0, 3.0).project(Vec2(4.0, 0.0));
    EXPECT_TRUE(eachWithin({p.x, p.y}, {2.0, 0.0}));
    Vec2 q = Vec2(2.0, 0.0).project(Vec2(1.0, 1.0));
    EXPECT_TRUE(eachWithin({q.x, q.y}, {1.0, 1.0}));

    // The foot lies beyond b: a segment distance would be sqrt(17).
    Vec2 point(5.0, 1.0);
    EXPECT_NEAR(point.distanceToLine(Vec2(0.0, 0.0), Vec2(1.0, 0.0)), 1.0, 1e-12);
    EXPECT_NEAR(point.lineProjectionLength(Vec2(0.0, 0.0), Vec2(1.0, 0.0)), 5.0, 1e-12);
    EXPECT_NEAR(point.lineProjectionLength(Vec2(7.0, 0.0), Vec2(8.0, 0.0)), 2.0, 1e-12);

    EXPECT_TRUE(std::isnan(point.distanceToLine(Vec2(1.0, 1.0), Vec2(1.0, 1.0))));
    EXPECT_TRUE(std::isnan(point.lineProjectionLength(Vec2(1.0, 1.0), Vec2(1.0, 1.0))));
}

TEST(Vec2Test, OriginConversionsAreInverse) {
    Vec2 size(100.0, 50.0);
    Vec2 topLeft = Vec2::centerToTopLefetPoint(Vec2(10.0, 5.0), size);
    EXPECT_TRUE(eachSameBits({topLeft.x, topLeft.y}, {60.0, 20.0}));
    Vec2 back = Vec2::topLeftToCenterPoint(topLeft, size);
    EXPECT_TRUE(eachSameBits({back.x, back.y}, {10.0, 5.0}));

    Vec2 odd(-3.25, 41.5);
    Vec2 there = Vec2::topLeftToCenterPoint(Vec2::centerToTopLefetPoint(odd, size), size);
    EXPECT_TRUE(eachWithin({there.x, there.y}, {odd.x, odd.y}));
}

TEST(Vec2Test, SideTestsLookOnlyAtTheLineThroughTheFirstPair) {
    EXPECT_EQ(Vec2::signedArea(Vec2(0.0, 0.0), Vec2(1.0, 0.0), Vec2(0.0, 1.0)), 1.0);
    EXPECT_EQ(Vec2::signedArea(Vec2(0.0, 0.0), Vec2(0.0, 1.0), Vec2(1.0, 0.0)), -1.0);

    Vec2 a(0.0, 0.0);
    Vec2 b(1.0, 0.0);
    EXPECT_TRUE(Vec2::intersecting(a, b, Vec2(0.5, 1.0), Vec2(0.5, -1.0)));
    // c-d crosses the line far beyond b, and still counts.
    EXPECT_TRUE(Vec2::intersecting(a, b, Vec2(9.0, 1.0), Vec2(9.0, -1.0)));
    EXPECT_FALSE(Vec2::intersecting(a, b, Vec2(0.5, 1.0), Vec2(0.7, 2.0)));
    // A point on the line counts with the negative side.
    EXPECT_FALSE(Vec2::intersecting(a, b, Vec2(0.5, 0.0), Vec2(0.5, -1.0)));
    EXPECT_TRUE(Vec2::intersecting(a, b, Vec2(0.5, 0.0), Vec2(0.5, 1.0)));
}

TEST(Vec2Test, AnchorsFlipTheDirectionAgainstTheVectorFromCToB) {
    Vec2 a(1.0, 0.0);
    Vec2 b(2.0, 0.0);
    Vec2 c(0.0, 0.0);
    EXPECT_TRUE(Vec2::anchorOutwardD(a, b, c));
    EXPECT_FALSE(Vec2::anchorOutward(a, b, c, false));
    EXPECT_TRUE(eachSameBits({a.x, a.y}, {1.0, 0.0}));
    EXPECT_TRUE(Vec2::anchorInward(a, b, c));
    EXPECT_TRUE(eachSameBits({a.x, a.y}, {-1.0, -0.0}));
    EXPECT_FALSE(Vec2::anchorOutwardD(a, b, c));
    EXPECT_TRUE(eachSameBits({a.x, a.y}, {-1.0, -0.0}));

    // D = 0 is not outward, so the non-flipping form negates.
    Vec2 side(0.0, 1.0);
    EXPECT_TRUE(Vec2::anchorOutward(side, b, c, false));
    EXPECT_TRUE(eachSameBits({side.x, side.y}, {-0.0, -1.0}));
    // And the flipping form leaves it.
    EXPECT_FALSE(Vec2::anchorInward(side, b, c));
    EXPECT_TRUE(eachSameBits({side.x, side.y}, {-0.0, -1.0}));
}

TEST(Vec2Test, IntersectReportsWhichParametersFallOutside) {
    Vec2 out(7.0, 7.0);
    double t = -1.0;
    double u = -1.0;

    EXPECT_EQ(Vec2::intersect(Vec2(0, 0), Vec2(2, 2), Vec2(0, 2), Vec2(2, 0), out, &t, &u), 1);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {1.0, 1.0, 0.5, 0.5}));

    EXPECT_EQ(Vec2::intersect(Vec2(0, 0), Vec2(1, 0), Vec2(2, -1), Vec2(2, 1), out, &t, &u), 3);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {2.0, 0.0, 2.0, 0.5}));

    EXPECT_EQ(Vec2::intersect(Vec2(2, -1), Vec2(2, 1), Vec2(0, 0), Vec2(1, 0), out, &t, &u), 4);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {2.0, 0.0, 0.5, 2.0}));

    EXPECT_EQ(Vec2::intersect(Vec2(0, 0), Vec2(1, 0), Vec2(3, 1), Vec2(3, 2), out, &t, &u), 5);
    EXPECT_TRUE(eachWithin({out.x, out.y, t, u}, {3.0, 0.0, 3.0, -1.0}));

    // Parameters of exactly 0 and 1 are inside.
    EXPECT_EQ(Vec2::intersect(Vec2(0, 0), Vec2(1, 0), Vec2(1, 0), Vec2(1, 1), out, &t, &u), 1);
    EXPECT_TRUE(eachSameBits({out.x, out.y, t, u}, {1.0, 0.0, 1.0, 0.0}));

    // Parallel and coincident lines leave the parameters alone.
    t = u = -1.0;
    EXPECT_EQ(Vec2::intersect(Vec2(0, 0), Vec2(1, 0), Vec2(0, 1), Vec2(1, 1), out, &t, &u), 0);
    EXPECT_TRUE(eachSameBits({out.x, out.y, t, u}, {0.0, 0.0, -1.0, -1.0}));
    EXPECT_EQ(Vec2::intersect(Vec2(0, 0), Vec2(2, 0), Vec2(1, 0), Vec2(3, 0), out, &t, &u), 2);
    EXPECT_TRUE(eachSameBits({out.x, out.y, t, u}, {1.0, 0.0, -1.0, -1.0}));

    // Without the pointers the point and the code are the same.
    Vec2 again;
    EXPECT_EQ(
        Vec2::intersect(Vec2(0, 0), Vec2(1, 0), Vec2(2, -1), Vec2(2, 1), again, nullptr, nullptr),
        3);
    EXPECT_TRUE(eachWithin({again.x, again.y}, {2.0, 0.0}));
}
