#include "MathExpect.h"

#include <limits>

using namespace MathExpect;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

} // namespace

TEST(Vec2Test, RotationsUseTheWrittenDegreeFactorAndLeaveZeroTurnsBitExact) {
    // With the full-precision factor cos(90 degrees) would be about 6e-17; a formula with
    // cos 0 and sin 0 would turn -0 into +0 and the infinity into NaN.
    Vec2 r135 = after(Vec2(5, 0), [](Vec2& v) { v.rotate(135.0); });
    expectRows({
        ROW(after(Vec2(1, 0), [](Vec2& v) { v.rotate(90.0); }), 0.0, 2.6484540326036093e-14, 1),
        ROW(Vec2(2, 1).rotateRound(90.0, Vec2(1, 1)), 0.0, 1.0000000000000264, 2),
        ROW(after(Vec2(2, 1), [](Vec2& v) { v.rotateAround(90.0, Vec2(1, 1)); }), 0.0,
            1.0000000000000264, 2),
        ROW(after(Vec2(3, 4), [](Vec2& v) { v.setAngle(135.0); }), 1e-14, r135.x, r135.y),
        ROW(after(Vec2(-0.0, kInf), [](Vec2& v) { v.rotate(0.0); }), 0.0, -0.0, kInf),
        ROW(Vec2(-0.0, kInf).rotateRound(0.0, Vec2(3, 4)), 0.0, -0.0, kInf),
        ROW(after(Vec2(-0.0, kInf), [](Vec2& v) { v.rotateAround(0.0, Vec2(3, 4)); }), 0.0, -0.0,
            kInf),
        // Signed degrees; atan2 alone would give -0 the angle 180.
        ROW(Vec2(-0.0, 0.0).getAngle(), 0.0, 0.0),
        ROW(Vec2(-1.0, 0.0).getAngle(), 0.0, 180.0),
        ROW(Vec2(0.0, -1.0).getAngle(), 0.0, -90.0),
        ROW(Vec2(0.0, 1.0).angleBetween(Vec2(1, 0)), 1e-12, -90.0),
    });
}

TEST(Vec2Test, PredicatesHonourTheirBounds) {
    Vec2 bad(kNaN, 0.0);
    expectFacts({
        // Collinear and orthogonal scale the tolerance by the lengths: products of 1e-16
        // would pass an unscaled 1e-12, a cross product of 100 would fail it.
        FACT(Vec2(1, 1).isOrthogonal(Vec2(1, -1)), true),
        FACT(Vec2(1e-8, 0).isCollinear(Vec2(0, 1e-8)), false),
        FACT(Vec2(1e-8, 0).isOrthogonal(Vec2(1e-8, 0)), false),
        FACT(Vec2(1e8, 1e8).isCollinear(Vec2(1e8, 1e8 + 1e-6)), true),
        FACT(Vec2().isCollinear(Vec2(3, 4)) && Vec2(3, 4).isOrthogonal(Vec2()), true),
        // NaN fails every test but the two complements.
        FACT(bad == bad || bad.equal(bad, 1.0) || bad.isZero() || bad.negligible() ||
                 bad.isCollinear(Vec2(1, 0)) || bad.isOrthogonal(Vec2(0, 1)) ||
                 Vec2::isDuplicate(bad, Vec2()) || Vec2::equalWithTolerance(bad, Vec2(), 1.0),
             false),
        FACT(bad != bad && bad.nonNegligible(), true),
        // Quadrants count zero as non-negative; opposite compares signs only.
        FACT(Vec2(0, 0).getQuadrant() == 1 && Vec2(-1, 0).getQuadrant() == 2 &&
                 Vec2(0, -1).getQuadrant() == 4,
             true),
        FACT(Vec2::oppositeQuadrant(Vec2(1, 1), Vec2(0, -1)), true),
        FACT(Vec2::oppositeQuadrant(Vec2(1, 1), Vec2(-1, 1)), false),
        FACT(Vec2::oppositeQuadrant(Vec2(0, 2), Vec2(0, 0)), true),
        FACT(Vec2::oppositeQuadrant(Vec2(1, 0), Vec2(1, 2)), false),
        FACT(Vec2::oppositeQuadrant(Vec2(kNaN, 1), Vec2(0, -1)), true),
        // Side tests look only at the line through the first pair: c-d crosses it far beyond
        // b, and a point on the line counts with the negative side.
        FACT(Vec2::signedArea(Vec2(0, 0), Vec2(1, 0), Vec2(0, 1)) == 1.0, true),
        FACT(Vec2::intersecting(Vec2(0, 0), Vec2(1, 0), Vec2(9, 1), Vec2(9, -1)), true),
        FACT(Vec2::intersecting(Vec2(0, 0), Vec2(1, 0), Vec2(0.5, 0), Vec2(0.5, -1)), false),
        FACT(Vec2::intersecting(Vec2(0, 0), Vec2(1, 0), Vec2(0.5, 0), Vec2(0.5, 1)), true),
    });
}

TEST(Vec2Test, OperationsWithSimilarNamesKeepTheirOwnMeanings) {
    double arr[] = {9.0, 8.0, 7.0};
    double a = 0.0, b = 0.0, c = 0.0, d = -1e-12;
    Vec2 point(5, 1);
    expectRows({
        ROW(Vec2(2, 3).dotProduction(Vec2(4, 5)), 0.0, 8, 15),
        ROW(Vec2(2, 3).dot(Vec2(4, 5)), 0.0, 23),
        ROW(Vec2(-7, 7) % Vec2(3, -3), 0.0, -1, 1),
        ROW(Vec2(0, -2).negate(), 0.0, -0.0, 2),
        ROW(after(Vec2(1, 1), [](Vec2& v) { v.fromArray(nullptr, 0); }), 0.0, 1, 1),
        ROW(after(Vec2(1, 1), [&arr](Vec2& v) { v.fromArray(arr, 1); }), 0.0, 8, 7),
        // Zero vectors take +x, except in the pointer form; a length of exactly 1e-12 is
        // not above its bound.
        ROW(after(Vec2(), [](Vec2& v) { v.normalize(); }), 0.0, 1, 0),
        ROW(after(Vec2(), [](Vec2& v) { v.setLength(5.0); }), 0.0, 5, 0),
        ROW(after(Vec2(3e-100, 4e-100), [](Vec2& v) { v.normalize(); }), 1e-12, 0.6, 0.8),
        ROW((Vec2::normalize(&a, &b), Vec2::normalize(&c, &d), Vec2(a, b)), 0.0, 0, 0),
        ROW(Vec2(c, d), 0.0, 0, -1e-12),
        // followSigns counts zero as not positive; the min and clamp forms change the
        // receiver, and with lo above hi a value below lo takes lo, any other takes hi.
        ROW(after(Vec2(2, 3), [](Vec2& v) { v.followSigns(Vec2(0, 1)); }), 0.0, -2, 3),
        ROW(after(Vec2(-2, 3), [](Vec2& v) { v.followSigns(Vec2(0, 0)); }), 0.0, -2, -3),
        ROW(after(Vec2(1, 5), [](Vec2& v) { v.getMin(Vec2(3, 2)); }), 0.0, 1, 2),
        ROW(after(Vec2(0, 3), [](Vec2& v) { v.clamp(Vec2(5, 5), Vec2(1, 1)); }), 0.0, 5, 5),
        ROW(after(Vec2(7, 7), [](Vec2& v) { v.clamp(Vec2(5, 5), Vec2(1, 1)); }), 0.0, 1, 1),
        // Projections use the infinite line: the foot lies beyond b, where a segment
        // distance would be sqrt(17).
        ROW(Vec2(3, 4).project(Vec2(0, 0)), 0.0, 0, 0),
        ROW(Vec2(2, 0).project(Vec2(1, 1)), 1e-12, 1, 1),
        ROW(point.distanceToLine(Vec2(0, 0), Vec2(1, 0)), 1e-12, 1),
        ROW(point.lineProjectionLength(Vec2(7, 0), Vec2(8, 0)), 1e-12, 2),
        ROW(std::isnan(point.distanceToLine(Vec2(1, 1), Vec2(1, 1))), 0.0, 1),
    });
}

TEST(Vec2Test, AnchorsOrientTheDirectionAgainstTheVectorFromCToB) {
    Vec2 a(1, 0), b(2, 0), c(0, 0), side(0, 1);
    expectFacts({
        FACT(Vec2::anchorOutwardD(a, b, c), true),
        FACT(Vec2::anchorOutward(a, b, c, false), false),
        FACT(Vec2::anchorInward(a, b, c), true),
        // D = 0 is not outward: the non-flipping form negates, the flipping one keeps.
        FACT(Vec2::anchorOutward(side, b, c, false), true),
        FACT(Vec2::anchorInward(side, b, c), false),
    });
    expectRows({ROW(a, 0.0, -1, -0.0), ROW(side, 0.0, -0.0, -1)});
}

TEST(Vec2Test, IntersectReportsWhichParametersFallOutside) {
    struct Case {
        Vec2 a, b, c, d;
        int code;
        Parts pointTU; // parallel and coincident lines leave t and u alone
    };
    const Case cases[] = {
        {Vec2(0, 0), Vec2(1, 0), Vec2(2, -1), Vec2(2, 1), 3, {2, 0, 2, 0.5}},
        {Vec2(2, -1), Vec2(2, 1), Vec2(0, 0), Vec2(1, 0), 4, {2, 0, 0.5, 2}},
        {Vec2(0, 0), Vec2(1, 0), Vec2(3, 1), Vec2(3, 2), 5, {3, 0, 3, -1}},
        {Vec2(0, 0), Vec2(1, 0), Vec2(1, 0), Vec2(1, 1), 1, {1, 0, 1, 0}}, // 0 and 1 inside
        {Vec2(0, 0), Vec2(1, 0), Vec2(0, 1), Vec2(1, 1), 0, {0, 0, -7, -7}},
        {Vec2(0, 0), Vec2(2, 0), Vec2(1, 0), Vec2(3, 0), 2, {1, 0, -7, -7}},
    };
    for (Case const& c : cases) {
        Vec2 out;
        double t = -7.0, u = -7.0;
        EXPECT_EQ(Vec2::intersect(c.a, c.b, c.c, c.d, out, &t, &u), c.code);
        EXPECT_TRUE(within({out.x, out.y, t, u}, c.pointTU)) << c.code;
    }
    // Without the pointers the point and the code are the same.
    Vec2 out;
    EXPECT_EQ(
        Vec2::intersect(Vec2(0, 0), Vec2(2, 2), Vec2(0, 2), Vec2(2, 0), out, nullptr, nullptr), 1);
    EXPECT_TRUE(within(parts(out), {1, 1}));
}
