#include "MathExpect.h"

#include <string>

using namespace MathExpect;

// clang-format off
namespace {
const std::pair<Euler::RotationOrder, std::string> kOrders[] = {{Euler::XYZ, "XYZ"}, {Euler::YZX, "YZX"}, {Euler::ZXY, "ZXY"}, {Euler::XZY, "XZY"}, {Euler::YXZ, "YXZ"}, {Euler::ZYX, "ZYX"}};

// The product of the three axis matrices in the order's own letters.
Mat4 productOf(std::string const& letters, double x, double y, double z) {
    Mat4 m, r;
    for (char axis : letters) {
        axis == 'X' ? r.setXRotation(x) : axis == 'Y' ? r.setYRotation(y) : r.setZRotation(z);
        m.mult(r);
    }
    return m;
}
} // namespace

TEST(EulerTest, EveryOrderRoundTripsThroughItsMatrixAndItsSinglePrecisionQuaternion) {
    for (auto const& entry : kOrders) {
        // Named copies: a lambda cannot capture a structured binding in C++17.
        const auto order = entry.first;
        const auto& letters = entry.second;
        double angles[3] = {0.4, 0.4, 0.4};
        angles[letters[1] - 'X'] = -kPi / 2; // the middle angle in gimbal lock
        Mat4 product = productOf(letters, 0.3, -0.7, 1.1), locked = productOf(letters, angles[0], angles[1], angles[2]);
        Quaternion q = after(Quaternion(), [&](Quaternion& r) { r.setWithEuler(Euler(0.3, -0.7, 1.1, order)); });
        Euler e = after(Euler(9, 9, 9, Euler::XYZ), [&](Euler& r) { r.setWithMat4(product, order); }), lock = after(e, [&](Euler& r) { r.setWithMat4(locked, order); });
        expectRows({ROW(e, 1e-12, 0.3, -0.7, 1.1), SAME(after(Mat4(), [&q](Mat4& m) { m.setWithQuaternion(q); }), product, 1e-6),
                    ROW(after(e, [&](Euler& r) { r.setWithQuaternion(q, order); }), 1e-6, 0.3, -0.7, 1.1), ROW(q.x == double(float(q.x)) && q.w == double(float(q.w)), 0.0, 1),
                    SAME(productOf(letters, lock.x, lock.y, lock.z), locked, 1e-12)});
    }
}

TEST(EulerTest, GimbalBoundUnsetAndUnknownOrdersKeepWhatTheyShould) {
    auto read = [](double pivot) { // regular: x = z = atan2(0.5, 0.5); locked: x = atan2(1, 0), z = 0
        Mat4 m(false);
        m.m[8] = pivot, m.m[9] = -0.5, m.m[10] = 0.5, m.m[4] = -0.5, m.m[0] = 0.5, m.m[6] = 1.0;
        return after(Euler(), [&m](Euler& e) { e.setWithMat4(m, Euler::XYZ); });
    };
    Mat4 m = productOf("ZXY", 0.3, -0.7, 1.1);
    Euler below = read(std::nextafter(0.9999989867210388, 0.0)), at = read(0.9999989867210388);
    expectRows({
        ROW(Vec2(below.x, below.z), 1e-12, kPi / 4, kPi / 4),
        ROW(Vec2(at.x, at.z), 0.0, kPi / 2, 0), // the bound is the float 0.999999 and passes
        ROW(read(1.0 + 1e-15).y, 0.0, kPi / 2), // clamped before asin
        ROW(after(Euler(0, 0, 0, Euler::ZXY), [&m](Euler& e) { e.setWithMat4(m, Euler::Unset); }), 1e-12, 0.3, -0.7, 1.1),
        ROW(after(Euler(1, 2, 3, Euler::Unset), [&m](Euler& e) { e.setWithMat4(m, Euler::Unset); }), 0.0, 1, 2, 3),
        ROW(after(Quaternion(), [](Quaternion& q) { q.setWithEuler(Euler(0.3, -0.7, 1.1, Euler::Unset)); }), 0.0, 0, 0, 0, 0),
    });
}
// clang-format on
