// The manual pages numbrel(1) and numbrel-cli(1), in roff, written from the programs' own option tables
// and the CLI's commands, so that they say what --help says.
#pragma once

#include <ostream>
#include <span>
#include <string>

#include "cli_context.h"

namespace numbrel::cli {

enum class ManualPage { App, Cli };

void writeManualPage(std::ostream& out, ManualPage page, std::span<const Command> commands,
                     const std::string& version);

// Text made safe for roff: backslashes, hyphens in options, and a leading dot or quote.
std::string roffEscape(const std::string& text);

}  // namespace numbrel::cli
