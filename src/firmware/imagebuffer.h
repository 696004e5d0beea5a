// The image in memory while it is packed. Packets take eight times the room of the bytes they carry, so the
// buffer gives its pages back as they are packed and the two never stand side by side in full.
#pragma once

#include <sys/mman.h>

#include <cstddef>

namespace velmorin {

class ImageBuffer {
  public:
    ImageBuffer() = default;
    ~ImageBuffer() {
        if (map_ != MAP_FAILED) munmap(map_, size_);
    }
    ImageBuffer(const ImageBuffer&) = delete;
    ImageBuffer& operator=(const ImageBuffer&) = delete;

    /// Makes room for `size` bytes, all zero, once. False when there is no memory for them.
    [[nodiscard]] bool Allocate(std::size_t size) {
        size_ = size;
        map_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return map_ != MAP_FAILED;
    }

    unsigned char* Bytes() const { return static_cast<unsigned char*>(map_); }
    std::size_t Size() const { return size_; }

    /// Gives back the memory of the bytes before `end`, in steps that every page size divides; they then read
    /// as zero.
    void Release(std::size_t end) {
        constexpr std::size_t kStep = 65536;
        if (end % kStep == 0 && end != 0) madvise(map_, end, MADV_DONTNEED);
    }

  private:
    std::size_t size_ = 0;
    void* map_ = MAP_FAILED;
};

}  // namespace velmorin
