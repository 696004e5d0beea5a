// Takes a fuzzer's bytes apart, from front to back; where they end, everything reads as zero.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

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
