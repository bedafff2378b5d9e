#include "gl/resources/MemoryBuffer.h"

#include "gl/context/ThreadHooksPrivate.h"
#include "gl/resources/StagingBuffer.h"
#include "gl/resources/StaticFactoryPrivate.h"

namespace OGL_ZEP6_AE {

namespace {

detail::StaticFactory<MemoryFactory> sMemoryFactory;

void PurgeMemoryCache() {
    if (MemoryFactory* factory = sMemoryFactory.Get())
        factory->Purge();
}

// Every job object for the GL worker thread empties the memory cache when it ends. Only a
// pointer is stored here at load: the hook variable is constant-initialised in its own file.
struct InstallJobEndHook {
    InstallJobEndHook() { detail::gJobEndHook = &PurgeMemoryCache; }
} sInstallJobEndHook;

long StagingBytes() {
    return StagingBuffer::Counters().allocated;
}

// The staging buffers' storage counts against the memory cache's budget. Made after the cache
// (same file, so in order of declaration).
struct ChargeStagingBuffers {
    ChargeStagingBuffers() {
        if (MemoryFactory* factory = sMemoryFactory.Get())
            factory->SetOutsideBytes(&StagingBytes);
    }
} sChargeStagingBuffers;

} // namespace

MemoryBuffer::MemoryBuffer(int size) : size_(size > 0 ? size : 0), data_(nullptr) {
    Data();
}

MemoryBuffer::~MemoryBuffer() {
    delete[] data_;
}

void MemoryBuffer::Finalize() {
    delete[] data_;
    data_ = nullptr;
}

void* MemoryBuffer::Data() {
    if (!data_ && size_ > 0)
        data_ = new unsigned char[static_cast<std::size_t>(size_)];
    return data_;
}

MemoryBuffer* MemoryBuffer::Make(const MemoryKey& key) {
    if (MemoryFactory* factory = sMemoryFactory.Get())
        return factory->Make(key);
    return new MemoryBuffer(key);
}

void MemoryBuffer::Recycle(MemoryBuffer* buffer) {
    if (MemoryFactory* factory = sMemoryFactory.Get())
        factory->Recycle(buffer);
    else
        delete buffer;
}

void MemoryBuffer::Purge() {
    PurgeMemoryCache();
}

void MemoryBuffer::Trim() {
    if (MemoryFactory* factory = sMemoryFactory.Get())
        factory->Trim();
}

CacheCounters MemoryBuffer::Counters() {
    MemoryFactory* factory = sMemoryFactory.Get();
    return factory ? factory->Counters() : CacheCounters();
}

} // namespace OGL_ZEP6_AE
