#include "stlconvert.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>

#include "CCharset.h"
#include "alphabets.h"
#include "strfunctions.h"

namespace {

CString Only(const CString& s, const CString& members) {
    return FilterStr(s, CCharset(members), CCharset(), false);
}

int Digits(const CString& s) {
    return Only(s, ALPHABET_NUMBER).GetInteger();
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
    switch (Only(s, "bkmgBKMG").GetFirstChar()) {
        case 'k':
        case 'K':
            multiplier = 1 << 10, unit = 'k';
            break;
        case 'm':
        case 'M':
            multiplier = 1 << 20, unit = 'm';
            break;
        case 'g':
        case 'G':
            multiplier = 1 << 30, unit = 'g';
            break;
        default:
            multiplier = 1, unit = 'b';
            break;
    }
    return Digits(s);
}

int ParseMemSizeStr(const CString& s) {
    int multiplier = 0;
    char unit = 0;
    const int number = ParseMemSizeStr(s, multiplier, unit);
    return static_cast<int>(static_cast<unsigned int>(number) * static_cast<unsigned int>(multiplier));
}

long long ParseMemSizeStr64(const CString& s, long long& multiplier, char& unit) {
    switch (Only(s, "bkmgtBKMGT").GetFirstChar()) {
        case 'k':
        case 'K':
            multiplier = 1LL << 10, unit = 'K';
            break;
        case 'm':
        case 'M':
            multiplier = 1LL << 20, unit = 'M';
            break;
        case 'g':
        case 'G':
            multiplier = 1LL << 30, unit = 'G';
            break;
        case 't':
        case 'T':
            multiplier = 1LL << 40, unit = 'T';
            break;
        default:
            multiplier = 1, unit = 'b';
            break;
    }
    return Digits(s);
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
