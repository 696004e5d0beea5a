#pragma once

#include "CString.h"

// Conversions between numbers and sizes or magnitudes as people write them.

/// The number in a size such as "64k" or "2M": all digits of s, wherever they stand, read as one number of at
/// most 2147483647; signs, points and blanks are dropped, so "1.5M" is 15 mega. The first of the letters
/// b k m g, in either case, gives `multiplier` (1, 1024, 1024^2, 1024^3; 1 without a letter) and `unit`, the
/// letter in lower case ('b' without one).
int ParseMemSizeStr(const CString& s, int& multiplier, char& unit);

/// That number times the multiplier, modulo 2^32 and read as signed.
int ParseMemSizeStr(const CString& s);

/// As the 32-bit form, and still a number of at most 2147483647, with t for 1024^4 as a further letter.
/// `unit` is 'b' or one of K M G T.
long long ParseMemSizeStr64(const CString& s, long long& multiplier, char& unit);

/// That number times the multiplier, modulo 2^64 and read as signed.
long long ParseMemSizeStr64(const CString& s);

/// size in the largest of the units b, Kb, Mb, Gb, Tb (steps of 1024) that is not larger than size, with at
/// most six significant digits; below 1024, negative sizes too, the exact number of bytes.
CString MemSizeStr(long long size, long long& divisor, CString& unit);

/// The same followed by a blank and the unit: "1.5 Kb".
CString MemSizeStr(long long size);

/// value / factor with at most six significant digits. The decimal exponent of value chooses the row:
///
///     from 24: yotta Y    from 21: zetta Z    from 18: exa E      from 15: peta P    from 12: tera T
///     from 9: giga G      from 6: mega M      from 3: kilo k      2: hecto h         1: deca da
///     0: no prefix        -1: deci d          -2: centi c         down to -5: milli m
///     to -8: micro mu     to -11: nano n      to -14: pico p      to -17: femto f
///     to -20: atto a      to -23: zepto z     below: yocto y
///
/// Each factor is the one its name has in the SI. Zero counts as the smallest number (yocto), infinity as the
/// largest; negative numbers and NaN are left as they are, without a prefix.
CString SI_UnitStr(double value, double& factor, CString& prefix, CString& symbol);

/// The same followed by a blank and the symbol: "1.5 k", and "5 " where there is no symbol.
CString SI_UnitStr(double value);
