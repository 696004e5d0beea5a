// Both checksums of bytes in a string.
#pragma once

#include <string>

#include "tool.h"

namespace velmorin {

inline const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}
inline unsigned int CrcA(const std::string& bytes) {
    return tool::crc32_planA(Bytes(bytes), bytes.size());
}
inline unsigned int CrcB(const std::string& bytes) {
    return tool::crc32_planB(Bytes(bytes), static_cast<unsigned int>(bytes.size()));
}

}  // namespace velmorin
