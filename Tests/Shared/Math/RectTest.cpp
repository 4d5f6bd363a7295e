#include "MathExpect.h"

using namespace MathExpect;

TEST(RectTest, SettersKeepWhatTheyAreNamedNotToMove) {
    Rect r(Vec2(10, 20), Vec2(100, 50)), f(0, 0, 1, 1), centred(0, 0, 3, 7);
    expectRows({
        ROW(r.getBottomRight(), 0.0, 110, 70),
        ROW(r.getCenter(), 0.0, 60, 45),
        ROW(after(r, [](Rect& s) { s.setLeft(0); }), 0.0, 0, 20, 100, 50),   // the width stays
        ROW(after(r, [](Rect& s) { s.setRight(40); }), 0.0, 10, 20, 30, 50), // the left stays
        ROW(after(r, [](Rect& s) { s.setBottom(100); }), 0.0, 10, 20, 100, 80),
        // setBottom takes a float: the value is rounded before it is widened.
        ROW(after(f, [](Rect& s) { s.setBottom(0.1); }).getSize().y, 0.0, 0.10000000149011612),
        ROW(after(centred, [](Rect& s) { s.setCenter(Vec2(0.1, -0.3)); }).getCenter(), 1e-12, 0.1,
            -0.3),
        ROW(after(centred, [](Rect& s) { s.setCenterX(5); }).getLeft(), 0.0, 3.5),
    });
}

TEST(RectTest, ContainmentCountsEdgesWhileIntersectionDoesNotAndOnlyAZeroSizeIsEmpty) {
    Rect r(0, 0, 10, 10);
    expectFacts({
        FACT(Rect(3, 4, 0, 0).isEmpty(), true),
        FACT(Rect(0, 0, 0, 5).isEmpty(), false),
        FACT(Rect(0, 0, -1, 0).isEmpty(), false),
        FACT(r.containsPoint(Vec2(10, 10)), true),
        FACT(r.containsRect(r), true),
        FACT(r.containsRect(Rect(2, 2, 9, 8)), false),
        FACT(r.touches(Rect(10, 0, 5, 5)) && !r.intersects(Rect(10, 0, 5, 5)), true),
        FACT(r.touches(Rect(10, 10, 5, 5)) && !r.intersects(Rect(10, 10, 5, 5)), true),
        FACT(r.intersects(Rect(9.5, 9.5, 5, 5)), true),
        FACT(r.touches(Rect(10.5, 0, 5, 5)), false),
        // Disjoint: a negative size that isEmpty does not report.
        FACT(Rect(0, 0, 1, 1).intersect(Rect(5, 5, 1, 1)).isEmpty(), false),
    });
}

TEST(RectTest, CombinationsReturnNewRectangles) {
    Rect a(0, 0, 10, 10), r(10, 20, 100, 50);
    expectRows({
        ROW(a.intersect(Rect(5, -5, 10, 10)), 0.0, 5, 0, 5, 5),
        ROW(Rect(0, 0, 1, 1).intersect(Rect(5, 5, 1, 1)), 0.0, 5, 5, -4, -4),
        ROW(a.unite(Rect(5, -5, 10, 10)), 0.0, 0, -5, 15, 15),
        ROW(a.getInclude(Vec2(3, 4)), 0.0, 0, 0, 10, 10),
        ROW(after(a, [](Rect& s) { s.include(Vec2(12, -3)); }), 0.0, 0, -3, 12, 13),
        ROW(r.expand(-60.0f), 0.0, 70, 80, -20, -70),
        // The growth goes on every side: the width becomes (2*sx - 1) times itself.
        ROW(r.scale(2, 3), 0.0, -90, -80, 300, 250),
        ROW(r.scale(1, 1), 0.0, 10, 20, 100, 50),
    });
}
