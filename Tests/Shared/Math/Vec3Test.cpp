#include "MathExpect.h"

using namespace MathExpect;

namespace {

constexpr double kPi = 3.14159265358979323846;

} // namespace

TEST(Vec3Test, IndicesArraysAndCopyFormsAddressTheComponentsInOrder) {
    double out[5] = {0, 0, 0, 0, 0};
    Vec3(Vec2(1, 2), 3).toArray(out, 2);
    Vec3 v(1.5, -1.5, 2);
    expectRows({
        ROW(after(Vec3(), [&out](Vec3& w) { w.fromArray(out, 1); }), 0.0, 0, 1, 2),
        // Any index other than 0 and 1 writes z.
        ROW(after(Vec3(), [](Vec3& w) { w.set(5, 7.0); }), 0.0, 0, 0, 7),
        ROW(after(Vec3(), [](Vec3& w) { w.set(-1, 8.0); }), 0.0, 0, 0, 8),
        // Ties go to the higher index.
        ROW(Vec3(-3, 2, 1).largestAbsComponent(), 0.0, 0),
        ROW(Vec3(1, -1, 0).largestAbsComponent(), 0.0, 1),
        ROW(Vec3(-1, 0, 1).largestAbsComponent(), 0.0, 2),
        ROW(Vec3(0, 0, 0).largestAbsComponent(), 0.0, 2),
        ROW(v.floor(), 0.0, 1, -2, 2),
        ROW(v, 0.0, 1.5, -1.5, 2), // the copy form leaves the object alone
        ROW(after(Vec3(0, -4, 2), [](Vec3& w) { w.setInvert(), w.setNegate(); }), 0.0, -INFINITY,
            0.25, -0.5),
        // lo above hi on x: a value below lo takes lo, any other takes hi.
        ROW(after(Vec3(0, -1, 9), [](Vec3& w) { w.clamp(Vec3(5, 0, 0), Vec3(1, 2, 2)); }), 0.0, 5,
            0, 2),
        ROW(after(Vec3(7, 1, 1), [](Vec3& w) { w.clamp(Vec3(5, 0, 0), Vec3(1, 2, 2)); }), 0.0, 1, 1,
            1),
        // Zero vectors normalise to +x and have no angle; angles are unsigned radians.
        ROW(after(Vec3(), [](Vec3& w) { w.normalize(); }), 0.0, 1, 0, 0),
        ROW(after(Vec3(), [](Vec3& w) { w.setLength(3.0); }), 0.0, 3, 0, 0),
        ROW(Vec3(0, 1, 0).angleBetween(Vec3(1, 0, 0)), 1e-15, kPi / 2),
        ROW(std::isnan(Vec3(1, 0, 0).angleBetween(Vec3(0, 0, 0))), 0.0, 1),
    });
}

TEST(Vec3Test, OrthoBuildsOnTheAxisBeforeTheLargestComponent) {
    auto ortho = [](Vec3 v, Vec3 const& dir) {
        return after(v, [&dir](Vec3& w) { w.ortho(dir); });
    };
    Vec3 dir(1, 2, -0.5), general = ortho(Vec3(0.3, -0.2, 0.1), dir);
    expectRows({
        ROW(ortho(Vec3(0, 0, 5), Vec3(1, 0, 0)), 1e-12, 0, 0, 1),
        ROW(ortho(Vec3(), Vec3(1, 0, 0)), 1e-12, 0, 0, 1),         // index 2, so the y axis
        ROW(ortho(Vec3(9, 1, 1), Vec3(0, 1, 0)), 1e-12, 1, 0, 0),  // the z axis
        ROW(ortho(Vec3(1, 9, 1), Vec3(-2, 0, 0)), 1e-12, 1, 0, 0), // a zero cross product
        ROW(Vec2(general.length(), general.dot(dir)), 1e-15, 1, 0),
    });
}

TEST(Vec3Test, CyclicDifferenceWrapsByOnePeriodAtMost) {
    expectRows({
        ROW(cyclicDifference(350, 10, 360), 0.0, -20),
        ROW(cyclicDifference(10, 350, 360), 0.0, 20),
        // Exactly half a period is not beyond half a period.
        ROW(cyclicDifference(190, 10, 360), 0.0, 180),
        ROW(cyclicDifference(10, 190, 360), 0.0, -180),
        ROW(cyclicDifference(900, 0, 360), 0.0, 540),
        ROW(Vec3(350, 0, 0).rotationalDifference(Vec3(10, 0, 0)), 0.0, 340, 0, 0),
    });
}

TEST(Vec3Test, MatrixAndQuaternionTransformsDifferInTranslationDivisionAndScale) {
    // A bottom row that is not (0, 0, 0, 1).
    Mat4 m(2, 0, 0, 1, 0, 3, 0, 0, 0, 0, 4, 0, 10, 20, 30, 2, true);
    Quaternion q;
    q.set(Vec3(-1, 0.5, 2), 2.4);
    Mat4 r;
    r.setWithQuaternion(q);
    Vec3 byMatrix = r * Vec3(3, -1, 0.25);
    expectRows({
        ROW(after(Vec3(1, 1, 1), [&m](Vec3& v) { v.applyMatrix4(m); }), 0.0, 12, 23, 34),
        ROW(after(Vec3(1, 1, 1), [&m](Vec3& v) { v.applyProjection(m); }), 1e-12, 4, 23.0 / 3,
            34.0 / 3),
        ROW(after(Vec3(0, 1, 0), [&m](Vec3& v) { v.transformDirection(m); }), 0.0, 0, 1, 0),
        ROW(after(Vec3(0, 0, 1), [](Vec3& v) { v.transformDirection(Mat4(false)); }), 0.0, 1, 0, 0),
        ROW(after(Vec3(), [&m](Vec3& v) { v.setFromMatrixColumn(m, 0); }), 0.0, 2, 0, 0),
        ROW(after(Vec3(), [&m](Vec3& v) { v.setFromMatrixPosition(m); }), 0.0, 10, 20, 30),
        // A quaternion agrees with its matrix and is not normalised: length 2 scales by 4.
        ROW(after(Vec3(3, -1, 0.25), [&q](Vec3& v) { v.applyQuaternion(q); }), 1e-12, byMatrix.x,
            byMatrix.y, byMatrix.z),
        ROW(Quaternion::quaternionMulVec3(q, Vec3(3, -1, 0.25)), 1e-12, byMatrix.x, byMatrix.y,
            byMatrix.z),
        ROW(after(Vec3(0, 3, 0), [](Vec3& v) { v.applyQuaternion(Quaternion(0, 0, 0, 2)); }), 0.0,
            0, 12, 0),
    });
}
