#pragma once

#include "Affine.h"
#include "Barycentric.h"
#include "Box3.h"
#include "Color.h"
#include "Euler.h"
#include "Mat4.h"
#include "Quaternion.h"
#include "Rect.h"
#include "Vec4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <sstream>
#include <vector>

// Tables for the kit's tests: each row is an expression, its text and what it must give.
// Values are read field by field, apart from the kit's own operator==, so that a fault in
// one cannot hide in the other.
namespace MathExpect {

using namespace Brindel::GaussianBlur;

using Parts = std::vector<double>;

inline Parts parts(double v) {
    return {v};
}
inline Parts parts(Vec2 const& v) {
    return {v.x, v.y};
}
inline Parts parts(Vec3 const& v) {
    return {v.x, v.y, v.z};
}
inline Parts parts(Vec4 const& v) {
    return {v.x, v.y, v.z, v.w};
}
inline Parts parts(Quaternion const& q) {
    return {q.x, q.y, q.z, q.w};
}
inline Parts parts(Color const& c) {
    return {c.r(), c.g(), c.b(), c.a()};
}
// In the constructor's order.
inline Parts parts(Affine const& t) {
    return {t.a, t.b, t.c, t.d, t.e, t.f};
}
inline Parts parts(Rect const& r) {
    return {r.getLeft(), r.getTop(), r.getSize().x, r.getSize().y};
}
inline Parts parts(Box3 const& b) {
    return {b.min.x, b.min.y, b.min.z, b.max.x, b.max.y, b.max.z};
}
inline Parts parts(Euler const& e) {
    return {e.x, e.y, e.z};
}
inline Parts parts(Barycentric const& w) {
    return {w.weightA, w.weightB, w.weightC};
}
inline Parts parts(Mat4 const& m) {
    return Parts(m.m, m.m + 16);
}

// Every value within tol of its expected one, the bound passing; tol 0 compares bit for
// bit, so that -0 and 0 differ.
inline ::testing::AssertionResult within(Parts const& actual, Parts const& expected,
                                         double tol = 1e-12) {
    std::ostringstream text;
    text.precision(17);
    bool ok = actual.size() == expected.size();
    for (size_t i = 0; i < actual.size() && i < expected.size(); ++i) {
        double a = actual[i], e = expected[i];
        text << a << " (" << e << ") ";
        ok = ok && (tol == 0.0 ? std::memcmp(&a, &e, sizeof a) == 0 : std::fabs(a - e) <= tol);
    }
    if (ok) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "actual (expected): " << text.str() << "tol " << tol;
}

struct Row {
    char const* what;
    Parts got;
    Parts want;
    double tol;
};

struct Fact {
    char const* what;
    bool got;
    bool want;
};

// Rows are evaluated in order, so a row may read what an earlier one changed.
inline void expectRows(std::initializer_list<Row> rows) {
    for (Row const& r : rows) {
        EXPECT_TRUE(within(r.got, r.want, r.tol)) << r.what;
    }
}

inline void expectFacts(std::initializer_list<Fact> facts) {
    for (Fact const& f : facts) {
        EXPECT_EQ(f.got, f.want) << f.what;
    }
}

// A copy of v after f changed it, for the kit's many in-place operations.
template <typename T, typename F> T after(T v, F f) {
    f(v);
    return v;
}

} // namespace MathExpect

#define ROW(expr, tol, ...)                                                                        \
    MathExpect::Row {                                                                              \
#expr, MathExpect::parts(expr), {__VA_ARGS__ }, tol                                        \
    }
#define FACT(expr, want)                                                                           \
    MathExpect::Fact {                                                                             \
#expr, static_cast < bool>(expr), want                                                     \
    }
