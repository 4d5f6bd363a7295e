#include "Rect.h"

#include "MathExpect.h"

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

::testing::AssertionResult rectIs(Rect const& r, double left, double top, double width,
                                  double height) {
    return eachWithin({r.getLeft(), r.getTop(), r.getSize().x, r.getSize().y},
                      {left, top, width, height}, 0.0);
}

} // namespace

TEST(RectTest, EqualityIsPerFieldAndOnlyAZeroSizeIsEmpty) {
    // Per field, the bound passing: a Vec4 distance test would fail this.
    EXPECT_TRUE(Rect(0, 0, 0, 0) == Rect(1e-12, 1e-12, 1e-12, 1e-12));
    EXPECT_TRUE(Rect(0, 0, 0, 0) != Rect(0, 0, 2e-12, 0));
    EXPECT_TRUE(Rect(3, 4, 0, 0).isEmpty());
    EXPECT_FALSE(Rect(0, 0, 0, 5).isEmpty());
    EXPECT_FALSE(Rect(0, 0, -1, 0).isEmpty());
    Rect r(Vec2(10, 20), Vec2(100, 50));
    EXPECT_TRUE(is(r.getBottomRight(), 110, 70, 0.0));
    EXPECT_TRUE(is(r.getCenter(), 60, 45, 0.0));
}

TEST(RectTest, SettersKeepWhatTheyAreNamedNotToMove) {
    Rect r(10, 20, 100, 50);
    r.setLeft(0); // the width stays, so the right edge moves
    EXPECT_TRUE(rectIs(r, 0, 20, 100, 50));
    r.setRight(40); // the left edge stays
    EXPECT_TRUE(rectIs(r, 0, 20, 40, 50));
    r.setBottom(100);
    EXPECT_TRUE(rectIs(r, 0, 20, 40, 80));
    // setBottom takes a float: the value is rounded before it is widened.
    Rect f(0, 0, 1, 1);
    f.setBottom(0.1);
    EXPECT_EQ(f.getSize().y, 0.10000000149011612);
    Rect centred(0, 0, 3, 7);
    centred.setCenter(Vec2(0.1, -0.3));
    EXPECT_TRUE(is(centred.getCenter(), 0.1, -0.3));
    centred.setCenterX(5);
    EXPECT_EQ(centred.getLeft(), 3.5);
}

TEST(RectTest, ContainmentCountsEdgesWhileIntersectionDoesNot) {
    Rect r(0, 0, 10, 10);
    EXPECT_TRUE(r.containsPoint(Vec2(10, 10)));
    EXPECT_TRUE(r.containsRect(r));
    EXPECT_FALSE(r.containsRect(Rect(2, 2, 9, 8)));
    EXPECT_TRUE(r.touches(Rect(10, 0, 5, 5)) && !r.intersects(Rect(10, 0, 5, 5)));
    EXPECT_TRUE(r.touches(Rect(10, 10, 5, 5)) && !r.intersects(Rect(10, 10, 5, 5)));
    EXPECT_TRUE(r.intersects(Rect(9.5, 9.5, 5, 5)));
    EXPECT_FALSE(r.touches(Rect(10.5, 0, 5, 5)));
}

TEST(RectTest, CombinationsReturnNewRectangles) {
    Rect a(0, 0, 10, 10), r(10, 20, 100, 50);
    EXPECT_TRUE(rectIs(a.intersect(Rect(5, -5, 10, 10)), 5, 0, 5, 5));
    // Disjoint: a negative size that isEmpty does not report.
    Rect apart = Rect(0, 0, 1, 1).intersect(Rect(5, 5, 1, 1));
    EXPECT_TRUE(rectIs(apart, 5, 5, -4, -4));
    EXPECT_FALSE(apart.isEmpty());
    EXPECT_TRUE(rectIs(a.unite(Rect(5, -5, 10, 10)), 0, -5, 15, 15));
    EXPECT_TRUE(rectIs(a.getInclude(Vec2(3, 4)), 0, 0, 10, 10));
    a.include(Vec2(12, -3));
    EXPECT_TRUE(rectIs(a, 0, -3, 12, 13));
    EXPECT_TRUE(rectIs(r.expand(-60.0f), 70, 80, -20, -70));
    // The growth goes on every side: the width becomes (2*sx - 1) times itself.
    EXPECT_TRUE(rectIs(r.scale(2, 3), -90, -80, 300, 250));
    EXPECT_TRUE(rectIs(r.scale(1, 1), 10, 20, 100, 50));
}
