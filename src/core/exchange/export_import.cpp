#include "exchange/export_import.h"

#include <unicode/calendar.h>
#include <unicode/datefmt.h>
#include <unicode/numfmt.h>
#include <unicode/smpdtfmt.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "costs/formatter.h"
#include "plist/date_text.h"
#include "store/document.h"
#include "store/environment.h"
#include "store/meter_record.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

// The reading columns of the export's header lines, and its three sets of total columns.
const std::array<std::vector<std::string_view>, 6> kReadingHeads = {
    {{"Reading"},
     {"Night", "Day"},
     {"Day", "Night"},
     {"Reading 1"},
     {"Reading 1", "Reading 2"},
     {"Reading 1", "Reading 2", "Reading 3"}}};
const std::array<std::array<std::string_view, 4>, 3> kTotalHeads = {
    {{"Daily Usage", "Daily Cost", "Total Usage", "Total Cost"},
     {"Daily Generation", "Daily Credit", "Total Generation", "Total Credit"},
     {"Daily Usage/Generation", "Daily Cost/Credit", "Total Usage/Generation", "Total Cost/Credit"}}};
constexpr std::size_t kTotalColumns = 4;

std::optional<ExportLayout> layoutOf(const std::vector<std::string_view>& fields) {
    if (fields.size() < 2 + 1 + kTotalColumns || fields[0] != "Meter" || fields[1] != "Date")
        return std::nullopt;
    const std::size_t readings = fields.size() - 2 - kTotalColumns;
    auto heads = std::find_if(kReadingHeads.begin(), kReadingHeads.end(), [&](const auto& h) {
        return h.size() == readings && std::equal(h.begin(), h.end(), fields.begin() + 2);
    });
    if (heads == kReadingHeads.end()) return std::nullopt;
    auto totals = std::find_if(kTotalHeads.begin(), kTotalHeads.end(), [&](const auto& t) {
        return std::equal(t.begin(), t.end(), fields.begin() + 2 + static_cast<std::ptrdiff_t>(readings));
    });
    if (totals == kTotalHeads.end()) return std::nullopt;
    return ExportLayout{static_cast<int>(readings)};
}

// The first line of a file's bytes, cut before its line end in the file's own encoding (ASCII, UTF-8
// or UTF-16 with a byte-order mark), so that a start of the file is enough.
std::string_view firstLineBytes(std::string_view bytes) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && ((byte(0) == 0xFF && byte(1) == 0xFE) || (byte(0) == 0xFE && byte(1) == 0xFF))) {
        const bool little = byte(0) == 0xFF;
        std::size_t i = 2;
        for (; i + 1 < bytes.size(); i += 2) {
            unsigned unit = little ? byte(i) | byte(i + 1) << 8 : byte(i) << 8 | byte(i + 1);
            if (unit == '\r' || unit == '\n') break;
        }
        return bytes.substr(0, std::min(i, bytes.size() & ~std::size_t{1}));
    }
    return bytes.substr(0, std::min(bytes.find('\r'), bytes.find('\n')));
}

// Dates and numbers read exactly as the export writes them in this locale and zone.
class ExportReader {
public:
    explicit ExportReader(const Environment& env) {
        dates_.reset(icu::DateFormat::createDateTimeInstance(icu::DateFormat::kShort,
                                                             icu::DateFormat::kMedium, env.locale()));
        if (dates_) {
            dates_->setTimeZone(env.timeZone());
            dates_->setLenient(false);
            // Two-digit years fall in the 80 years before and 20 after now, counted from the
            // system's own clock, not the machine's.
            if (auto* simple = dynamic_cast<icu::SimpleDateFormat*>(dates_.get())) {
                UErrorCode status = U_ZERO_ERROR;
                std::unique_ptr<icu::Calendar> c(
                    icu::Calendar::createInstance(env.timeZone(), env.locale(), status));
                if (U_SUCCESS(status)) {
                    c->setTime((env.now().seconds + kUnixToReferenceSeconds) * 1000.0, status);
                    c->add(UCAL_YEAR, -80, status);
                    if (U_SUCCESS(status)) simple->set2DigitYearStart(c->getTime(status), status);
                }
            }
        }
        UErrorCode status = U_ZERO_ERROR;
        numbers_.reset(icu::NumberFormat::createInstance(env.locale(), status));
        if (U_SUCCESS(status) && numbers_) {
            numbers_->setLenient(false);
            numbers_->setGroupingUsed(false);
        } else {
            numbers_.reset();
        }
    }

    std::optional<Date> date(std::string_view text) const {
        if (!dates_) return std::nullopt;
        icu::UnicodeString u =
            icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
        icu::ParsePosition pos(0);
        UDate when = dates_->parse(u, pos);
        if (pos.getErrorIndex() >= 0 || pos.getIndex() != u.length()) return std::nullopt;
        return Date{when / 1000.0 - kUnixToReferenceSeconds};
    }

    std::optional<double> number(std::string_view text) const {
        if (!numbers_ || text.empty()) return std::nullopt;
        icu::UnicodeString u =
            icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
        icu::Formattable result;
        icu::ParsePosition pos(0);
        numbers_->parse(u, result, pos);
        if (pos.getErrorIndex() >= 0 || pos.getIndex() != u.length()) return std::nullopt;
        UErrorCode status = U_ZERO_ERROR;
        double v = result.getDouble(status);
        if (U_FAILURE(status) || !std::isfinite(v)) return std::nullopt;
        return v;
    }

private:
    std::unique_ptr<icu::DateFormat> dates_;
    std::unique_ptr<icu::NumberFormat> numbers_;
};

std::string exportDate(const Formatter& f, Date d) {
    return f.formatDate(d, Formatter::DateStyle::Short, Formatter::TimeStyle::Medium);
}

int registersOf(const Value& meter) {
    return static_cast<int>(std::clamp<std::int64_t>(integerOf(meter, "enabled", 1), 1, 3));
}

}  // namespace

std::optional<ExportLayout> exportLayout(std::string_view bytes) {
    std::string storage;
    std::optional<std::string_view> line = decodeCsvText(firstLineBytes(bytes), storage);
    if (!line) return std::nullopt;
    std::optional<ExportLayout> layout;
    tokenizeCsv(*line, [&](std::vector<std::string_view>& fields) {
        layout = layoutOf(fields);
        return false;
    });
    return layout;
}

CsvVerification verifyExport(std::string_view bytes, const Value& document, const Environment& env,
                             const Formatter& formatter) {
    CsvVerification out;
    auto corrupt = [&](std::string message) {
        out.outcome = CsvVerification::Outcome::Corrupt;
        out.message = std::move(message);
        out.rows.clear();
        return out;
    };
    std::string storage;
    std::optional<std::string_view> text = decodeCsvText(bytes, storage);
    if (!text) return corrupt(tr("This file is not a Numbrel CSV export"));
    std::unordered_map<std::string_view, int> meters;  // the first meter of each name
    const Array* list = metersOf(document);
    for (std::size_t i = 0; list && i < list->size(); ++i)
        meters.try_emplace(stringOf((*list)[i], "name"), static_cast<int>(i));

    ExportReader reader(env);
    std::optional<ExportLayout> layout;
    std::optional<std::string> problem;
    auto row = [&](const char* pattern) { return fill(tr(pattern), {std::to_string(out.rows.size() + 1)}); };
    CsvStop stop = tokenizeCsv(*text, [&](std::vector<std::string_view>& fields) {
        if (!layout) {
            layout = layoutOf(fields);
            if (!layout) problem = tr("This file is not a Numbrel CSV export");
            return layout.has_value();
        }
        if (std::all_of(fields.begin(), fields.end(), [](std::string_view f) { return f.empty(); }))
            return true;
        const std::size_t columns = 2 + static_cast<std::size_t>(layout->readingColumns);
        // The derived total columns may have been dropped in a spreadsheet; the readings may not.
        if (fields.size() < columns || fields.size() > columns + kTotalColumns) {
            problem = fill(tr("Row %lu, incorrect column count (should be %lu)"),
                           {std::to_string(out.rows.size() + 1), std::to_string(columns + kTotalColumns)});
            return false;
        }
        ImportRow r;
        std::optional<Date> date = reader.date(fields[1]);
        if (!date || exportDate(formatter, *date) != fields[1]) {
            problem = row(N_("Row %lu, invalid date format"));
            return false;
        }
        r.date = *date;
        static const char* const kInvalid[3] = {N_("Row %lu, invalid reading 1"),
                                                N_("Row %lu, invalid reading 2"),
                                                N_("Row %lu, invalid reading 3")};
        for (int k = 0; k < layout->readingColumns; ++k) {
            std::optional<double> v = reader.number(fields[2 + static_cast<std::size_t>(k)]);
            if (!v) {
                problem = row(kInvalid[k]);
                return false;
            }
            r.reading[k] = *v;
        }
        r.registers = layout->readingColumns;
        auto meter = meters.find(fields[0]);
        if (meter == meters.end()) {
            problem = row(N_("Row %lu, meter not found"));
            return false;
        }
        r.meter = meter->second;
        out.rows.push_back(r);
        return true;
    });
    if (stop == CsvStop::FieldTooLong) return corrupt(row(N_("Row %lu, a field is longer than 64 KB")));
    if (stop == CsvStop::LineTooLong) return corrupt(row(N_("Row %lu, a line is longer than 1 MB")));
    if (!layout && !problem) problem = tr("This file is not a Numbrel CSV export");
    if (problem) return corrupt(*problem);
    out.outcome = out.rows.empty() ? CsvVerification::Outcome::Empty : CsvVerification::Outcome::Verified;
    return out;
}

void mergeExport(Value& document, const std::vector<ImportRow>& rows, const Formatter& formatter) {
    Array* list = metersOf(document);
    if (!list) return;
    const Key dateKey("date"), readingKey("reading");
    auto dateOf = [&](const Value& r) {
        const Value* d = r.find(dateKey);
        return d && d->isDate() ? d->date().seconds : -INFINITY;
    };
    std::vector<std::vector<const ImportRow*>> byMeter(list->size());
    for (const ImportRow& r : rows)
        if (r.meter >= 0 && r.meter < static_cast<int>(list->size()))
            byMeter[static_cast<std::size_t>(r.meter)].push_back(&r);
    for (std::size_t m = 0; m < byMeter.size(); ++m) {
        if (byMeter[m].empty()) continue;
        Value& meter = (*list)[m];
        const int registers = registersOf(meter);
        Value* readingsValue = meter.find("readings");
        if (!readingsValue || !readingsValue->isArray())
            readingsValue = &meter.set("readings", Value::emptyArray());
        Array& existing = readingsValue->array();
        // New readings by their exact date: of rows with the same date, the last in the file wins.
        std::vector<Value> fresh;
        std::unordered_map<double, std::size_t> freshAt;
        std::unordered_set<const Value*> taken;
        auto sameValues = [&](const Value& reading, const ImportRow& row) {
            const Value* values = reading.find(readingKey);
            for (int k = 0; k < std::min(registers, row.registers); ++k) {
                const Value* v = values ? values->at(static_cast<std::size_t>(k)) : nullptr;
                if (formatter.formatUsage(v ? v->toReal() : 0.0, meter) !=
                    formatter.formatUsage(row.reading[k], meter))
                    return false;
            }
            return true;
        };
        for (const ImportRow* row : byMeter[m]) {
            const double d = row->date.seconds;
            const std::string when = exportDate(formatter, row->date);
            // The readings the export writes with this date: seconds cut, and in the hour a clock
            // turns back the same wall time an hour apart. Newest first, so search from both ends.
            auto from = std::partition_point(existing.begin(), existing.end(),
                                             [&](const Value& r) { return dateOf(r) >= d + 3601; });
            auto to = std::partition_point(from, existing.end(),
                                           [&](const Value& r) { return dateOf(r) > d - 3601; });
            // Of several, one that already holds the row's values, else one no row took yet, else the
            // first (a row repeated in the file: the last one wins).
            Value* match = nullptr;
            int best = -1;
            for (auto it = from; it != to; ++it) {
                double cut = std::floor(dateOf(*it));
                if ((cut != d && std::abs(cut - d) != 3600) ||
                    exportDate(formatter, Date{dateOf(*it)}) != when)
                    continue;
                int score = taken.count(&*it) ? 0 : sameValues(*it, *row) ? 2 : 1;
                if (score > best) {
                    best = score;
                    match = &*it;
                }
            }
            if (match) taken.insert(match);
            if (!match) {
                auto [at, added] = freshAt.try_emplace(d, fresh.size());
                if (added) {
                    fresh.push_back(Value::makeDictionary(
                        {{"date", row->date}, {"reading", Value(Array{0.0, 0.0, 0.0})}}));
                }
                match = &fresh[at->second];
            }
            Value* values = match->find(readingKey);
            if (!values || !values->isArray()) values = &match->set("reading", Value::emptyArray());
            Array& v = values->array();
            for (int k = 0; k < std::min(registers, row->registers); ++k) {
                auto index = static_cast<std::size_t>(k);
                while (v.size() <= index)
                    v.emplace_back(0.0);
                const double old = v[index].toReal();
                if (formatter.formatUsage(old, meter) != formatter.formatUsage(row->reading[k], meter))
                    v[index] = Value(row->reading[k]);
            }
        }
        if (fresh.empty()) continue;
        // The new readings go in date order, after any reading of the same instant.
        std::stable_sort(fresh.begin(), fresh.end(),
                         [&](const Value& a, const Value& b) { return dateOf(a) > dateOf(b); });
        Array merged;
        merged.reserve(existing.size() + fresh.size());
        std::size_t e = 0;
        for (Value& reading : fresh) {
            while (e < existing.size() && dateOf(existing[e]) >= dateOf(reading))
                merged.push_back(std::move(existing[e++]));
            merged.push_back(std::move(reading));
        }
        while (e < existing.size())
            merged.push_back(std::move(existing[e++]));
        existing = std::move(merged);
    }
}

}  // namespace numbrel
