// QML's qsTr() through the one catalogue of the system: the texts of QML are keys of the "numbrel"
// gettext domain, as the core's are.
#pragma once

#include <QTranslator>

namespace numbrel::app {

class GettextTranslator : public QTranslator {
public:
    using QTranslator::QTranslator;
    QString translate(const char* context, const char* sourceText, const char* disambiguation = nullptr,
                      int n = -1) const override;
    bool isEmpty() const override { return false; }
};

}  // namespace numbrel::app
