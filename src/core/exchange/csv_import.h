// CSV import: the file's text, its lines as the tokenizer splits them, the verification that accepts
// every data line or stops at the first bad one, and the merge of the accepted rows into the meters'
// readings once the user confirms.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"
#include "ui/alert.h"

namespace numbrel {

class Environment;

inline constexpr std::uint64_t kMaxCsvFileBytes = 200ull * 1024 * 1024;
inline constexpr std::size_t kMaxCsvFieldBytes = 64 * 1024;
inline constexpr std::size_t kMaxCsvLineBytes = 1024 * 1024;

// The file's bytes as UTF-8 text: ASCII or UTF-8 (with or without a byte-order mark) as it is (a view
// into bytes), UTF-16 with a byte-order mark converted into storage. Nothing for bytes that are none
// of these.
std::optional<std::string_view> decodeCsvText(std::string_view bytes, std::string& storage);

// Splits text into lines of fields and hands each line to `line` (which answers false to stop).
// Commas end fields and runs of line ends end lines, except inside double quotes, where a doubled
// quote stands for one; spaces and tabs after a comma are skipped; an empty last field is never
// counted. The fields are valid until `line` returns. Tells how it ended: at the end of the text,
// stopped by `line` (then resumeAt, when given, is where the text after that line begins), or at a
// field or a line longer than the limits above.
enum class CsvStop { End, Stopped, FieldTooLong, LineTooLong };
CsvStop tokenizeCsv(std::string_view text,
                    const std::function<bool(std::vector<std::string_view>& fields)>& line,
                    std::size_t* resumeAt = nullptr);

// Dates of the three formats ("dd/MM/yyyy HH:mm:ss", "dd/MM/yyyy HH:mm", "dd/MM/yyyy") read in full
// in the device time zone: an impossible date, a time in the clocks-forward gap, trailing text and a
// year of fewer than four digits are refused.
class CsvDateReader {
public:
    enum Format { Seconds, Minutes, DateOnly };
    explicit CsvDateReader(const Environment& env);
    ~CsvDateReader();
    CsvDateReader(const CsvDateReader&) = delete;
    CsvDateReader& operator=(const CsvDateReader&) = delete;

    std::optional<Date> read(std::string_view text, Format format);
    // The same through the locale's date parser alone, without the fast path for plain numeric text
    // (the fast path must always agree with it).
    std::optional<Date> readSlowly(std::string_view text, Format format);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

struct ImportRow {
    int meter = 0;
    int registers = 3;  // how many readings the file gives (an export may give fewer than three)
    Date date;
    double reading[3] = {0, 0, 0};
};

struct CsvVerification {
    enum class Outcome { Corrupt, Empty, Verified, Cancelled };
    Outcome outcome = Outcome::Empty;
    std::string message;  // the row message of a corrupt file
    std::vector<ImportRow> rows;
    // "CSV File Corrupt" / "CSV File Empty?" / "CSV File Verified" with its count and buttons.
    Alert alert(int tag) const;
};

// How far long work has come (0 to 1); answering false stops it.
using Progress = std::function<bool(double done)>;

// Verifies a whole file against the document's meters (matched by exact name). Readings are read with
// the locale's decimal separator. With progress, a large file says how far it has come and can be
// stopped (the outcome is then Cancelled).
CsvVerification verifyCsv(std::string_view bytes, const Value& document, const Environment& env,
                          const std::string& decimalSeparator, const Progress& progress = {});

// Merges accepted rows into the meters' readings (newest first): a row whose date a reading already
// has replaces that reading's three values, any other is inserted in date order.
void mergeRows(Value& document, const std::vector<ImportRow>& rows);

}  // namespace numbrel
