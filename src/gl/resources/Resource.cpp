#include "gl/resources/Resource.h"

#include "core/TestCountersPrivate.h"

#include <mutex>

namespace OGL_ZEP6_AE {

namespace {

// The newest resource. A plain pointer, constant-initialised, so that static resources of any
// translation unit can link themselves in while the library loads.
Resource* sHead = nullptr;

// Recursive: a Finalize() run under FinalizeAll may destroy other resources (a cache purging its
// idle buffers), which unlink themselves on the same thread.
std::recursive_mutex& ListLock() {
    static std::recursive_mutex lock;
    return lock;
}

} // namespace

Resource::Resource() : previous_(nullptr), next_(nullptr) {
    Link();
}

Resource::Resource(const Resource&) : Memory(), previous_(nullptr), next_(nullptr) {
    Link();
}

Resource::~Resource() {
    Unlink();
}

void Resource::Link() {
    std::lock_guard<std::recursive_mutex> guard(ListLock());
    next_ = sHead;
    if (sHead)
        sHead->previous_ = this;
    sHead = this;
}

void Resource::Unlink() {
    std::lock_guard<std::recursive_mutex> guard(ListLock());
    if (previous_)
        previous_->next_ = next_;
    if (next_)
        next_->previous_ = previous_;
    if (sHead == this)
        sHead = next_;
    previous_ = nullptr;
    next_ = nullptr;
}

void Resource::Relist() const {
    std::lock_guard<std::recursive_mutex> guard(ListLock());
    if (!IsListed())
        const_cast<Resource*>(this)->Link();
}

bool Resource::IsListed() const {
    std::lock_guard<std::recursive_mutex> guard(ListLock());
    return previous_ != nullptr || next_ != nullptr || sHead == this;
}

int ListedResourceCount() {
    std::lock_guard<std::recursive_mutex> guard(ListLock());
    int count = 0;
    for (const Resource* r = sHead; r; r = r->next_)
        ++count;
    return count;
}

void Resource::FinalizeAll() {
    std::lock_guard<std::recursive_mutex> guard(ListLock());
    try {
        // The successor is read only after Finalize() returns: finalizing a cache deletes its
        // idle buffers, and any of them may be the next element at that moment.
        for (Resource* r = sHead; r; r = r->next_)
            r->Finalize();
    } catch (...) {
        // The walk ends at the first failure; the rest keep what they hold.
    }
    // Detach every element, so that a resource destroyed later does not touch neighbours that
    // may be long gone.
    Resource* r = sHead;
    sHead = nullptr;
    while (r) {
        Resource* next = r->next_;
        r->previous_ = nullptr;
        r->next_ = nullptr;
        r = next;
    }
}

void Resource::DumpAll() {}

} // namespace OGL_ZEP6_AE
