#pragma once

#include "Color.h"
#include "Vec2.h"
#include "Vec3.h"
#include "Vec4.h"

namespace Brindel {
namespace GaussianBlur {

// The weights of a point relative to the corners a, b, c of a triangle.
// Points off the triangle's plane are projected onto it; a degenerate
// triangle gives non-finite weights.
class Barycentric {
public:
    double weightA;
    double weightB;
    double weightC;

    Barycentric(double weightA, double weightB, double weightC);
    Barycentric(Vec2 const& a, Vec2 const& b, Vec2 const& c, Vec2 const& p);
    Barycentric(Vec3 const& a, Vec3 const& b, Vec3 const& c, Vec3 const& p);
    Barycentric(Vec4 const& a, Vec4 const& b, Vec4 const& c, Vec4 const& p);
    // A colour counts as a point in four dimensions, alpha included.
    Barycentric(Color const& a, Color const& b, Color const& c, Color const& p);

    // Edges and corners count as inside.
    bool isInside();

    Vec2 interpolate(Vec2 const& a, Vec2 const& b, Vec2 const& c);
    Vec3 interpolate(Vec3 const& a, Vec3 const& b, Vec3 const& c);
    Vec4 interpolate(Vec4 const& a, Vec4 const& b, Vec4 const& c);
    Color interpolate(Color const& a, Color const& b, Color const& c);
};

} // namespace GaussianBlur
} // namespace Brindel
