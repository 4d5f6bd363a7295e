#include "Rect.h"

#include "MathExpect.h"

#include <cmath>

using Brindel::GaussianBlur::Rect;
using Brindel::GaussianBlur::Vec2;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

::testing::AssertionResult rectIs(Rect const& r, double left, double top, double width,
                                  double height) {
    return eachSameBits({r.getLeft(), r.getTop(), r.getSize().x, r.getSize().y},
                        {left, top, width, height});
}

} // namespace

TEST(RectTest, EdgesCornersAndEquality) {
    Rect r(Vec2(10, 20), Vec2(100, 50));
    EXPECT_TRUE(rectIs(r, 10, 20, 100, 50));
    EXPECT_TRUE(rectIs(Rect(), 0, 0, 0, 0));
    EXPECT_TRUE(
        eachSameBits({r.getRight(), r.getBottom(), r.getCenterX(), r.getCenterY(), r.getArea()},
                     {110, 70, 60, 45, 5000}));
    Vec2 tr = r.getTopRight(), bl = r.getBottomLeft(), br = r.getBottomRight(), c = r.getCenter(),
         tl = r.getTopLeft();
    EXPECT_TRUE(eachSameBits({tr.x, tr.y, bl.x, bl.y, br.x, br.y, c.x, c.y, tl.x, tl.y},
                             {110, 20, 10, 70, 110, 70, 60, 45, 10, 20}));

    // Per field, the bound passing: a Vec4 distance test would fail this.
    EXPECT_TRUE(Rect(0, 0, 0, 0) == Rect(1e-12, 1e-12, 1e-12, 1e-12));
    EXPECT_FALSE(Rect(0, 0, 0, 0) != Rect(1e-12, 1e-12, 1e-12, 1e-12));
    EXPECT_TRUE(Rect(0, 0, 0, 0) != Rect(0, 0, 2e-12, 0));

    EXPECT_TRUE(Rect(3, 4, 0, 0).isEmpty());
    EXPECT_FALSE(Rect(0, 0, 0, 5).isEmpty());
    EXPECT_FALSE(Rect(0, 0, -1, 0).isEmpty());
}

TEST(RectTest, SettersKeepWhatTheyAreNamedNotToMove) {
    Rect r(10, 20, 100, 50);
    r.setLeft(0);
    EXPECT_TRUE(rectIs(r, 0, 20, 100, 50));
    r.setRight(40);
    EXPECT_TRUE(rectIs(r, 0, 20, 40, 50));
    r.setTop(30);
    EXPECT_TRUE(rectIs(r, 0, 30, 40, 50));
    r.setBottom(100);
    EXPECT_TRUE(rectIs(r, 0, 30, 40, 70));
    r.setPoint(Vec2(-5, -6));
    EXPECT_TRUE(rectIs(r, -5, -6, 40, 70));
    r.setSize(Vec2(8, 9));
    EXPECT_TRUE(rectIs(r, -5, -6, 8, 9));

    // setBottom takes a float: the value is rounded before it is widened.
    Rect f(0, 0, 1, 1);
    f.setBottom(0.1);
    EXPECT_EQ(f.getSize().y, 0.10000000149011612);

    Rect centred(0, 0, 3, 7);
    centred.setCenter(Vec2(0.1, -0.3));
    EXPECT_TRUE(eachWithin({centred.getCenter().x, centred.getCenter().y}, {0.1, -0.3}));
    centred.setCenterX(5);
    centred.setCenterY(6);
    EXPECT_TRUE(rectIs(centred, 3.5, 2.5, 3, 7));
}

TEST(RectTest, ContainmentCountsEdgesWhileIntersectionDoesNot) {
    Rect r(0, 0, 10, 10);
    EXPECT_TRUE(r.containsPoint(Vec2(10, 10)));
    EXPECT_TRUE(r.containsPoint(Vec2(0, 0)));
    EXPECT_FALSE(r.containsPoint(Vec2(10.0000001, 5)));
    EXPECT_TRUE(r.containsRect(r));
    EXPECT_TRUE(r.containsRect(Rect(2, 2, 8, 8)));
    EXPECT_FALSE(r.containsRect(Rect(2, 2, 9, 8)));

    Rect beside(10, 0, 5, 5);
    EXPECT_TRUE(r.touches(beside));
    EXPECT_FALSE(r.intersects(beside));
    Rect corner(10, 10, 5, 5);
    EXPECT_TRUE(r.touches(corner));
    EXPECT_FALSE(r.intersects(corner));
    EXPECT_TRUE(r.intersects(Rect(9.5, 9.5, 5, 5)));
    EXPECT_FALSE(r.touches(Rect(10.5, 0, 5, 5)));
}

TEST(RectTest, CombinationsReturnNewRectangles) {
    Rect a(0, 0, 10, 10);
    EXPECT_TRUE(rectIs(a.intersect(Rect(5, -5, 10, 10)), 5, 0, 5, 5));
    // Disjoint: a negative size that isEmpty does not report.
    Rect apart = Rect(0, 0, 1, 1).intersect(Rect(5, 5, 1, 1));
    EXPECT_TRUE(rectIs(apart, 5, 5, -4, -4));
    EXPECT_FALSE(apart.isEmpty());
    EXPECT_EQ(apart.getArea(), 16);
    EXPECT_TRUE(rectIs(a.unite(Rect(5, -5, 10, 10)), 0, -5, 15, 15));

    EXPECT_TRUE(rectIs(a.getInclude(Vec2(3, 4)), 0, 0, 10, 10));
    EXPECT_TRUE(rectIs(a.getInclude(Vec2(-2, 15)), -2, 0, 12, 15));
    EXPECT_TRUE(rectIs(a, 0, 0, 10, 10));
    a.include(Vec2(12, -3));
    EXPECT_TRUE(rectIs(a, 0, -3, 12, 13));

    Rect r(10, 20, 100, 50);
    EXPECT_TRUE(rectIs(r.expand(Vec2(1, 2)), 9, 18, 102, 54));
    EXPECT_TRUE(rectIs(r.expand(-60.0f), 70, 80, -20, -70));
    EXPECT_TRUE(rectIs(r.scale(2, 3), -90, -80, 300, 250));
    EXPECT_TRUE(rectIs(r.scale(1, 1), 10, 20, 100, 50));
    // Growth keeps the centre.
    Rect grown = r.scale(1.5f, 0.25f);
    EXPECT_TRUE(eachWithin({grown.getCenterX(), grown.getCenterY()}, {60, 45}));
}
