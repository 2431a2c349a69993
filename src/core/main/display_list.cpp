#include "main/display_list.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "ui/markup.h"

namespace numbrel {

namespace {

std::string num(double v) {
    char buf[32];
    double r = std::round(v * 100) / 100;
    if (r == 0) r = 0;  // no "-0"
    // Not printf: the process locale may write a decimal comma, which SVG and golden files must not have.
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, r, std::chars_format::fixed, 2);
    std::string s(buf, end);
    while (s.back() == '0')
        s.pop_back();
    if (s.back() == '.') s.pop_back();
    return s;
}

std::string color(const Color& c) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "#%02x%02x%02x", static_cast<int>(std::lround(c.r * 255)),
                  static_cast<int>(std::lround(c.g * 255)), static_cast<int>(std::lround(c.b * 255)));
    std::string s = buf;
    if (c.a < 1) s += "@" + num(c.a);
    return s;
}

std::size_t codePoints(std::string_view text) {
    std::size_t n = 0;
    for (char c : text)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
    return n;
}

}  // namespace

double FixedAdvanceMeasurer::width(std::string_view text, double fontSize) const {
    return 0.6 * fontSize * static_cast<double>(codePoints(text));
}

std::string describeDisplayList(const DisplayList& list) {
    std::string out = "size " + num(list.width) + " " + num(list.height) + "\n";
    auto rect = [](const Rect& r) {
        return num(r.x) + " " + num(r.y) + " " + num(r.width) + " " + num(r.height);
    };
    for (const DisplayItem& item : list.items) {
        if (auto* f = std::get_if<FillRect>(&item)) {
            out += "fill " + rect(f->rect) + " " + color(f->color);
        } else if (auto* g = std::get_if<Gradient>(&item)) {
            out += "gradient " + rect(g->rect) + " " + color(g->top) + " " + color(g->bottom);
        } else if (auto* l = std::get_if<Line>(&item)) {
            out += "line " + num(l->from.x) + " " + num(l->from.y) + " " + num(l->to.x) + " " + num(l->to.y) +
                   " w" + num(l->width) + " " + color(l->color);
            if (!l->dash.empty()) {
                out += " dash";
                for (double d : l->dash)
                    out += " " + num(d);
            }
            if (!l->antialias) out += " aliased";
        } else if (auto* p = std::get_if<Polyline>(&item)) {
            out += "polyline w" + num(p->width) + " " + color(p->color) + (p->roundJoins ? " round" : "");
            for (const Point& pt : p->points)
                out += " " + num(pt.x) + "," + num(pt.y);
        } else if (auto* c = std::get_if<ClipBegin>(&item)) {
            out += "clip " + rect(c->rect);
        } else if (std::holds_alternative<ClipEnd>(item)) {
            out += "unclip";
        } else if (auto* t = std::get_if<Text>(&item)) {
            const char* align = t->align == Align::Left     ? "left"
                                : t->align == Align::Center ? "center"
                                                            : "right";
            out += "text " + rect(t->box) + " " + align + " " + num(t->fontSize) + " " + color(t->color) +
                   " \"" + t->text + "\"";
        }
        out += "\n";
    }
    return out;
}

std::string toSvg(const DisplayList& list) {
    auto rgb = [](const Color& c) {
        char buf[64];
        std::snprintf(buf, sizeof buf, "rgb(%d,%d,%d)", static_cast<int>(std::lround(c.r * 255)),
                      static_cast<int>(std::lround(c.g * 255)), static_cast<int>(std::lround(c.b * 255)));
        return std::string(buf);
    };
    std::string out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + num(list.width) +
                      "\" height=\"" + num(list.height) + "\" viewBox=\"0 0 " + num(list.width) + " " +
                      num(list.height) + "\" font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\">\n";
    int gradients = 0, clips = 0;
    for (const DisplayItem& item : list.items) {
        if (auto* f = std::get_if<FillRect>(&item)) {
            out += "<rect x=\"" + num(f->rect.x) + "\" y=\"" + num(f->rect.y) + "\" width=\"" +
                   num(f->rect.width) + "\" height=\"" + num(f->rect.height) + "\" fill=\"" + rgb(f->color) +
                   "\"/>\n";
        } else if (auto* g = std::get_if<Gradient>(&item)) {
            std::string id = "g" + std::to_string(++gradients);
            out += "<defs><linearGradient id=\"" + id +
                   "\" x1=\"0\" y1=\"0\" x2=\"0\" y2=\"1\"><stop offset=\"0\" stop-color=\"" + rgb(g->top) +
                   "\"/><stop offset=\"1\" stop-color=\"" + rgb(g->bottom) + "\"/></linearGradient></defs>\n";
            out += "<rect x=\"" + num(g->rect.x) + "\" y=\"" + num(g->rect.y) + "\" width=\"" +
                   num(g->rect.width) + "\" height=\"" + num(g->rect.height) + "\" fill=\"url(#" + id +
                   ")\"/>\n";
        } else if (auto* l = std::get_if<Line>(&item)) {
            out += "<line x1=\"" + num(l->from.x) + "\" y1=\"" + num(l->from.y) + "\" x2=\"" + num(l->to.x) +
                   "\" y2=\"" + num(l->to.y) + "\" stroke=\"" + rgb(l->color) + "\" stroke-width=\"" +
                   num(l->width) + "\"";
            if (!l->dash.empty()) {
                out += " stroke-dasharray=\"";
                for (std::size_t i = 0; i < l->dash.size(); ++i)
                    out += (i ? "," : "") + num(l->dash[i]);
                out += "\"";
            }
            if (!l->antialias) out += " shape-rendering=\"crispEdges\"";
            out += "/>\n";
        } else if (auto* p = std::get_if<Polyline>(&item)) {
            out += "<polyline fill=\"none\" stroke=\"" + rgb(p->color) + "\" stroke-width=\"" +
                   num(p->width) + "\"" +
                   (p->roundJoins ? " stroke-linejoin=\"round\" stroke-linecap=\"round\"" : "") +
                   " points=\"";
            for (std::size_t i = 0; i < p->points.size(); ++i)
                out += (i ? " " : "") + num(p->points[i].x) + "," + num(p->points[i].y);
            out += "\"/>\n";
        } else if (auto* c = std::get_if<ClipBegin>(&item)) {
            std::string id = "c" + std::to_string(++clips);
            out += "<clipPath id=\"" + id + "\"><rect x=\"" + num(c->rect.x) + "\" y=\"" + num(c->rect.y) +
                   "\" width=\"" + num(c->rect.width) + "\" height=\"" + num(c->rect.height) +
                   "\"/></clipPath>\n";
            out += "<g clip-path=\"url(#" + id + ")\">\n";
        } else if (std::holds_alternative<ClipEnd>(item)) {
            out += "</g>\n";
        } else if (auto* t = std::get_if<Text>(&item)) {
            double x = t->align == Align::Left     ? t->box.x
                       : t->align == Align::Center ? t->box.x + t->box.width / 2
                                                   : t->box.x + t->box.width;
            const char* anchor = t->align == Align::Left     ? "start"
                                 : t->align == Align::Center ? "middle"
                                                             : "end";
            double baseline = t->box.y + (t->box.height + t->fontSize * 0.72) / 2;
            out += "<text x=\"" + num(x) + "\" y=\"" + num(baseline) + "\" font-size=\"" + num(t->fontSize) +
                   "\" text-anchor=\"" + anchor + "\" fill=\"" + rgb(t->color) + "\">" +
                   escapeMarkup(t->text) + "</text>\n";
        }
    }
    out += "</svg>\n";
    return out;
}

}  // namespace numbrel
