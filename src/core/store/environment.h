// What the system asks of the device: the clock, the time zone and the locale. They are injected
// (the CLI and the tests set them) and never read ad hoc elsewhere in the core.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "plist/value.h"

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class Locale;
class TimeZone;
U_NAMESPACE_END

namespace numbrel {

class Environment {
public:
    using Clock = std::function<Date()>;

    // localeId: an ICU locale name ("en_GB"); timeZoneId: an Olson zone ("Europe/London").
    Environment(const std::string& localeId, const std::string& timeZoneId, Clock clock);
    ~Environment();
    Environment(const Environment&);
    Environment& operator=(const Environment&);

    // The device's own settings: locale from LC_ALL / LC_MESSAGES / LANG, the host time zone, the
    // system clock.
    static Environment system();
    static Date systemNow();

    Date now() const { return clock_(); }
    const icu::Locale& locale() const { return *locale_; }
    const icu::TimeZone& timeZone() const { return *zone_; }
    std::string localeId() const;
    std::string timeZoneId() const;

    // The locale's currency code ("GBP" for en_GB), or "" when ICU has none.
    std::string localeCurrencyCode() const;

    void setClock(Clock clock) { clock_ = std::move(clock); }

private:
    std::unique_ptr<icu::Locale> locale_;
    std::unique_ptr<icu::TimeZone> zone_;
    Clock clock_;
};

// A clock that always answers the same instant (tests, the CLI's --now).
Environment::Clock fixedClock(Date at);

}  // namespace numbrel
