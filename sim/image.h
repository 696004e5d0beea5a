// What the device keeps of a transfer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "protocol.h"

namespace sim {

using namespace velmorin;  // the protocol's names

/// Which checksum the device asks for.
enum class Plan { kA, kB };

/// The groups whose checksum was right, in the order in which they were first confirmed. That order is the
/// image's: the updater sends the next group only after this one, while addresses may come out of order.
class Image {
  public:
    void Clear();

    /// Position of the group with this address; `groups()` when it is not there yet.
    std::size_t IndexOf(std::uint32_t address) const;

    /// Adds the group at the end, or replaces the one with the same address where it stands: a group whose
    /// verdict was lost comes again. Only the last group may be shorter than kGroupSize.
    void Store(std::uint32_t address, std::span<const std::uint8_t> data);

    std::size_t groups() const { return addresses_.size(); }

    /// True when the last group is a short one, after which none can follow.
    bool EndsShort() const { return bytes_.size() % kGroupSize != 0; }

    /// The groups as they came, padding included.
    std::span<const std::uint8_t> bytes() const { return bytes_; }

    /// Size in bytes of the image that `checksum` belongs to; none when it belongs to no image held here.
    /// `exact_size` is the size that the updater named, 0 when it named none; it has to end in the last
    /// group. Unnamed, plan A's size is all the groups (its checksum covers the padding) and plan B's is the
    /// first size in the last group whose checksum fits.
    std::optional<std::size_t> SizeFor(Plan plan, std::uint32_t checksum, std::uint32_t exact_size) const;

  private:
    std::vector<std::uint32_t> addresses_;
    std::vector<std::uint8_t> bytes_;
};

}  // namespace sim
