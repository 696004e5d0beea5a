// What the fuzz targets share: their bytes taken apart, and an end for what is not as it must be.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

[[noreturn]] inline void Fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::abort();
}

/// Reads from front to back; where the bytes end, everything reads as zero.
class Input {
  public:
    Input(const std::uint8_t* bytes, std::size_t size) : rest_(bytes, size) {}

    bool IsEmpty() const { return rest_.empty(); }

    /// The next bytes of the object representation of a plain value.
    template <typename Value>
    Value Take() {
        Value value{};
        const std::size_t size = std::min(sizeof value, rest_.size());
        if (size > 0) std::memcpy(&value, rest_.data(), size);
        rest_ = rest_.subspan(size);
        return value;
    }

    /// One of 0 to limit - 1; limit is at most 65536.
    int Below(int limit) { return (limit <= 256 ? Take<std::uint8_t>() : Take<std::uint16_t>()) % limit; }

    template <typename Value, std::size_t kSize>
    Value OneOf(const Value (&values)[kSize]) {
        return values[Below(kSize)];
    }

    bool Flag() { return Below(2) == 1; }

    /// At most `size` bytes.
    std::string Text(std::size_t size) {
        size = std::min(size, rest_.size());
        const std::string text(reinterpret_cast<const char*>(rest_.data()), size);
        rest_ = rest_.subspan(size);
        return text;
    }

    /// A text with its length, up to 255, in front.
    std::string Field() { return Text(Take<std::uint8_t>()); }

    std::string Rest() { return Text(rest_.size()); }

  private:
    std::span<const std::uint8_t> rest_;
};
