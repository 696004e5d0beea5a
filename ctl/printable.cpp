#include "printable.h"

#include <cstdint>
#include <cstdio>

namespace {

struct Character {
    char32_t code;
    std::size_t bytes;  ///< 0: no UTF-8
};

Character Decode(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0U;
    };
    const std::uint32_t first = byte(at);
    if (first < 0x80) return {first, 1};
    const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (first < 0xC2 || first > 0xF4) return {0, 0};
    char32_t code = first & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80) return {0, 0};
        code = code << 6 | (byte(at + i) & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return {code, code < kSmallest[bytes] || code > 0x10FFFF || surrogate ? 0 : bytes};
}

bool BreaksTheLine(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x200E && code <= 0x200F) ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

}  // namespace

std::string Printable(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        const std::size_t bytes = character.bytes == 0 ? 1 : character.bytes;
        if (character.bytes == 0 || BreaksTheLine(character.code)) {
            for (std::size_t i = at; i < at + bytes; ++i) {
                char escaped[5];
                std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<std::uint8_t>(text[i]));
                result += escaped;
            }
        } else {
            result += text[at] == '\\' ? "\\\\" : text.substr(at, bytes);
        }
        at += bytes;
    }
    return result;
}
