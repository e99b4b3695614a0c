#include <quarn/Geometry.h>

namespace Quarn {

namespace {
// Written out rather than std::min/max so that NaN operands behave the same on every platform: the
// comparison is false and the first operand is kept.
inline double smaller(double a, double b) {
    return b < a ? b : a;
}
inline double larger(double a, double b) {
    return b > a ? b : a;
}
} // namespace

int Point::cmp(const Point& other) const {
    if (x < other.x && y < other.y) return 1;
    if (x == other.x && y == other.y) return 0;
    return -1;
}

int Rect::cmp(const Rect& other) const {
    int topLeft = Point(left, top).cmp(Point(other.left, other.top));
    int bottomRight = Point(right, bottom).cmp(Point(other.right, other.bottom));
    return topLeft == bottomRight ? topLeft : -1;
}

bool Rect::isInside(const Rect& r) const {
    return isInside(r.left, r.top) && isInside(r.right, r.bottom);
}

void Rect::moveTo(double x, double y) {
    // The corner is assigned, not moved, so that it lands exactly on (x, y).
    right += x - left;
    bottom += y - top;
    left = x;
    top = y;
}

void Rect::moveBy(double dx, double dy) {
    left += dx;
    right += dx;
    top += dy;
    bottom += dy;
}

void Rect::inset(double dx, double dy) {
    left += dx;
    top += dy;
    right -= dx;
    bottom -= dy;
}

void Rect::grow(double dx, double dy) {
    right += dx;
    bottom += dy;
}

bool Rect::combine(const Rect& a, const Rect& b) {
    Rect result;
    if (b.isEmpty())
        result = a;
    else if (a.isEmpty())
        result = b;
    else
        result = Rect(smaller(a.left, b.left), smaller(a.top, b.top), larger(a.right, b.right),
                      larger(a.bottom, b.bottom));
    *this = result;
    return !isEmpty();
}

bool Rect::intersect(const Rect& a, const Rect& b) {
    *this = Rect(larger(a.left, b.left), larger(a.top, b.top), smaller(a.right, b.right),
                 smaller(a.bottom, b.bottom));
    return !isEmpty();
}

} // namespace Quarn
