#include "Box3.h"

#include "MathExpect.h"

#include <limits>

using Brindel::GaussianBlur::Box3;
using Brindel::GaussianBlur::Vec3;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kBig = 1.7976931348623157e308;
constexpr double kTiny = 2.2250738585072014e-308;

::testing::AssertionResult cornersAre(Box3 const& b, Vec3 const& min, Vec3 const& max) {
    return eachSameBits({b.min.x, b.min.y, b.min.z, b.max.x, b.max.y, b.max.z},
                        {min.x, min.y, min.z, max.x, max.y, max.z});
}

Box3 unitBox() {
    return Box3(Vec3(0, 0, 0), Vec3(1, 1, 1));
}

} // namespace

TEST(Box3Test, EmptyStateUsesTheTinyPositiveMax) {
    Box3 empty;
    EXPECT_TRUE(cornersAre(empty, Vec3(kBig), Vec3(kTiny)));
    EXPECT_TRUE(empty.isEmpty());
    // A zero-sized box is empty at the origin only.
    EXPECT_TRUE(Box3(Vec3(), Vec3()).isEmpty());
    EXPECT_FALSE(Box3(Vec3(1, 1, 1), Vec3(1, 1, 1)).isEmpty());
    EXPECT_TRUE(Box3(Vec3(0, 2, 0), Vec3(1, 1, 1)).isEmpty());

    // Growing an empty box by negative points never brings max below kTiny.
    Box3 grown;
    grown.expandByPoint(Vec3(-1, -2, -3));
    EXPECT_TRUE(cornersAre(grown, Vec3(-1, -2, -3), Vec3(kTiny)));
    Box3 united;
    united.unionBox(Box3(Vec3(-4, -4, -4), Vec3(-2, -2, -2)));
    EXPECT_TRUE(cornersAre(united, Vec3(-4), Vec3(kTiny)));

    Box3 b = unitBox();
    b.makeEmpty();
    EXPECT_TRUE(cornersAre(b, Vec3(kBig), Vec3(kTiny)));
}

TEST(Box3Test, SetFromPointsStartsAtTheFirstPoint) {
    Box3 b = unitBox();
    b.setFromPoints(nullptr, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(kBig), Vec3(kTiny)));
    Vec3 points[] = {Vec3(-1, -2, -3), Vec3(4, -5, 0), Vec3(-2, 1, -1)};
    b.setFromPoints(points, 0);
    EXPECT_TRUE(cornersAre(b, Vec3(kBig), Vec3(kTiny)));
    b.setFromPoints(points, 1);
    EXPECT_TRUE(cornersAre(b, Vec3(-1, -2, -3), Vec3(-1, -2, -3)));
    b.setFromPoints(points, -4);
    EXPECT_TRUE(cornersAre(b, Vec3(-1, -2, -3), Vec3(-1, -2, -3)));
    b.setFromPoints(points, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(-2, -5, -3), Vec3(4, 1, 0)));
}

TEST(Box3Test, SetFromArrayCountsFloatsAndStartsFromTheEmptyValues) {
    float one[] = {-1.0f, -2.0f, -3.0f};
    Box3 b;
    b.setFromArray(one, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(-1, -2, -3), Vec3(kTiny)));

    float two[] = {0.1f, 5.0f, -3.0f, 2.0f, -5.0f, 7.0f};
    b.setFromArray(two, 6);
    EXPECT_TRUE(cornersAre(b, Vec3(static_cast<double>(0.1f), -5, -3), Vec3(2, 5, 7)));
    // Only the first point when count covers three floats.
    b.setFromArray(two, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(static_cast<double>(0.1f), 5, -3),
                           Vec3(static_cast<double>(0.1f), 5, kTiny)));
    b.setFromArray(two, 0);
    EXPECT_TRUE(cornersAre(b, Vec3(kBig), Vec3(kTiny)));
}

TEST(Box3Test, QueriesCountFacesAsInside) {
    Box3 b = unitBox();
    EXPECT_TRUE(b.containsPoint(Vec3(1, 0.5, 0)));
    EXPECT_TRUE(b.containsPoint(Vec3(1, 1, 1)));
    EXPECT_FALSE(b.containsPoint(Vec3(1.0000001, 0.5, 0.5)));
    EXPECT_TRUE(b.containsBox(b));
    EXPECT_FALSE(b.containsBox(Box3(Vec3(0.5), Vec3(1.5))));
    EXPECT_TRUE(b.intersectsBox(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))));
    EXPECT_FALSE(b.intersectsBox(Box3(Vec3(1.5, 0, 0), Vec3(2, 1, 1))));

    Vec3 centre = b.getCenter();
    Vec3 param = b.getParameter(centre);
    EXPECT_TRUE(eachSameBits({param.x, param.y, param.z}, {0.5, 0.5, 0.5}));
    Box3 wide(Vec3(-2, 0, 10), Vec3(2, 4, 20));
    Vec3 size = wide.getSize();
    EXPECT_TRUE(eachSameBits({size.x, size.y, size.z}, {4, 4, 10}));
    Vec3 at = wide.getParameter(Vec3(-2, 3, 25));
    EXPECT_TRUE(eachSameBits({at.x, at.y, at.z}, {0, 0.75, 1.5}));

    EXPECT_EQ(b.distanceToPoint(Vec3(2, 0, 0)), 1.0);
    EXPECT_EQ(b.distanceToPoint(Vec3(0.5, 0.5, 0.5)), 0.0);
    EXPECT_EQ(b.distanceToPoint(Vec3(4, 5, 0.5)), 5.0);
    Vec3 clamped = b.clampPoint(Vec3(-1, 0.5, 3));
    EXPECT_TRUE(eachSameBits({clamped.x, clamped.y, clamped.z}, {0, 0.5, 1}));

    EXPECT_TRUE(b == Box3(Vec3(1e-12), Vec3(1)));
    EXPECT_FALSE(b == Box3(Vec3(0), Vec3(1, 1, 1.5)));
}

TEST(Box3Test, IntersectsShrinksToTheOverlapOrEmpties) {
    Box3 b = unitBox();
    b.intersects(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1)));
    EXPECT_TRUE(cornersAre(b, Vec3(1, 0, 0), Vec3(1, 1, 1)));
    EXPECT_FALSE(b.isEmpty());

    Box3 apart = unitBox();
    apart.intersects(Box3(Vec3(2), Vec3(3)));
    EXPECT_TRUE(cornersAre(apart, Vec3(kBig), Vec3(kTiny)));

    // An overlap of exactly the origin counts as empty as well.
    Box3 atOrigin(Vec3(-1), Vec3(0));
    atOrigin.intersects(unitBox());
    EXPECT_TRUE(cornersAre(atOrigin, Vec3(kBig), Vec3(kTiny)));
}

TEST(Box3Test, GrowingAndMoving) {
    Box3 b = unitBox();
    b.expandByScalar(-1);
    EXPECT_TRUE(cornersAre(b, Vec3(1), Vec3(0)));
    EXPECT_TRUE(b.isEmpty());

    Box3 v = unitBox();
    v.expandByVector(Vec3(1, 2, 3));
    EXPECT_TRUE(cornersAre(v, Vec3(-1, -2, -3), Vec3(2, 3, 4)));
    v.translate(Vec3(1, 2, 3));
    EXPECT_TRUE(cornersAre(v, Vec3(0, 0, 0), Vec3(3, 5, 7)));
    v.expandByPoint(Vec3(-1, 9, 2));
    EXPECT_TRUE(cornersAre(v, Vec3(-1, 0, 0), Vec3(3, 9, 7)));
    v.unionBox(Box3(Vec3(0, -4, 0), Vec3(0, 0, 8)));
    EXPECT_TRUE(cornersAre(v, Vec3(-1, -4, 0), Vec3(3, 9, 8)));

    Box3 s;
    s.setFromCenterAndSize(Vec3(1, 2, 3), Vec3(2, 4, 6));
    EXPECT_TRUE(cornersAre(s, Vec3(0, 0, 0), Vec3(2, 4, 6)));
    s.expandByScalar(0.1f);
    EXPECT_EQ(s.max.x, 2.0 + static_cast<double>(0.1f));
}
