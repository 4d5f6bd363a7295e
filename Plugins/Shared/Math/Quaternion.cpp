#include "Quaternion.h"

#include "Euler.h"
#include "Mat4.h"

#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Quaternion>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;
// Below this half-angle sine the slerp weights lose precision; average instead.
constexpr double kSlerpSmallAngle = 0.001;
constexpr double kRadToDeg = 57.29577951308232;

} // namespace

Quaternion::Quaternion() : x(0.0), y(0.0), z(0.0), w(1.0) {}

Quaternion::Quaternion(double x, double y, double z) : x(x), y(y), z(z), w(1.0) {}

Quaternion::Quaternion(double x, double y, double z, double w) : x(x), y(y), z(z), w(w) {}

Quaternion::Quaternion(Vec3 const& axis, double angle) {
    double s = std::sin(angle * 0.5);
    x = axis.x * s;
    y = axis.y * s;
    z = axis.z * s;
    w = std::cos(angle * 0.5);
}

Quaternion::Quaternion(Vec3 const& from, Vec3 const& to) : Quaternion() {
    setWithDirection(from, to);
}

bool Quaternion::operator==(Quaternion const& q) const {
    return x == q.x && y == q.y && z == q.z && w == q.w;
}

bool Quaternion::operator!=(Quaternion const& q) const {
    return !(*this == q);
}

void Quaternion::set(double x_, double y_, double z_) {
    x = x_;
    y = y_;
    z = z_;
}

void Quaternion::set(double x_, double y_, double z_, double w_) {
    x = x_;
    y = y_;
    z = z_;
    w = w_;
}

void Quaternion::set(Vec3 const& axis, double angle) {
    Vec3 unit(axis);
    unit.normalize();
    *this = Quaternion(unit, angle);
}

void Quaternion::setWithDirection(Vec3 const& from, Vec3 const& to) {
    double r = from.dot(to) + 1.0;
    if (kTolerance > r) {
        // Opposite directions: any perpendicular of `from` is a half turn.
        if (std::fabs(from.x) > std::fabs(from.z)) {
            set(-from.y, from.x, 0.0, 0.0);
        } else {
            set(0.0, -from.z, from.y, 0.0);
        }
    } else {
        Vec3 c = from.cross(to);
        set(c.x, c.y, c.z, r);
    }
    normalize();
}

void Quaternion::setWithMat4(Mat4 const& mat) {
    double const* m = mat.m;
    double m11 = m[0], m12 = m[4], m13 = m[8];
    double m21 = m[1], m22 = m[5], m23 = m[9];
    double m31 = m[2], m32 = m[6], m33 = m[10];
    double trace = m11 + m22 + m33;

    // Each branch divides by the largest of the four candidates, for precision.
    if (trace > 0.0) {
        double s = 0.5 / std::sqrt(trace + 1.0);
        w = 0.25 / s;
        x = (m32 - m23) * s;
        y = (m13 - m31) * s;
        z = (m21 - m12) * s;
    } else if (m11 > m22 && m11 > m33) {
        double s = 2.0 * std::sqrt(1.0 + m11 - m22 - m33);
        w = (m32 - m23) / s;
        x = 0.25 * s;
        y = (m12 + m21) / s;
        z = (m13 + m31) / s;
    } else if (m22 > m33) {
        double s = 2.0 * std::sqrt(1.0 + m22 - m11 - m33);
        w = (m13 - m31) / s;
        x = (m12 + m21) / s;
        y = 0.25 * s;
        z = (m23 + m32) / s;
    } else {
        double s = 2.0 * std::sqrt(1.0 + m33 - m11 - m22);
        w = (m21 - m12) / s;
        x = (m13 + m31) / s;
        y = (m23 + m32) / s;
        z = 0.25 * s;
    }
}

void Quaternion::setWithEuler(Euler const& e) {
    // Single precision by design: the six sines and cosines are rounded to
    // float and every product and sum below is a float operation.
    float s1 = static_cast<float>(std::sin(0.5 * e.x));
    float c1 = static_cast<float>(std::cos(0.5 * e.x));
    float s2 = static_cast<float>(std::sin(0.5 * e.y));
    float c2 = static_cast<float>(std::cos(0.5 * e.y));
    float s3 = static_cast<float>(std::sin(0.5 * e.z));
    float c3 = static_cast<float>(std::cos(0.5 * e.z));

    float xa = s1 * c2 * c3, xb = c1 * s2 * s3;
    float ya = c1 * s2 * c3, yb = s1 * c2 * s3;
    float za = c1 * c2 * s3, zb = s1 * s2 * c3;
    float wa = c1 * c2 * c3, wb = s1 * s2 * s3;

    // The sign of each second term, in the order x, y, z, w.
    int sign[4];
    switch (e.order) {
    case Euler::Unset:
        set(0.0, 0.0, 0.0, 0.0);
        return;
    case Euler::XYZ:
        sign[0] = 1, sign[1] = -1, sign[2] = 1, sign[3] = -1;
        break;
    case Euler::YZX:
        sign[0] = 1, sign[1] = 1, sign[2] = -1, sign[3] = -1;
        break;
    case Euler::ZXY:
        sign[0] = -1, sign[1] = 1, sign[2] = 1, sign[3] = -1;
        break;
    case Euler::XZY:
        sign[0] = -1, sign[1] = -1, sign[2] = 1, sign[3] = 1;
        break;
    case Euler::YXZ:
        sign[0] = 1, sign[1] = -1, sign[2] = -1, sign[3] = 1;
        break;
    case Euler::ZYX:
        sign[0] = -1, sign[1] = 1, sign[2] = -1, sign[3] = 1;
        break;
    default:
        return;
    }
    auto combine = [](float a, float b, int s) {
        return static_cast<double>(s > 0 ? a + b : a - b);
    };
    set(combine(xa, xb, sign[0]), combine(ya, yb, sign[1]), combine(za, zb, sign[2]),
        combine(wa, wb, sign[3]));
}

void Quaternion::setWithArray(double* a, int offset) {
    set(a[offset], a[offset + 1], a[offset + 2], a[offset + 3]);
}

void Quaternion::toArray(double* a, int offset) const {
    a[offset] = x;
    a[offset + 1] = y;
    a[offset + 2] = z;
    a[offset + 3] = w;
}

void Quaternion::normalize() {
    double len = std::sqrt(x * x + y * y + z * z + w * w);
    if (len == 0.0) {
        set(0.0, 0.0, 0.0, 1.0);
        return;
    }
    double inv = 1.0 / len;
    set(x * inv, y * inv, z * inv, w * inv);
}

void Quaternion::conjugate() {
    x = -x;
    y = -y;
    z = -z;
}

void Quaternion::setInverse() {
    conjugate();
    normalize();
}

double Quaternion::dot(Quaternion const& q) {
    return x * q.x + y * q.y + z * q.z + w * q.w;
}

double Quaternion::lengthSq() {
    return x * x + y * y + z * z + w * w;
}

double Quaternion::length() {
    return std::sqrt(lengthSq());
}

double Quaternion::getRotationAngle() {
    return 2.0 * std::acos(w) * kRadToDeg;
}

Vec3 Quaternion::getRotationAxis() {
    double d = 1.0 - w * w;
    if (kTolerance > d) {
        // No rotation to speak of: any axis will do.
        return Vec3(0.0, 0.0, 1.0);
    }
    return Vec3(x, y, z) * (1.0 / std::sqrt(d));
}

void Quaternion::multiply(Quaternion const& q) {
    multiplyQuaternions(*this, q);
}

void Quaternion::premultiply(Quaternion const& q) {
    multiplyQuaternions(q, *this);
}

void Quaternion::multiplyQuaternions(Quaternion const& a, Quaternion const& b) {
    double ax = a.x, ay = a.y, az = a.z, aw = a.w;
    double bx = b.x, by = b.y, bz = b.z, bw = b.w;
    x = ax * bw + aw * bx + ay * bz - az * by;
    y = ay * bw + aw * by + az * bx - ax * bz;
    z = az * bw + aw * bz + ax * by - ay * bx;
    w = aw * bw - ax * bx - ay * by - az * bz;
}

Vec3 Quaternion::quaternionMulVec3(Quaternion const& q, Vec3 const& v) {
    Vec3 u(q.x, q.y, q.z);
    Vec3 t = u.cross(v);
    Vec3 r = u.cross(t);
    return v + (t * q.w + r) * 2.0;
}

void Quaternion::slerp(Quaternion const& q, double t) {
    if (t == 1.0) {
        *this = q;
        return;
    }
    if (t == 0.0) {
        return;
    }
    double x0 = x, y0 = y, z0 = z, w0 = w;
    double cosHalf = x0 * q.x + y0 * q.y + z0 * q.z + w0 * q.w;
    double bx = q.x, by = q.y, bz = q.z, bw = q.w;
    if (cosHalf < 0.0) {
        // The negated target is the same rotation by the shorter arc.
        bx = -bx;
        by = -by;
        bz = -bz;
        bw = -bw;
        cosHalf = -cosHalf;
    }
    if (cosHalf >= 1.0) {
        return;
    }
    double sinHalf = std::sqrt(1.0 - cosHalf * cosHalf);
    if (std::fabs(sinHalf) < kSlerpSmallAngle) {
        set(0.5 * (x0 + bx), 0.5 * (y0 + by), 0.5 * (z0 + bz), 0.5 * (w0 + bw));
        return;
    }
    double half = std::atan2(sinHalf, cosHalf);
    double ratioA = std::sin((1.0 - t) * half) / sinHalf;
    double ratioB = std::sin(half * t) / sinHalf;
    set(x0 * ratioA + bx * ratioB, y0 * ratioA + by * ratioB, z0 * ratioA + bz * ratioB,
        w0 * ratioA + bw * ratioB);
}

Quaternion Quaternion::lerp(Quaternion const& a, Quaternion const& b, double t) {
    if (a == b) {
        return a;
    }
    Quaternion r(a);
    r.slerp(b, t);
    return r;
}

} // namespace GaussianBlur
} // namespace Brindel
