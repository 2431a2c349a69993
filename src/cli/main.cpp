// numbrel-cli: the command-line face of Numbrel, over the same core as the app.
#include <clocale>
#include <iostream>
#include <string>
#include <vector>

#include "cli_context.h"
#include "ui/localize.h"

int main(int argc, char** argv) {
    // Messages in the user's language; numbers are read and written the same everywhere.
    std::setlocale(LC_CTYPE, "");
    numbrel::bindCatalogue();
    std::vector<std::string> args(argv + 1, argv + argc);
    return numbrel::cli::run(args, std::cout, std::cerr);
}
