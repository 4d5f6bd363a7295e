#include "MathExpect.h"

using namespace MathExpect;

// clang-format off
namespace {
double planeAngle(Vec4 const& v) { return std::atan2(v.y, v.x); }
Vec4 oneMinusC(double d) { return Vec4(1 - d, std::sqrt(1 - (1 - d) * (1 - d)), 0, 0); }
} // namespace

TEST(Vec4Test, LerpTurnsOnTheShortArcWithSinglePrecisionWeights) {
    Vec4 x(1, 0, 0, 0), y(0, 1, 0, 0), zero;
    Vec4 spherical = oneMinusC(0.0099999998), linear = oneMinusC(0.0099999997); // 0.01f lies between
    double s = planeAngle(spherical), l = planeAngle(linear);
    expectRows({
        ROW(Vec4::lerp(Vec4(3, 0, 0, 0), Vec4(0, 0, 0, -7), 1.0), 0.0, 0, 0, 0, -7), // the ends untouched
        ROW(planeAngle(Vec4::lerp(x, Vec4(-std::sqrt(0.5), std::sqrt(0.5), 0, 0), 0.5)), 1e-6, -kPi / 8),
        ROW(planeAngle(Vec4::lerp(x, y, 0.3)), 1e-6, 0.15 * kPi),
        ROW(planeAngle(Vec4::lerp(x, spherical, 0.25)), 1e-6, 0.25 * s),
        ROW(planeAngle(Vec4::lerp(x, linear, 0.25)), 1e-12, std::atan2(0.25 * std::sin(l), 0.75 + 0.25 * std::cos(l))),
        // Squared distance below 1e-24, strictly.
        ROW(zero == Vec4(8e-13, 8e-13, 0, 0), 0.0, 0),
        ROW(zero != Vec4(1e-12, 0, 0, 0), 0.0, 1),
    });
}
// clang-format on
