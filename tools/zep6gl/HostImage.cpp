#include "HostImage.h"

#include <cstring>
#include <new>
#include <sys/mman.h>

namespace zep6gl {

// Anonymous pages read as zero and take no memory until written; MAP_NORESERVE keeps a large
// claimed picture from being refused for swap it will never use.
PixelMemory::PixelMemory(std::size_t bytes) {
    if (bytes == 0)
        return;
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    data_ = static_cast<unsigned char*>(memory);
    size_ = bytes;
}

PixelMemory::PixelMemory(const PixelMemory& other) : PixelMemory(other.size_) {
    if (size_)
        std::memcpy(data_, other.data_, size_);
}

PixelMemory::~PixelMemory() {
    if (data_)
        munmap(data_, size_);
}

} // namespace zep6gl
