#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
TEST(Box3Test, EmptyBoxesKeepATinyPositiveMaxAndFacesCountAsInside) {
    const double big = 1.7976931348623157e308, tiny = 2.2250738585072014e-308;
    Box3 unit(Vec3(0), Vec3(1));
    Vec3 points[] = {Vec3(-1, -2, -3), Vec3(4, -5, 0), Vec3(-2, 1, -1)};
    float coords[] = {0.1f, 5.0f, -3.0f, 2.0f, -5.0f, -7.0f}; // count in floats
    expectRows({
        ROW(Box3(), 0.0, big, big, big, tiny, tiny, tiny),
        ROW(after(unit, [&points](Box3& b) { b.setFromPoints(points, 3); }), 0.0, -2, -5, -3, 4, 1, 0),
        ROW(after(unit, [&coords](Box3& b) { b.setFromArray(coords, 6); }), 0.0, double(0.1f), -5, -7, 2, 5, tiny),
        ROW(after(unit, [](Box3& b) { b.intersects(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))); }), 0.0, 1, 0, 0, 1, 1, 1),
        ROW(after(unit, [](Box3& b) { b.intersects(Box3(Vec3(2), Vec3(3))); }), 0.0, big, big, big, tiny, tiny, tiny),
        ROW(after(unit, [](Box3& b) { b.expandByScalar(-1); }).isEmpty() && !Box3(Vec3(1), Vec3(1)).isEmpty(), 0.0, 1),
        ROW(unit.containsPoint(Vec3(1, 1, 1)) && !unit.containsPoint(Vec3(1.0000001, 0.5, 0.5)), 0.0, 1),
        ROW(unit.intersectsBox(Box3(Vec3(1, 0, 0), Vec3(2, 1, 1))) && !unit.intersectsBox(Box3(Vec3(1.5, 0, 0), Vec3(2, 1, 1))), 0.0, 1),
        ROW(unit == Box3(Vec3(1e-12), Vec3(1)) && !(unit == Box3(Vec3(0), Vec3(1, 1, 1.5))), 0.0, 1),
    });
}
// clang-format on
