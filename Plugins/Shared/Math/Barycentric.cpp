#include "Barycentric.h"

#include <array>
#include <cstddef>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Barycentric>::value, "kit values are copied bit for bit");

namespace {

template <std::size_t N> using Point = std::array<double, N>;

template <std::size_t N> Point<N> minus(Point<N> const& u, Point<N> const& v) {
    Point<N> r;
    for (std::size_t i = 0; i < N; ++i) {
        r[i] = u[i] - v[i];
    }
    return r;
}

template <std::size_t N> double dot(Point<N> const& u, Point<N> const& v) {
    double s = 0.0;
    for (std::size_t i = 0; i < N; ++i) {
        s += u[i] * v[i];
    }
    return s;
}

// Dot products rather than a cross product, so the same steps work in any
// dimension, with c as the origin.
template <std::size_t N>
void weights(Point<N> const& a, Point<N> const& b, Point<N> const& c, Point<N> const& p,
             Barycentric& out) {
    Point<N> e0 = minus(b, c);
    Point<N> e1 = minus(a, c);
    Point<N> e2 = minus(p, c);
    double d00 = dot(e0, e0);
    double d11 = dot(e1, e1);
    double d01 = dot(e0, e1);
    double d20 = dot(e2, e0);
    double d21 = dot(e2, e1);
    double den = d00 * d11 - d01 * d01;
    out.weightA = (d00 * d21 - d01 * d20) / den;
    out.weightB = (d11 * d20 - d01 * d21) / den;
    out.weightC = 1.0 - out.weightA - out.weightB;
}

Point<2> point(Vec2 const& v) {
    return {v.x, v.y};
}
Point<3> point(Vec3 const& v) {
    return {v.x, v.y, v.z};
}
Point<4> point(Vec4 const& v) {
    return {v.x, v.y, v.z, v.w};
}
Point<4> point(Color const& v) {
    return {v.r(), v.g(), v.b(), v.a()};
}

template <typename T> T mix(T const& a, T const& b, T const& c, Barycentric const& w) {
    return (a * w.weightA + b * w.weightB) + c * w.weightC;
}

} // namespace

Barycentric::Barycentric(double weightA, double weightB, double weightC)
    : weightA(weightA), weightB(weightB), weightC(weightC) {}

Barycentric::Barycentric(Vec2 const& a, Vec2 const& b, Vec2 const& c, Vec2 const& p) {
    weights(point(a), point(b), point(c), point(p), *this);
}

Barycentric::Barycentric(Vec3 const& a, Vec3 const& b, Vec3 const& c, Vec3 const& p) {
    weights(point(a), point(b), point(c), point(p), *this);
}

Barycentric::Barycentric(Vec4 const& a, Vec4 const& b, Vec4 const& c, Vec4 const& p) {
    weights(point(a), point(b), point(c), point(p), *this);
}

Barycentric::Barycentric(Color const& a, Color const& b, Color const& c, Color const& p) {
    weights(point(a), point(b), point(c), point(p), *this);
}

bool Barycentric::isInside() {
    return weightA >= 0.0 && weightA <= 1.0 && weightB >= 0.0 && weightB <= 1.0 && weightC >= 0.0;
}

Vec2 Barycentric::interpolate(Vec2 const& a, Vec2 const& b, Vec2 const& c) {
    return mix(a, b, c, *this);
}

Vec3 Barycentric::interpolate(Vec3 const& a, Vec3 const& b, Vec3 const& c) {
    return mix(a, b, c, *this);
}

Vec4 Barycentric::interpolate(Vec4 const& a, Vec4 const& b, Vec4 const& c) {
    return mix(a, b, c, *this);
}

Color Barycentric::interpolate(Color const& a, Color const& b, Color const& c) {
    return mix(a, b, c, *this);
}

} // namespace GaussianBlur
} // namespace Brindel
