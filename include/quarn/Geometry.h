// Point and Rect: the plain geometric values that Variant holds and hosts pass through the object
// model. Public double coordinates, no virtual members, no allocation; nothing keeps a rectangle's
// right >= left or bottom >= top.
#ifndef QUARN_GEOMETRY_H
#define QUARN_GEOMETRY_H

#include <quarn/Config.h>

namespace Quarn {

class QUARN_API Point {
public:
    Point() : x(0), y(0) {}
    Point(double x, double y) : x(x), y(y) {}

    // Exact comparison of both coordinates: a NaN coordinate makes two points unequal.
    bool operator==(const Point& other) const { return x == other.x && y == other.y; }
    bool operator!=(const Point& other) const { return !(*this == other); }

    // Not an order: 1 when this point lies strictly above-left of other (both coordinates smaller),
    // 0 when both coordinates are equal, -1 in every other case.
    int cmp(const Point& other) const;

    double x;
    double y;
};

class QUARN_API Rect {
public:
    Rect() : left(0), top(0), right(0), bottom(0) {}
    Rect(double left, double top, double right, double bottom)
        : left(left), top(top), right(right), bottom(bottom) {}
    // topLeft and bottomRight are taken as given, not sorted.
    Rect(const Point& topLeft, const Point& bottomRight)
        : left(topLeft.x), top(topLeft.y), right(bottomRight.x), bottom(bottomRight.y) {}

    bool operator==(const Rect& other) const {
        return left == other.left && top == other.top && right == other.right && bottom == other.bottom;
    }
    bool operator!=(const Rect& other) const { return !(*this == other); }

    // Point::cmp applied to both corners: 1 when both corners of this rectangle are strictly
    // above-left of the other's (every coordinate smaller), 0 when all four coordinates are equal,
    // -1 otherwise.
    int cmp(const Rect& other) const;

    double width() const { return right - left; }
    double height() const { return bottom - top; }

    // Only an inverted rectangle is empty: zero width or zero height still counts as a rectangle.
    bool isEmpty() const { return right < left || bottom < top; }

    // All four edges are inside.
    bool isInside(double x, double y) const { return left <= x && x <= right && top <= y && y <= bottom; }
    bool isInside(const Point& p) const { return isInside(p.x, p.y); }
    // Whether both corners of r are inside this rectangle (edges included), i.e. r lies within it.
    bool isInside(const Rect& r) const;

    // The top-left corner goes to (x, y); width and height are kept.
    void moveTo(double x, double y);
    void moveTo(const Point& p) { moveTo(p.x, p.y); }
    void moveBy(double dx, double dy);
    void moveBy(const Point& d) { moveBy(d.x, d.y); }
    // Moves every edge inwards by dx horizontally and dy vertically (negative values move outwards).
    void inset(double dx, double dy);
    void inset(const Point& d) { inset(d.x, d.y); }
    // Moves the right and bottom edges; the top-left corner stays.
    void grow(double dx, double dy);
    void grow(const Point& d) { grow(d.x, d.y); }

    // Stores the bounding rectangle of a and b in this one. An empty operand does not count: the
    // result is the other operand (or a itself when both are empty). Returns !isEmpty() of the result.
    // a or b may be this rectangle.
    bool combine(const Rect& a, const Rect& b);
    // Stores the common part of a and b in this one: the larger left and top, the smaller right and
    // bottom. Rectangles that only touch share an edge, which is not empty; disjoint ones give an
    // inverted (empty) rectangle. Returns !isEmpty() of the result. a or b may be this rectangle.
    bool intersect(const Rect& a, const Rect& b);

    double left;
    double top;
    double right;
    double bottom;
};

} // namespace Quarn

#endif
