#pragma once

#include "Export.h"
#include "gl/resources/Resource.h"

#include <algorithm>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

namespace OGL_ZEP6_AE {

// A snapshot of a cache's byte counters.
struct CacheCounters {
    long inUse = 0;     // buffers handed out and not yet recycled
    long idle = 0;      // buffers kept for reuse
    long allocated = 0; // every buffer the cache made and has not deleted (in use plus idle)
    long peak = 0;      // the highest value `allocated` ever reached
    int idleCount = 0;  // number of buffers kept for reuse
    long hits = 0;      // requests served with a kept buffer, since the process started
    long outside = 0;   // bytes held elsewhere that count against this cache's budget (the
                        // memory cache: the staging buffers' storage)
    bool finalized = false;
};

// A cache of expensive buffers (pixel memory, renderbuffers, textures) with a byte budget for
// the buffers it keeps idle; buffers in use are never limited.
//
// Key must offer `bool IsAcceptable(const Key& candidate) const` (does a buffer with the
// candidate's key satisfy this request). Buffer must be a Resource constructible from a Key,
// offering `Key()` (its own key) and `int Size() const` (bytes counted against the budget, fixed
// for the buffer's life).
//
// Make() hands out the oldest idle buffer that fits, else a new one; Recycle() keeps a buffer at
// the back of the idle list and deletes the oldest idle ones while the idle bytes, plus the bytes
// held outside the cache that SetOutsideBytes() names, exceed Limit.
// Once finalized (at shutdown) the cache keeps nothing: recycled buffers are deleted at once, as
// they may belong to the context the shutdown deleted. The first Make() after that belongs to a
// new session: it reopens the cache and puts it back in the resource list, so that this
// session's shutdown finalizes it again.
//
// The counters and the idle list are guarded by a lock of the cache's own. Buffers are made
// and deleted outside it: their constructors and destructors link into and out of the resource
// list, which has its own lock, and making one may call OpenGL.
template <class Key, class Buffer, int Limit> class ResourceFactory : public Resource {
public:
    static constexpr int kLimit = Limit;

    ResourceFactory() = default;
    ResourceFactory(const ResourceFactory&) = delete;
    ResourceFactory& operator=(const ResourceFactory&) = delete;

    // A cache destroyed without Finalize() (at unload, when the library's users never left)
    // still deletes its idle buffers; their destructors tolerate a missing context.
    ~ResourceFactory() override { Purge(); }

    // A buffer for the request: a reused one as it was left (contents not cleared), or a new
    // one. Exceptions from making a buffer reach the caller with the counters unchanged.
    Buffer* Make(const Key& key) {
        bool reopened = false;
        Buffer* reused = nullptr;
        {
            std::lock_guard<std::mutex> guard(lock_);
            reopened = finalized_;
            finalized_ = false;
            if (idle_) {
                for (auto it = idle_->begin(); it != idle_->end(); ++it) {
                    if (!key.IsAcceptable((*it)->Key()))
                        continue;
                    reused = *it;
                    idle_->erase(it);
                    const long size = reused->Size();
                    idleBytes_ -= size;
                    inUseBytes_ += size;
                    ++hits_;
                    break;
                }
            }
        }
        // Outside the cache's lock: the shutdown holds the list's lock while it takes the cache's.
        if (reopened)
            Relist();
        if (reused)
            return reused;
        Buffer* buffer = new Buffer(key);
        const long size = buffer->Size();
        std::lock_guard<std::mutex> guard(lock_);
        allocatedBytes_ += size;
        peakBytes_ = std::max(peakBytes_, allocatedBytes_);
        inUseBytes_ += size;
        return buffer;
    }

    // Names a function giving bytes held outside the cache that count against its budget; it is
    // called without the cache's lock held, so it may take locks of its own.
    void SetOutsideBytes(long (*outside)()) {
        std::lock_guard<std::mutex> guard(lock_);
        outside_ = outside;
    }

    // Deletes the oldest idle buffers while the idle and outside bytes exceed the budget (after
    // the outside bytes grew).
    void Trim() { KeepAndTrim(nullptr); }

    // Takes a buffer back. Null does nothing.
    void Recycle(Buffer* buffer) {
        if (buffer)
            KeepAndTrim(buffer);
    }

    // Deletes every idle buffer and drops the idle list.
    void Purge() { DeleteIdle(false); }

    // Purges and stops keeping anything from now on.
    void Finalize() override { DeleteIdle(true); }

    void Dump() const override {}

    CacheCounters Counters() const {
        const long outside = OutsideBytes();
        std::lock_guard<std::mutex> guard(lock_);
        CacheCounters c;
        c.inUse = inUseBytes_;
        c.idle = idleBytes_;
        c.allocated = allocatedBytes_;
        c.peak = peakBytes_;
        c.idleCount = idle_ ? static_cast<int>(idle_->size()) : 0;
        c.hits = hits_;
        c.outside = outside;
        c.finalized = finalized_;
        return c;
    }

    bool IsFinalized() const {
        std::lock_guard<std::mutex> guard(lock_);
        return finalized_;
    }

private:
    long OutsideBytes() const {
        long (*outside)() = nullptr;
        {
            std::lock_guard<std::mutex> guard(lock_);
            outside = outside_;
        }
        return outside ? outside() : 0;
    }

    // Keeps `buffer` (null: none) at the back of the idle list, then deletes the oldest idle
    // buffers while the idle and outside bytes exceed the budget.
    void KeepAndTrim(Buffer* buffer) {
        const long outside = OutsideBytes();
        std::vector<Buffer*> doomed;
        {
            std::lock_guard<std::mutex> guard(lock_);
            if (buffer) {
                const long size = buffer->Size();
                inUseBytes_ -= size;
                if (finalized_) {
                    allocatedBytes_ -= size;
                    doomed.push_back(buffer);
                } else {
                    if (!idle_)
                        idle_.reset(new std::list<Buffer*>());
                    idle_->push_back(buffer);
                    idleBytes_ += size;
                }
            }
            while (idle_ && idleBytes_ + outside > static_cast<long>(Limit) && !idle_->empty()) {
                Buffer* oldest = idle_->front();
                idle_->pop_front();
                const long oldestSize = oldest->Size();
                idleBytes_ -= oldestSize;
                allocatedBytes_ -= oldestSize;
                doomed.push_back(oldest);
            }
        }
        for (Buffer* b : doomed)
            delete b;
    }

    // Takes the idle list out and deletes its buffers outside the lock; with `finalize` the
    // factory is marked finalised in the same step, so nothing recycled meanwhile can slip into
    // the idle list.
    void DeleteIdle(bool finalize) {
        std::unique_ptr<std::list<Buffer*>> idle;
        {
            std::lock_guard<std::mutex> guard(lock_);
            if (finalize)
                finalized_ = true;
            idle = std::move(idle_);
            if (idle)
                for (Buffer* b : *idle)
                    allocatedBytes_ -= b->Size();
            idleBytes_ = 0;
        }
        if (idle)
            for (Buffer* b : *idle)
                delete b;
    }

    // Oldest at the front; made on first use, dropped by Purge().
    std::unique_ptr<std::list<Buffer*>> idle_;
    long inUseBytes_ = 0;
    long peakBytes_ = 0;
    long allocatedBytes_ = 0;
    long idleBytes_ = 0;
    long hits_ = 0;
    long (*outside_)() = nullptr;
    bool finalized_ = false;
    mutable std::mutex lock_;
};

} // namespace OGL_ZEP6_AE
