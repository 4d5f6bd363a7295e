#pragma once

#include "Vec2.h"

namespace Brindel {
namespace GaussianBlur {

class Mat4;
class Quaternion;

// A 3D point or direction of doubles. Angles are in radians.
class Vec3 {
public:
    double x;
    double y;
    double z;

    Vec3();
    explicit Vec3(double v);
    Vec3(Vec2 p, double z);
    Vec3(double x, double y, double z);
    Vec3(Vec3 const&) = default;
    Vec3& operator=(Vec3 const&) = default;

    void set(Vec2 p, double z);
    void set(double x, double y, double z);
    // 0 writes x, 1 writes y, anything else writes z.
    void set(int index, double v);
    void setZero();
    void fromArray(double const* a, int offset);
    void toArray(double* a, int offset);
    Vec2 getVec2() const;

    void add(Vec3 const& v);
    void add(double s);
    void sub(Vec3 const& v);
    void sub(double s);
    void mult(Vec3 const& v);
    void mult(double s);
    void divide(Vec3 const& v);
    void divide(double s);

    void operator+=(Vec3 const& v);
    void operator+=(double s);
    void operator-=(Vec3 const& v);
    void operator-=(double s);
    void operator*=(Vec3 const& v);
    void operator*=(double s);
    void operator/=(Vec3 const& v);
    void operator/=(double s);

    Vec3 operator+(Vec3 const& v) const;
    Vec3 operator+(double s) const;
    Vec3 operator-(Vec3 const& v) const;
    Vec3 operator-(double s) const;
    Vec3 operator*(Vec3 const& v) const;
    Vec3 operator*(double s) const;
    Vec3 operator/(Vec3 const& v) const;
    Vec3 operator/(double s) const;

    void setNegate();
    Vec3 negate() const;
    void setInvert();
    Vec3 invert() const;
    // Returns the floored copy; the vector keeps its value.
    Vec3 floor();

    bool operator==(Vec3 const& v) const;
    bool operator!=(Vec3 const& v) const;
    bool equal(Vec3 const& v, double tol) const;
    bool isZero() const;
    // Ties go to the higher index.
    int largestAbsComponent() const;

    double dot(Vec3 const& v) const;
    Vec3 cross(Vec3 const& v) const;
    double length() const;
    double lengthSquare() const;
    double distance(Vec3 const& v) const;
    double distanceSquare(Vec3 const& v) const;
    // Unsigned, 0 to pi; NaN against a zero vector.
    double angleBetween(Vec3 const& v) const;

    void setLength(double len);
    void normalize();
    // Becomes a unit vector perpendicular to v; the axis it is built from
    // depends on the vector's own previous value.
    void ortho(Vec3 const& v);
    Vec3 rotationalDifference(Vec3 const& v) const;

    static Vec3 lerp(Vec3 a, Vec3 b, double t);
    // Despite the names these change the vector.
    void getMin(Vec3 v);
    void getMax(Vec3 v);
    void clamp(Vec3 lo, Vec3 hi);

    void setFromMatrixPosition(Mat4 const& m);
    void setFromMatrixColumn(Mat4 const& m, int index);
    // As the point (x, y, z, 1), with no division by the resulting w.
    void applyMatrix4(Mat4 const& m);
    // As the point (x, y, z, 1), divided by the resulting w.
    void applyProjection(Mat4 const& m);
    // q is not normalised first.
    void applyQuaternion(Quaternion const& q);
    // As the direction (x, y, z, 0), then normalised.
    void transformDirection(Mat4 const& m);
};

// a - b brought back by one period when it is more than half a period away.
double cyclicDifference(double a, double b, double period);

} // namespace GaussianBlur
} // namespace Brindel
