#include "store/environment.h"

#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/ucurr.h>

#include <chrono>
#include <cstdlib>

#include "plist/date_text.h"

namespace numbrel {

namespace {

// "de_DE.UTF-8@euro" -> "de_DE@euro"; "C" and "POSIX" -> "en_US_POSIX".
std::string localeFromPosix(const char* value) {
    std::string s = value ? value : "";
    if (s.empty() || s == "C" || s == "POSIX" || s.rfind("C.", 0) == 0) return "en_US_POSIX";
    std::string modifier;
    if (auto at = s.find('@'); at != std::string::npos) {
        modifier = s.substr(at);
        s.erase(at);
    }
    if (auto dot = s.find('.'); dot != std::string::npos) s.erase(dot);
    return s + modifier;
}

}  // namespace

Environment::Environment(const std::string& localeId, const std::string& timeZoneId, Clock clock)
    : locale_(std::make_unique<icu::Locale>(icu::Locale::createFromName(localeId.c_str()))),
      zone_(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZoneId))),
      clock_(std::move(clock)) {}

Environment::~Environment() = default;

Environment::Environment(const Environment& other)
    : locale_(std::make_unique<icu::Locale>(*other.locale_)),
      zone_(other.zone_->clone()),
      clock_(other.clock_) {}

Environment& Environment::operator=(const Environment& other) {
    if (this != &other) {
        locale_ = std::make_unique<icu::Locale>(*other.locale_);
        zone_.reset(other.zone_->clone());
        clock_ = other.clock_;
    }
    return *this;
}

Date Environment::systemNow() {
    using namespace std::chrono;
    double unix = duration<double>(system_clock::now().time_since_epoch()).count();
    return Date{unix - kUnixToReferenceSeconds};
}

Environment Environment::system() {
    const char* lang = nullptr;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* v = std::getenv(name);
        if (v && *v) {
            lang = v;
            break;
        }
    }
    std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
    icu::UnicodeString id;
    host->getID(id);
    std::string zone;
    id.toUTF8String(zone);
    return Environment(localeFromPosix(lang), zone, &Environment::systemNow);
}

std::string Environment::localeId() const {
    return locale_->getName();
}

std::string Environment::timeZoneId() const {
    icu::UnicodeString id;
    zone_->getID(id);
    std::string out;
    id.toUTF8String(out);
    return out;
}

std::string Environment::localeCurrencyCode() const {
    UErrorCode status = U_ZERO_ERROR;
    UChar buffer[8] = {};
    int32_t length = ucurr_forLocale(locale_->getName(), buffer, 8, &status);
    if (U_FAILURE(status) || length <= 0 || length > 7) return {};
    std::string code;
    for (int32_t i = 0; i < length; ++i)
        code += static_cast<char>(buffer[i]);
    return code;
}

Environment::Clock fixedClock(Date at) {
    return [at] { return at; };
}

}  // namespace numbrel
