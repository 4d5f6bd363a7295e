#pragma once

#include "Vec3.h"

namespace Brindel {
namespace GaussianBlur {

// A four-component vector of doubles. Unlike Vec2 and Vec3 it compares by
// distance, and its lerp interpolates directions on the sphere.
class Vec4 {
public:
    double x;
    double y;
    double z;
    double w;

    Vec4();
    Vec4(double x, double y, double z, double w);
    Vec4(Vec4 const&) = default;
    Vec4(Vec3 const& v, double w);
    Vec4& operator=(Vec4 const&) = default;

    void set(double x, double y, double z, double w);
    void setZero();
    Vec3 getVec3() const;

    void add(Vec4 const& v);
    void add(double s);
    void sub(Vec4 const& v);
    void sub(double s);
    void mult(Vec4 const& v);
    void mult(double s);
    void divide(Vec4 const& v);
    void divide(double s);

    void operator+=(Vec4 const& v);
    void operator+=(double s);
    void operator-=(Vec4 const& v);
    void operator-=(double s);
    void operator*=(Vec4 const& v);
    void operator*=(double s);
    void operator/=(Vec4 const& v);
    void operator/=(double s);

    Vec4 operator+(Vec4 const& v) const;
    Vec4 operator+(double s) const;
    Vec4 operator-(Vec4 const& v) const;
    Vec4 operator-(double s) const;
    Vec4 operator*(Vec4 const& v) const;
    Vec4 operator*(double s) const;
    Vec4 operator/(Vec4 const& v) const;
    Vec4 operator/(double s) const;
    Vec4 negate() const;
    Vec4 invert() const;

    // Both compare the squared distance strictly: the bound itself fails.
    bool operator==(Vec4 const& v) const;
    bool operator!=(Vec4 const& v) const;
    bool equal(Vec4 const& v, double tol) const;
    bool isZero() const;

    double dot(Vec4 const& v) const;
    double length() const;
    double lengthSquare() const;
    double lengthManhattan() const;
    double distance(Vec4 const& v) const;
    void setLength(double len);
    void normalize();

    // Spherical interpolation of directions, normalised, except at exactly
    // t = 0 and t = 1, which hand back a or b untouched.
    static Vec4 lerp(Vec4 a, Vec4 b, double t);
};

} // namespace GaussianBlur
} // namespace Brindel
