#include "MathExpect.h"

using namespace MathExpect;

namespace {

constexpr double kBig = 1.7976931348623157e308;
constexpr double kTiny = 2.2250738585072014e-308;

Box3 unitBox() {
    return Box3(Vec3(0, 0, 0), Vec3(1, 1, 1));
}

} // namespace

TEST(Box3Test, EmptyStateKeepsATinyPositiveMaxThroughGrowthAndIntersection) {
    Vec3 points[] = {Vec3(-1, -2, -3), Vec3(4, -5, 0), Vec3(-2, 1, -1)};
    // count is in floats; an all-negative axis keeps max at the tiny value.
    float coords[] = {0.1f, 5.0f, -3.0f, 2.0f, -5.0f, -7.0f};
    double f01 = static_cast<double>(0.1f);
    expectRows({
        ROW(Box3(), 0.0, kBig, kBig, kBig, kTiny, kTiny, kTiny),
        ROW(after(Box3(), [](Box3& b) { b.expandByPoint(Vec3(-1, -2, -3)); }), 0.0, -1, -2, -3,
            kTiny, kTiny, kTiny),
        ROW(after(Box3(), [](Box3& b) { b.unionBox(Box3(Vec3(-4), Vec3(-2))); }), 0.0, -4, -4, -4,
            kTiny, kTiny, kTiny),
        // Nothing stops a negative growth from inverting the box.
        ROW(after(unitBox(), [](Box3& b) { b.expandByScalar(-1); }), 0.0, 1, 1, 1, 0, 0, 0),
        // Points start at the first point, arrays at the empty values.
        ROW(after(unitBox(), [](Box3& b) { b.setFromPoints(nullptr, 3); }), 0.0, kBig, kBig, kBig,
            kTiny, kTiny, kTiny),
        ROW(after(unitBox(), [&points](Box3& b) { b.setFromPoints(points, 1); }), 0.0, -1, -2, -3,
            -1, -2, -3),
        ROW(after(unitBox(), [&points](Box3& b) { b.setFromPoints(points, 3); }), 0.0, -2, -5, -3,
            4, 1, 0),
        ROW(after(unitBox(), [&coords](Box3& b) { b.setFromArray(coords, 6); }), 0.0, f01, -5, -7,
            2, 5, kTiny),
        ROW(after(unitBox(), [&coords](Box3& b) { b.setFromArray(coords, 3); }), 0.0, f01, 5, -3,
            f01, 5, kTiny),
        // Intersection shrinks to the overlap, or empties; an overlap of exactly the origin
        // counts as empty too.
        ROW(after(unitBox(), [](Box3& b) { b.intersects(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))); }),
            0.0, 1, 0, 0, 1, 1, 1),
        ROW(after(unitBox(), [](Box3& b) { b.intersects(Box3(Vec3(2), Vec3(3))); }), 0.0, kBig,
            kBig, kBig, kTiny, kTiny, kTiny),
        ROW(after(Box3(Vec3(-1), Vec3(0)), [](Box3& b) { b.intersects(unitBox()); }), 0.0, kBig,
            kBig, kBig, kTiny, kTiny, kTiny),
    });
    expectFacts({
        FACT(Box3().isEmpty(), true),
        FACT(Box3(Vec3(), Vec3()).isEmpty(), true), // zero-sized is empty at the origin only
        FACT(Box3(Vec3(1, 1, 1), Vec3(1, 1, 1)).isEmpty(), false),
        FACT(after(unitBox(), [](Box3& b) { b.expandByScalar(-1); }).isEmpty(), true),
        FACT(after(unitBox(), [](Box3& b) { b.intersects(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))); })
                 .isEmpty(),
             false),
    });
}

TEST(Box3Test, QueriesCountFacesAsInside) {
    Box3 b = unitBox(), wide(Vec3(-2, 0, 10), Vec3(2, 4, 20));
    expectFacts({
        FACT(b.containsPoint(Vec3(1, 1, 1)), true),
        FACT(b.containsPoint(Vec3(1.0000001, 0.5, 0.5)), false),
        FACT(b.containsBox(b), true),
        FACT(b.intersectsBox(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))), true),
        FACT(b.intersectsBox(Box3(Vec3(1.5, 0, 0), Vec3(2, 1, 1))), false),
    });
    expectRows({
        ROW(b.getParameter(b.getCenter()), 0.0, 0.5, 0.5, 0.5),
        ROW(wide.getParameter(Vec3(-2, 3, 25)), 0.0, 0, 0.75, 1.5),
        ROW(b.distanceToPoint(Vec3(2, 0, 0)), 0.0, 1),
    });
}
