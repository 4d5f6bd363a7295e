#include "Affine.h"

#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Affine>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;
// Truncated on purpose, like Vec2's: angles must turn exactly as they do there.
constexpr double kDegToRad = 0.017453292519943;
constexpr double kSingular = 1e-06;
constexpr double kScaleRounding = 10000.0;

bool close(double x, double y) {
    return std::fabs(x - y) <= kTolerance;
}

} // namespace

Affine::Affine(bool identity) : a(0.0), c(0.0), e(0.0), b(0.0), d(0.0), f(0.0) {
    if (identity) {
        a = 1.0;
        d = 1.0;
    }
}

Affine::Affine(double a, double b, double c, double d, double e, double f)
    : a(a), c(c), e(e), b(b), d(d), f(f) {}

bool Affine::operator==(Affine const& o) {
    return close(a, o.a) && close(b, o.b) && close(c, o.c) && close(d, o.d) && close(e, o.e) &&
           close(f, o.f);
}

void Affine::set(double a_, double b_, double c_, double d_, double e_, double f_) {
    *this = Affine(a_, b_, c_, d_, e_, f_);
}

void Affine::set(Vec2 anchor, Vec2 position, Vec2 scale, double degrees) {
    double r = degrees * kDegToRad;
    double sn = std::sin(r);
    double cs = std::cos(r);
    a = scale.x * cs;
    b = scale.x * sn;
    c = -sn * scale.y;
    d = cs * scale.y;
    e = position.x;
    f = position.y;
    translate(-anchor.x, -anchor.y);
}

void Affine::setTranslate(double tx, double ty) {
    *this = Affine(1.0, 0.0, 0.0, 1.0, tx, ty);
}

void Affine::setScale(double sx, double sy) {
    *this = Affine(sx, 0.0, 0.0, sy, 0.0, 0.0);
}

void Affine::setSkewX(double degrees) {
    *this = Affine(1.0, 0.0, std::tan(degrees * kDegToRad), 1.0, 0.0, 0.0);
}

void Affine::setSkewY(double degrees) {
    *this = Affine(1.0, std::tan(degrees * kDegToRad), 0.0, 1.0, 0.0, 0.0);
}

void Affine::setRotate(double degrees) {
    double r = degrees * kDegToRad;
    double sn = std::sin(r);
    double cs = std::cos(r);
    *this = Affine(cs, sn, -sn, cs, 0.0, 0.0);
}

namespace {

// this := this * t, done as t.multiply(this) and copied back.
void chain(Affine& self, Affine t) {
    t.multiply(self);
    self = t;
}

} // namespace

void Affine::translate(double tx, double ty) {
    Affine t;
    t.setTranslate(tx, ty);
    chain(*this, t);
}

void Affine::scale(double sx, double sy) {
    Affine t;
    t.setScale(sx, sy);
    chain(*this, t);
}

void Affine::skewX(double degrees) {
    Affine t;
    t.setSkewX(degrees);
    chain(*this, t);
}

void Affine::skewY(double degrees) {
    Affine t;
    t.setSkewY(degrees);
    chain(*this, t);
}

void Affine::rotate(double degrees) {
    Affine t;
    t.setRotate(degrees);
    chain(*this, t);
}

void Affine::multiply(Affine const& o) {
    // o * this; o is read in full first, since it may be this object.
    Affine p(o);
    double na = p.a * a + p.c * b;
    double nc = p.a * c + p.c * d;
    double ne = p.a * e + p.c * f + p.e;
    double nb = p.b * a + p.d * b;
    double nd = p.b * c + p.d * d;
    double nf = p.b * e + p.d * f + p.f;
    *this = Affine(na, nb, nc, nd, ne, nf);
}

void Affine::premultiply(Affine const& o) {
    Affine r(o);
    r.multiply(*this);
    *this = r;
}

bool Affine::inverse(Affine& out) const {
    double det = a * d - c * b;
    if (-kSingular < det && det < kSingular) {
        return false;
    }
    double r = 1.0 / det;
    Affine inv(false);
    inv.a = d * r;
    inv.c = -(c * r);
    inv.e = (c * f - d * e) * r;
    inv.b = -(b * r);
    inv.d = a * r;
    inv.f = (b * e - a * f) * r;
    out = inv;
    return true;
}

Affine Affine::getInverse() const {
    Affine out(true);
    inverse(out);
    return out;
}

double Affine::averageScale() const {
    double rx = std::sqrt(a * a + c * c);
    double ry = std::sqrt(b * b + d * d);
    double v = (rx + ry) * 0.5 * kScaleRounding;
    // The rounding is single precision on purpose; keep the narrowing.
    float rounded = std::round(static_cast<float>(v)) / static_cast<float>(kScaleRounding);
    return static_cast<double>(rounded);
}

void Affine::transform(Vec2& p) const {
    double x = p.x;
    double y = p.y;
    transform(x, y);
    p.set(x, y);
}

Vec2 Affine::getTransform(Vec2 const& p) const {
    Vec2 r(p);
    transform(r);
    return r;
}

void Affine::transform(double x, double y, double* outX, double* outY) const {
    transform(x, y);
    *outX = x;
    *outY = y;
}

void Affine::transform(double& x, double& y) const {
    double ox = x;
    double oy = y;
    x = a * ox + c * oy + e;
    y = b * ox + d * oy + f;
}

} // namespace GaussianBlur
} // namespace Brindel
