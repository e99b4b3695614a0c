#include <quarn/Geometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Quarn;

namespace {

const double NaN = std::numeric_limits<double>::quiet_NaN();

void expectRect(const Rect& r, double left, double top, double right, double bottom) {
    EXPECT_EQ(r.left, left);
    EXPECT_EQ(r.top, top);
    EXPECT_EQ(r.right, right);
    EXPECT_EQ(r.bottom, bottom);
}

TEST(Point, CmpAnswersBelowRightEqualOrOther) {
    EXPECT_EQ(Point(1, 1).cmp(Point(2, 2)), 1);
    EXPECT_EQ(Point(1, 3).cmp(Point(2, 2)), -1);
    EXPECT_EQ(Point(2, 2).cmp(Point(2, 2)), 0);
    EXPECT_EQ(Point(3, 3).cmp(Point(2, 2)), -1); // not an order: the reverse is not 1
    EXPECT_EQ(Point(1, 2).cmp(Point(2, 2)), -1); // one coordinate equal is not "smaller"
    EXPECT_EQ(Point(2, 1).cmp(Point(2, 2)), -1);
    EXPECT_EQ(Point(NaN, 0).cmp(Point(NaN, 0)), -1);
}

TEST(Point, EqualityIsExactAndNaNNeverEqual) {
    EXPECT_EQ(Point(), Point(0, 0));
    EXPECT_EQ(Point(0.0, 1), Point(-0.0, 1));
    EXPECT_NE(Point(0.1 + 0.2, 0), Point(0.3, 0));
    Point p(NaN, 1);
    EXPECT_FALSE(p == p);
    EXPECT_TRUE(p != p);
}

TEST(Rect, ConstructionComparisonAndCmp) {
    expectRect(Rect(), 0, 0, 0, 0);
    expectRect(Rect(Point(1, 2), Point(3, 4)), 1, 2, 3, 4);
    expectRect(Rect(Point(5, 6), Point(1, 2)), 5, 6, 1, 2); // corners taken as given
    Rect r(1, 2, 3, 4);
    EXPECT_EQ(r.width(), 2);
    EXPECT_EQ(r.height(), 2);
    EXPECT_EQ(r, Rect(1, 2, 3, 4));
    EXPECT_NE(r, Rect(1, 2, 3, 5));
    EXPECT_NE(Rect(NaN, 0, 0, 0), Rect(NaN, 0, 0, 0));

    EXPECT_EQ(r.cmp(Rect(1, 2, 3, 4)), 0);
    EXPECT_EQ(r.cmp(Rect(2, 3, 4, 5)), 1);
    EXPECT_EQ(Rect(2, 3, 4, 5).cmp(r), -1);
    EXPECT_EQ(r.cmp(Rect(2, 3, 3, 4)), -1); // one corner smaller, the other equal
    EXPECT_EQ(r.cmp(Rect(1, 2, 9, 9)), -1);
}

TEST(Rect, OnlyAnInvertedRectangleIsEmpty) {
    EXPECT_FALSE(Rect(0, 0, 0, 0).isEmpty());
    EXPECT_FALSE(Rect(0, 0, 10, 0).isEmpty());
    EXPECT_TRUE(Rect(0, 0, -1, 5).isEmpty());
    EXPECT_TRUE(Rect(0, 0, 5, -1).isEmpty());
}

TEST(Rect, ContainmentCountsEveryEdge) {
    Rect r(0, 0, 10, 20);
    EXPECT_TRUE(r.isInside(10, 20));
    EXPECT_TRUE(r.isInside(Point(0, 0)));
    EXPECT_TRUE(r.isInside(Point(10, 5)));
    EXPECT_TRUE(r.isInside(5, 20));
    EXPECT_FALSE(r.isInside(10.0001, 5));
    EXPECT_FALSE(r.isInside(5, -0.5));
    EXPECT_FALSE(r.isInside(NaN, 5));
    EXPECT_TRUE(Rect(0, 0, 0, 0).isInside(0, 0));

    EXPECT_TRUE(r.isInside(r));
    EXPECT_TRUE(r.isInside(Rect(2, 2, 10, 20)));
    EXPECT_FALSE(r.isInside(Rect(2, 2, 11, 20)));
    EXPECT_FALSE(r.isInside(Rect(-1, 2, 5, 5)));
}

TEST(Rect, MovingInsettingAndGrowing) {
    Rect r(0.1, 0.7, 3.3, 5.9);
    r.moveTo(0.3, -2);
    EXPECT_EQ(r.left, 0.3);
    EXPECT_EQ(r.top, -2);
    EXPECT_DOUBLE_EQ(r.width(), 3.2);
    EXPECT_DOUBLE_EQ(r.height(), 5.2);

    Rect m(1, 2, 3, 4);
    m.moveBy(10, -2);
    expectRect(m, 11, 0, 13, 2);
    m.moveBy(Point(-11, 0));
    m.moveTo(Point(5, 5));
    expectRect(m, 5, 5, 7, 7);

    Rect s(0, 0, 10, 10);
    s.inset(2, 3);
    expectRect(s, 2, 3, 8, 7);
    s.inset(Point(-2, -3));
    expectRect(s, 0, 0, 10, 10);
    s.inset(6, 0); // past the middle: the rectangle turns inside out
    EXPECT_TRUE(s.isEmpty());

    Rect g(1, 1, 2, 2);
    g.grow(3, 4);
    expectRect(g, 1, 1, 5, 6);
    g.grow(Point(-4, -5));
    expectRect(g, 1, 1, 1, 1);
}

TEST(Rect, CombineMakesTheBoundingRectangle) {
    Rect r;
    EXPECT_TRUE(r.combine(Rect(0, 0, 2, 2), Rect(5, -1, 6, 1)));
    expectRect(r, 0, -1, 6, 2);
    // An empty operand is ignored.
    EXPECT_TRUE(r.combine(Rect(3, 3, 1, 1), Rect(4, 4, 5, 5)));
    expectRect(r, 4, 4, 5, 5);
    EXPECT_TRUE(r.combine(Rect(4, 4, 5, 5), Rect(0, 0, -1, -1)));
    expectRect(r, 4, 4, 5, 5);
    EXPECT_FALSE(r.combine(Rect(3, 3, 1, 1), Rect(0, 0, -1, -1)));
    EXPECT_TRUE(r.isEmpty());
    // An operand may be the target itself.
    Rect self(0, 0, 1, 1);
    self.combine(self, Rect(2, 2, 3, 3));
    expectRect(self, 0, 0, 3, 3);
}

TEST(Rect, IntersectKeepsTheCommonPart) {
    Rect r;
    EXPECT_TRUE(r.intersect(Rect(0, 0, 10, 10), Rect(5, -5, 15, 5)));
    expectRect(r, 5, 0, 10, 5);
    // Touching rectangles share an edge, which is a (zero-width) rectangle.
    EXPECT_TRUE(r.intersect(Rect(0, 0, 10, 10), Rect(10, 0, 20, 10)));
    expectRect(r, 10, 0, 10, 10);
    EXPECT_FALSE(r.intersect(Rect(0, 0, 1, 1), Rect(2, 2, 3, 3)));
    EXPECT_TRUE(r.isEmpty());
    Rect self(0, 0, 4, 4);
    EXPECT_TRUE(self.intersect(Rect(1, 1, 9, 9), self));
    expectRect(self, 1, 1, 4, 4);
}

} // namespace
