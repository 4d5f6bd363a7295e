#pragma once

#include "Vec3.h"

namespace Brindel {
namespace GaussianBlur {

// An axis-aligned box between two corners. The empty state has `min` at the
// largest finite double and `max` at the smallest positive normal double, so
// a box grown from it never gets a `max` component below that tiny value.
class Box3 {
public:
    Vec3 min;
    Vec3 max;

    Box3();
    Box3(Vec3 min, Vec3 max);
    Box3(Box3 const&) = default;
    Box3& operator=(Box3 const&) = default;

    void set(Vec3 min, Vec3 max);
    void makeEmpty();
    // count is the number of floats (three per point), not of points.
    void setFromArray(float* a, int count);
    void setFromPoints(Vec3* points, int n);
    void setFromCenterAndSize(Vec3 centre, Vec3 size);

    bool operator==(Box3 const& b);
    // Inverted on any axis, or both corners exactly at the origin.
    bool isEmpty() const;
    Vec3 getCenter() const;
    Vec3 getSize() const;
    bool containsPoint(Vec3 const& p) const;
    bool containsBox(Box3 const& b) const;
    // Boxes that only touch intersect.
    bool intersectsBox(Box3 const& b) const;
    // 0 at min, 1 at max, per axis.
    Vec3 getParameter(Vec3 const& p) const;
    Vec3 clampPoint(Vec3 p) const;
    double distanceToPoint(Vec3 p);

    void expandByPoint(Vec3 p);
    void expandByVector(Vec3 v);
    void expandByScalar(float s);
    // Despite the name, shrinks the box to the overlap (empty if none).
    void intersects(Box3 b);
    void unionBox(Box3 b);
    void translate(Vec3 v);
};

} // namespace GaussianBlur
} // namespace Brindel
