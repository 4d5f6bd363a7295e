#pragma once

#include "Vec2.h"

namespace Brindel {
namespace GaussianBlur {

// A 2D affine transform acting on column vectors:
//   x' = a*x + c*y + e
//   y' = b*x + d*y + f
// Fields lie row after row (a, c, e, b, d, f) while six-value arguments come
// column after column (a, b, c, d, e, f). Angles are in degrees.
class Affine {
public:
    double a;
    double c;
    double e;
    double b;
    double d;
    double f;

    // true: the identity; false: all zero.
    explicit Affine(bool identity = true);
    Affine(double a, double b, double c, double d, double e, double f);
    Affine(Affine const&) = default;
    Affine& operator=(Affine const&) = default;

    bool operator==(Affine const& other);

    void set(double a, double b, double c, double d, double e, double f);
    // Carries the anchor onto the position, with scale and then rotation
    // acting round it.
    void set(Vec2 anchor, Vec2 position, Vec2 scale, double degrees);
    void setTranslate(double tx, double ty);
    void setScale(double sx, double sy);
    void setSkewX(double degrees);
    void setSkewY(double degrees);
    void setRotate(double degrees);

    // Chain operations: this := this * T, so T acts on a point first.
    void translate(double tx, double ty);
    void scale(double sx, double sy);
    void skewX(double degrees);
    void skewY(double degrees);
    void rotate(double degrees);

    // Named the other way round from Mat4::mult: this := other * this.
    void multiply(Affine const& other);
    // this := this * other.
    void premultiply(Affine const& other);

    // False, with out untouched, for a (nearly) singular transform.
    bool inverse(Affine& out) const;
    // The identity for a (nearly) singular transform.
    Affine getInverse() const;
    // The mean length of the two rows, rounded to four decimals.
    double averageScale() const;

    void transform(Vec2& p) const;
    Vec2 getTransform(Vec2 const& p) const;
    void transform(double x, double y, double* outX, double* outY) const;
    void transform(double& x, double& y) const;
};

} // namespace GaussianBlur
} // namespace Brindel
