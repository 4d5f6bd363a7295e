#pragma once

#include "Affine.h"
#include "Barycentric.h"
#include "Box3.h"
#include "Color.h"
#include "Euler.h"
#include "Mat4.h"
#include "Quaternion.h"
#include "Rect.h"
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <limits>
#include <vector>

// Tables for the kit's tests: each row is an expression, its text and what it must give. Values
// are read field by field, apart from the kit's own operator==, so that a fault in one cannot
// hide in the other. Rows run in order, so a row may read what an earlier one changed.
// clang-format off
namespace MathExpect {

using namespace Brindel::GaussianBlur;
using Parts = std::vector<double>;

constexpr double kPi = 3.14159265358979323846, kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = HUGE_VAL;

struct Of {
    static Parts of(double v) { return {v}; }
    static Parts of(Vec2 const& v) { return {v.x, v.y}; }
    static Parts of(Vec3 const& v) { return {v.x, v.y, v.z}; }
    static Parts of(Vec4 const& v) { return {v.x, v.y, v.z, v.w}; }
    static Parts of(Quaternion const& q) { return {q.x, q.y, q.z, q.w}; }
    static Parts of(Color const& c) { return {c.r(), c.g(), c.b(), c.a()}; }
    static Parts of(Affine const& t) { return {t.a, t.b, t.c, t.d, t.e, t.f}; }
    static Parts of(Rect const& r) { return {r.getLeft(), r.getTop(), r.getSize().x, r.getSize().y}; }
    static Parts of(Box3 const& b) { return {b.min.x, b.min.y, b.min.z, b.max.x, b.max.y, b.max.z}; }
    static Parts of(Euler const& e) { return {e.x, e.y, e.z}; }
    static Parts of(Barycentric const& w) { return {w.weightA, w.weightB, w.weightC}; }
    static Parts of(Mat4 const& m) { return Parts(m.m, m.m + 16); }
};
template <typename T> Parts parts(T const& v) { return Of::of(v); }

// Every value within tol of its own, the bound passing; tol 0 compares bit for bit (-0 is not 0).
inline ::testing::AssertionResult within(Parts const& got, Parts const& want, double tol = 1e-12) {
    bool ok = got.size() == want.size();
    for (size_t i = 0; ok && i < got.size(); ++i) ok = tol == 0.0 ? std::memcmp(&got[i], &want[i], sizeof(double)) == 0 : std::fabs(got[i] - want[i]) <= tol;
    return ok ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << ::testing::PrintToString(got) << " is not " << ::testing::PrintToString(want);
}

struct Row { char const* what; Parts got, want; double tol; };
inline void expectRows(std::initializer_list<Row> rows) {
    for (Row const& r : rows) EXPECT_TRUE(within(r.got, r.want, r.tol)) << r.what;
}

// A copy of v after f changed it, for the kit's many in-place operations.
template <typename T, typename F> T after(T v, F f) { return f(v), v; }

} // namespace MathExpect

// ROW(expression, tolerance, expected values...), a bool being 0 or 1; SAME(a, b, tolerance).
#define ROW(expr, tol, ...) MathExpect::Row{#expr, MathExpect::parts(expr), {__VA_ARGS__}, tol}
#define SAME(a, b, tol) MathExpect::Row{#a " == " #b, MathExpect::parts(a), MathExpect::parts(b), tol}
// clang-format on
