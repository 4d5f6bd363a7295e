#pragma once

#include "Vec3.h"

namespace Brindel {
namespace GaussianBlur {

class Euler;
class Mat4;

// A rotation as x, y, z (vector part) and w (scalar part), with the
// conventions of Mat4: q1 * q2 applies q2 first. Nothing keeps the length at
// 1; only normalize, setInverse and setWithDirection normalise. Angles taken
// are radians; getRotationAngle answers in degrees.
class Quaternion {
public:
    double x;
    double y;
    double z;
    double w;

    Quaternion();
    // w is 1; nothing is normalised.
    Quaternion(double x, double y, double z);
    Quaternion(double x, double y, double z, double w);
    // The axis is used as given, not normalised (unlike set).
    Quaternion(Vec3 const& axis, double angle);
    Quaternion(Vec3 const& from, Vec3 const& to);
    Quaternion(Quaternion const&) = default;
    Quaternion& operator=(Quaternion const&) = default;

    // Exact, with no tolerance.
    bool operator==(Quaternion const& q) const;
    bool operator!=(Quaternion const& q) const;

    // Keeps w, unlike the constructor of the same form.
    void set(double x, double y, double z);
    void set(double x, double y, double z, double w);
    void set(Vec3 const& axis, double angle);
    // The shortest rotation from one unit direction to another.
    void setWithDirection(Vec3 const& from, Vec3 const& to);
    // Reads the upper-left 3x3 as a pure rotation; the result is not normalised.
    void setWithMat4(Mat4 const& m);
    void setWithEuler(Euler const& e);
    void setWithArray(double* a, int offset);
    void toArray(double* a, int offset) const;

    void normalize();
    void conjugate();
    void setInverse();
    double dot(Quaternion const& q);
    double lengthSq();
    double length();
    // Degrees.
    double getRotationAngle();
    Vec3 getRotationAxis();

    // this := this * q.
    void multiply(Quaternion const& q);
    // this := q * this.
    void premultiply(Quaternion const& q);
    // this := a * b; either may be this object.
    void multiplyQuaternions(Quaternion const& a, Quaternion const& b);
    static Vec3 quaternionMulVec3(Quaternion const& q, Vec3 const& v);

    // Moves towards q along the shorter arc; the result is not normalised.
    void slerp(Quaternion const& q, double t);
    static Quaternion lerp(Quaternion const& a, Quaternion const& b, double t);
};

} // namespace GaussianBlur
} // namespace Brindel
