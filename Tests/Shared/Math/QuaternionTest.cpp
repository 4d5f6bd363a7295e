#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
namespace {
Quaternion unit(double angle, double x, double y, double z) { return after(Quaternion(), [&](Quaternion& q) { q.set(Vec3(x, y, z), angle); }); }
Mat4 matrixOf(Quaternion const& q) { return after(Mat4(), [&q](Mat4& m) { m.setWithQuaternion(q); }); }
Quaternion slerp(Quaternion q, Quaternion const& to, double t) { return after(q, [&](Quaternion& r) { r.slerp(to, t); }); }
// q signed to lie on r's side: q and -q are the same turn.
Quaternion aligned(Quaternion q, Quaternion const& r) { return q.dot(r) < 0.0 ? Quaternion(-q.x, -q.y, -q.z, -q.w) : q; }
Quaternion roundTrip(Quaternion const& r) { return aligned(after(Quaternion(), [&r](Quaternion& q) { q.setWithMat4(matrixOf(r)); }), r); }
} // namespace

TEST(QuaternionTest, MatricesProductsDirectionsAndSlerpAgree) {
    const double s = std::sin(kPi / 4), c = std::cos(kPi / 4);
    Quaternion p = unit(0.8, 1, 0, 1), q = unit(-2.1, 0.3, 1, -0.2), pq, quarter(0, 0, s, c);
    pq.multiplyQuaternions(p, q);
    Vec3 from = Vec3(2, -1, 0.5) / std::sqrt(5.25), to = Vec3(-1, 0.25, 3) / std::sqrt(10.0625);
    // Small angles take the trace branch, half turns the branch of their axis.
    for (Quaternion r : {unit(0.5, 1, 2, 3), unit(3.0, 1, 0.1, 0.2), unit(3.0, 0.1, 1, 0.2), unit(3.0, 0.1, 0.2, 1)}) EXPECT_TRUE(within(parts(roundTrip(r)), parts(r)));
    expectRows({
        SAME(matrixOf(pq), matrixOf(p) * matrixOf(q), 1e-12),
        ROW(after(Quaternion(0.1, 0.2, 0.3, 0.4), [](Quaternion& a) { a.multiply(Quaternion(0.5, -0.6, 0.7, 0.8)); }), 1e-15, 0.6, 0, 0.36, 0.18),
        ROW(after(Quaternion(0.1, 0.2, 0.3, 0.4), [](Quaternion& a) { a.premultiply(Quaternion(0.5, -0.6, 0.7, 0.8)); }), 1e-15, -0.04, -0.16, 0.68, 0.18),
        SAME(after(p, [&q](Quaternion& a) { a.multiplyQuaternions(a, q); }), pq, 0.0), // products may alias
        ROW(after(Quaternion(), [](Quaternion& r) { r.setWithMat4(Mat4(false)); }), 0.0, 0, 0, 0.5, 0),
        ROW(Quaternion(Vec3(0, 0, 2), kPi / 2), 1e-12, 0, 0, 2 * s, c), // the constructor keeps the axis
        ROW(unit(kPi / 2, 0, 0, 2), 1e-12, 0, 0, s, c),                  // set normalises it
        ROW(after(Quaternion(0, 3, 0, 4), [](Quaternion& r) { r.setInverse(); }), 1e-12, 0, -0.6, 0, 0.8),
        ROW(quarter.getRotationAngle(), 1e-12, 90),
        ROW(Quaternion(Vec3(0.6, 0, 0.8), Vec3(-0.6, 0, -0.8)), 1e-12, 0, -1, 0, 0), // opposite: a perpendicular
        ROW(Quaternion::quaternionMulVec3(Quaternion(from, to), from), 1e-12, to.x, to.y, to.z),
        ROW(slerp(Quaternion(), Quaternion(0, 0, 0, -1), 0.7), 0.0, 0, 0, 0, 1), // opposite: stays but at t = 1
        ROW(slerp(Quaternion(), Quaternion(0, 0, 0, -1), 1.0), 0.0, 0, 0, 0, -1),
        ROW(slerp(Quaternion(), Quaternion(0, 0, -s, -c), 0.5), 1e-12, 0, 0, std::sin(kPi / 8), std::cos(kPi / 8)),
        SAME(aligned(slerp(unit(0.2, 1, 1, 0), unit(1.4, 1, 1, 0), 0.25), unit(0.5, 1, 1, 0)), unit(0.5, 1, 1, 0), 1e-12),
        SAME(aligned(Quaternion::lerp(unit(0.2, 0, 1, 0), unit(1.0, 0, 1, 0), 0.5), unit(0.6, 0, 1, 0)), unit(0.6, 0, 1, 0), 1e-12),
    });
}
// clang-format on
