#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
TEST(RectTest, SettersKeepTheirOppositeEdgesAndEdgesTouchWithoutIntersecting) {
    Rect r(Vec2(10, 20), Vec2(100, 50)), a(0, 0, 10, 10);
    expectRows({
        ROW(after(r, [](Rect& s) { s.setLeft(0); }), 0.0, 0, 20, 100, 50), // the width stays
        ROW(after(r, [](Rect& s) { s.setRight(40); }), 0.0, 10, 20, 30, 50), // the left stays
        ROW(after(r, [](Rect& s) { s.setBottom(0.1); }).getSize().y, 0.0, double(0.1f) - 20), // a float
        ROW(a.intersect(Rect(5, -5, 10, 10)), 0.0, 5, 0, 5, 5),
        ROW(Rect(0, 0, 1, 1).intersect(Rect(5, 5, 1, 1)), 0.0, 5, 5, -4, -4),
        ROW(after(a, [](Rect& s) { s.include(Vec2(12, -3)); }), 0.0, 0, -3, 12, 13),
        ROW(r.scale(2, 3), 0.0, -90, -80, 300, 250), // (2 * s - 1) times the size
        ROW(Rect(3, 4, 0, 0).isEmpty() && !Rect(0, 0, 0, 5).isEmpty(), 0.0, 1),
        ROW(a.containsPoint(Vec2(10, 10)) && !a.containsRect(Rect(2, 2, 9, 8)), 0.0, 1),
        ROW(a.touches(Rect(10, 10, 5, 5)) && !a.intersects(Rect(10, 10, 5, 5)), 0.0, 1),
        ROW(a.intersects(Rect(9.5, 9.5, 5, 5)) && !a.touches(Rect(10.5, 0, 5, 5)), 0.0, 1),
    });
}
// clang-format on
