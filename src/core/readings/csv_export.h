// The CSV export of one meter's readings or of all meters: the layout spreadsheets read and the CSV
// import reads back. Every field quoted, nothing escaped, CR LF line ends, ASCII or else UTF-16 with
// a byte-order mark.
#pragma once

#include <optional>
#include <string>

#include "plist/value.h"

namespace numbrel {

class Engine;
class Formatter;

struct CsvFile {
    std::string name;   // "electricity.csv", "readings.csv": the meter's type or "readings", lower case
    std::string text;   // UTF-8, as built
    std::string bytes;  // as written: the text in ASCII, or UTF-16 (little endian) with a byte-order mark
};

// meter: the meter to export, or nothing for all meters.
CsvFile exportCsv(const Value& document, const Engine& engine, const Formatter& formatter,
                  std::optional<int> meter);

}  // namespace numbrel
