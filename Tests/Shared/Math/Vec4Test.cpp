#include "MathExpect.h"

using namespace MathExpect;

namespace {

constexpr double kHalfPi = 1.57079632679489661923;

// Angle of a result that lies in the x-y plane.
double planeAngle(Vec4 const& v) {
    return std::atan2(v.y, v.x);
}

} // namespace

TEST(Vec4Test, LerpReturnsTheEndsUntouchedAndUnitVectorsBetween) {
    Vec4 a(3, 0, 0, 0), b(0, 0, 0, -7), x(1, 0, 0, 0), y(0, 1, 0, 0);
    expectRows({
        ROW(Vec4::lerp(a, b, 0.0), 0.0, 3, 0, 0, 0),
        ROW(Vec4::lerp(a, b, 1.0), 0.0, 0, 0, 0, -7),
        ROW(Vec4::lerp(a, a, 0.5), 1e-12, 1, 0, 0, 0),
        ROW(Vec4::lerp(x, y, 0.5), 1e-12, 0.7071067811865475, 0.7071067811865475, 0, 0),
        // Opposite directions: b is turned round and the two become parallel.
        ROW(Vec4::lerp(Vec4(2, 0, 0, 0), Vec4(-2, 0, 0, 0), 0.25), 1e-12, 1, 0, 0, 0),
        // An obtuse pair takes the short way round, through the negated b.
        ROW(planeAngle(Vec4::lerp(x, Vec4(-std::sqrt(0.5), std::sqrt(0.5), 0, 0), 0.5)), 1e-6,
            -kHalfPi / 4.0),
        ROW(std::isnan(Vec4::lerp(Vec4(), x, 0.5).x), 0.0, 1),
        ROW(after(Vec4(), [](Vec4& v) { v.normalize(); }), 0.0, 1, 0, 0, 0),
    });
}

TEST(Vec4Test, LerpWeightsAreSinglePrecisionAboveTheLinearBound) {
    // The weights as described, each step rounded to float; the common factor 1/sin(theta)
    // cancels in the final normalisation.
    for (double angle : {0.3, 1.0, kHalfPi, 2.5}) {
        Vec4 a(1, 0, 0, 0), b(std::cos(angle), std::sin(angle), 0, 0);
        Vec4 target = angle > kHalfPi ? b.negate() : b;
        double theta = static_cast<double>(std::acos(static_cast<float>(a.dot(target))));
        for (double t : {0.1, 0.3, 0.7, 1.5}) {
            double wa = static_cast<double>(std::sin(static_cast<float>((1.0 - t) * theta)));
            double wb = static_cast<double>(std::sin(static_cast<float>(theta * t)));
            Vec4 expected = a * wa + target * wb;
            expected.normalize();
            EXPECT_TRUE(within(parts(Vec4::lerp(a, b, t)), {expected.x, expected.y, 0, 0}, 1e-15));
        }
    }
    // Double-precision weights would land on the exact great-circle point.
    double off =
        std::fabs(planeAngle(Vec4::lerp(Vec4(1, 0, 0, 0), Vec4(0, 1, 0, 0), 0.3)) - 0.3 * kHalfPi);
    EXPECT_TRUE(off > 1e-9 && off < 1e-6);

    // 1 - c between 0.01 as a float (0.009999999776...) and 0.01 as a double takes the
    // spherical weights; just below the float bound, the linear ones.
    double t = 0.25, theta = 0.0;
    auto run = [t, &theta](double oneMinusC) {
        double c = 1.0 - oneMinusC;
        Vec4 b(c, std::sqrt(1.0 - c * c), 0.0, 0.0);
        theta = planeAngle(b);
        return planeAngle(Vec4::lerp(Vec4(1, 0, 0, 0), b, t));
    };
    double spherical = run(0.0099999998);
    EXPECT_NEAR(spherical, t * theta, 1e-6);
    double linear = run(0.0099999997);
    double linearAngle = std::atan2(t * std::sin(theta), (1.0 - t) + t * std::cos(theta));
    EXPECT_NEAR(linear, linearAngle, 1e-12);
    EXPECT_GT(std::fabs(linearAngle - t * theta), 1e-5); // the two rules are told apart
}
