#include "image.h"

#include <algorithm>

#include "checksum.h"

namespace sim {

void Image::Clear() {
    addresses_.clear();
    bytes_.clear();
}

std::size_t Image::IndexOf(std::uint32_t address) const {
    return static_cast<std::size_t>(std::ranges::find(addresses_, address) - addresses_.begin());
}

void Image::Store(std::uint32_t address, std::span<const std::uint8_t> data) {
    const std::size_t index = IndexOf(address);
    if (index == groups()) addresses_.push_back(address);
    if (index + 1 == groups()) bytes_.resize(index * kGroupSize + data.size());
    std::ranges::copy(data, bytes_.begin() + static_cast<std::ptrdiff_t>(index * kGroupSize));
}

std::optional<std::size_t> Image::SizeFor(Plan plan, std::uint32_t checksum, std::uint32_t exact_size) const {
    if (bytes_.empty()) return std::nullopt;
    const std::size_t before_last = (groups() - 1) * kGroupSize;
    if (exact_size != 0 && (exact_size <= before_last || exact_size > bytes_.size())) return std::nullopt;

    if (plan == Plan::kA) {
        if (!HasWordCrc(bytes_) || WordCrc(bytes_) != checksum) return std::nullopt;
        return exact_size != 0 ? exact_size : bytes_.size();
    }
    std::uint32_t crc = StandardCrc(bytes().first(before_last));
    for (std::size_t size = before_last + 1; size <= bytes_.size(); ++size) {
        crc = StandardCrc(bytes().subspan(size - 1, 1), crc);
        if (crc == checksum && (exact_size == 0 || exact_size == size)) return size;
    }
    return std::nullopt;
}

}  // namespace sim
