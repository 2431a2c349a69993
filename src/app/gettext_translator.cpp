#include "gettext_translator.h"

#include <cstring>

#include "ui/localize.h"

namespace numbrel::app {

QString GettextTranslator::translate(const char*, const char* sourceText, const char*, int) const {
    if (!sourceText || !*sourceText) return {};
    const std::string text = numbrel::tr(sourceText);
    // No translation: an empty answer lets Qt keep the source text.
    if (std::strcmp(text.c_str(), sourceText) == 0) return {};
    return QString::fromStdString(text);
}

}  // namespace numbrel::app
