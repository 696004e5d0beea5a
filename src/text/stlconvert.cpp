#include "stlconvert.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

#include "CCharset.h"
#include "alphabets.h"
#include "bytes.h"
#include "strfunctions.h"

using velmorin::Bytes;

namespace {

int Number(const CString& s) {
    return FilterStr(s, CCharset(ALPHABET_NUMBER), CCharset(), false).GetInteger();
}

// The place in letters, and so the power of 1024, of the first of them in s, in either case; 0 without one.
std::size_t SuffixPower(const CString& s, std::string_view letters) {
    for (const char c : Bytes(s)) {
        const std::size_t power =
            letters.find(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        if (power != std::string_view::npos) return power;
    }
    return 0;
}

CString Shortest(double number) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, "%lg", number);
    return buffer;
}

struct SiRow {
    int exponent;  // the smallest of the row
    double factor;
    const char* prefix;
    const char* symbol;
};

constexpr SiRow kSiRows[] = {
    {24, 1e24, "yotta", "Y"},
    {21, 1e21, "zetta", "Z"},
    {18, 1e18, "exa", "E"},
    {15, 1e15, "peta", "P"},
    {12, 1e12, "tera", "T"},
    {9, 1e9, "giga", "G"},
    {6, 1e6, "mega", "M"},
    {3, 1e3, "kilo", "k"},
    {2, 100, "hecto", "h"},
    {1, 10, "deca", "da"},
    {0, 1, "", ""},
    {-1, 0.1, "deci", "d"},
    {-2, 0.01, "centi", "c"},
    {-5, 1e-3, "milli", "m"},
    {-8, 1e-6, "micro", "mu"},
    {-11, 1e-9, "nano", "n"},
    {-14, 1e-12, "pico", "p"},
    {-17, 1e-15, "femto", "f"},
    {-20, 1e-18, "atto", "a"},
    {-23, 1e-21, "zepto", "z"},
    {INT_MIN, 1e-24, "yocto", "y"},
};

int DecimalExponent(double value) {
    const double exponent = std::floor(std::log10(value));
    if (std::isnan(exponent)) return 0;
    return static_cast<int>(std::clamp<double>(exponent, INT_MIN, INT_MAX));
}

}  // namespace

int ParseMemSizeStr(const CString& s, int& multiplier, char& unit) {
    const std::size_t power = SuffixPower(s, "bkmg");
    multiplier = 1 << 10 * power;
    unit = "bkmg"[power];
    return Number(s);
}

int ParseMemSizeStr(const CString& s) {
    int multiplier = 0;
    char unit = 0;
    const int number = ParseMemSizeStr(s, multiplier, unit);
    return static_cast<int>(static_cast<unsigned int>(number) * static_cast<unsigned int>(multiplier));
}

long long ParseMemSizeStr64(const CString& s, long long& multiplier, char& unit) {
    const std::size_t power = SuffixPower(s, "bkmgt");
    multiplier = 1LL << 10 * power;
    unit = "bKMGT"[power];
    return Number(s);
}

long long ParseMemSizeStr64(const CString& s) {
    long long multiplier = 0;
    char unit = 0;
    const long long number = ParseMemSizeStr64(s, multiplier, unit);
    return static_cast<long long>(static_cast<unsigned long long>(number) *
                                  static_cast<unsigned long long>(multiplier));
}

CString MemSizeStr(long long size, long long& divisor, CString& unit) {
    static constexpr const char* kUnits[] = {"b", "Kb", "Mb", "Gb", "Tb"};
    divisor = 1;
    std::size_t step = 0;
    while (step + 1 < std::size(kUnits) && size / divisor >= 1024) {
        divisor *= 1024;
        ++step;
    }
    unit = kUnits[step];
    if (step == 0) return std::to_string(size);
    return Shortest(static_cast<double>(size) / static_cast<double>(divisor));
}

CString MemSizeStr(long long size) {
    long long divisor = 0;
    CString unit;
    const CString number = MemSizeStr(size, divisor, unit);
    return CString(number).Append(' ').Append(unit);
}

CString SI_UnitStr(double value, double& factor, CString& prefix, CString& symbol) {
    const int exponent = DecimalExponent(value);
    const SiRow& row = *std::find_if(std::begin(kSiRows), std::end(kSiRows),
                                     [&](const SiRow& each) { return exponent >= each.exponent; });
    factor = row.factor;
    prefix = row.prefix;
    symbol = row.symbol;
    return Shortest(value / factor);
}

CString SI_UnitStr(double value) {
    double factor = 0;
    CString prefix, symbol;
    const CString number = SI_UnitStr(value, factor, prefix, symbol);
    return CString(number).Append(' ').Append(symbol);
}
