#include "costs/currency_table.h"

#include <algorithm>
#include <array>

namespace numbrel {

namespace {

// Sorted by code. For 28 codes the symbol is the code itself.
constexpr std::array<CurrencySymbol, 173> kSymbols{{
    {"-", "N/A"},   {"AED", "AED"}, {"AFN", "؋"},    {"ALL", "Lek"}, {"AMD", "AMD"}, {"ANG", "ƒ"},
    {"AOA", "Kz"},  {"ARS", "$"},   {"AUD", "$"},    {"AWG", "ƒ"},   {"AZM", "AZM"}, {"AZN", "ман"},
    {"BAM", "KM"},  {"BBD", "$"},   {"BDT", "Tk"},   {"BGN", "лв"},  {"BHD", "BD"},  {"BIF", "FBu"},
    {"BMD", "$"},   {"BND", "$"},   {"BOB", "$b"},   {"BRL", "R$"},  {"BSD", "$"},   {"BTN", "Nu."},
    {"BWP", "P"},   {"BYR", "p."},  {"BZD", "BZ$"},  {"CAD", "$"},   {"CDF", "CDF"}, {"CHF", "CHF"},
    {"CLP", "$"},   {"CNY", "CN¥"}, {"COP", "$"},    {"CRC", "₡"},   {"CSD", "CSD"}, {"CUC", "CUC$"},
    {"CUP", "₱"},   {"CVE", "CV$"}, {"CYP", "€"},    {"CZK", "Kč"},  {"DJF", "Fdj"}, {"DKK", "kr"},
    {"DOP", "RD$"}, {"DZD", "DA"},  {"EEK", "kr"},   {"EGP", "£"},   {"ERN", "Nfk"}, {"ETB", "Br"},
    {"EUR", "€"},   {"FJD", "$"},   {"FKP", "£"},    {"GBP", "£"},   {"GEL", "GEL"}, {"GHC", "¢"},
    {"GHS", "GH₵"}, {"GIP", "£"},   {"GMD", "GMD"},  {"GNF", "FG"},  {"GTQ", "Q"},   {"GWP", "GWP"},
    {"GYD", "$"},   {"HKD", "HK$"}, {"HNL", "L"},    {"HRK", "kn"},  {"HTG", "HTG"}, {"HUF", "Ft"},
    {"IDR", "Rp"},  {"ILS", "₪"},   {"INR", "Rs"},   {"IQD", "IQD"}, {"IRR", "﷼"},   {"ISK", "kr"},
    {"JMD", "J$"},  {"JOD", "JD"},  {"JPY", "¥"},    {"KES", "Ksh"}, {"KGS", "лв"},  {"KHR", "៛"},
    {"KMF", "CF"},  {"KPW", "₩"},   {"KRW", "₩"},    {"KWD", "KD"},  {"KYD", "$"},   {"KZT", "лв"},
    {"LAK", "₭"},   {"LBP", "£"},   {"LKR", "Rs"},   {"LRD", "$"},   {"LSL", "LSL"}, {"LTL", "Lt"},
    {"LVL", "Ls"},  {"LYD", "LD"},  {"MAD", "MAD"},  {"MDL", "MDL"}, {"MGA", "MGA"}, {"MKD", "ден"},
    {"MMK", "MMK"}, {"MNT", "₮"},   {"MOP", "MOP$"}, {"MRO", "UM"},  {"MTL", "Lm"},  {"MUR", "Rs"},
    {"MVR", "MVR"}, {"MWK", "MWK"}, {"MXN", "$"},    {"MYR", "RM"},  {"MZE", "MZE"}, {"MZM", "Mt"},
    {"MZN", "MT"},  {"NAD", "$"},   {"NGN", "₦"},    {"NIO", "C$"},  {"NOK", "kr"},  {"NPR", "Rs"},
    {"NZD", "$"},   {"OMR", "﷼"},   {"PAB", "B/."},  {"PEN", "S/."}, {"PGK", "PGK"}, {"PHP", "Php"},
    {"PKR", "Rs"},  {"PLN", "zł"},  {"PYG", "Gs"},   {"QAR", "﷼"},   {"RON", "lei"}, {"RSD", "Дин."},
    {"RUB", "руб"}, {"RWF", "RWF"}, {"SAR", "﷼"},    {"SBD", "$"},   {"SCR", "Rs"},  {"SDD", "LSd"},
    {"SDG", "SDG"}, {"SEK", "kr"},  {"SGD", "$"},    {"SHP", "£"},   {"SIT", "SIT"}, {"SKK", "Sk"},
    {"SLL", "Le"},  {"SOS", "S"},   {"SRD", "$"},    {"STD", "Db"},  {"SVC", "$"},   {"SYP", "£"},
    {"SZL", "SZL"}, {"THB", "฿"},   {"TJS", "TJS"},  {"TMM", "TMM"}, {"TMT", "TMT"}, {"TND", "DT"},
    {"TOP", "T$"},  {"TRY", "YTL"}, {"TTD", "TT$"},  {"TWD", "NT$"}, {"TZS", "TSh"}, {"UAH", "₴"},
    {"UGX", "USh"}, {"USD", "$"},   {"UYU", "$U"},   {"UZS", "лв"},  {"VEF", "Bs"},  {"VND", "₫"},
    {"VUV", "VT"},  {"WST", "WS$"}, {"XAF", "FCFA"}, {"XCD", "$"},   {"XOF", "CFA"}, {"XPF", "CFPF"},
    {"YER", "﷼"},   {"ZAR", "R"},   {"ZMK", "ZK"},   {"ZWD", "Z$"},  {"ZWL", "ZWL"},
}};

}  // namespace

std::span<const CurrencySymbol> symbols() {
    return kSymbols;
}

std::optional<std::string_view> symbolFor(std::string_view code) {
    auto it = std::lower_bound(kSymbols.begin(), kSymbols.end(), code,
                               [](const CurrencySymbol& s, std::string_view c) { return s.code < c; });
    if (it == kSymbols.end() || it->code != code) return std::nullopt;
    return it->symbol;
}

}  // namespace numbrel
