#pragma once

#include "Export.h"
#include "gl/resources/Resource.h"
#include "gl/resources/ResourceFactory.h"

#include <chrono>
#include <cstdint>
#include <functional>

namespace OGL_ZEP6_AE {

// The rows of a host image that one transfer moves: `height` rows of `rowBytes` bytes, the first
// at `first`, each `stride` bytes after the one before.
struct HostRows {
    unsigned char* first = nullptr;
    long stride = 0;
    long rowBytes = 0;
    long height = 0;

    long PackedBytes() const { return rowBytes * height; }
};

// A buffer object that host pixels cross the bus in. Uploads take turns over a small ring of them,
// so that the host fills one while the card still reads from the one before; read-backs use one of
// their own. With GL_ARB_buffer_storage and GL_ARB_sync an upload buffer is mapped once, for good,
// and a fence tells when the card is done with it; without them each upload orphans the buffer's
// storage and maps it afresh. Read-backs are fenced where fences exist and are otherwise waited
// for by the map itself.
//
// A fence that has not signalled after kFenceTimeout (a lost device) ends the job with Error
// rather than blocking the worker for good.
//
// A buffer that cannot be made or mapped, or a transfer larger than a buffer's size can be told
// (above 2^31 - 1 bytes), is no error: Upload and Read answer false and the caller moves the
// pixels through host memory.
//
// Each buffer is a Resource: the shutdown deletes it, and the next transfer makes it again. A
// buffer only grows, to the largest transfer it has served. Its storage counts against the
// memory cache's budget (MemoryBuffer). Used on the GL worker thread (or a
// thread with the root context current); the ring is guarded by a lock of its own.
class ZEP6_API StagingBuffer : public Resource {
public:
    explicit StagingBuffer(unsigned int target);
    StagingBuffer(const StagingBuffer&) = delete;
    StagingBuffer& operator=(const StagingBuffer&) = delete;
    // Deletes the buffer and its fence (only when the thread has a context current).
    ~StagingBuffer() override;

    // Deletes the buffer and its fence; the next transfer makes them again.
    void Finalize() override;
    void Dump() const override {}

    // Bytes of buffer storage held now.
    long Capacity() const { return capacity_; }

    // Whether transfers go through buffer objects at all: GL_ARB_pixel_buffer_object, and not a
    // software renderer unless ZEP6_PIXEL_BUFFERS=on (IsPixelBufferPreferred()).
    static bool IsAvailable();
    // Whether uploads use persistently mapped, fenced buffers.
    static bool IsPersistent();

    // Copies `rows` into an upload buffer, binds it to GL_PIXEL_UNPACK_BUFFER and calls
    // `submit`, which issues the texture load from offset 0 of that buffer with packed rows
    // (alignment 1, no row length). The binding is restored afterwards. False, with nothing done,
    // when no buffer can take the rows: the caller then loads from host memory.
    static bool Upload(const HostRows& rows, const std::function<void()>& submit);
    // Binds the read-back buffer to GL_PIXEL_PACK_BUFFER and calls `request`, which issues the
    // read into offset 0 of that buffer with packed rows; then waits for the card, maps the buffer
    // and copies the packed rows into `rows`. False when no buffer could be used or its content
    // was lost before it could be copied: the caller then reads into host memory directly.
    static bool Read(const HostRows& rows, const std::function<void()>& request);

    // The bytes of all staging buffers: `allocated` is the storage held now, `inUse` the part
    // the card may still be reading (uploads fenced and not yet waited for), `idle` the rest,
    // `idleCount` the buffers holding storage, `peak` the most ever held, `hits` the transfers
    // served by a buffer that was already large enough; `finalized` after a shutdown, until the
    // next use.
    static CacheCounters Counters();

    // Large frames are copied into and out of the mapped memory by several threads at once, each
    // a band of whole rows: on a machine of at least 4 cores, half of them (at most 4) for frames
    // of 8 MiB and more; one thread otherwise. CopyThreads(bytes) asks for this machine.
    static int CopyThreads(long bytes, unsigned int cores);
    static int CopyThreads(long bytes);
    // Host rows into packed rows at `to`, and packed rows at `from` into host rows, over
    // `threads` bands (the calling thread copies one of them).
    static void CopyIn(const HostRows& rows, unsigned char* to, int threads);
    static void CopyOut(const unsigned char* from, const HostRows& rows, int threads);

    // The number of upload buffers in the ring.
    static constexpr int kRingSize = 2;

    // How long a fence may take before the device is taken for lost, and the longest single
    // wait in between (each slice asks the driver again, flushing its commands).
    static constexpr std::chrono::nanoseconds kFenceTimeout = std::chrono::seconds(10);
    static constexpr std::chrono::nanoseconds kFenceSlice = std::chrono::milliseconds(100);

    // How a wait for a fence ended.
    enum class WaitResult { Signalled, Failed, TimedOut };
    // Waits in slices: calls `wait` with the most nanoseconds it may block (at most `slice`) and
    // the status glClientWaitSync would answer, until it answers GL_ALREADY_SIGNALED or
    // GL_CONDITION_SATISFIED (Signalled), anything but GL_TIMEOUT_EXPIRED (Failed), or `total`
    // has passed since the call began (TimedOut). `wait` is called at least once.
    static WaitResult WaitInSlices(const std::function<unsigned int(std::uint64_t)>& wait,
                                   std::chrono::nanoseconds slice, std::chrono::nanoseconds total);

private:
    // Makes the buffer (or a larger one) hold at least `bytes`; the buffer is bound to target_.
    bool Reserve(long bytes, bool persistent);
    // Waits for the fence of the last transfer through this buffer (Error after kFenceTimeout).
    void WaitForCard();
    void Fence();
    void DropFence();
    void DeleteNames();

    unsigned int target_;
    unsigned int name_;
    long capacity_;
    void* mapped_;  // the persistent mapping of an upload buffer, or null
    void* fence_;   // GLsync of the last transfer through this buffer, or null
};

} // namespace OGL_ZEP6_AE
