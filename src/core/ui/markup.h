// Text placed into HTML or XML (element content or a double-quoted attribute): the characters that
// would end it or start markup are written as entities.
#pragma once

#include <string>
#include <string_view>

namespace numbrel {

std::string escapeMarkup(std::string_view text);

}  // namespace numbrel
