#pragma once

#include "Export.h"
#include "gl/resources/Resource.h"
#include "gl/resources/ResourceFactory.h"
#include "gl/resources/ResourceKeys.h"

namespace OGL_ZEP6_AE {

// A heap block of pixel memory, the store behind OpaqueBuffer. Blocks are taken from and given
// back to the memory cache (128 MiB idle budget), which is emptied each time a job for the GL
// worker thread ends, so that blocks are reused within a call and given back after it. The
// staging buffers' storage (StagingBuffer) counts against the same budget: the cache keeps that
// much less idle, and its counters report those bytes as `outside`.
class ZEP6_API MemoryBuffer : public Resource {
public:
    // Allocates `size` bytes at once (std::bad_alloc when the heap refuses).
    explicit MemoryBuffer(int size);
    explicit MemoryBuffer(const MemoryKey& key) : MemoryBuffer(key.size) {}
    MemoryBuffer(const MemoryBuffer&) = delete;
    MemoryBuffer& operator=(const MemoryBuffer&) = delete;
    ~MemoryBuffer() override;

    // Frees the block; the size stays, and Data() allocates a block of that size again.
    void Finalize() override;
    void Dump() const override {}

    // The block (allocated again if the buffer was finalized).
    void* Data();
    int Size() const { return size_; }
    MemoryKey Key() const { return MemoryKey(size_); }

    // The memory cache: a block of at least key.size bytes (possibly larger), and its return.
    static MemoryBuffer* Make(const MemoryKey& key);
    static void Recycle(MemoryBuffer* buffer);
    // Deletes every idle block.
    static void Purge();
    // Deletes the oldest idle blocks while they and the staging buffers exceed the budget.
    static void Trim();
    static CacheCounters Counters();

private:
    int size_;
    unsigned char* data_;
};

// The memory cache's type: blocks of at least the requested size, 128 MiB kept idle at most.
using MemoryFactory = ResourceFactory<MemoryKey, MemoryBuffer, 0x8000000>;

} // namespace OGL_ZEP6_AE
