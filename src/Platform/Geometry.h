#pragma once

#include <QString>

namespace mosaro {

// Plain geometry values with exact equality: frames are compared field by field, never fuzzily.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    Point origin() const { return {x, y}; }
    Size size() const { return {width, height}; }
    Point midpoint() const { return {x + width / 2, y + height / 2}; }

    // Half-open: a point on the far edges belongs to the neighbouring rectangle.
    bool contains(Point p) const { return minX() <= p.x && p.x < maxX() && minY() <= p.y && p.y < maxY(); }

    friend bool operator==(const Rect&, const Rect&) = default;
};

// "(x, y, w, h)" with the shortest exact decimal form of each value.
QString describe(const Rect& rect);
QString describe(Point point);
QString describe(Size size);

} // namespace mosaro
