#include <quarn/Geometry.h>

#include <gtest/gtest.h>

#include <limits>

using namespace Quarn;

namespace {

const double NaN = std::numeric_limits<double>::quiet_NaN();

// The required three-way answer: 1 only when both coordinates are strictly smaller, so a point
// below-right, or one that differs in one coordinate only, gives -1 just like one above-left.
TEST(Point, CmpIsThreeWayNotAnOrder) {
    EXPECT_EQ(Point(1, 1).cmp(Point(2, 2)), 1);
    EXPECT_EQ(Point(2, 2).cmp(Point(2, 2)), 0);
    EXPECT_EQ(Point(1, 3).cmp(Point(2, 2)), -1);
    EXPECT_EQ(Point(3, 3).cmp(Point(2, 2)), -1);
    EXPECT_EQ(Point(1, 2).cmp(Point(2, 2)), -1);
    Point nan(NaN, 1);
    EXPECT_NE(nan, nan);
}

TEST(Rect, EmptinessContainmentAndCmp) {
    EXPECT_FALSE(Rect(0, 0, 0, 0).isEmpty()); // zero size is still a rectangle: kept on purpose
    EXPECT_TRUE(Rect(0, 0, -1, 5).isEmpty());
    EXPECT_EQ(Rect(Point(5, 6), Point(1, 2)), Rect(5, 6, 1, 2)); // corners are taken as given
    Rect r(0, 0, 10, 20);
    EXPECT_TRUE(r.isInside(Point(10, 20))); // every edge is inside
    EXPECT_FALSE(r.isInside(10.0001, 5));
    EXPECT_TRUE(r.isInside(Rect(2, 2, 10, 20)));
    EXPECT_FALSE(r.isInside(Rect(2, 2, 11, 20)));
    EXPECT_EQ(r.cmp(Rect(0, 0, 10, 20)), 0);
    EXPECT_EQ(r.cmp(Rect(1, 1, 11, 21)), 1);
    EXPECT_EQ(r.cmp(Rect(1, 1, 10, 20)), -1); // one corner smaller, the other equal
}

TEST(Rect, MovingInsettingAndGrowing) {
    Rect r(0.1, 0.7, 3.3, 5.9);
    r.moveTo(0.3, -2); // the corner lands exactly; the size is kept
    EXPECT_EQ(r.left, 0.3);
    EXPECT_EQ(r.top, -2);
    EXPECT_DOUBLE_EQ(r.right - r.left, 3.2);
    r = Rect(1, 2, 3, 4);
    r.moveBy(Point(10, -2));
    EXPECT_EQ(r, Rect(11, 0, 13, 2));
    r = Rect(0, 0, 10, 10);
    r.inset(2, 3);
    EXPECT_EQ(r, Rect(2, 3, 8, 7));
    r.inset(Point(-2, -3));
    r.grow(3, -4); // the top-left corner stays
    EXPECT_EQ(r, Rect(0, 0, 13, 6));
}

TEST(Rect, CombineAndIntersect) {
    Rect r;
    EXPECT_TRUE(r.combine(Rect(0, 0, 2, 2), Rect(5, -1, 6, 1)));
    EXPECT_EQ(r, Rect(0, -1, 6, 2));
    EXPECT_TRUE(r.combine(Rect(3, 3, 1, 1), Rect(4, 4, 5, 5))); // an empty operand is ignored
    EXPECT_EQ(r, Rect(4, 4, 5, 5));
    EXPECT_FALSE(r.combine(Rect(3, 3, 1, 1), Rect(0, 0, -1, -1)));
    r = Rect(0, 0, 1, 1);
    r.combine(r, Rect(2, 2, 3, 3)); // an operand may be the target
    EXPECT_EQ(r, Rect(0, 0, 3, 3));
    EXPECT_TRUE(r.intersect(Rect(0, 0, 10, 10), Rect(5, -5, 15, 5)));
    EXPECT_EQ(r, Rect(5, 0, 10, 5));
    EXPECT_TRUE(r.intersect(Rect(0, 0, 10, 10), Rect(10, 0, 20, 10))); // a shared edge
    EXPECT_FALSE(r.intersect(Rect(0, 0, 1, 1), Rect(2, 2, 3, 3)));
    EXPECT_TRUE(r.isEmpty());
}

} // namespace
