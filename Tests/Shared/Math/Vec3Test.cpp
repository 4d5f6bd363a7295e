#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
TEST(Vec3Test, ComponentsTransformsAndWrapsKeepTheirOrder) {
    Mat4 m(2, 0, 0, 1, 0, 3, 0, 0, 0, 0, 4, 0, 10, 20, 30, 2, true), r; // bottom row not (0, 0, 0, 1)
    Quaternion q;
    q.set(Vec3(-1, 0.5, 2), 2.4), r.setWithQuaternion(q);
    Vec3 byMatrix = r * Vec3(3, -1, 0.25), general = after(Vec3(0.3, -0.2, 0.1), [](Vec3& w) { w.ortho(Vec3(1, 2, -0.5)); });
    expectRows({
        ROW(Vec3(1, -1, 0).largestAbsComponent(), 0.0, 1),                // ties go to the higher
        ROW(after(Vec3(0, -4, 2), [](Vec3& w) { w.setInvert(), w.setNegate(); }), 0.0, -INFINITY, 0.25, -0.5),
        ROW(after(Vec3(), [](Vec3& w) { w.setLength(3.0); }), 0.0, 3, 0, 0),
        ROW(Vec3(0, 1, 0).angleBetween(Vec3(1, 0, 0)), 1e-15, kPi / 2),
        ROW(after(Vec3(9, 1, 1), [](Vec3& w) { w.ortho(Vec3(0, 1, 0)); }), 1e-12, 1, 0, 0),
        ROW(Vec2(general.length(), general.dot(Vec3(1, 2, -0.5))), 1e-15, 1, 0),
        ROW(cyclicDifference(350, 10, 360), 0.0, -20),
        ROW(cyclicDifference(190, 10, 360), 0.0, 180), // half a period is not beyond it
        ROW(Vec3(350, 0, 0).rotationalDifference(Vec3(10, 0, 0)), 0.0, 340, 0, 0),
        ROW(after(Vec3(1, 1, 1), [&m](Vec3& v) { v.applyMatrix4(m); }), 0.0, 12, 23, 34),
        ROW(after(Vec3(1, 1, 1), [&m](Vec3& v) { v.applyProjection(m); }), 1e-12, 4, 23.0 / 3, 34.0 / 3),
        ROW(after(Vec3(0, 1, 0), [&m](Vec3& v) { v.transformDirection(m); }), 0.0, 0, 1, 0),
        ROW(after(Vec3(), [&m](Vec3& v) { v.setFromMatrixPosition(m); }), 0.0, 10, 20, 30),
        SAME(after(Vec3(3, -1, 0.25), [&q](Vec3& v) { v.applyQuaternion(q); }), byMatrix, 1e-12),
    });
}
// clang-format on
