#include "Vec4.h"

#include "MathExpect.h"

#include <cmath>
#include <utility>

using Brindel::GaussianBlur::Vec3;
using Brindel::GaussianBlur::Vec4;
using MathExpect::eachSameBits;
using MathExpect::eachWithin;

namespace {

constexpr double kHalfPi = 1.57079632679489661923;

// Angle of a result that lies in the x-y plane.
double planeAngle(Vec4 const& v) {
    return std::atan2(v.y, v.x);
}

} // namespace

TEST(Vec4Test, EqualityBoundsTheSquaredDistanceStrictly) {
    Vec4 zero;
    EXPECT_TRUE(zero == Vec4(1e-13, 0.0, 0.0, 0.0));
    // Equal per component under Vec2 and Vec3, not here: 1e-24 is not below 1e-24.
    EXPECT_FALSE(zero == Vec4(1e-12, 0.0, 0.0, 0.0));
    EXPECT_TRUE(zero != Vec4(1e-12, 0.0, 0.0, 0.0));
    // A distance, not a per-component test: each component is below 1e-12
    // but the distance is not.
    EXPECT_FALSE(zero == Vec4(8e-13, 8e-13, 0.0, 0.0));

    EXPECT_FALSE(zero.equal(Vec4(2e-12, 0.0, 0.0, 0.0), 2e-12));
    EXPECT_TRUE(zero.equal(Vec4(2e-12, 0.0, 0.0, 0.0), 2.1e-12));
    EXPECT_FALSE(zero.equal(Vec4(0.0, 3.0, 0.0, 4.0), 5.0));
    EXPECT_TRUE(zero.equal(Vec4(0.0, 3.0, 0.0, 4.0), 5.0000001));
}

TEST(Vec4Test, LengthsAndZeroNormalisation) {
    EXPECT_EQ(Vec4(-1.0, 2.0, -3.0, 4.0).lengthManhattan(), 10.0);
    EXPECT_EQ(Vec4(1.0, 1.0, 1.0, 1.0).length(), 2.0);
    EXPECT_EQ(Vec4(1.0, 2.0, 3.0, 4.0).dot(Vec4(1.0, -1.0, 1.0, -1.0)), -2.0);
    EXPECT_EQ(Vec4(1.0, 1.0, 1.0, 1.0).distance(Vec4(3.0, 3.0, 3.0, 3.0)), 4.0);

    Vec4 v;
    v.normalize();
    EXPECT_TRUE(eachSameBits({v.x, v.y, v.z, v.w}, {1.0, 0.0, 0.0, 0.0}));
    Vec4 w;
    w.setLength(-2.0);
    EXPECT_TRUE(eachSameBits({w.x, w.y, w.z, w.w}, {-2.0, 0.0, 0.0, 0.0}));
    Vec4 u(1.0, 1.0, 1.0, 1.0);
    u.setLength(4.0);
    EXPECT_TRUE(eachSameBits({u.x, u.y, u.z, u.w}, {2.0, 2.0, 2.0, 2.0}));
}

TEST(Vec4Test, ConversionsAndArithmetic) {
    Vec3 v(1.0, -2.0, 3.0);
    Vec3 back = Vec4(v, 1.0).getVec3();
    EXPECT_TRUE(eachSameBits({back.x, back.y, back.z}, {1.0, -2.0, 3.0}));

    Vec4 a(1.0, 2.0, 3.0, 4.0);
    a += Vec4(1.0, 0.0, 1.0, 0.0);
    a *= 2.0;
    a -= Vec4(0.0, 0.0, 0.0, 4.0);
    a /= Vec4(4.0, 4.0, 8.0, 4.0);
    EXPECT_TRUE(eachSameBits({a.x, a.y, a.z, a.w}, {1.0, 1.0, 1.0, 1.0}));
    Vec4 n = Vec4(0.0, 1.0, -2.0, 4.0).negate();
    EXPECT_TRUE(eachSameBits({n.x, n.y, n.z, n.w}, {-0.0, -1.0, 2.0, -4.0}));
    Vec4 i = Vec4(2.0, -4.0, 0.5, 1.0).invert();
    EXPECT_TRUE(eachSameBits({i.x, i.y, i.z, i.w}, {0.5, -0.25, 2.0, 1.0}));
}

TEST(Vec4Test, LerpReturnsTheEndsUntouchedAndUnitVectorsBetween) {
    Vec4 a(3.0, 0.0, 0.0, 0.0);
    Vec4 b(0.0, 0.0, 0.0, -7.0);
    Vec4 start = Vec4::lerp(a, b, 0.0);
    EXPECT_TRUE(eachSameBits({start.x, start.y, start.z, start.w}, {3.0, 0.0, 0.0, 0.0}));
    Vec4 end = Vec4::lerp(a, b, 1.0);
    EXPECT_TRUE(eachSameBits({end.x, end.y, end.z, end.w}, {0.0, 0.0, 0.0, -7.0}));

    Vec4 same = Vec4::lerp(a, a, 0.5);
    EXPECT_TRUE(eachWithin({same.x, same.y, same.z, same.w}, {1.0, 0.0, 0.0, 0.0}));

    Vec4 half = Vec4::lerp(Vec4(1, 0, 0, 0), Vec4(0, 1, 0, 0), 0.5);
    EXPECT_TRUE(eachWithin({half.x, half.y, half.z, half.w},
                           {0.7071067811865475, 0.7071067811865475, 0.0, 0.0}));

    // Opposite directions: b is turned round and the two become parallel.
    for (double t : {0.25, 0.5, 0.9}) {
        Vec4 r = Vec4::lerp(Vec4(2, 0, 0, 0), Vec4(-2, 0, 0, 0), t);
        EXPECT_TRUE(eachWithin({r.x, r.y, r.z, r.w}, {1.0, 0.0, 0.0, 0.0})) << "t = " << t;
    }
    // An obtuse pair takes the short way round, through the negated b.
    Vec4 obtuse = Vec4::lerp(Vec4(1, 0, 0, 0), Vec4(-std::sqrt(0.5), std::sqrt(0.5), 0, 0), 0.5);
    EXPECT_NEAR(planeAngle(obtuse), -kHalfPi / 4.0, 1e-6);

    Vec4 bad = Vec4::lerp(Vec4(), Vec4(1, 0, 0, 0), 0.5);
    EXPECT_TRUE(std::isnan(bad.x));
}

TEST(Vec4Test, LerpWeightsAreSinglePrecision) {
    // The weights as described, each step rounded to float; the common factor
    // 1/sin(theta) cancels in the final normalisation.
    auto model = [](double c, double t) {
        double theta = static_cast<double>(std::acos(static_cast<float>(c)));
        double wa = static_cast<double>(std::sin(static_cast<float>((1.0 - t) * theta)));
        double wb = static_cast<double>(std::sin(static_cast<float>(theta * t)));
        return std::make_pair(wa, wb);
    };
    for (double angle : {0.3, 1.0, kHalfPi, 2.5}) {
        Vec4 a(1.0, 0.0, 0.0, 0.0);
        Vec4 b(std::cos(angle), std::sin(angle), 0.0, 0.0);
        for (double t : {0.1, 0.3, 0.7, 1.5}) {
            Vec4 r = Vec4::lerp(a, b, t);
            // Beyond a right angle lerp turns b round first.
            Vec4 target = b.dot(a) < 0.0 ? b.negate() : b;
            auto w = model(a.dot(target), t);
            Vec4 expected = a * w.first + target * w.second;
            expected.normalize();
            EXPECT_TRUE(eachWithin({r.x, r.y, r.z, r.w},
                                   {expected.x, expected.y, expected.z, expected.w}, 1e-15))
                << "angle " << angle << ", t " << t;
        }
    }

    // Double-precision weights would land on the exact great-circle point.
    Vec4 r = Vec4::lerp(Vec4(1, 0, 0, 0), Vec4(0, 1, 0, 0), 0.3);
    double exactAngle = 0.3 * kHalfPi;
    EXPECT_GT(std::fabs(planeAngle(r) - exactAngle), 1e-9);
    EXPECT_LT(std::fabs(planeAngle(r) - exactAngle), 1e-6);
}

TEST(Vec4Test, LerpSwitchesToLinearWeightsBelowTheSinglePrecisionBound) {
    // 1 - c lies between 0.01 as a float (0.009999999776...) and 0.01 as a
    // double: the spherical weights apply. Just below the float bound the
    // linear ones do.
    double t = 0.25;
    auto angleFor = [t](double oneMinusC) {
        double c = 1.0 - oneMinusC;
        Vec4 b(c, std::sqrt(1.0 - c * c), 0.0, 0.0);
        return std::make_pair(planeAngle(Vec4::lerp(Vec4(1, 0, 0, 0), b, t)), planeAngle(b));
    };

    auto spherical = angleFor(0.0099999998);
    EXPECT_NEAR(spherical.first, t * spherical.second, 1e-6);

    auto linear = angleFor(0.0099999997);
    double theta = linear.second;
    double linearAngle = std::atan2(t * std::sin(theta), (1.0 - t) + t * std::cos(theta));
    EXPECT_NEAR(linear.first, linearAngle, 1e-12);
    // The two rules differ by far more than the tolerances used above.
    EXPECT_GT(std::fabs(linearAngle - t * theta), 1e-5);
}
