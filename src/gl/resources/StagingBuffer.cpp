#include "gl/resources/StagingBuffer.h"

#include "core/Errors.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"
#include "gl/resources/MemoryBuffer.h"
#include "gl/state/BufferBinding.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace OGL_ZEP6_AE {

namespace {

// Storage is held in steps of this many bytes, so that frames of nearly the same size share one.
constexpr long kGranule = 64 * 1024;

// The byte counters of all staging buffers.
struct Totals {
    long allocated = 0;
    long inUse = 0; // storage of buffers with a fence not yet waited for
    long peak = 0;
    long hits = 0;
    int buffers = 0;
    bool finalized = false;
};

std::mutex& TotalsLock() {
    static std::mutex lock;
    return lock;
}

Totals& TheTotals() {
    static Totals totals;
    return totals;
}

// Turns at the upload ring and the read-back buffer, one transfer at a time.
std::mutex& RingLock() {
    static std::mutex lock;
    return lock;
}

StagingBuffer* UploadRing() {
    static StagingBuffer ring[StagingBuffer::kRingSize] = {StagingBuffer(GL_PIXEL_UNPACK_BUFFER),
                                                           StagingBuffer(GL_PIXEL_UNPACK_BUFFER)};
    static_assert(StagingBuffer::kRingSize == 2, "one initialiser per buffer of the ring");
    return ring;
}

int sNextUpload = 0;

StagingBuffer& ReadBackBuffer() {
    static StagingBuffer buffer(GL_PIXEL_PACK_BUFFER);
    return buffer;
}

// Maps the whole bound buffer of `target` for writing (its old content dropped) or reading.
void* MapWhole(GLenum target, long bytes, bool write) {
    if (GLEntry::glMapBufferRange) {
        const GLbitfield access = write ? (GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT) : GL_MAP_READ_BIT;
        return GLEntry::glMapBufferRange(target, 0, bytes, access);
    }
    return ZEP6_GLCALL(glMapBuffer)(target, write ? GL_WRITE_ONLY : GL_READ_ONLY);
}

// Takes the errors a refused allocation or mapping raised (GL_OUT_OF_MEMORY): the caller's
// fallback answers them, and they must not reach whoever checks for errors next. Bounded, as a
// lost context may keep reporting itself.
void TakeErrors() {
    for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
    }
}

// Host rows into packed rows at `to`.
void Gather(const HostRows& rows, unsigned char* to) {
    if (rows.stride == rows.rowBytes) {
        std::memcpy(to, rows.first, static_cast<std::size_t>(rows.PackedBytes()));
        return;
    }
    const unsigned char* from = rows.first;
    for (long r = 0; r < rows.height; ++r, from += rows.stride, to += rows.rowBytes)
        std::memcpy(to, from, static_cast<std::size_t>(rows.rowBytes));
}

// Packed rows at `from` into the host rows.
void Scatter(const unsigned char* from, const HostRows& rows) {
    if (rows.stride == rows.rowBytes) {
        std::memcpy(rows.first, from, static_cast<std::size_t>(rows.PackedBytes()));
        return;
    }
    unsigned char* to = rows.first;
    for (long r = 0; r < rows.height; ++r, to += rows.stride, from += rows.rowBytes)
        std::memcpy(to, from, static_cast<std::size_t>(rows.rowBytes));
}

// Runs copy(part of the rows, offset of its first packed byte) over `parts` bands of whole rows,
// all but the first on threads of their own.
template <class Copy> void InBands(const HostRows& rows, int parts, Copy copy) {
    parts = static_cast<int>(std::clamp<long>(parts, 1, std::max(1L, rows.height)));
    std::vector<std::thread> helpers;
    long first = 0;
    for (int part = 0; part < parts; ++part) {
        const long height = rows.height / parts + (part < rows.height % parts ? 1 : 0);
        HostRows band = rows;
        band.first = rows.first + first * rows.stride;
        band.height = height;
        const long offset = first * rows.rowBytes;
        first += height;
        if (part + 1 == parts) {
            copy(band, offset);
        } else {
            try {
                helpers.emplace_back([band, offset, &copy] { copy(band, offset); });
            } catch (...) {
                // No thread to be had: this band is copied here instead.
                copy(band, offset);
            }
        }
    }
    for (std::thread& helper : helpers)
        helper.join();
}

} // namespace

StagingBuffer::StagingBuffer(unsigned int target)
    : target_(target), name_(0), capacity_(0), mapped_(nullptr), fence_(nullptr) {}

StagingBuffer::~StagingBuffer() {
    try {
        if ((name_ || fence_) && RootContext::HasContext())
            DeleteNames();
    } catch (...) {
    }
}

void StagingBuffer::Finalize() {
    DeleteNames();
    std::lock_guard<std::mutex> guard(TotalsLock());
    TheTotals().finalized = true;
}

void StagingBuffer::DropFence() {
    if (!fence_)
        return;
    GLsync fence = static_cast<GLsync>(fence_);
    fence_ = nullptr;
    {
        std::lock_guard<std::mutex> guard(TotalsLock());
        TheTotals().inUse -= capacity_;
    }
    ZEP6_GLCALL(glDeleteSync)(fence);
}

void StagingBuffer::DeleteNames() {
    DropFence();
    if (name_) {
        // Deleting a mapped buffer unmaps it.
        const GLuint name = name_;
        name_ = 0;
        mapped_ = nullptr;
        ZEP6_GLCALL(glDeleteBuffers)(1, &name);
        std::lock_guard<std::mutex> guard(TotalsLock());
        TheTotals().allocated -= capacity_;
        --TheTotals().buffers;
    }
    capacity_ = 0;
}

bool StagingBuffer::IsAvailable() {
    return IsPixelBufferPreferred();
}

bool StagingBuffer::IsPersistent() {
    return IsPixelBufferPreferred() && IsBufferStorageSupported() && IsSyncSupported();
}

bool StagingBuffer::Reserve(long bytes, bool persistent) {
    const long size = (bytes + kGranule - 1) / kGranule * kGranule;
    // GL_BUFFER_SIZE is read back as a GLint: larger storage could not be checked.
    if (size > INT_MAX)
        return false;
    {
        std::lock_guard<std::mutex> guard(TotalsLock());
        TheTotals().finalized = false;
        if (name_ && capacity_ >= bytes) {
            ++TheTotals().hits;
            return true;
        }
    }
    // Too small, or none yet: a new buffer (the card keeps the old storage while it still reads).
    DeleteNames();
    Relist();
    GLuint name = 0;
    ZEP6_GLCALL(glGenBuffers)(1, &name);
    if (name == 0)
        return false;
    name_ = name;
    PushBufferBinding binding(target_, name_);
    const GLbitfield flags = GL_MAP_WRITE_BIT | GL_MAP_PERSISTENT_BIT | GL_MAP_COHERENT_BIT;
    if (persistent)
        ZEP6_GLCALL(glBufferStorage)(target_, size, nullptr, flags);
    else
        ZEP6_GLCALL(glBufferData)(target_, size, nullptr,
                                  target_ == GL_PIXEL_PACK_BUFFER ? GL_STREAM_READ : GL_STREAM_DRAW);
    // Storage the driver could not give leaves the buffer empty.
    GLint made = 0;
    ZEP6_GLCALL(glGetBufferParameteriv)(target_, GL_BUFFER_SIZE, &made);
    if (made == size && persistent)
        mapped_ = ZEP6_GLCALL(glMapBufferRange)(target_, 0, size, flags);
    {
        std::lock_guard<std::mutex> guard(TotalsLock());
        Totals& totals = TheTotals();
        capacity_ = made;
        totals.allocated += capacity_;
        totals.peak = std::max(totals.peak, totals.allocated);
        ++totals.buffers;
    }
    if (made != size || (persistent && !mapped_)) {
        binding.Pop();
        DeleteNames();
        TakeErrors();
        return false;
    }
    // The memory cache keeps that much less idle.
    MemoryBuffer::Trim();
    return true;
}

StagingBuffer::WaitResult StagingBuffer::WaitInSlices(const std::function<unsigned int(std::uint64_t)>& wait,
                                                      std::chrono::nanoseconds slice,
                                                      std::chrono::nanoseconds total) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + total;
    for (;;) {
        const std::chrono::nanoseconds left = std::max(
            std::chrono::nanoseconds(0), std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now()));
        const unsigned int status = wait(static_cast<std::uint64_t>(std::min(slice, left).count()));
        if (status == GL_ALREADY_SIGNALED || status == GL_CONDITION_SATISFIED)
            return WaitResult::Signalled;
        if (status != GL_TIMEOUT_EXPIRED)
            return WaitResult::Failed;
        if (Clock::now() >= deadline)
            return WaitResult::TimedOut;
    }
}

void StagingBuffer::WaitForCard() {
    if (!fence_)
        return;
    GLsync fence = static_cast<GLsync>(fence_);
    const WaitResult result = WaitInSlices(
        [fence](std::uint64_t ns) { return ZEP6_GLCALL(glClientWaitSync)(fence, GL_SYNC_FLUSH_COMMANDS_BIT, ns); },
        kFenceSlice, kFenceTimeout);
    if (result == WaitResult::TimedOut) {
        // The card is gone or hung: give the buffer up (the next transfer makes a new one) and
        // end the job instead of blocking the worker.
        DeleteNames();
        throw Error("a pixel transfer did not finish within 10 seconds: the graphics device was lost or hangs");
    }
    // A wait that fails tells nothing: wait for everything instead.
    if (result == WaitResult::Failed)
        glFinish();
    DropFence();
}

void StagingBuffer::Fence() {
    if (!IsSyncSupported())
        return;
    DropFence();
    fence_ = ZEP6_GLCALL(glFenceSync)(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    if (fence_) {
        std::lock_guard<std::mutex> guard(TotalsLock());
        TheTotals().inUse += capacity_;
    }
}

bool StagingBuffer::Upload(const HostRows& rows, const std::function<void()>& submit) {
    const long bytes = rows.PackedBytes();
    if (!IsAvailable() || bytes <= 0 || !rows.first)
        return false;
    std::lock_guard<std::mutex> guard(RingLock());
    StagingBuffer& buffer = UploadRing()[sNextUpload];
    sNextUpload = (sNextUpload + 1) % kRingSize;
    const bool persistent = IsPersistent();
    // The host writes into a persistent mapping only once the card has read what it held.
    buffer.WaitForCard();
    if (!buffer.Reserve(bytes, persistent))
        return false;

    PushBufferBinding binding(GL_PIXEL_UNPACK_BUFFER, buffer.name_);
    unsigned char* to = static_cast<unsigned char*>(buffer.mapped_);
    if (!persistent) {
        // Fresh storage for every upload: the card may go on reading the old one.
        ZEP6_GLCALL(glBufferData)(GL_PIXEL_UNPACK_BUFFER, buffer.capacity_, nullptr, GL_STREAM_DRAW);
        to = static_cast<unsigned char*>(MapWhole(GL_PIXEL_UNPACK_BUFFER, buffer.capacity_, true));
        if (!to) {
            TakeErrors();
            return false;
        }
    }
    CopyIn(rows, to, CopyThreads(rows.PackedBytes()));
    if (!persistent && ZEP6_GLCALL(glUnmapBuffer)(GL_PIXEL_UNPACK_BUFFER) != GL_TRUE)
        return false; // the content was lost while mapped
    submit();
    if (persistent)
        buffer.Fence();
    return true;
}

bool StagingBuffer::Read(const HostRows& rows, const std::function<void()>& request) {
    const long bytes = rows.PackedBytes();
    if (!IsAvailable() || bytes <= 0 || !rows.first)
        return false;
    std::lock_guard<std::mutex> guard(RingLock());
    StagingBuffer& buffer = ReadBackBuffer();
    if (!buffer.Reserve(bytes, false))
        return false;

    PushBufferBinding binding(GL_PIXEL_PACK_BUFFER, buffer.name_);
    request();
    // With fences the wait is explicit; without, mapping the buffer waits for the read.
    buffer.Fence();
    buffer.WaitForCard();
    const unsigned char* from = static_cast<const unsigned char*>(MapWhole(GL_PIXEL_PACK_BUFFER, bytes, false));
    if (!from) {
        TakeErrors();
        return false;
    }
    CopyOut(from, rows, CopyThreads(rows.PackedBytes()));
    return ZEP6_GLCALL(glUnmapBuffer)(GL_PIXEL_PACK_BUFFER) == GL_TRUE;
}

CacheCounters StagingBuffer::Counters() {
    std::lock_guard<std::mutex> guard(TotalsLock());
    const Totals& totals = TheTotals();
    CacheCounters c;
    c.allocated = totals.allocated;
    c.inUse = totals.inUse;
    c.idle = totals.allocated - totals.inUse;
    c.peak = totals.peak;
    c.idleCount = totals.buffers;
    c.hits = totals.hits;
    c.finalized = totals.finalized;
    return c;
}

int StagingBuffer::CopyThreads(long bytes, unsigned int cores) {
    // Below this a frame copies in about a millisecond: starting threads costs more than it saves.
    constexpr long kThreadedBytes = 8L * 1024 * 1024;
    // One core stays for the caller's own work and the driver.
    if (bytes < kThreadedBytes || cores < 4)
        return 1;
    return static_cast<int>(std::min<unsigned int>(4, cores / 2));
}

int StagingBuffer::CopyThreads(long bytes) {
    return CopyThreads(bytes, std::thread::hardware_concurrency());
}

void StagingBuffer::CopyIn(const HostRows& rows, unsigned char* to, int threads) {
    InBands(rows, threads, [to](const HostRows& band, long offset) { Gather(band, to + offset); });
}

void StagingBuffer::CopyOut(const unsigned char* from, const HostRows& rows, int threads) {
    InBands(rows, threads, [from](const HostRows& band, long offset) { Scatter(from + offset, band); });
}

} // namespace OGL_ZEP6_AE
