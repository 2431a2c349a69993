#include "main/price_comparison.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "costs/formatter.h"
#include "store/app_delegate.h"
#include "store/configuration.h"
#include "store/document.h"
#include "store/meter_record.h"
#include "store/text_compare.h"
#include "ui/localize.h"

namespace numbrel {

namespace {

constexpr std::size_t kLongestLink = 2048;

bool isFuel(std::string_view type) {
    return type == "Electricity" || type == "Gas";
}

const Value* meterAt(const Value& document, int index) {
    const Array* meters = metersOf(document);
    if (!meters || index < 0 || index >= static_cast<int>(meters->size())) return nullptr;
    return &(*meters)[static_cast<std::size_t>(index)];
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The text after the first occurrence of key, with leading white space skipped; nullopt without key.
std::optional<std::string_view> after(std::string_view text, std::string_view key) {
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos) return std::nullopt;
    std::string_view rest = text.substr(at + key.size());
    while (!rest.empty() && isSpace(rest.front()))
        rest.remove_prefix(1);
    return rest;
}

// A whole number with an optional sign; one too large for the type saturates.
std::optional<long long> leadingInteger(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') break;
        const int digit = c - '0';
        if (value > (std::numeric_limits<long long>::max() - digit) / 10) {
            value = std::numeric_limits<long long>::max();
            continue;
        }
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

// A decimal number ("12", "-3.5", ".25", "1e3"); words such as "inf" and numbers out of range are none.
std::optional<double> leadingDecimal(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty() || !((text.front() >= '0' && text.front() <= '9') || text.front() == '.'))
        return std::nullopt;
    double value = 0;
    auto [end, ec] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
    if (ec != std::errc()) return std::nullopt;
    return negative ? -value : value;
}

// Printable ASCII without spaces and without any of the characters given.
bool printableWithout(std::string_view text, std::string_view excluded) {
    return std::all_of(text.begin(), text.end(), [&](char c) {
        return c > ' ' && c < 0x7f && excluded.find(c) == std::string_view::npos;
    });
}

// Characters that could end an attribute or start markup in the mail's HTML.
constexpr std::string_view kUnsafeInMarkup = "\"'<>\\`{}|^";

// A link that may be opened in a browser and written into a mail's HTML: a web address of printable
// ASCII that cannot end an attribute or start markup.
bool safeLink(std::string_view link) {
    const std::string lower = asciiLower(link.substr(0, 8));
    if (!lower.starts_with("http://") && !lower.starts_with("https://")) return false;
    if (link.size() > kLongestLink || link.size() <= (lower.starts_with("https") ? 8u : 7u)) return false;
    return printableWithout(link, kUnsafeInMarkup);
}

std::string annual(double usage) {
    return printfFixed(usage, 0);
}

}  // namespace

bool comparable(const Value& meter) {
    const Array* readings = readingsOf(meter);
    return isFuel(stringOf(meter, "type")) && stringOf(meter, "code") == "GBP" &&
           !stringOf(meter, "postcode").empty() && readings && readings->size() >= 2;
}

Alert eligibilityAlert() {
    return Alert{
        0,
        tr("Price Comparison"),
        tr("This feature only works for Electricity and Gas meters with GBP as their currency and a UK "
           "postcode. You also need at least 2 sets of readings so the app can estimate your usage"),
        {tr("OK")}};
}

Alert noServiceAlert(const std::string& address) {
    Alert alert{0, tr("Price Comparison"), {}, {tr("OK")}};
    if (address.empty())
        alert.message =
            tr("No price comparison service is configured. Add its address as \"endpoint\" in the "
               "section \"[prices]\" of numbrel.conf");
    else
        alert.message = fill(tr("The price comparison service \"%@\" in numbrel.conf is not an http or https "
                                "address"),
                             {address});
    return alert;
}

std::optional<int> dualPartner(const Value& document, int meter) {
    const Value* current = meterAt(document, meter);
    if (!current) return std::nullopt;
    const std::string_view type = stringOf(*current, "type");
    if (!isFuel(type)) return std::nullopt;
    const std::string_view other = type == "Electricity" ? "Gas" : "Electricity";
    const std::string_view postcode = stringOf(*current, "postcode");
    const std::string_view house = stringOf(*current, "house");
    std::optional<int> partner;
    const Array* meters = metersOf(document);
    for (std::size_t i = 0; i < meters->size(); ++i) {
        const Value& m = (*meters)[i];
        if (stringOf(m, "type") != other || stringOf(m, "postcode") != postcode ||
            stringOf(m, "house") != house)
            continue;
        if (partner) return std::nullopt;  // two candidates: which one is meant cannot be told
        partner = static_cast<int>(i);
    }
    return partner;
}

Alert comparisonChoice(const Value& meter) {
    Alert sheet;
    sheet.tag = kComparisonChoiceTag;
    sheet.actionSheet = true;
    sheet.title = tr("Price Comparison");
    sheet.buttons = {tr(std::string(stringOf(meter, "type")).c_str()), tr("Dual Fuel"), tr("Cancel")};
    return sheet;
}

std::string PriceRequest::db() const {
    if (dual) return "dual";
    return electricityMeter >= 0 ? "electric" : "gas";
}

PriceRequest priceRequest(const NumbrelAppDelegate& app, int meter, bool dual) {
    PriceRequest request;
    request.meter = meter;
    const Value* current = meterAt(app.settings(), meter);
    if (!current) return request;
    const bool electric = stringOf(*current, "type") == "Electricity";
    (electric ? request.electricityMeter : request.gasMeter) = meter;
    if (dual)
        if (std::optional<int> partner = dualPartner(app.settings(), meter)) {
            request.dual = true;
            (electric ? request.gasMeter : request.electricityMeter) = *partner;
        }

    const Engine engine = app.engine();
    // A year's usage from the reading about a year back to the newest; a falling total counts as none.
    auto estimate = [&](int m, double& usage) {
        const int yearAgo = engine.yearAgo(m);
        usage = std::max(0.0, engine.usage(m, 0, yearAgo, 0) * 365);
        if (usage > 0) request.costNow += engine.costNow(m, 0, yearAgo, 0) * 365;
    };
    // Day and night registers: the existing tariff "2", and a night share.
    bool twoRates = false;
    if (request.electricityMeter >= 0) {
        const int m = request.electricityMeter;
        estimate(m, request.electricity);
        const Value& record = *meterAt(app.settings(), m);
        twoRates = integerOf(record, "enabled") >= 2;
        if (twoRates && request.electricity > 0) {
            // The night register's usage per day against the annual total: the service takes the figure
            // computed this way.
            const int night = static_cast<int>(integerOf(record, "economy7"));
            const double perDay = engine.usage(m, night, engine.yearAgo(m), 0);
            request.nightShare = std::clamp(perDay * 100 / request.electricity, 0.0, 100.0);
        }
    }
    if (request.gasMeter >= 0) estimate(request.gasMeter, request.gas);

    Value& fields = request.fields;
    fields.set("done", "profile");
    fields.set("values[profileIncomplete]", "YES");
    fields.set("values[postcode]", std::string(stringOf(*current, "postcode")));
    if (request.electricityMeter >= 0) {
        fields.set("values[elecUsage]", annual(request.electricity));
        fields.set("values[nightUsePercent]", printfFixed(request.nightShare, 1));
        fields.set("values[existingElecTariff]", twoRates ? "2" : "1");
    }
    if (request.gasMeter >= 0) fields.set("values[gasUsage]", annual(request.gas));
    fields.set("values[existingPayType]", "1");
    fields.set("values[desiredPayType]", "1");
    request.body = formBody(fields);
    return request;
}

std::string formEscape(std::string_view value) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= '0' && byte <= '9') ||
                           std::string_view("-._~!$'()*,").find(c) != std::string_view::npos;
        if (plain && byte != 0) {
            out += c;
        } else {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 0xf];
        }
    }
    return out;
}

std::string formBody(const Value& fields) {
    std::string body;
    if (!fields.isDictionary()) return body;
    for (const Value::Entry& e : fields.dictionary()) {
        body += e.key.str();
        body += '=';
        body += formEscape(e.value.toString());
        body += '&';
    }
    if (!body.empty()) body.pop_back();
    return body;
}

std::string priceService(const Configuration& configuration) {
    return configuration.value("prices.endpoint");
}

bool usablePriceService(std::string_view address) {
    const std::string lower = asciiLower(address.substr(0, 8));
    std::string_view rest;
    if (lower.starts_with("https://"))
        rest = address.substr(8);
    else if (lower.starts_with("http://"))
        rest = address.substr(7);
    else
        return false;
    const std::string_view host = rest.substr(0, rest.find('/'));
    if (host.empty() || host.front() == ':' || address.size() > kLongestLink) return false;
    // No query, fragment or user: the page and its query are added here.
    return printableWithout(address, kUnsafeInMarkup) && printableWithout(address, "?#@");
}

std::string priceUrl(std::string_view service, std::string_view db) {
    std::string url(service);
    if (!url.ends_with(kPricePage)) {
        while (!url.empty() && url.back() == '/')
            url.pop_back();
        url += kPricePage;
    }
    return url + "?db=" + std::string(db);
}

PriceQuote scanQuote(std::string_view reply) {
    PriceQuote quote;
    if (auto count = after(reply, "resultsCount="))
        if (auto n = leadingInteger(*count)) quote.count = *n;
    if (auto price = after(reply, "newPoundsPerAnnum=")) quote.price = leadingDecimal(*price);
    if (const std::size_t at = reply.find("searchURL="); at != std::string_view::npos) {
        std::string_view link = reply.substr(at + 10);
        link = link.substr(0, link.find_first_of("\r\n"));
        while (!link.empty() && (link.front() == ' ' || link.front() == '\t'))
            link.remove_prefix(1);
        while (!link.empty() && (link.back() == ' ' || link.back() == '\t'))
            link.remove_suffix(1);
        if (safeLink(link)) quote.moreInfo = link;
    }
    return quote;
}

Alert resultAlert(const NumbrelAppDelegate& app, const PriceRequest& request, const PriceQuote& quote) {
    const Value* shown = meterAt(app.settings(), request.meter);
    const Value none = Value::emptyDictionary();
    const Value& meter = shown ? *shown : none;
    auto units = [&](int m) {
        const Value* record = meterAt(app.settings(), m);
        return record ? std::string(stringOf(*record, "units")) : std::string();
    };
    auto cost = [&](double value) { return app.formatter().formatCost(value, meter); };
    const double price = quote.price.value_or(0);
    const double saving = request.costNow > price ? request.costNow - price : 0;
    const std::string postcode(stringOf(meter, "postcode"));

    Alert alert{kPriceResultTag, tr("Price Comparison"), {}, {tr("Cancel"), tr("More Info")}};
    if (request.dual) {
        alert.message =
            fill("%@ %@ %@\n%@ %@ %@\n%@ %@\n\n%@ %@\n%@ %@\n\n%@ %@",
                 {tr("Electricity usage"), annual(request.electricity), units(request.electricityMeter),
                  tr("Gas usage"), annual(request.gas), units(request.gasMeter), tr("Location"), postcode,
                  tr("Current cost"), cost(request.costNow), tr("Cheapest supplier"), cost(price),
                  tr("Potential savings"), cost(saving)});
    } else {
        const bool electric = request.electricityMeter >= 0;
        alert.message = fill("%@ %@ %@\n%@ %@\n\n%@ %@\n%@ %@\n\n%@ %@",
                             {electric ? tr("Electricity usage") : tr("Gas usage"),
                              annual(electric ? request.electricity : request.gas),
                              units(electric ? request.electricityMeter : request.gasMeter), tr("Location"),
                              postcode, tr("Current cost"), cost(request.costNow), tr("Cheapest supplier"),
                              cost(price), tr("Potential savings"), cost(saving)});
    }
    return alert;
}

Alert failureAlert(const PriceQuote& quote, bool canMail) {
    Alert alert{kMoreInfoTag, tr("Failed to get prices!"), {}, {tr("OK")}};
    if (quote.moreInfo.empty()) {
        alert.message = tr("Please check your usage levels and postcode");
    } else if (canMail) {
        alert.message =
            tr("Please check your usage levels and postcode. For a specific quote select the Website button "
               "below. "
               "Alternatively you can email yourself a link to do this on a computer");
        alert.buttons = {tr("OK"), tr("Website"), tr("Email Link")};
    } else {
        alert.message =
            tr("Please check your usage levels and postcode. For a specific quote select the Website button "
               "below");
        alert.buttons = {tr("OK"), tr("Website")};
    }
    return alert;
}

Alert moreInfoAlert(bool canMail) {
    Alert alert{kMoreInfoTag, tr("More Information"), {}, {}};
    if (canMail) {
        alert.message =
            tr("To get a specific quote, based on your current supplier and tariff, select the Website "
               "button below. Alternatively you can email yourself a link to do this on a computer");
        alert.buttons = {tr("Cancel"), tr("Website"), tr("Email Link")};
    } else {
        alert.message =
            tr("To get a specific quote, based on your current supplier and tariff, select the Website "
               "button below");
        alert.buttons = {tr("Cancel"), tr("Website")};
    }
    return alert;
}

Mail linkMail(const std::string& link, const std::string& to) {
    std::string db;
    if (const std::size_t at = link.find("db="); at != std::string::npos) {
        db = link.substr(at + 3);
        db = db.substr(0, db.find('&'));
    }
    Mail mail;
    mail.to = to;
    mail.subject = db == "dual"       ? tr("Dual fuel price comparison link (Numbrel)")
                   : db == "electric" ? tr("Electricity price comparison link (Numbrel)")
                   : db == "gas"      ? tr("Gas price comparison link (Numbrel)")
                                      : tr("Price comparison link (Numbrel)");
    mail.body =
        fill("%@:<p><a href=%@>%@</a><p>%@",
             {tr("To get a specific quote based on your postcode, your current supplier and tariff and your "
                 "actual energy usage over the past 12 months, visit the following website"),
              link, link,
              tr("If you find that you can save money and want to switch suppliers, please use this link as "
                 "it will help me to keep adding functionality to Numbrel at no extra cost to you. Thank you "
                 "for your support!")});
    mail.html = true;
    return mail;
}

std::optional<Alert> comparisonOutcome(const NumbrelAppDelegate& app, const PriceRequest& request,
                                       const PriceReply& reply, bool canMail, std::string& moreInfo) {
    if (reply.cancelled) return std::nullopt;
    const PriceQuote quote = scanQuote(reply.body);
    moreInfo = quote.moreInfo;
    return quote.found() ? resultAlert(app, request, quote) : failureAlert(quote, canMail);
}

}  // namespace numbrel
