// numbrel-manual PAGE VERSION: writes the manual page numbrel(1) (PAGE "numbrel") or numbrel-cli(1)
// (PAGE "numbrel-cli") in roff to standard output. The build runs it; it is not installed.
#include <iostream>
#include <string>

#include "manual.h"

int main(int argc, char** argv) {
    using namespace numbrel::cli;
    const std::string page = argc == 3 ? argv[1] : "";
    if (page != "numbrel" && page != "numbrel-cli") {
        std::cerr << "usage: numbrel-manual numbrel|numbrel-cli VERSION\n";
        return 1;
    }
    const auto commands = allCommands();
    writeManualPage(std::cout, page == "numbrel" ? ManualPage::App : ManualPage::Cli, commands, argv[2]);
    return std::cout.good() ? 0 : 1;
}
