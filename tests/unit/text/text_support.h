// What the tests of the text library share. Texts are equal up to a NUL, so tests compare their raw bytes.
#pragma once

#include <gtest/gtest.h>

#include <concepts>
#include <string>
#include <utility>
#include <vector>

#include "stlstrings.h"

using namespace std::string_literals;

std::string Raw(std::integral auto number) {
    return std::to_string(number);
}

inline std::string Raw(const CString& s) {
    return s.GetString();
}

/// Every text followed by a bar: "a|b|".
inline std::string Raw(const CStringList& list) {
    return list.GetCount() == 0 ? "" : Raw(list.Join("|")) + '|';
}

/// Results of related calls side by side, in the same way.
template <typename... Results>
std::string Row(const Results&... results) {
    return ((Raw(results) + '|') + ...);
}

/// The words of a text, cut at every blank.
inline CStringList List(const CString& words) {
    CStringList list;
    ParseStr(words, ' ', list);
    return list;
}

/// What came, and beside it what is wanted.
inline void Compare(const std::vector<std::pair<std::string, std::string>>& table) {
    for (const auto& [came, wanted] : table) EXPECT_EQ(came, wanted);
}
