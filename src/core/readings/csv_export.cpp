#include "readings/csv_export.h"

#include <algorithm>
#include <charconv>

#include "costs/engine.h"
#include "costs/formatter.h"
#include "plist/utf.h"
#include "store/document.h"
#include "store/meter_record.h"
#include "store/text_compare.h"

namespace numbrel {

namespace {

bool generates(const Value& meter) {
    std::string_view type = stringOf(meter, "type");
    return type == "Solar" || type == "Wind";
}

void field(std::string& out, std::string_view text, bool first = false) {
    if (!first) out += ',';
    out += '"';
    out += text;  // nothing inside a field is escaped
    out += '"';
}

}  // namespace

CsvFile exportCsv(const Value& document, const Engine& engine, const Formatter& formatter,
                  std::optional<int> meter) {
    CsvFile file;
    const Array* meters = metersOf(document);
    if (!meters) return file;
    const bool all = !meter;
    if (!all && (*meter < 0 || *meter >= static_cast<int>(meters->size()))) return file;

    std::string& out = file.text;
    field(out, "Meter", true);
    field(out, "Date");
    bool anyGeneration = false, allGeneration = true;
    if (all) {
        for (const char* h : {"Reading 1", "Reading 2", "Reading 3"})
            field(out, h);
        for (const Value& m : *meters) {
            anyGeneration |= generates(m);
            allGeneration &= generates(m);
        }
    } else {
        const Value& m = (*meters)[static_cast<std::size_t>(*meter)];
        std::int64_t enabled = integerOf(m, "enabled", 1), economy7 = integerOf(m, "economy7");
        if (enabled == 1) {
            field(out, "Reading");
        } else if (enabled == 2 && economy7 == 1) {
            field(out, "Night"), field(out, "Day");
        } else if (enabled == 2 && economy7 == 2) {
            field(out, "Day"), field(out, "Night");
        } else {
            for (std::int64_t r = 1; r <= std::min<std::int64_t>(enabled, 3); ++r)
                field(out, "Reading " + std::to_string(r));
        }
        anyGeneration = allGeneration = generates(m);
    }
    if (!anyGeneration) {
        for (const char* h : {"Daily Usage", "Daily Cost", "Total Usage", "Total Cost"})
            field(out, h);
    } else if (allGeneration) {
        for (const char* h : {"Daily Generation", "Daily Credit", "Total Generation", "Total Credit"})
            field(out, h);
    } else {
        for (const char* h :
             {"Daily Usage/Generation", "Daily Cost/Credit", "Total Usage/Generation", "Total Cost/Credit"})
            field(out, h);
    }
    out += "\r\n";

    for (int mi = 0; mi < static_cast<int>(meters->size()); ++mi) {
        if (!all && mi != *meter) continue;
        const Value& m = (*meters)[static_cast<std::size_t>(mi)];
        const Array* readings = readingsOf(m);
        if (!readings) continue;
        const int n = static_cast<int>(readings->size());
        const int registers = static_cast<int>(std::clamp<std::int64_t>(integerOf(m, "enabled", 1), 1, 3));
        const int P = formatter.currencyPrecision(m);
        const std::string name(stringOf(m, "name"));
        for (int i = 0; i < n; ++i) {
            const Value& reading = (*readings)[static_cast<std::size_t>(i)];
            const Value* date = reading.find("date");
            field(out, name, true);
            field(out, date && date->isDate()
                           ? formatter.formatDate(date->date(), Formatter::DateStyle::Short,
                                                  Formatter::TimeStyle::Medium)
                           : "");
            const Value* values = reading.find("reading");
            for (int r = 0; r < registers; ++r) {
                const Value* v = values ? values->at(static_cast<std::size_t>(r)) : nullptr;
                field(out, formatter.formatUsage(v ? v->toReal() : 0.0, m));
            }
            if (all)
                for (int r = registers; r < 3; ++r)
                    field(out, formatter.formatUsage(0.0, m));
            if (i < n - 1) {
                double u = engine.usage(mi, 0, i + 1, i), k = engine.cost(mi, 0, i + 1, i),
                       d = engine.days(mi, i + 1, i);
                field(out, formatter.formatUsage(u, m));
                field(out, printfFixed(k, P));
                field(out, formatter.formatUsage(u * d, m));
                field(out, printfFixed(k * d, P));
            } else {
                out += ",\"0\",\"0\",\"0\",\"0\"";
            }
            out += "\r\n";
        }
    }

    file.name =
        asciiLower(all ? "readings" : stringOf((*meters)[static_cast<std::size_t>(*meter)], "type")) + ".csv";
    if (isAscii(out)) {
        file.bytes = out;
    } else {
        std::u16string wide = utf8ToUtf16(out);
        file.bytes = "\xFF\xFE";
        for (char16_t c : wide) {
            file.bytes += static_cast<char>(c & 0xFF);
            file.bytes += static_cast<char>(c >> 8);
        }
    }
    return file;
}

}  // namespace numbrel
