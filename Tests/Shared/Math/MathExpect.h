#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <sstream>

// Comparison helpers for the kit's tests. They are written independently of
// the kit's own operator== so that a fault in one cannot hide in the other.
namespace MathExpect {

// The kit's tolerance per component.
constexpr double kKitTolerance = 1e-12;

inline bool sameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Every component within tol of its expected value, the bound passing.
inline ::testing::AssertionResult eachWithin(std::initializer_list<double> actual,
                                             std::initializer_list<double> expected,
                                             double tol = kKitTolerance) {
    if (actual.size() != expected.size()) {
        return ::testing::AssertionFailure() << "component counts differ";
    }
    std::ostringstream got;
    std::ostringstream want;
    got.precision(17);
    want.precision(17);
    bool ok = true;
    auto e = expected.begin();
    for (auto a = actual.begin(); a != actual.end(); ++a, ++e) {
        got << (a == actual.begin() ? "" : ", ") << *a;
        want << (a == actual.begin() ? "" : ", ") << *e;
        if (!(std::fabs(*a - *e) <= tol)) {
            ok = false;
        }
    }
    if (ok) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "(" << got.str() << ") is not within " << tol << " of (" << want.str() << ")";
}

// Every component equal to the bit, so that -0 and 0 differ.
inline ::testing::AssertionResult eachSameBits(std::initializer_list<double> actual,
                                               std::initializer_list<double> expected) {
    if (actual.size() != expected.size()) {
        return ::testing::AssertionFailure() << "component counts differ";
    }
    auto e = expected.begin();
    std::size_t i = 0;
    for (auto a = actual.begin(); a != actual.end(); ++a, ++e, ++i) {
        if (!sameBits(*a, *e)) {
            std::ostringstream s;
            s.precision(17);
            s << "component " << i << " is " << *a << ", expected exactly " << *e;
            return ::testing::AssertionFailure() << s.str();
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace MathExpect
