// Text widths from the fonts the graph painter uses, for the graph layout.
#pragma once

#include <QFont>
#include <QFontMetricsF>
#include <QString>

#include "main/display_list.h"

namespace numbrel::app {

// The font of a graph text of a given pixel size.
inline QFont graphFont(double size) {
    QFont font;
    font.setPixelSize(static_cast<int>(size));
    return font;
}

class FontMeasurer final : public TextMeasurer {
public:
    double width(std::string_view text, double fontSize) const override {
        QFontMetricsF metrics(graphFont(fontSize));
        return metrics.horizontalAdvance(QString::fromUtf8(text.data(), static_cast<int>(text.size())));
    }
};

}  // namespace numbrel::app
