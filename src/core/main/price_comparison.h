// The price comparison: which meters can be compared, the household's estimated year of electricity
// and gas, the form posted to the comparison service, the reading of its reply, and the alerts and
// mail that report it. The main screen runs the flow; the service itself sits behind PriceService.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"
#include "ui/alert.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;
class Configuration;

// The service's page; its address comes from the configuration ("prices.endpoint").
inline constexpr std::string_view kPricePage = "/energy/ios/calc_ios.html";

// Tags of the comparison's alerts: the fuel choice, the result, and the alerts that offer the link
// (more information, and the failure with a link).
inline constexpr int kComparisonChoiceTag = 3;
inline constexpr int kPriceResultTag = 5;
inline constexpr int kMoreInfoTag = 6;

// An Electricity or Gas meter priced in GBP, with a postcode and at least two readings.
bool comparable(const Value& meter);
// "Price Comparison": what a meter needs to be compared.
Alert eligibilityAlert();
// "Price Comparison": no usable service address is configured (the one there is given), so nothing
// can be sent.
Alert noServiceAlert(const std::string& address);

// The meter of the other fuel at the same postcode and house, when there is exactly one: a second
// one makes the household ambiguous and it is compared as one fuel.
std::optional<int> dualPartner(const Value& document, int meter);
// "Price Comparison": the meter's own fuel, "Dual Fuel", or "Cancel".
Alert comparisonChoice(const Value& meter);

// What is sent for one comparison, and what the result is measured against.
struct PriceRequest {
    int meter = 0;  // the meter asked about: its postcode is sent, its currency shows the costs
    bool dual = false;
    int electricityMeter = -1;  // the meters compared (-1: that fuel is not)
    int gasMeter = -1;
    double electricity = 0;  // estimated annual usage in the meter's units, never negative
    double gas = 0;
    double nightShare = 0;                    // percent of the electricity used at night, as sent
    double costNow = 0;                       // estimated annual cost of the fuels compared, at current rates
    Value fields = Value::emptyDictionary();  // form key -> text
    std::string body;                         // the form, ASCII

    // "dual", "electric" or "gas": the query's db value.
    std::string db() const;
};
// The request for a meter, as one fuel or (with its partner) both. The meter must be comparable.
PriceRequest priceRequest(const NumbrelAppDelegate& app, int meter, bool dual);

// A form value with every character but letters, digits and "-._~!$'()*," percent-escaped (so
// ";:@&=/+" are escaped too), bytes beyond ASCII as their UTF-8.
std::string formEscape(std::string_view value);
// "key=value&..." in the dictionary's key order, keys as they are, values escaped, no last "&".
std::string formBody(const Value& fields);

// The configured service address ("" when none).
std::string priceService(const Configuration& configuration);
// Whether a service address can be used: http or https, a host, nothing after it but a path.
bool usablePriceService(std::string_view address);
// Where a request goes: the service's page (added unless the address already ends with it) and
// "?db=...".
std::string priceUrl(std::string_view service, std::string_view db);

// What a reply says: the number of results, the cheapest annual price, and a link to the full quote
// ("" when there is none, or when what stands there is not a web address that is safe to open).
struct PriceQuote {
    long long count = 0;
    std::optional<double> price;
    std::string moreInfo;
    bool found() const { return count > 0 && price.has_value(); }
};
// Reads a reply of any size and content; no part of it is trusted beyond what is returned.
PriceQuote scanQuote(std::string_view reply);

// The result: usage, location, current cost, cheapest supplier and the potential saving.
Alert resultAlert(const NumbrelAppDelegate& app, const PriceRequest& request, const PriceQuote& quote);
// "Failed to get prices!", offering the link when the reply had one (and mail when it can be sent).
Alert failureAlert(const PriceQuote& quote, bool canMail);
// "More Information": the link in the browser, or by mail when it can be sent.
Alert moreInfoAlert(bool canMail);
// The link by mail to the user's own address ("" for none): subject by the link's "db=" value.
Mail linkMail(const std::string& link, const std::string& to);

// The comparison service: one form posted, its reply (at most maxReply bytes of it) returned. Called
// from a job's work, on any thread; the implementation outlives every job.
struct PriceReply {
    std::string body;   // empty on failure
    std::string error;  // why nothing usable came ("" when a reply did)
    bool cancelled = false;
};
class PriceService {
public:
    static constexpr std::size_t kMaxReply = 1 << 20;
    virtual ~PriceService() = default;
    virtual PriceReply post(const std::string& url, const std::string& body, const Progress& progress) = 0;
};

// The request sent and its reply read: the alert to show, or nothing when it was cancelled.
std::optional<Alert> comparisonOutcome(const NumbrelAppDelegate& app, const PriceRequest& request,
                                       const PriceReply& reply, bool canMail, std::string& moreInfo);

}  // namespace numbrel
