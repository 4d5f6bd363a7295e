#include "MathExpect.h"

#include <limits>

using namespace MathExpect;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Mat4 zeroWith(int index, double value) {
    Mat4 m(false);
    m.m[index] = value;
    return m;
}

Color nil() {
    Color c;
    c.setNil();
    return c;
}

} // namespace

// The kit's comparisons side by side: most bound each component by 1e-12 with the bound
// passing; Vec4 bounds the squared distance strictly; Quaternion is exact. NaN is never equal.
TEST(KitTolerance, EachTypeComparesWithItsOwnBound) {
    Vec4 zero;
    Box3 unit(Vec3(0), Vec3(1));
    Affine affineZero(false), affineNaN(kNaN, 0, 0, 0, 0, 0);
    Vec2 v2NaN(kNaN, 0);
    expectFacts({
        FACT(Vec2() == Vec2(1e-12, -1e-12), true),
        FACT(Vec2() == Vec2(0, 2e-12), false),
        FACT(Vec2(1, 2).equal(Vec2(1.5, 1.5), 0.5), true),
        FACT(v2NaN == v2NaN, false),
        // Negligible, duplicate and radius tests are strict; a duplicate is a box, not a circle.
        FACT(Vec2::negligible(1e-12), false),
        FACT(Vec2(1e-12, 0).nonNegligible(), true),
        FACT(Vec2::isDuplicate(Vec2(0, 0), Vec2(0.25, 0)), false),
        FACT(Vec2::isDuplicate(Vec2(0, 0), Vec2(0.2499, -0.2499)), true),
        FACT(Vec2::equalWithTolerance(Vec2(0, 0), Vec2(3, 4), 5.0), false),
        FACT(Vec2::equalWithTolerance(0, 0, 3, 4, 5.000001), true),
        FACT(Vec3(1, 2, 3) == Vec3(1, 2, 3.5), false),
        FACT(Vec3(1, 2, 3).equal(Vec3(1, 2, 3.5), 0.5), true),
        FACT(Vec3() == Vec3(1e-12, -1e-12, 1e-12), true),
        FACT(Vec3() != Vec3(0, 0, 2e-12), true),
        // Vec4: 1e-24 is not below 1e-24, and two components below 1e-12 add up beyond it.
        FACT(zero == Vec4(1e-13, 0, 0, 0), true),
        FACT(zero == Vec4(1e-12, 0, 0, 0), false),
        FACT(zero != Vec4(1e-12, 0, 0, 0), true),
        FACT(zero == Vec4(8e-13, 8e-13, 0, 0), false),
        FACT(zero.equal(Vec4(2e-12, 0, 0, 0), 2e-12), false),
        FACT(Quaternion(0.1, 0.2, 0.3, 0.4) == Quaternion(0.1, 0.2, 0.3, 0.4), true),
        FACT(Quaternion(0.1, 0.2, 0.3, 0.4) != Quaternion(0.1, 0.2, 0.3 + 1e-13, 0.4), true),
        FACT(Mat4(false) == zeroWith(7, 1e-12), true),
        FACT(Mat4(false) == zeroWith(7, 2e-12), false),
        FACT(Mat4(false) == zeroWith(7, kNaN), false),
        FACT(Euler(1, 2, 3, Euler::XYZ) == Euler(1, 2, 3, Euler::ZYX), false),
        FACT(Euler(0, 0, 0, Euler::XYZ) == Euler(1e-12, -1e-12, 0, Euler::XYZ), true),
        FACT(Euler(0, 0, 0, Euler::XYZ) == Euler(0, 0, 2e-12, Euler::XYZ), false),
        FACT(Euler(kNaN, 0, 0, Euler::XYZ) == Euler(kNaN, 0, 0, Euler::XYZ), false),
        // Rect per field, where a Vec4 distance test would fail.
        FACT(Rect(0, 0, 0, 0) == Rect(1e-12, 1e-12, 1e-12, 1e-12), true),
        FACT(Rect(0, 0, 0, 0) != Rect(0, 0, 2e-12, 0), true),
        FACT(affineZero == Affine(1e-12, 0, 0, 0, 0, -1e-12), true),
        FACT(affineZero == Affine(0, 0, 0, 2e-12, 0, 0), false),
        FACT(affineNaN == affineNaN, false),
        FACT(unit == Box3(Vec3(1e-12), Vec3(1)), true),
        FACT(unit == Box3(Vec3(0), Vec3(1, 1, 1.5)), false),
        FACT(Color(0, 0, 0, 0) == Color(0, 1e-12, 0, 1e-12), true),
        FACT(Color(0, 0, 0, 0).equal(Color(0, 0, 0, 2e-12)), false),
        // Any two nil colours are equal; against a set colour a nil one compares by channel.
        FACT(Color(-1, 0, 0, 1) == Color(0, -2, 0, 0), true),
        FACT(Color(-1, 0.5, 0.75, 1) == Color(1, 0.5, 0.75, 1), false),
        FACT(Color() != nil(), true),
    });
}
