#pragma once

#include <cstddef>
#include <string_view>

#include "CString.h"

// What the text library's own sources share; not part of its interface.
namespace velmorin {

/// The bytes of s without a copy; valid until s changes.
inline std::string_view Bytes(const CString& s) {
    return {s.GetCString(), static_cast<std::size_t>(s.GetLength())};
}

/// A byte as an index from 0 to 255, also where char is signed.
inline std::size_t ByteValue(char c) {
    return static_cast<unsigned char>(c);
}

}  // namespace velmorin
