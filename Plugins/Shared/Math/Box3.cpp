#include "Box3.h"

#include <limits>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Box3>::value, "kit values are copied bit for bit");

namespace {

constexpr double kEmptyMin = std::numeric_limits<double>::max();
// The smallest positive normal double, not lowest(): the empty state is
// defined with this value, and boxes grown from it keep it as a floor.
constexpr double kEmptyMax = std::numeric_limits<double>::min();

} // namespace

Box3::Box3() {
    makeEmpty();
}

Box3::Box3(Vec3 min, Vec3 max) : min(min), max(max) {}

void Box3::set(Vec3 min_, Vec3 max_) {
    min = min_;
    max = max_;
}

void Box3::makeEmpty() {
    min = Vec3(kEmptyMin);
    max = Vec3(kEmptyMax);
}

void Box3::setFromArray(float* a, int count) {
    double lo[3] = {kEmptyMin, kEmptyMin, kEmptyMin};
    double hi[3] = {kEmptyMax, kEmptyMax, kEmptyMax};
    for (int i = 0; i < count; i += 3) {
        for (int axis = 0; axis < 3; ++axis) {
            double v = static_cast<double>(a[i + axis]);
            if (v < lo[axis]) {
                lo[axis] = v;
            }
            if (v > hi[axis]) {
                hi[axis] = v;
            }
        }
    }
    min.set(lo[0], lo[1], lo[2]);
    max.set(hi[0], hi[1], hi[2]);
}

void Box3::setFromPoints(Vec3* points, int n) {
    makeEmpty();
    if (points == nullptr || n == 0) {
        return;
    }
    min = points[0];
    max = points[0];
    for (int i = 1; i < n; ++i) {
        expandByPoint(points[i]);
    }
}

void Box3::setFromCenterAndSize(Vec3 centre, Vec3 size) {
    Vec3 h = size * 0.5;
    min = centre - h;
    max = centre + h;
}

bool Box3::operator==(Box3 const& b) {
    return min == b.min && max == b.max;
}

bool Box3::isEmpty() const {
    if (min.x > max.x || min.y > max.y || min.z > max.z) {
        return true;
    }
    return min.isZero() && max.isZero();
}

Vec3 Box3::getCenter() const {
    return (min + max) * 0.5;
}

Vec3 Box3::getSize() const {
    return max - min;
}

bool Box3::containsPoint(Vec3 const& p) const {
    return min.x <= p.x && p.x <= max.x && min.y <= p.y && p.y <= max.y && min.z <= p.z &&
           p.z <= max.z;
}

bool Box3::containsBox(Box3 const& b) const {
    return min.x <= b.min.x && b.max.x <= max.x && min.y <= b.min.y && b.max.y <= max.y &&
           min.z <= b.min.z && b.max.z <= max.z;
}

bool Box3::intersectsBox(Box3 const& b) const {
    return !(min.x > b.max.x || b.min.x > max.x || min.y > b.max.y || b.min.y > max.y ||
             min.z > b.max.z || b.min.z > max.z);
}

Vec3 Box3::getParameter(Vec3 const& p) const {
    return (p - min) / (max - min);
}

Vec3 Box3::clampPoint(Vec3 p) const {
    p.clamp(min, max);
    return p;
}

double Box3::distanceToPoint(Vec3 p) {
    return (clampPoint(p) - p).length();
}

void Box3::expandByPoint(Vec3 p) {
    min.getMin(p);
    max.getMax(p);
}

void Box3::expandByVector(Vec3 v) {
    min -= v;
    max += v;
}

void Box3::expandByScalar(float s) {
    double d = static_cast<double>(s);
    min -= d;
    max += d;
}

void Box3::intersects(Box3 b) {
    min.getMax(b.min);
    max.getMin(b.max);
    if (isEmpty()) {
        makeEmpty();
    }
}

void Box3::unionBox(Box3 b) {
    min.getMin(b.min);
    max.getMax(b.max);
}

void Box3::translate(Vec3 v) {
    min += v;
    max += v;
}

} // namespace GaussianBlur
} // namespace Brindel
