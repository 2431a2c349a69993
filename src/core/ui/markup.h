// Text placed into HTML or XML (element content or a double-quoted attribute): the characters that
// would end it or start markup are written as entities.
#pragma once

#include <string>
#include <string_view>

namespace numbrel {

std::string escapeMarkup(std::string_view text);

// Simple HTML as plain text, for a mail client that takes only text: a paragraph ("<p>") starts after
// a blank line, a "<br>" on a new line, other tags go, and the entities above are read back.
std::string textOfMarkup(std::string_view html);

}  // namespace numbrel
