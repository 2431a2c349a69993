#include "manual.h"

#include <sstream>

#include "program_options.h"

namespace numbrel::cli {

namespace {

void optionItem(std::ostream& out, const OptionText& o) {
    out << ".TP\n\\fB" << roffEscape(o.name) << "\\fR";
    if (*o.value) out << " \\fI" << roffEscape(o.value) << "\\fR";
    out << "\n" << roffEscape(o.help) << "\n";
}

// A command's help: prose is filled; lines indented in the help (tables, examples) are kept as they are.
void helpText(std::ostream& out, const std::string& help) {
    std::istringstream lines(help);
    std::string line;
    bool kept = false;
    while (std::getline(lines, line)) {
        const bool indented = !line.empty() && line[0] == ' ';
        if (indented != kept) out << (indented ? ".nf\n" : ".fi\n");
        kept = indented;
        out << roffEscape(line) << "\n";
    }
    if (kept) out << ".fi\n";
}

// A tagged paragraph: the tag in bold (".B") or italics (".I"), the text below it.
void tagged(std::ostream& out, const char* font, const std::string& tag, const std::string& text) {
    out << ".TP\n" << font << " " << roffEscape(tag) << "\n" << roffEscape(text) << "\n";
}

void section(std::ostream& out, const char* title) {
    out << ".SH " << title << "\n";
}

void paragraph(std::ostream& out, const std::string& text) {
    out << ".PP\n" << roffEscape(text) << "\n";
}

void environmentAndFiles(std::ostream& out) {
    section(out, "ENVIRONMENT");
    out << ".TP\n.B LANGUAGE\\fR, \\fBLC_ALL\\fR, \\fBLC_MESSAGES\\fR, \\fBLANG\n"
        << roffEscape("the language of the messages; English where there is no translation") << "\n";
    out << ".TP\n.B XDG_CONFIG_HOME\\fR, \\fBXDG_DATA_HOME\n"
        << roffEscape("where the files below are kept (default: ~/.config and ~/.local/share)") << "\n";
    section(out, "FILES");
    const OptionText files[] = {
        {"~/.config/numbrel/preferences.plist", "",
         "the meters, readings, rates and settings, a binary property list written atomically; a file that "
         "cannot be read is moved aside, never overwritten"},
        {"~/.config/numbrel/numbrel.conf", "",
         "platform settings that are not in the document (INI): the cloud folder, the Wi-Fi transfer "
         "password, the price comparison service"},
        {"~/.local/share/numbrel/Documents", "", "backups (nbYYYYMMDD@HHMMSS.bak) and CSV files"},
    };
    for (const OptionText& f : files)
        tagged(out, ".I", f.name, f.help);
    paragraph(out, "Removing the program leaves these files alone; they are removed only by deleting them.");
}

}  // namespace

std::string roffEscape(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else if ((c == '.' || c == '\'') && (i == 0 || text[i - 1] == '\n'))
            out += std::string("\\&") + c;
        else
            out += c;
    }
    return out;
}

void writeManualPage(std::ostream& out, ManualPage page, std::span<const Command> commands,
                     const std::string& version) {
    const bool cli = page == ManualPage::Cli;
    const char* name = cli ? "numbrel-cli" : "numbrel";
    out << ".\\\" Written by the build from the programs' option tables and the CLI's commands.\n"
        << ".TH " << (cli ? "NUMBREL\\-CLI" : "NUMBREL") << " 1 \"\" \"Numbrel " << version
        << "\" \"User Commands\"\n"
        << ".nh\n.ad l\n";
    section(out, "NAME");
    out << roffEscape(name) << " \\- "
        << (cli ? "read and change Numbrel's meter readings from the command line"
                : "keep your utility meter readings and see what you use and pay")
        << "\n";

    section(out, "SYNOPSIS");
    out << ".B " << roffEscape(name) << "\n";
    auto synopsisOf = [&](const OptionText& o) {
        out << "[\\fB" << roffEscape(o.name) << "\\fR"
            << (*o.value ? " \\fI" + roffEscape(o.value) + "\\fR" : "") << "]\n";
    };
    for (const OptionText& o : kSharedOptions)
        synopsisOf(o);
    if (cli) {
        for (const OptionText& o : kCliOptions)
            synopsisOf(o);
        out << "\\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n";
    }

    section(out, "DESCRIPTION");
    if (cli) {
        paragraph(out,
                  "numbrel-cli works on the same data as the Numbrel app: it shows the meters, readings, "
                  "usage and costs, adds and edits readings, makes and restores backups, imports and "
                  "exports CSV files, serves the Wi-Fi transfer pages and syncs a cloud folder.");
        paragraph(out,
                  "A METER argument is a 0-based index or an exact meter name. Every command takes --help.");
    } else {
        paragraph(out,
                  "Numbrel keeps the readings of a household's own utility meters (electricity, gas, water, "
                  "solar and wind generation) and shows what the household uses and pays: usage and cost "
                  "between any readings, figures per day to per year, bill predictions and graphs with the "
                  "year before. Every change is saved within about a second, and on closing, logging out "
                  "and the signals TERM, INT and HUP.");
        paragraph(out,
                  "The user guide opens from the gear menu; it is also installed as "
                  "/usr/share/doc/numbrel/help.html.");
    }

    section(out, "OPTIONS");
    for (const OptionText& o : kSharedOptions)
        optionItem(out, o);
    for (const OptionText& o :
         cli ? std::span<const OptionText>(kCliOptions) : std::span<const OptionText>(kAppOptions))
        optionItem(out, o);
    optionItem(out, {"--help", "", "show the options and exit"});

    if (cli) {
        section(out, "COMMANDS");
        for (const Command& c : commands) {
            out << ".TP\n.B " << roffEscape(c.synopsis) << "\n";
            helpText(out, c.help);
        }
        section(out, "EXIT STATUS");
        out << ".TP\n.B 0\nsuccess\n.TP\n.B 1\n"
            << roffEscape("the command line is wrong") << "\n.TP\n.B 2\n"
            << roffEscape("the input is wrong: a file, a meter, a value") << "\n";
    } else {
        section(out, "KEYS");
        const OptionText keys[] = {
            {"Escape", "", "go back, or cancel an alert or the work in progress"},
            {"Enter", "", "the page's or the alert's default button (Save, Done, OK)"},
            {"Left, Right, Page Up, Page Down", "", "move between meters"},
            {"digits, Backspace", "", "set the reading wheels from the left, and take one back"},
            {"Ctrl+Q", "", "save and quit"},
        };
        for (const OptionText& k : keys)
            tagged(out, ".B", k.name, k.help);
    }

    environmentAndFiles(out);
    section(out, "SEE ALSO");
    out << (cli ? ".BR numbrel (1)\n" : ".BR numbrel\\-cli (1)\n");
}

}  // namespace numbrel::cli
