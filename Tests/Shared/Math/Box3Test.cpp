#include "Box3.h"

#include "MathExpect.h"

using namespace Brindel::GaussianBlur;
using namespace MathExpect;

namespace {

constexpr double kBig = 1.7976931348623157e308;
constexpr double kTiny = 2.2250738585072014e-308;

::testing::AssertionResult cornersAre(Box3 const& b, Vec3 const& min, Vec3 const& max) {
    return eachWithin({b.min.x, b.min.y, b.min.z, b.max.x, b.max.y, b.max.z},
                      {min.x, min.y, min.z, max.x, max.y, max.z}, 0.0);
}

Box3 unitBox() {
    return Box3(Vec3(0, 0, 0), Vec3(1, 1, 1));
}

} // namespace

TEST(Box3Test, EmptyStateKeepsATinyPositiveMaxThroughGrowth) {
    Box3 empty, grown, united;
    EXPECT_TRUE(cornersAre(empty, Vec3(kBig), Vec3(kTiny)));
    EXPECT_TRUE(empty.isEmpty());
    // A zero-sized box is empty at the origin only.
    EXPECT_TRUE(Box3(Vec3(), Vec3()).isEmpty());
    EXPECT_FALSE(Box3(Vec3(1, 1, 1), Vec3(1, 1, 1)).isEmpty());
    grown.expandByPoint(Vec3(-1, -2, -3));
    EXPECT_TRUE(cornersAre(grown, Vec3(-1, -2, -3), Vec3(kTiny)));
    united.unionBox(Box3(Vec3(-4), Vec3(-2)));
    EXPECT_TRUE(cornersAre(united, Vec3(-4), Vec3(kTiny)));
    // Nothing stops a negative growth from inverting the box.
    Box3 shrunk = unitBox();
    shrunk.expandByScalar(-1);
    EXPECT_TRUE(cornersAre(shrunk, Vec3(1), Vec3(0)));
    EXPECT_TRUE(shrunk.isEmpty());
}

TEST(Box3Test, SetFromPointsStartsAtTheFirstPointAndFromArrayAtTheEmptyValues) {
    Vec3 points[] = {Vec3(-1, -2, -3), Vec3(4, -5, 0), Vec3(-2, 1, -1)};
    Box3 b = unitBox();
    b.setFromPoints(nullptr, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(kBig), Vec3(kTiny)));
    b.setFromPoints(points, 1);
    EXPECT_TRUE(cornersAre(b, Vec3(-1, -2, -3), Vec3(-1, -2, -3)));
    b.setFromPoints(points, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(-2, -5, -3), Vec3(4, 1, 0)));

    // count is in floats; an all-negative axis keeps max at the tiny value.
    float coords[] = {0.1f, 5.0f, -3.0f, 2.0f, -5.0f, -7.0f};
    b.setFromArray(coords, 6);
    EXPECT_TRUE(cornersAre(b, Vec3(static_cast<double>(0.1f), -5, -7), Vec3(2, 5, kTiny)));
    b.setFromArray(coords, 3);
    EXPECT_TRUE(cornersAre(b, Vec3(static_cast<double>(0.1f), 5, -3),
                           Vec3(static_cast<double>(0.1f), 5, kTiny)));
}

TEST(Box3Test, QueriesCountFacesAsInside) {
    Box3 b = unitBox(), wide(Vec3(-2, 0, 10), Vec3(2, 4, 20));
    EXPECT_TRUE(b.containsPoint(Vec3(1, 1, 1)));
    EXPECT_FALSE(b.containsPoint(Vec3(1.0000001, 0.5, 0.5)));
    EXPECT_TRUE(b.containsBox(b));
    EXPECT_TRUE(b.intersectsBox(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))));
    EXPECT_FALSE(b.intersectsBox(Box3(Vec3(1.5, 0, 0), Vec3(2, 1, 1))));
    EXPECT_TRUE(is(b.getParameter(b.getCenter()), 0.5, 0.5, 0.5, 0.0));
    EXPECT_TRUE(is(wide.getParameter(Vec3(-2, 3, 25)), 0, 0.75, 1.5, 0.0));
    EXPECT_EQ(b.distanceToPoint(Vec3(2, 0, 0)), 1.0);
    EXPECT_TRUE(b == Box3(Vec3(1e-12), Vec3(1)));
    EXPECT_FALSE(b == Box3(Vec3(0), Vec3(1, 1, 1.5)));
}

TEST(Box3Test, IntersectsShrinksToTheOverlapOrEmpties) {
    Box3 b = unitBox(), apart = unitBox(), atOrigin(Vec3(-1), Vec3(0));
    b.intersects(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1)));
    EXPECT_TRUE(cornersAre(b, Vec3(1, 0, 0), Vec3(1, 1, 1)));
    EXPECT_FALSE(b.isEmpty());
    apart.intersects(Box3(Vec3(2), Vec3(3)));
    EXPECT_TRUE(cornersAre(apart, Vec3(kBig), Vec3(kTiny)));
    // An overlap of exactly the origin counts as empty too.
    atOrigin.intersects(unitBox());
    EXPECT_TRUE(cornersAre(atOrigin, Vec3(kBig), Vec3(kTiny)));
}
