#pragma once

namespace Brindel {
namespace GaussianBlur {

// A 2D point or direction of doubles. Angles are in degrees throughout.
class Vec2 {
public:
    double x;
    double y;

    Vec2();
    Vec2(double x, double y);
    Vec2(Vec2 const&) = default;
    Vec2& operator=(Vec2 const&) = default;

    void set(double x, double y);
    void set(Vec2& v);
    void setZero();
    // A null array leaves the vector alone; the offset counts elements.
    void fromArray(double* a, int offset);

    void add(Vec2 const& v);
    void add(double s);
    void sub(Vec2 const& v);
    void sub(double s);
    void mult(Vec2 const& v);
    void mult(double s);
    void divide(Vec2 const& v);
    void divide(double s);

    void operator+=(Vec2 const& v);
    void operator+=(double s);
    void operator-=(Vec2 const& v);
    void operator-=(double s);
    void operator*=(Vec2 const& v);
    void operator*=(double s);
    void operator/=(Vec2 const& v);
    void operator/=(double s);

    Vec2 operator+(Vec2 const& v) const;
    Vec2 operator+(double s) const;
    Vec2 operator-(Vec2 const& v) const;
    Vec2 operator-(double s) const;
    Vec2 operator*(Vec2 const& v) const;
    Vec2 operator*(double s) const;
    Vec2 operator/(Vec2 const& v) const;
    Vec2 operator/(double s) const;
    // Component-wise product; the scalar product is dot().
    Vec2 dotProduction(Vec2 const& v) const;
    Vec2 modulo(Vec2 const& v) const;
    Vec2 operator%(Vec2 const& v) const;
    Vec2 negate() const;

    double dot(Vec2 const& v) const;
    double cross(Vec2 const& v) const;
    static double cross(double a, double b, double c, double d);
    double length() const;
    double lengthSquare() const;
    double distance(Vec2 const& v) const;
    static double distanceSquared(Vec2 const& a, Vec2 const& b);
    double slope() const;

    bool operator==(Vec2 const& v) const;
    bool operator!=(Vec2 const& v);
    bool equal(Vec2 const& v, double tol) const;
    bool isZero() const;
    // Distance tests on squares: the radius itself fails.
    static bool equalWithTolerance(double x1, double y1, double x2, double y2, double tol);
    static bool equalWithTolerance(Vec2 a, Vec2 b, double tol);
    bool isCollinear(Vec2 const& v) const;
    bool isOrthogonal(Vec2 const& v) const;
    bool negligible() const;
    static bool negligible(double v);
    bool nonNegligible() const;
    static bool isDuplicate(Vec2 const& a, Vec2 const& b);
    int getQuadrant() const;
    static bool oppositeQuadrant(Vec2 const& a, Vec2 const& b);

    void rotate(double deg);
    Vec2 rotateRound(double deg, Vec2 const& centre) const;
    void rotateAround(double deg, Vec2 const& centre);
    double getAngle() const;
    void setAngle(double deg);
    double angleBetween(Vec2 const& v) const;

    void setLength(double len);
    void normalize();
    // Unlike normalize(), leaves a (near) zero pair as it is.
    static void normalize(double* a, double* b);

    Vec2 normal() const;
    Vec2 perpindicularLeft() const;
    Vec2 perpindicularRight() const;
    void prepen();

    Vec2 project(Vec2 const& v) const;
    double distanceToLine(Vec2 const& a, Vec2 const& b);
    double lineProjectionLength(Vec2 const& a, Vec2 const& b);

    void followSigns(Vec2 const& v);
    // Despite the names these change the vector.
    void getMin(Vec2 const& v);
    void getMax(Vec2 const& v);
    void clamp(Vec2 const& lo, Vec2 const& hi);
    static Vec2 lerp(Vec2 a, Vec2 b, double t);

    static Vec2 centerToTopLefetPoint(Vec2 const& p, Vec2 const& size);
    static Vec2 topLeftToCenterPoint(Vec2 const& p, Vec2 const& size);

    // Twice the triangle's area, positive when a, b, c turn from +x towards +y.
    static double signedArea(Vec2 const& a, Vec2 const& b, Vec2 const& c);
    static bool intersecting(Vec2 const& a, Vec2 const& b, Vec2 const& c, Vec2 const& d);

    static bool anchorOutwardD(Vec2& a, Vec2 const& b, Vec2 const& c);
    static bool anchorOutward(Vec2& a, Vec2 const& b, Vec2 const& c, bool flip);
    static bool anchorInward(Vec2& a, Vec2 const& b, Vec2 const& c);

    // Result codes of intersect().
    enum IntersectCode {
        Parallel = 0,
        SegmentsCross = 1,
        Coincident = 2,
        BeyondFirstSegment = 3,
        BeyondSecondSegment = 4,
        BeyondBothSegments = 5
    };
    static int intersect(Vec2 const& a, Vec2 const& b, Vec2 const& c, Vec2 const& d, Vec2& out,
                         double* t, double* u);
};

} // namespace GaussianBlur
} // namespace Brindel
