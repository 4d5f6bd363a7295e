#pragma once

#include "Vec2.h"
#include "Vec4.h"

namespace Brindel {
namespace GaussianBlur {

// An axis-aligned rectangle told by its top-left corner and its size, with y
// growing downwards. Width and height may be negative; nothing normalises them.
class Rect {
public:
    Rect();
    Rect(Vec2 point, Vec2 size);
    Rect(double left, double top, double width, double height);
    Rect(Rect const&) = default;
    Rect& operator=(Rect const&) = default;

    // Per field, the bound passing, unlike Vec4's distance test.
    bool operator==(Rect const& r) const;
    bool operator!=(Rect const& r) const;

    Vec2 getPoint() const;
    Vec2 getTopLeft() const;
    Vec2 getSize() const;
    double getLeft() const;
    double getTop() const;
    double getRight() const;
    double getBottom() const;
    double getCenterX() const;
    double getCenterY() const;
    Vec2 getCenter() const;
    Vec2 getTopRight() const;
    Vec2 getBottomLeft() const;
    Vec2 getBottomRight() const;
    double getArea() const;
    // Only a size of exactly 0 by 0 is empty.
    bool isEmpty() const;

    void setPoint(Vec2 p);
    void setSize(Vec2 s);
    // Keeps the width, so the right edge moves along.
    void setLeft(double v);
    // Keeps the height, so the bottom edge moves along.
    void setTop(double v);
    // Keeps the left edge and changes the width.
    void setRight(double v);
    // Keeps the top edge and changes the height.
    void setBottom(float v);
    void setCenterX(double v);
    void setCenterY(double v);
    void setCenter(Vec2 p);

    // Edges count as inside.
    bool containsRect(Rect r) const;
    bool containsPoint(Vec2 p) const;
    // Shared edges do not count.
    bool intersects(Rect r) const;
    // Shared edges and corners count.
    bool touches(Rect r) const;

    // Disjoint rectangles give a negative size; test intersects() first.
    Rect intersect(Rect r) const;
    Rect unite(Rect r) const;
    Rect getInclude(Vec2 p) const;
    void include(Vec2 p);
    // Adds d on every side.
    Rect expand(Vec2 d) const;
    Rect expand(float d) const;
    // Grows by (factor - 1) * size on every side, keeping the centre.
    Rect scale(float sx, float sy) const;

private:
    // left, top, width, height.
    Vec4 mRect;
};

} // namespace GaussianBlur
} // namespace Brindel
