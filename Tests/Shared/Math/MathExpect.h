#pragma once

#include "Quaternion.h"
#include "Vec4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <sstream>

// Comparison helpers for the kit's tests, written independently of the
// kit's own operator== so that a fault in one cannot hide in the other.
namespace MathExpect {

// Every value within tol of its expected one, the bound passing; tol 0
// compares bit for bit, so that -0 and 0 differ.
inline ::testing::AssertionResult eachWithin(std::initializer_list<double> actual,
                                             std::initializer_list<double> expected,
                                             double tol = 1e-12) {
    std::ostringstream text;
    text.precision(17);
    bool ok = actual.size() == expected.size();
    auto e = expected.begin();
    for (auto a = actual.begin(); a != actual.end() && e != expected.end(); ++a, ++e) {
        text << *a << " (" << *e << ") ";
        ok = ok &&
             (tol == 0.0 ? std::memcmp(&*a, &*e, sizeof(double)) == 0 : std::fabs(*a - *e) <= tol);
    }
    if (ok) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "actual (expected): " << text.str() << "tol " << tol;
}

using Brindel::GaussianBlur::Quaternion;
using Brindel::GaussianBlur::Vec2;
using Brindel::GaussianBlur::Vec3;
using Brindel::GaussianBlur::Vec4;

inline ::testing::AssertionResult is(Vec2 const& v, double x, double y, double tol = 1e-12) {
    return eachWithin({v.x, v.y}, {x, y}, tol);
}

inline ::testing::AssertionResult is(Vec3 const& v, double x, double y, double z,
                                     double tol = 1e-12) {
    return eachWithin({v.x, v.y, v.z}, {x, y, z}, tol);
}

inline ::testing::AssertionResult is(Vec4 const& v, double x, double y, double z, double w,
                                     double tol = 1e-12) {
    return eachWithin({v.x, v.y, v.z, v.w}, {x, y, z, w}, tol);
}

inline ::testing::AssertionResult is(Quaternion const& q, double x, double y, double z, double w,
                                     double tol = 1e-12) {
    return eachWithin({q.x, q.y, q.z, q.w}, {x, y, z, w}, tol);
}

} // namespace MathExpect
