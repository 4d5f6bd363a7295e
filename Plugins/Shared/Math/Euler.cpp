#include "Euler.h"

#include "Mat4.h"
#include "Quaternion.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Euler>::value, "kit values are copied bit for bit");
static_assert(sizeof(Euler::RotationOrder) == 4, "the order is a 32-bit value");

namespace {

constexpr double kTolerance = 1e-12;
// 0.999999 as the single-precision value the gimbal test was tuned with.
constexpr double kGimbalBound = static_cast<double>(0.999999f);

// asin of a pivot that rounding may have pushed just past +-1.
double clampedAsin(double p) {
    return std::asin(std::min(std::max(p, -1.0), 1.0));
}

} // namespace

Euler::Euler() : x(0.0), y(0.0), z(0.0), order(XYZ) {}

Euler::Euler(double x, double y, double z, RotationOrder order) : x(x), y(y), z(z), order(order) {}

void Euler::set(double x_, double y_, double z_, RotationOrder order_) {
    x = x_;
    y = y_;
    z = z_;
    if (order_ != Unset) {
        order = order_;
    }
}

void Euler::setWithMat4(Mat4 const& mat, RotationOrder order_) {
    if (order_ != Unset) {
        order = order_;
    }
    double const* m = mat.m;
    // In gimbal lock one outer angle is kept at 0 and the other takes the
    // whole remaining turn.
    switch (order) {
    case XYZ:
        y = clampedAsin(m[8]);
        if (std::fabs(m[8]) < kGimbalBound) {
            x = std::atan2(-m[9], m[10]);
            z = std::atan2(-m[4], m[0]);
        } else {
            x = std::atan2(m[6], m[5]);
            z = 0.0;
        }
        break;
    case YZX:
        z = clampedAsin(m[1]);
        if (std::fabs(m[1]) < kGimbalBound) {
            x = std::atan2(-m[9], m[5]);
            y = std::atan2(-m[2], m[0]);
        } else {
            x = 0.0;
            y = std::atan2(m[8], m[10]);
        }
        break;
    case ZXY:
        x = clampedAsin(m[6]);
        if (std::fabs(m[6]) < kGimbalBound) {
            y = std::atan2(-m[2], m[10]);
            z = std::atan2(-m[4], m[5]);
        } else {
            y = 0.0;
            z = std::atan2(m[1], m[0]);
        }
        break;
    case XZY:
        z = clampedAsin(-m[4]);
        if (std::fabs(m[4]) < kGimbalBound) {
            x = std::atan2(m[6], m[5]);
            y = std::atan2(m[8], m[0]);
        } else {
            x = std::atan2(-m[9], m[10]);
            y = 0.0;
        }
        break;
    case YXZ:
        x = clampedAsin(-m[9]);
        if (std::fabs(m[9]) < kGimbalBound) {
            y = std::atan2(m[8], m[10]);
            z = std::atan2(m[1], m[5]);
        } else {
            y = std::atan2(-m[2], m[0]);
            z = 0.0;
        }
        break;
    case ZYX:
        y = clampedAsin(-m[2]);
        if (std::fabs(m[2]) < kGimbalBound) {
            x = std::atan2(m[6], m[10]);
            z = std::atan2(m[1], m[0]);
        } else {
            x = 0.0;
            z = std::atan2(-m[4], m[5]);
        }
        break;
    default:
        // Unset, or a value outside the enumeration: nothing to read by.
        break;
    }
}

void Euler::setWithQuaternion(Quaternion const& q, RotationOrder order_) {
    Mat4 m(true);
    m.setWithQuaternion(q);
    setWithMat4(m, order_);
}

bool Euler::operator==(Euler const& e) const {
    return std::fabs(e.x - x) <= kTolerance && std::fabs(e.y - y) <= kTolerance &&
           std::fabs(e.z - z) <= kTolerance && order == e.order;
}

} // namespace GaussianBlur
} // namespace Brindel
