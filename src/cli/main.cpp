// numbrel-cli: the command-line face of Numbrel, over the same core as the app.
#include <iostream>
#include <string>
#include <vector>

#include "cli_context.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    return numbrel::cli::run(args, std::cout, std::cerr);
}
