#include "Vec4.h"

#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Vec4>::value, "kit values are copied bit for bit");

namespace {

constexpr double kSquaredTolerance = 1e-24;
// 0.01 as the single-precision value it was tuned with.
constexpr double kNearParallel = static_cast<double>(0.01f);

} // namespace

Vec4::Vec4() : x(0.0), y(0.0), z(0.0), w(0.0) {}

Vec4::Vec4(double x, double y, double z, double w) : x(x), y(y), z(z), w(w) {}

Vec4::Vec4(Vec3 const& v, double w) : x(v.x), y(v.y), z(v.z), w(w) {}

void Vec4::set(double x_, double y_, double z_, double w_) {
    x = x_;
    y = y_;
    z = z_;
    w = w_;
}

void Vec4::setZero() {
    set(0.0, 0.0, 0.0, 0.0);
}

Vec3 Vec4::getVec3() const {
    return Vec3(x, y, z);
}

void Vec4::add(Vec4 const& v) {
    set(x + v.x, y + v.y, z + v.z, w + v.w);
}
void Vec4::add(double s) {
    set(x + s, y + s, z + s, w + s);
}
void Vec4::sub(Vec4 const& v) {
    set(x - v.x, y - v.y, z - v.z, w - v.w);
}
void Vec4::sub(double s) {
    set(x - s, y - s, z - s, w - s);
}
void Vec4::mult(Vec4 const& v) {
    set(x * v.x, y * v.y, z * v.z, w * v.w);
}
void Vec4::mult(double s) {
    set(x * s, y * s, z * s, w * s);
}
void Vec4::divide(Vec4 const& v) {
    set(x / v.x, y / v.y, z / v.z, w / v.w);
}
void Vec4::divide(double s) {
    set(x / s, y / s, z / s, w / s);
}

void Vec4::operator+=(Vec4 const& v) {
    add(v);
}
void Vec4::operator+=(double s) {
    add(s);
}
void Vec4::operator-=(Vec4 const& v) {
    sub(v);
}
void Vec4::operator-=(double s) {
    sub(s);
}
void Vec4::operator*=(Vec4 const& v) {
    mult(v);
}
void Vec4::operator*=(double s) {
    mult(s);
}
void Vec4::operator/=(Vec4 const& v) {
    divide(v);
}
void Vec4::operator/=(double s) {
    divide(s);
}

Vec4 Vec4::operator+(Vec4 const& v) const {
    return Vec4(x + v.x, y + v.y, z + v.z, w + v.w);
}
Vec4 Vec4::operator+(double s) const {
    return Vec4(x + s, y + s, z + s, w + s);
}
Vec4 Vec4::operator-(Vec4 const& v) const {
    return Vec4(x - v.x, y - v.y, z - v.z, w - v.w);
}
Vec4 Vec4::operator-(double s) const {
    return Vec4(x - s, y - s, z - s, w - s);
}
Vec4 Vec4::operator*(Vec4 const& v) const {
    return Vec4(x * v.x, y * v.y, z * v.z, w * v.w);
}
Vec4 Vec4::operator*(double s) const {
    return Vec4(x * s, y * s, z * s, w * s);
}
Vec4 Vec4::operator/(Vec4 const& v) const {
    return Vec4(x / v.x, y / v.y, z / v.z, w / v.w);
}
Vec4 Vec4::operator/(double s) const {
    return Vec4(x / s, y / s, z / s, w / s);
}
Vec4 Vec4::negate() const {
    return Vec4(-x, -y, -z, -w);
}
Vec4 Vec4::invert() const {
    return Vec4(1.0 / x, 1.0 / y, 1.0 / z, 1.0 / w);
}

bool Vec4::operator==(Vec4 const& v) const {
    return (*this - v).lengthSquare() < kSquaredTolerance;
}

bool Vec4::operator!=(Vec4 const& v) const {
    return !(*this == v);
}

bool Vec4::equal(Vec4 const& v, double tol) const {
    return (*this - v).lengthSquare() < tol * tol;
}

bool Vec4::isZero() const {
    return x == 0.0 && y == 0.0 && z == 0.0 && w == 0.0;
}

double Vec4::dot(Vec4 const& v) const {
    return x * v.x + y * v.y + z * v.z + w * v.w;
}

double Vec4::length() const {
    return std::sqrt(lengthSquare());
}

double Vec4::lengthSquare() const {
    return x * x + y * y + z * z + w * w;
}

double Vec4::lengthManhattan() const {
    return std::fabs(x) + std::fabs(y) + std::fabs(z) + std::fabs(w);
}

double Vec4::distance(Vec4 const& v) const {
    return (*this - v).length();
}

void Vec4::setLength(double len) {
    if (isZero()) {
        x = len;
        return;
    }
    mult(len / length());
}

void Vec4::normalize() {
    setLength(1.0);
}

Vec4 Vec4::lerp(Vec4 a, Vec4 b, double t) {
    if (t == 0.0) {
        return a;
    }
    if (t == 1.0) {
        return b;
    }
    double c = a.dot(b) / (a.length() * b.length());
    if (c < 0.0) {
        // Take the shorter way round; the inner call sees a positive cosine.
        return lerp(a, b.negate(), t);
    }

    double wa;
    double wb;
    if (1.0 - c < kNearParallel) {
        wa = 1.0 - t;
        wb = t;
    } else {
        // Single-precision weights by design: interpolated directions must
        // come out the same as those the effects already produced.
        double theta = static_cast<double>(std::acos(static_cast<float>(c)));
        double inv = static_cast<double>(1.0f / std::sin(static_cast<float>(theta)));
        wa = static_cast<double>(std::sin(static_cast<float>((1.0 - t) * theta))) * inv;
        wb = static_cast<double>(std::sin(static_cast<float>(theta * t))) * inv;
    }

    Vec4 r = a * wa + b * wb;
    r.setLength(1.0);
    return r;
}

} // namespace GaussianBlur
} // namespace Brindel
