#include "Rect.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace Brindel {
namespace GaussianBlur {

static_assert(std::is_trivially_copyable<Rect>::value, "kit values are copied bit for bit");

namespace {

constexpr double kTolerance = 1e-12;

bool close(double x, double y) {
    return std::fabs(x - y) <= kTolerance;
}

// The rectangle between two corners, which may be in either order.
Rect fromEdges(double left, double top, double right, double bottom) {
    return Rect(left, top, right - left, bottom - top);
}

} // namespace

Rect::Rect() : mRect(0.0, 0.0, 0.0, 0.0) {}

Rect::Rect(Vec2 point, Vec2 size) : mRect(point.x, point.y, size.x, size.y) {}

Rect::Rect(double left, double top, double width, double height)
    : mRect(left, top, width, height) {}

bool Rect::operator==(Rect const& r) const {
    return close(mRect.x, r.mRect.x) && close(mRect.y, r.mRect.y) && close(mRect.z, r.mRect.z) &&
           close(mRect.w, r.mRect.w);
}

bool Rect::operator!=(Rect const& r) const {
    return !(*this == r);
}

Vec2 Rect::getPoint() const {
    return Vec2(mRect.x, mRect.y);
}
Vec2 Rect::getTopLeft() const {
    return Vec2(mRect.x, mRect.y);
}
Vec2 Rect::getSize() const {
    return Vec2(mRect.z, mRect.w);
}
double Rect::getLeft() const {
    return mRect.x;
}
double Rect::getTop() const {
    return mRect.y;
}
double Rect::getRight() const {
    return mRect.x + mRect.z;
}
double Rect::getBottom() const {
    return mRect.y + mRect.w;
}
double Rect::getCenterX() const {
    return mRect.z * 0.5 + mRect.x;
}
double Rect::getCenterY() const {
    return mRect.w * 0.5 + mRect.y;
}
Vec2 Rect::getCenter() const {
    return Vec2(getCenterX(), getCenterY());
}
Vec2 Rect::getTopRight() const {
    return Vec2(getRight(), mRect.y);
}
Vec2 Rect::getBottomLeft() const {
    return Vec2(mRect.x, getBottom());
}
Vec2 Rect::getBottomRight() const {
    return Vec2(getRight(), getBottom());
}
double Rect::getArea() const {
    return mRect.z * mRect.w;
}
bool Rect::isEmpty() const {
    return mRect.z == 0.0 && mRect.w == 0.0;
}

void Rect::setPoint(Vec2 p) {
    mRect.x = p.x;
    mRect.y = p.y;
}

void Rect::setSize(Vec2 s) {
    mRect.z = s.x;
    mRect.w = s.y;
}

void Rect::setLeft(double v) {
    mRect.x = v;
}
void Rect::setTop(double v) {
    mRect.y = v;
}
void Rect::setRight(double v) {
    mRect.z = v - mRect.x;
}
void Rect::setBottom(float v) {
    mRect.w = static_cast<double>(v) - mRect.y;
}
void Rect::setCenterX(double v) {
    mRect.x = mRect.z * -0.5 + v;
}
void Rect::setCenterY(double v) {
    mRect.y = mRect.w * -0.5 + v;
}

void Rect::setCenter(Vec2 p) {
    mRect.x = p.x - mRect.z * 0.5;
    mRect.y = p.y - mRect.w * 0.5;
}

bool Rect::containsRect(Rect r) const {
    return r.getLeft() >= getLeft() && r.getTop() >= getTop() && getRight() >= r.getRight() &&
           getBottom() >= r.getBottom();
}

bool Rect::containsPoint(Vec2 p) const {
    return p.x >= getLeft() && p.y >= getTop() && getRight() >= p.x && getBottom() >= p.y;
}

bool Rect::intersects(Rect r) const {
    return r.getRight() > getLeft() && r.getBottom() > getTop() && getRight() > r.getLeft() &&
           getBottom() > r.getTop();
}

bool Rect::touches(Rect r) const {
    return r.getRight() >= getLeft() && r.getBottom() >= getTop() && getRight() >= r.getLeft() &&
           getBottom() >= r.getTop();
}

Rect Rect::intersect(Rect r) const {
    return fromEdges(std::max(getLeft(), r.getLeft()), std::max(getTop(), r.getTop()),
                     std::min(getRight(), r.getRight()), std::min(getBottom(), r.getBottom()));
}

Rect Rect::unite(Rect r) const {
    return fromEdges(std::min(getLeft(), r.getLeft()), std::min(getTop(), r.getTop()),
                     std::max(getRight(), r.getRight()), std::max(getBottom(), r.getBottom()));
}

Rect Rect::getInclude(Vec2 p) const {
    return fromEdges(std::min(p.x, getLeft()), std::min(p.y, getTop()), std::max(getRight(), p.x),
                     std::max(getBottom(), p.y));
}

void Rect::include(Vec2 p) {
    *this = getInclude(p);
}

Rect Rect::expand(Vec2 d) const {
    return Rect(mRect.x - d.x, mRect.y - d.y, mRect.z + 2.0 * d.x, mRect.w + 2.0 * d.y);
}

Rect Rect::expand(float d) const {
    double dd = static_cast<double>(d);
    return expand(Vec2(dd, dd));
}

Rect Rect::scale(float sx, float sy) const {
    double dx = static_cast<double>(sx) * mRect.z - mRect.z;
    double dy = static_cast<double>(sy) * mRect.w - mRect.w;
    return expand(Vec2(dx, dy));
}

} // namespace GaussianBlur
} // namespace Brindel
