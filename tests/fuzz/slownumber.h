// The number at the start of a text, by digit counting alone.
#pragma once

#include <climits>
#include <string>

/// Held to the limits; 0 without a digit.
inline long long SlowNumber(const std::string& text, long long least, long long most) {
    std::size_t i = text.find_first_not_of(" \t\n\v\f\r");
    if (i == std::string::npos) return 0;
    const bool minus = text[i] == '-';
    if (minus || text[i] == '+') ++i;
    long long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (minus ? '0' - text[i] : text[i] - '0');
        if (value < least || value > most) return value < 0 ? least : most;
    }
    return value;
}

/// 32 bits wide: a minus wraps, what does not fit is 4294967295.
inline unsigned int SlowUnsigned(const std::string& text) {
    constexpr long long kTooWide = 4294967296;
    const long long wide = SlowNumber(text, -kTooWide, kTooWide);
    return wide == -kTooWide || wide == kTooWide ? UINT_MAX : static_cast<unsigned int>(wide);
}
