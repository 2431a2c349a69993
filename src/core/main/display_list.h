// A drawing as data: what the graph layout produces and any painter (QPainter in the app, SVG in the
// core) renders. Coordinates are points, origin top left.
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace numbrel {

struct Color {
    double r = 0, g = 0, b = 0, a = 1;
    static Color gray(double v) { return {v, v, v, 1}; }
    friend bool operator==(const Color&, const Color&) = default;
};

struct Rect {
    double x = 0, y = 0, width = 0, height = 0;
};

struct Point {
    double x = 0, y = 0;
};

struct FillRect {
    Rect rect;
    Color color;
};

// A vertical linear gradient filling rect, from top to bottom.
struct Gradient {
    Rect rect;
    Color top, bottom;
};

struct Line {
    Point from, to;
    double width = 1;
    Color color;
    std::vector<double> dash;  // on, off, ... lengths; empty = solid
    bool antialias = true;
};

struct Polyline {
    std::vector<Point> points;
    double width = 1;
    Color color;
    bool roundJoins = true;
};

struct ClipBegin {
    Rect rect;
};
struct ClipEnd {};

enum class Align { Left, Center, Right };

// One line of text, placed in box (vertically centred in it).
struct Text {
    std::string text;
    Rect box;
    Align align = Align::Left;
    double fontSize = 14;
    Color color;
};

using DisplayItem = std::variant<FillRect, Gradient, Line, Polyline, ClipBegin, ClipEnd, Text>;

struct DisplayList {
    double width = 0, height = 0;
    std::vector<DisplayItem> items;
};

// Text widths as the painter will draw them: the app passes its font metrics, the core and the
// tests use fixed advances.
class TextMeasurer {
public:
    virtual ~TextMeasurer() = default;
    virtual double width(std::string_view text, double fontSize) const = 0;
};

// Every character advances 0.6 of the font size: close to a sans-serif font's digits.
class FixedAdvanceMeasurer final : public TextMeasurer {
public:
    double width(std::string_view text, double fontSize) const override;
};

// A readable dump of a display list, one item a line, numbers rounded to 0.01 (golden files).
std::string describeDisplayList(const DisplayList& list);

// The display list as an SVG document.
std::string toSvg(const DisplayList& list);

}  // namespace numbrel
