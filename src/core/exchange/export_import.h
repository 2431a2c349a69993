// Reading the app's own CSV export back: a household edits its readings in a spreadsheet and brings
// them home. The CSV import refuses this layout on purpose (it wants five columns); this is a
// separate way in that reads the export's own columns, dates and numbers as it wrote them.
#pragma once

#include <optional>
#include <string_view>

#include "exchange/csv_import.h"
#include "plist/value.h"

namespace numbrel {

class Environment;
class Formatter;

// The layout an export's header line announces: how many reading columns follow the meter and the
// date (the four total columns after them are derived figures and are not read back).
struct ExportLayout {
    int readingColumns = 1;
};

// The layout of a file whose first line is one of the export's header lines; nothing otherwise. Only
// the first line is looked at, so the start of a file is enough.
std::optional<ExportLayout> exportLayout(std::string_view bytes);

// Verifies a whole export against the document's meters (matched by exact name): dates in the device
// locale's short date and medium time (as the export writes them), readings in its number format.
// Every row must format back to the text it was read from. The outcomes and their alert are the CSV
// import's; each row carries the number of reading columns the file has.
CsvVerification verifyExport(std::string_view bytes, const Value& document, const Environment& env,
                             const Formatter& formatter);

// Merges verified rows so that an export read back into the document it came from changes nothing:
// a row matches a reading whose date the export would write the same way (it keeps seconds, not
// their fractions), and a register's value changes only when the export would write it differently.
// Other rows are inserted in date order with three values (the registers a meter lacks are 0).
void mergeExport(Value& document, const std::vector<ImportRow>& rows, const Formatter& formatter);

}  // namespace numbrel
