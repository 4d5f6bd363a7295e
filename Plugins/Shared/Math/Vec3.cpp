#include "Vec3.h"

#include "Mat4.h"
#include "Quaternion.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Vec3>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;

double clampComponent(double c, double lo, double hi) {
    return c < lo ? lo : std::min(c, hi);
}

} // namespace

Vec3::Vec3() : x(0.0), y(0.0), z(0.0) {}

Vec3::Vec3(double v) : x(v), y(v), z(v) {}

Vec3::Vec3(Vec2 p, double z) : x(p.x), y(p.y), z(z) {}

Vec3::Vec3(double x, double y, double z) : x(x), y(y), z(z) {}

void Vec3::set(Vec2 p, double z_) {
    x = p.x;
    y = p.y;
    z = z_;
}

void Vec3::set(double x_, double y_, double z_) {
    x = x_;
    y = y_;
    z = z_;
}

void Vec3::set(int index, double v) {
    if (index == 0) {
        x = v;
    } else if (index == 1) {
        y = v;
    } else {
        z = v;
    }
}

void Vec3::setZero() {
    set(0.0, 0.0, 0.0);
}

void Vec3::fromArray(double const* a, int offset) {
    x = a[offset];
    y = a[offset + 1];
    z = a[offset + 2];
}

void Vec3::toArray(double* a, int offset) {
    a[offset] = x;
    a[offset + 1] = y;
    a[offset + 2] = z;
}

Vec2 Vec3::getVec2() const {
    return Vec2(x, y);
}

void Vec3::add(Vec3 const& v) {
    x += v.x;
    y += v.y;
    z += v.z;
}

void Vec3::add(double s) {
    x += s;
    y += s;
    z += s;
}

void Vec3::sub(Vec3 const& v) {
    x -= v.x;
    y -= v.y;
    z -= v.z;
}

void Vec3::sub(double s) {
    x -= s;
    y -= s;
    z -= s;
}

void Vec3::mult(Vec3 const& v) {
    x *= v.x;
    y *= v.y;
    z *= v.z;
}

void Vec3::mult(double s) {
    x *= s;
    y *= s;
    z *= s;
}

void Vec3::divide(Vec3 const& v) {
    x /= v.x;
    y /= v.y;
    z /= v.z;
}

void Vec3::divide(double s) {
    x /= s;
    y /= s;
    z /= s;
}

void Vec3::operator+=(Vec3 const& v) {
    add(v);
}
void Vec3::operator+=(double s) {
    add(s);
}
void Vec3::operator-=(Vec3 const& v) {
    sub(v);
}
void Vec3::operator-=(double s) {
    sub(s);
}
void Vec3::operator*=(Vec3 const& v) {
    mult(v);
}
void Vec3::operator*=(double s) {
    mult(s);
}
void Vec3::operator/=(Vec3 const& v) {
    divide(v);
}
void Vec3::operator/=(double s) {
    divide(s);
}

Vec3 Vec3::operator+(Vec3 const& v) const {
    return Vec3(x + v.x, y + v.y, z + v.z);
}
Vec3 Vec3::operator+(double s) const {
    return Vec3(x + s, y + s, z + s);
}
Vec3 Vec3::operator-(Vec3 const& v) const {
    return Vec3(x - v.x, y - v.y, z - v.z);
}
Vec3 Vec3::operator-(double s) const {
    return Vec3(x - s, y - s, z - s);
}
Vec3 Vec3::operator*(Vec3 const& v) const {
    return Vec3(x * v.x, y * v.y, z * v.z);
}
Vec3 Vec3::operator*(double s) const {
    return Vec3(x * s, y * s, z * s);
}
Vec3 Vec3::operator/(Vec3 const& v) const {
    return Vec3(x / v.x, y / v.y, z / v.z);
}
Vec3 Vec3::operator/(double s) const {
    return Vec3(x / s, y / s, z / s);
}

void Vec3::setNegate() {
    *this = negate();
}

Vec3 Vec3::negate() const {
    return Vec3(-x, -y, -z);
}

void Vec3::setInvert() {
    *this = invert();
}

Vec3 Vec3::invert() const {
    return Vec3(1.0 / x, 1.0 / y, 1.0 / z);
}

Vec3 Vec3::floor() {
    return Vec3(std::floor(x), std::floor(y), std::floor(z));
}

bool Vec3::operator==(Vec3 const& v) const {
    return equal(v, kTolerance);
}

bool Vec3::operator!=(Vec3 const& v) const {
    return !(*this == v);
}

bool Vec3::equal(Vec3 const& v, double tol) const {
    return std::fabs(v.x - x) <= tol && std::fabs(v.y - y) <= tol && std::fabs(v.z - z) <= tol;
}

bool Vec3::isZero() const {
    return x == 0.0 && y == 0.0 && z == 0.0;
}

int Vec3::largestAbsComponent() const {
    double ax = std::fabs(x);
    double ay = std::fabs(y);
    double az = std::fabs(z);
    if (ax > ay) {
        return ax > az ? 0 : 2;
    }
    return ay > az ? 1 : 2;
}

double Vec3::dot(Vec3 const& v) const {
    return x * v.x + y * v.y + z * v.z;
}

Vec3 Vec3::cross(Vec3 const& v) const {
    return Vec3(y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x);
}

double Vec3::length() const {
    return std::sqrt(x * x + y * y + z * z);
}

double Vec3::lengthSquare() const {
    return x * x + y * y + z * z;
}

double Vec3::distance(Vec3 const& v) const {
    return (*this - v).length();
}

double Vec3::distanceSquare(Vec3 const& v) const {
    return (*this - v).lengthSquare();
}

double Vec3::angleBetween(Vec3 const& v) const {
    // No clamp before acos: a quotient pushed past 1 by rounding gives NaN.
    return std::acos(dot(v) / (length() * v.length()));
}

void Vec3::setLength(double len) {
    if (x == 0.0 && y == 0.0 && z == 0.0) {
        x = len;
        return;
    }
    mult(len / std::sqrt(x * x + y * y + z * z));
}

void Vec3::normalize() {
    setLength(1.0);
}

void Vec3::ortho(Vec3 const& v) {
    int i = largestAbsComponent();
    int k = i == 0 ? 2 : i - 1;
    Vec3 u;
    u.set(k, 1.0);
    *this = v.cross(u);
    setLength(1.0);
}

Vec3 Vec3::rotationalDifference(Vec3 const& v) const {
    return *this - v;
}

Vec3 Vec3::lerp(Vec3 a, Vec3 b, double t) {
    double s = 1.0 - t;
    return Vec3(s * a.x + t * b.x, s * a.y + t * b.y, s * a.z + t * b.z);
}

void Vec3::getMin(Vec3 v) {
    x = std::min(x, v.x);
    y = std::min(y, v.y);
    z = std::min(z, v.z);
}

void Vec3::getMax(Vec3 v) {
    x = std::max(x, v.x);
    y = std::max(y, v.y);
    z = std::max(z, v.z);
}

void Vec3::clamp(Vec3 lo, Vec3 hi) {
    x = clampComponent(x, lo.x, hi.x);
    y = clampComponent(y, lo.y, hi.y);
    z = clampComponent(z, lo.z, hi.z);
}

void Vec3::setFromMatrixPosition(Mat4 const& m) {
    set(m.m[12], m.m[13], m.m[14]);
}

void Vec3::setFromMatrixColumn(Mat4 const& m, int index) {
    fromArray(m.m, 4 * index);
}

void Vec3::applyMatrix4(Mat4 const& mat) {
    double const* m = mat.m;
    set(m[0] * x + m[4] * y + m[8] * z + m[12], m[1] * x + m[5] * y + m[9] * z + m[13],
        m[2] * x + m[6] * y + m[10] * z + m[14]);
}

void Vec3::applyProjection(Mat4 const& mat) {
    double const* m = mat.m;
    double d = 1.0 / (m[3] * x + m[7] * y + m[11] * z + m[15]);
    set((m[0] * x + m[4] * y + m[8] * z + m[12]) * d, (m[1] * x + m[5] * y + m[9] * z + m[13]) * d,
        (m[2] * x + m[6] * y + m[10] * z + m[14]) * d);
}

void Vec3::applyQuaternion(Quaternion const& q) {
    // q * (x, y, z, 0) * conjugate(q), in two stages.
    double ix = q.w * x + q.y * z - q.z * y;
    double iy = q.w * y + q.z * x - q.x * z;
    double iz = q.w * z + q.x * y - q.y * x;
    double iw = -q.x * x - q.y * y - q.z * z;
    set(ix * q.w - iw * q.x - iy * q.z + iz * q.y, iy * q.w - iw * q.y - iz * q.x + ix * q.z,
        iz * q.w - iw * q.z - ix * q.y + iy * q.x);
}

void Vec3::transformDirection(Mat4 const& mat) {
    double const* m = mat.m;
    set(m[0] * x + m[4] * y + m[8] * z, m[1] * x + m[5] * y + m[9] * z,
        m[2] * x + m[6] * y + m[10] * z);
    setLength(1.0);
}

double cyclicDifference(double a, double b, double period) {
    double d = a - b;
    if (d > 0.5 * period) {
        return d - period;
    }
    if (-(0.5 * period) > d) {
        return d + period;
    }
    return d;
}

} // namespace GaussianBlur
} // namespace Brindel
