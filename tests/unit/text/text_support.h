// What the tests of the text library share. Texts are equal up to a NUL, so tests compare their raw bytes.
#pragma once

#include <concepts>
#include <initializer_list>
#include <string>

#include "stlstrings.h"

std::string Raw(std::integral auto number) {
    return std::to_string(number);
}

inline std::string Raw(const CString& s) {
    return s.GetString();
}

/// Every text followed by a bar: "a|b|".
inline std::string Raw(const CStringList& list) {
    std::string all;
    for (int i = 0; i < list.GetCount(); ++i) all += Raw(list[i]) + '|';
    return all;
}

/// Results of related calls side by side, in the same way.
template <typename... Results>
std::string Row(const Results&... results) {
    return ((Raw(results) + '|') + ...);
}

inline CStringList List(std::initializer_list<std::string> texts) {
    CStringList list;
    for (const auto& each : texts) list << each;
    return list;
}
