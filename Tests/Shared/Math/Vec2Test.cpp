#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
TEST(Vec2Test, OperationsKeepTheirBoundsSignsAndDegreeFactor) {
    Vec2 bad(kNaN, 0.0);
    expectRows({
        // The written degree factor: full precision would give cos(90 degrees) of about 6e-17.
        ROW(after(Vec2(1, 0), [](Vec2& v) { v.rotate(90.0); }), 0.0, 2.6484540326036093e-14, 1),
        ROW(after(Vec2(2, 1), [](Vec2& v) { v.rotateAround(90.0, Vec2(1, 1)); }), 0.0, 1.0000000000000264, 2),
        ROW(after(Vec2(-0.0, kInf), [](Vec2& v) { v.rotate(0.0); }), 0.0, -0.0, kInf), // zero turns are bit exact
        ROW(Vec2(-1.0, 0.0).getAngle(), 0.0, 180.0),
        ROW(Vec2(0.0, 1.0).angleBetween(Vec2(1, 0)), 1e-12, -90.0),
        ROW(Vec2(2, 3).dot(Vec2(4, 5)), 0.0, 23),
        ROW(after(Vec2(), [](Vec2& v) { v.setLength(5.0); }), 0.0, 5, 0), // zero takes +x
        ROW(after(Vec2(0, 3), [](Vec2& v) { v.clamp(Vec2(5, 5), Vec2(1, 1)); }), 0.0, 5, 5),
        ROW(Vec2() == Vec2(1e-12, -1e-12) && !(Vec2() == Vec2(0, 2e-12)), 0.0, 1), // the bound passes
        ROW(bad == bad || bad.isZero() || bad.isCollinear(Vec2(1, 0)) || Vec2::isDuplicate(bad, Vec2()), 0.0, 0),
        ROW(Vec2::isDuplicate(Vec2(0, 0), Vec2(0.2499, -0.2499)), 0.0, 1),
        ROW(Vec2(1e-8, 0).isCollinear(Vec2(0, 1e-8)), 0.0, 0),
        ROW(Vec2(1e8, 1e8).isCollinear(Vec2(1e8, 1e8 + 1e-6)), 0.0, 1),
        ROW(Vec2(0, 0).getQuadrant() * 100 + Vec2(-1, 0).getQuadrant() * 10 + Vec2(0, -1).getQuadrant(), 0.0, 124),
    });
}

TEST(Vec2Test, IntersectReportsWhichParametersFallOutside) {
    struct Case { Vec2 a, b, c, d; int code; Parts pointTU; } const cases[] = { // t, u stay when parallel
        {Vec2(0, 0), Vec2(1, 0), Vec2(2, -1), Vec2(2, 1), 3, {2, 0, 2, 0.5}},
        {Vec2(2, -1), Vec2(2, 1), Vec2(0, 0), Vec2(1, 0), 4, {2, 0, 0.5, 2}},
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
}
// clang-format on
