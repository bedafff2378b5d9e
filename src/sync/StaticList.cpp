#include "sync/StaticList.h"

#include <atomic>
#include <thread>

namespace ZEP6_AE {

namespace {

// All of this state is constant-initialised, so it is ready before the first static object of
// any file links itself in, whatever order the files' statics are constructed in.

// The user count and the lock that serialises it with the finalisation.
std::atomic_flag gCountLock = ATOMIC_FLAG_INIT;
std::atomic<int> gUserCount{0};

// The newest object, and a lock of its own for linking and unlinking: function-local statics
// may be constructed on several threads at once. It is separate from the count lock because a
// Finalize(), which runs under the count lock, may construct or destroy such statics.
std::atomic_flag gLinkLock = ATOMIC_FLAG_INIT;
StaticList* gHead = nullptr;

class SpinGuard {
public:
    explicit SpinGuard(std::atomic_flag& flag) : flag_(flag) {
        while (flag_.test_and_set(std::memory_order_acquire))
            std::this_thread::yield();
    }
    ~SpinGuard() { flag_.clear(std::memory_order_release); }
    SpinGuard(const SpinGuard&) = delete;
    SpinGuard& operator=(const SpinGuard&) = delete;

private:
    std::atomic_flag& flag_;
};

} // namespace

StaticList::StaticList() : previous_(nullptr), next_(nullptr) {
    SpinGuard guard(gLinkLock);
    next_ = gHead;
    if (gHead)
        gHead->previous_ = this;
    gHead = this;
}

StaticList::~StaticList() {
    SpinGuard guard(gLinkLock);
    if (previous_)
        previous_->next_ = next_;
    else if (gHead == this)
        gHead = next_;
    if (next_)
        next_->previous_ = previous_;
    previous_ = next_ = nullptr;
}

void StaticList::Increment() {
    SpinGuard guard(gCountLock);
    gUserCount.store(gUserCount.load() + 1);
}

void StaticList::Decrement() {
    SpinGuard guard(gCountLock);
    const int count = gUserCount.load();
    if (count <= 0)
        return;
    gUserCount.store(count - 1);
    if (count != 1)
        return;
    StaticList* head;
    {
        SpinGuard link(gLinkLock);
        head = gHead;
    }
    if (head)
        head->Finalize();
}

bool StaticList::IsSafe() {
    return gUserCount.load() > 0;
}

int StaticList::UserCount() {
    return gUserCount.load();
}

void StaticList::FinalizedNext() {
    StaticList* next;
    {
        SpinGuard link(gLinkLock);
        next = next_;
    }
    if (next)
        next->Finalize();
}

} // namespace ZEP6_AE
