#include "Vec2.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Vec2>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;
constexpr double kDuplicateDistance = 0.25;
// Truncated on purpose: results across the effect family are computed with
// exactly this factor, and the full-precision value would move them.
constexpr double kDegToRad = 0.017453292519943;
constexpr double kRadToDeg = 57.29577951308232;

// Sign in three values; NaN counts as zero.
int signOf(double v) {
    if (v > 0.0) {
        return 1;
    }
    if (v < 0.0) {
        return -1;
    }
    return 0;
}

bool strictlyNegligible(double v) {
    return -kTolerance < v && v < kTolerance;
}

bool inUnitRange(double v) {
    return v >= 0.0 && v <= 1.0;
}

// a . (b - c), written out as the effects expect it.
double anchorDot(Vec2 const& a, Vec2 const& b, Vec2 const& c) {
    return a.x * b.x - a.x * c.x + a.y * b.y - a.y * c.y;
}

} // namespace

Vec2::Vec2() : x(0.0), y(0.0) {}

Vec2::Vec2(double x, double y) : x(x), y(y) {}

void Vec2::set(double x_, double y_) {
    x = x_;
    y = y_;
}

void Vec2::set(Vec2& v) {
    x = v.x;
    y = v.y;
}

void Vec2::setZero() {
    x = 0.0;
    y = 0.0;
}

void Vec2::fromArray(double* a, int offset) {
    if (a == nullptr) {
        return;
    }
    x = a[offset];
    y = a[offset + 1];
}

void Vec2::add(Vec2 const& v) {
    x += v.x;
    y += v.y;
}

void Vec2::add(double s) {
    x += s;
    y += s;
}

void Vec2::sub(Vec2 const& v) {
    x -= v.x;
    y -= v.y;
}

void Vec2::sub(double s) {
    x -= s;
    y -= s;
}

void Vec2::mult(Vec2 const& v) {
    x *= v.x;
    y *= v.y;
}

void Vec2::mult(double s) {
    x *= s;
    y *= s;
}

void Vec2::divide(Vec2 const& v) {
    x /= v.x;
    y /= v.y;
}

void Vec2::divide(double s) {
    x /= s;
    y /= s;
}

void Vec2::operator+=(Vec2 const& v) {
    add(v);
}
void Vec2::operator+=(double s) {
    add(s);
}
void Vec2::operator-=(Vec2 const& v) {
    sub(v);
}
void Vec2::operator-=(double s) {
    sub(s);
}
void Vec2::operator*=(Vec2 const& v) {
    mult(v);
}
void Vec2::operator*=(double s) {
    mult(s);
}
void Vec2::operator/=(Vec2 const& v) {
    divide(v);
}
void Vec2::operator/=(double s) {
    divide(s);
}

Vec2 Vec2::operator+(Vec2 const& v) const {
    return Vec2(x + v.x, y + v.y);
}
Vec2 Vec2::operator+(double s) const {
    return Vec2(x + s, y + s);
}
Vec2 Vec2::operator-(Vec2 const& v) const {
    return Vec2(x - v.x, y - v.y);
}
Vec2 Vec2::operator-(double s) const {
    return Vec2(x - s, y - s);
}
Vec2 Vec2::operator*(Vec2 const& v) const {
    return Vec2(x * v.x, y * v.y);
}
Vec2 Vec2::operator*(double s) const {
    return Vec2(x * s, y * s);
}
Vec2 Vec2::operator/(Vec2 const& v) const {
    return Vec2(x / v.x, y / v.y);
}
Vec2 Vec2::operator/(double s) const {
    return Vec2(x / s, y / s);
}
Vec2 Vec2::dotProduction(Vec2 const& v) const {
    return Vec2(x * v.x, y * v.y);
}
Vec2 Vec2::modulo(Vec2 const& v) const {
    return Vec2(std::fmod(x, v.x), std::fmod(y, v.y));
}
Vec2 Vec2::operator%(Vec2 const& v) const {
    return modulo(v);
}
Vec2 Vec2::negate() const {
    return Vec2(-x, -y);
}

double Vec2::dot(Vec2 const& v) const {
    return x * v.x + y * v.y;
}

double Vec2::cross(Vec2 const& v) const {
    return x * v.y - y * v.x;
}

double Vec2::cross(double a, double b, double c, double d) {
    return a * d - b * c;
}

double Vec2::length() const {
    return std::sqrt(x * x + y * y);
}

double Vec2::lengthSquare() const {
    return x * x + y * y;
}

double Vec2::distance(Vec2 const& v) const {
    return (*this - v).length();
}

double Vec2::distanceSquared(Vec2 const& a, Vec2 const& b) {
    double dx = a.x - b.x;
    double dy = a.y - b.y;
    return dx * dx + dy * dy;
}

double Vec2::slope() const {
    return y / x;
}

bool Vec2::operator==(Vec2 const& v) const {
    return std::fabs(v.x - x) <= kTolerance && std::fabs(v.y - y) <= kTolerance;
}

bool Vec2::operator!=(Vec2 const& v) {
    return !(*this == v);
}

bool Vec2::equal(Vec2 const& v, double tol) const {
    return std::fabs(v.x - x) <= tol && std::fabs(v.y - y) <= tol;
}

bool Vec2::isZero() const {
    return x == 0.0 && y == 0.0;
}

bool Vec2::equalWithTolerance(double x1, double y1, double x2, double y2, double tol) {
    double dx = x2 - x1;
    double dy = y2 - y1;
    return dx * dx + dy * dy < tol * tol;
}

bool Vec2::equalWithTolerance(Vec2 a, Vec2 b, double tol) {
    return equalWithTolerance(a.x, a.y, b.x, b.y, tol);
}

// Both tests scale the tolerance by the lengths so that the answer does not
// depend on the size of the vectors.
bool Vec2::isCollinear(Vec2 const& v) const {
    return std::fabs(x * v.y - y * v.x) <=
           kTolerance * std::sqrt((x * x + y * y) * (v.x * v.x + v.y * v.y));
}

bool Vec2::isOrthogonal(Vec2 const& v) const {
    return std::fabs(x * v.x + y * v.y) <=
           kTolerance * std::sqrt((x * x + y * y) * (v.x * v.x + v.y * v.y));
}

bool Vec2::negligible() const {
    return strictlyNegligible(x) && strictlyNegligible(y);
}

bool Vec2::negligible(double v) {
    return strictlyNegligible(v);
}

bool Vec2::nonNegligible() const {
    return !negligible();
}

bool Vec2::isDuplicate(Vec2 const& a, Vec2 const& b) {
    return std::fabs(b.x - a.x) < kDuplicateDistance && std::fabs(b.y - a.y) < kDuplicateDistance;
}

int Vec2::getQuadrant() const {
    if (x >= 0.0) {
        return y >= 0.0 ? 1 : 4;
    }
    return y >= 0.0 ? 2 : 3;
}

bool Vec2::oppositeQuadrant(Vec2 const& a, Vec2 const& b) {
    int ax = signOf(a.x);
    int ay = signOf(a.y);
    int bx = signOf(b.x);
    int by = signOf(b.y);
    if (ax != bx && ay != by) {
        return true;
    }
    if (ax != bx && ay == 0 && by == 0) {
        return true;
    }
    return ay != by && ax == 0 && bx == 0;
}

void Vec2::rotate(double deg) {
    if (deg == 0.0) {
        return;
    }
    double r = deg * kDegToRad;
    double c = std::cos(r);
    double s = std::sin(r);
    double ox = x;
    double oy = y;
    x = c * ox - s * oy;
    y = c * oy + s * ox;
}

Vec2 Vec2::rotateRound(double deg, Vec2 const& centre) const {
    if (deg == 0.0) {
        return *this;
    }
    double r = deg * kDegToRad;
    double c = std::cos(r);
    double s = std::sin(r);
    double dx = x - centre.x;
    double dy = y - centre.y;
    return Vec2(c * dx - s * dy + centre.x, s * dx + c * dy + centre.y);
}

void Vec2::rotateAround(double deg, Vec2 const& centre) {
    if (deg == 0.0) {
        return;
    }
    *this = rotateRound(deg, centre);
}

double Vec2::getAngle() const {
    // atan2 would give 180 for (-0, 0); the zero vector has no direction.
    if (x == 0.0 && y == 0.0) {
        return 0.0;
    }
    return std::atan2(y, x) * kRadToDeg;
}

void Vec2::setAngle(double deg) {
    double len = length();
    double r = deg * kDegToRad;
    x = len * std::cos(r);
    y = len * std::sin(r);
}

double Vec2::angleBetween(Vec2 const& v) const {
    return std::atan2(x * v.y - y * v.x, x * v.x + y * v.y) * kRadToDeg;
}

void Vec2::setLength(double len) {
    if (x == 0.0 && y == 0.0) {
        x = len;
        return;
    }
    double k = len / std::sqrt(x * x + y * y);
    x *= k;
    y *= k;
}

void Vec2::normalize() {
    if (x == 0.0 && y == 0.0) {
        x = 1.0;
        return;
    }
    double k = 1.0 / std::sqrt(x * x + y * y);
    x *= k;
    y *= k;
}

void Vec2::normalize(double* a, double* b) {
    double l = std::sqrt(*a * *a + *b * *b);
    if (l > kTolerance) {
        double k = 1.0 / l;
        *a *= k;
        *b *= k;
    }
}

Vec2 Vec2::normal() const {
    return Vec2(-y, x);
}

Vec2 Vec2::perpindicularLeft() const {
    return Vec2(-y, x);
}

Vec2 Vec2::perpindicularRight() const {
    return Vec2(y, -x);
}

void Vec2::prepen() {
    *this = Vec2(-y, x);
}

Vec2 Vec2::project(Vec2 const& v) const {
    if (v.x == 0.0 && v.y == 0.0) {
        return Vec2();
    }
    double k = (x * v.x + y * v.y) / (v.x * v.x + v.y * v.y);
    return Vec2(k * v.x, k * v.y);
}

namespace {

// Foot of the perpendicular from p onto the infinite line through a and b.
// Equal ends divide 0 by 0 and give NaN on purpose: callers see the bad line.
Vec2 footOnLine(Vec2 const& p, Vec2 const& a, Vec2 const& b) {
    double dx = b.x - a.x;
    double dy = b.y - a.y;
    double t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / (dx * dx + dy * dy);
    return Vec2(a.x + t * dx, a.y + t * dy);
}

} // namespace

double Vec2::distanceToLine(Vec2 const& a, Vec2 const& b) {
    return (*this - footOnLine(*this, a, b)).length();
}

double Vec2::lineProjectionLength(Vec2 const& a, Vec2 const& b) {
    return (a - footOnLine(*this, a, b)).length();
}

void Vec2::followSigns(Vec2 const& v) {
    if ((x > 0.0) != (v.x > 0.0)) {
        x = -x;
    }
    if ((y > 0.0) != (v.y > 0.0)) {
        y = -y;
    }
}

void Vec2::getMin(Vec2 const& v) {
    x = std::min(x, v.x);
    y = std::min(y, v.y);
}

void Vec2::getMax(Vec2 const& v) {
    x = std::max(x, v.x);
    y = std::max(y, v.y);
}

void Vec2::clamp(Vec2 const& lo, Vec2 const& hi) {
    x = x < lo.x ? lo.x : std::min(x, hi.x);
    y = y < lo.y ? lo.y : std::min(y, hi.y);
}

Vec2 Vec2::lerp(Vec2 a, Vec2 b, double t) {
    return Vec2((1.0 - t) * a.x + t * b.x, (1.0 - t) * a.y + t * b.y);
}

Vec2 Vec2::centerToTopLefetPoint(Vec2 const& p, Vec2 const& size) {
    return Vec2(size.x * 0.5 + p.x, size.y * 0.5 - p.y);
}

Vec2 Vec2::topLeftToCenterPoint(Vec2 const& p, Vec2 const& size) {
    return Vec2(p.x - size.x * 0.5, size.y * 0.5 - p.y);
}

double Vec2::signedArea(Vec2 const& a, Vec2 const& b, Vec2 const& c) {
    return (b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y);
}

bool Vec2::intersecting(Vec2 const& a, Vec2 const& b, Vec2 const& c, Vec2 const& d) {
    return (signedArea(a, b, c) > 0.0) != (signedArea(a, b, d) > 0.0);
}

bool Vec2::anchorOutwardD(Vec2& a, Vec2 const& b, Vec2 const& c) {
    return anchorDot(a, b, c) > 0.0;
}

bool Vec2::anchorOutward(Vec2& a, Vec2 const& b, Vec2 const& c, bool flip) {
    if ((anchorDot(a, b, c) > 0.0) == flip) {
        a = a.negate();
        return true;
    }
    return false;
}

bool Vec2::anchorInward(Vec2& a, Vec2 const& b, Vec2 const& c) {
    return anchorOutward(a, b, c, true);
}

int Vec2::intersect(Vec2 const& a, Vec2 const& b, Vec2 const& c, Vec2 const& d, Vec2& out,
                    double* t, double* u) {
    double den = (b.x - a.x) * (d.y - c.y) - (b.y - a.y) * (d.x - c.x);
    double n1 = (a.y - c.y) * (d.x - c.x) - (a.x - c.x) * (d.y - c.y);
    double n2 = (a.y - c.y) * (b.x - a.x) - (a.x - c.x) * (b.y - a.y);

    if (strictlyNegligible(n1) && strictlyNegligible(n2) && strictlyNegligible(den)) {
        out.x = (a.x + b.x) * 0.5;
        out.y = (a.y + b.y) * 0.5;
        return Coincident;
    }
    if (strictlyNegligible(den)) {
        out.x = 0.0;
        out.y = 0.0;
        return Parallel;
    }

    double p = n1 / den;
    double q = n2 / den;
    if (t != nullptr) {
        *t = p;
    }
    if (u != nullptr) {
        *u = q;
    }
    out.x = a.x + (b.x - a.x) * p;
    out.y = a.y + (b.y - a.y) * p;

    bool pInside = inUnitRange(p);
    bool qInside = inUnitRange(q);
    if (pInside && qInside) {
        return SegmentsCross;
    }
    if (qInside) {
        return BeyondFirstSegment;
    }
    if (pInside) {
        return BeyondSecondSegment;
    }
    return BeyondBothSegments;
}

} // namespace GaussianBlur
} // namespace Brindel
