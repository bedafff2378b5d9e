// Mutexes, events, scoped locks, the static list and worker threads of the synchronisation layer.
// The ZEP6_AE wrappers and their OGL_ZEP6_AE twins share one set of typed tests, since they must
// behave alike; the few differences have tests of their own.

#include "sync/StLock.h"
#include "sync/StaticList.h"
#include "sync/SyncTwins.h"
#include "sync/XSyncObj.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

long ElapsedMs(Clock::time_point since) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

// Polls until the condition holds or the limit passes; returns the condition.
template <class Condition> bool WaitUntil(Condition condition, std::chrono::milliseconds limit = 10s) {
    const Clock::time_point deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline)
            return condition();
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// Runs `f` on a thread of its own and returns its result.
bool OnOtherThread(const std::function<bool()>& f) {
    bool result = false;
    std::thread([&] { result = f(); }).join();
    return result;
}

// Whether another thread can take the object right now (it gives it back at once).
template <class Obj> bool OtherThreadCanLock(Obj& object) {
    return OnOtherThread([&] {
        const bool taken = object.Lock(false);
        if (taken)
            object.Unlock();
        return taken;
    });
}

int ProcessThreadCount() {
    using std::filesystem::directory_iterator;
    return static_cast<int>(std::distance(directory_iterator("/proc/self/task"), directory_iterator()));
}

struct XFamily {
    using Mutex = ZEP6_AE::XSyncMutex;
    using Event = ZEP6_AE::XSyncEvent;
    using Thread = ZEP6_AE::XSyncThread;
};
struct TwinFamily {
    using Mutex = OGL_ZEP6_AE::SyncMutex;
    using Event = OGL_ZEP6_AE::SyncEvent;
    using Thread = OGL_ZEP6_AE::SyncThread;
};

class FamilyNames {
public:
    template <class T> static std::string GetName(int) {
        return std::is_same<T, XFamily>::value ? "ZEP6_AE" : "OGL_ZEP6_AE";
    }
};

template <class Family> class SyncFamilyTest : public ::testing::Test {};
using Families = ::testing::Types<XFamily, TwinFamily>;
TYPED_TEST_SUITE(SyncFamilyTest, Families, FamilyNames);

// ---- mutex -------------------------------------------------------------------------------------

TYPED_TEST(SyncFamilyTest, LockWaitsForTheHolderAndPollDoesNot) {
    typename TypeParam::Mutex mutex;
    std::atomic<bool> held{false}, released{false}, done{false};
    std::thread holder([&] {
        if (!mutex.Lock(true))
            return;
        held = true;
        std::this_thread::sleep_for(300ms);
        released = true;
        mutex.Unlock();
        WaitUntil([&] { return done.load(); });
    });
    ASSERT_TRUE(WaitUntil([&] { return held.load(); }));

    const Clock::time_point pollStart = Clock::now();
    EXPECT_FALSE(mutex.Lock(false));
    // The holder keeps the mutex 300 ms; a poll that waited for it would have got the lock.
    EXPECT_LT(ElapsedMs(pollStart), 250) << "a poll must not wait for the holder";

    const Clock::time_point waitStart = Clock::now();
    EXPECT_TRUE(mutex.Lock(true));
    EXPECT_TRUE(released.load()) << "Lock(true) returned while another thread held the mutex";
    EXPECT_LT(ElapsedMs(waitStart), 5000) << "the wait must end when the holder releases";
    mutex.Unlock();
    done = true;
    holder.join();
}

TYPED_TEST(SyncFamilyTest, OwnerMayLockAgainAndNeedsOneUnlockPerLock) {
    typename TypeParam::Mutex mutex;
    ASSERT_TRUE(mutex.Lock(true));
    ASSERT_TRUE(mutex.Lock(false)) << "the owner must be able to take its mutex again";
    EXPECT_FALSE(OtherThreadCanLock(mutex));
    mutex.Unlock();
    EXPECT_FALSE(OtherThreadCanLock(mutex)) << "one Unlock gave up both takes";
    mutex.Unlock();
    EXPECT_TRUE(OtherThreadCanLock(mutex));
}

TYPED_TEST(SyncFamilyTest, UnlockByAThreadThatDoesNotOwnTheMutexChangesNothing) {
    typename TypeParam::Mutex mutex;
    ASSERT_TRUE(mutex.Lock(true));
    std::thread([&] { mutex.Unlock(); }).join();
    EXPECT_FALSE(OtherThreadCanLock(mutex));
    mutex.Unlock();
    EXPECT_TRUE(OtherThreadCanLock(mutex));
    // Unlocking a free mutex is refused as well; it must stay usable.
    mutex.Unlock();
    EXPECT_TRUE(mutex.Lock(false));
    mutex.Unlock();
}

// ---- waits with a limit ------------------------------------------------------------------------

TYPED_TEST(SyncFamilyTest, WaitsTimeOutAtTheirLimit) {
    typename TypeParam::Mutex mutex;
    typename TypeParam::Event autoEvent(true), manualEvent(false);
    std::atomic<bool> held{false}, done{false};
    std::thread holder([&] {
        mutex.Lock(true);
        held = true;
        WaitUntil([&] { return done.load(); });
        mutex.Unlock();
    });
    ASSERT_TRUE(WaitUntil([&] { return held.load(); }));

    struct Case {
        const char* object;
        std::function<bool(long)> wait;
    };
    const Case cases[] = {
        {"held mutex", [&](long ms) { return mutex.LockWaitMilliSec(ms); }},
        {"auto-reset event", [&](long ms) { return autoEvent.WaitForEvent(ms); }},
        {"manual-reset event", [&](long ms) { return manualEvent.WaitForEvent(ms); }},
    };
    for (const Case& c : cases) {
        for (long limit : {0L, 40L, 120L}) {
            SCOPED_TRACE(std::string(c.object) + ", limit " + std::to_string(limit) + " ms");
            const Clock::time_point start = Clock::now();
            EXPECT_FALSE(c.wait(limit));
            const long elapsed = ElapsedMs(start);
            EXPECT_GE(elapsed, limit - 1);
            // Generous: a loaded machine (sanitizers, parallel builds) may wake the thread late.
            EXPECT_LT(elapsed, limit + 1500);
        }
    }
    done = true;
    holder.join();
}

// ---- events ------------------------------------------------------------------------------------

// Threads that each wait up to 10 s for the event, counting themselves when they start waiting and
// when the event released them.
template <class Event> class Waiters {
public:
    Waiters(Event& event, int count) {
        for (int i = 0; i < count; ++i)
            threads_.emplace_back([this, &event] {
                ++waiting;
                if (event.WaitForEvent(10000))
                    ++released;
            });
    }
    ~Waiters() { Join(); }
    void Join() {
        for (std::thread& t : threads_)
            if (t.joinable())
                t.join();
    }
    std::atomic<int> waiting{0}, released{0};

private:
    std::vector<std::thread> threads_;
};

TYPED_TEST(SyncFamilyTest, SetThenResetLeavesNothingToWaitFor) {
    for (bool autoReset : {true, false}) {
        SCOPED_TRACE(autoReset ? "auto-reset" : "manual-reset");
        typename TypeParam::Event event(autoReset);
        event.SetEvent();
        event.ResetEvent();
        EXPECT_FALSE(event.WaitForEvent(0));
        EXPECT_FALSE(event.WaitForEvent(20));
        EXPECT_FALSE(event.Lock(false)) << "the event itself stayed signalled";
    }
}

TYPED_TEST(SyncFamilyTest, AutoResetWaitConsumesTheSignalManualResetKeepsIt) {
    struct Case {
        bool autoReset;
        bool secondWait;
    };
    for (const Case c : {Case{true, false}, Case{false, true}}) {
        SCOPED_TRACE(c.autoReset ? "auto-reset" : "manual-reset");
        typename TypeParam::Event event(c.autoReset);
        EXPECT_FALSE(event.WaitForEvent(0)) << "an event starts not signalled";
        event.SetEvent();
        EXPECT_TRUE(event.WaitForEvent(0));
        EXPECT_EQ(event.WaitForEvent(0), c.secondWait);
        // Setting again re-arms an auto-reset event; the flag alone never satisfies a wait.
        event.SetEvent();
        EXPECT_TRUE(event.WaitForEvent(0));
    }
}

TYPED_TEST(SyncFamilyTest, AutoResetReleasesOneWaiterPerSet) {
    typename TypeParam::Event event(true);
    Waiters<typename TypeParam::Event> waiters(event, 2);
    ASSERT_TRUE(WaitUntil([&] { return waiters.waiting.load() == 2; }));

    event.SetEvent();
    ASSERT_TRUE(WaitUntil([&] { return waiters.released.load() >= 1; }));
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(waiters.released.load(), 1) << "one SetEvent released more than one waiter";

    event.SetEvent();
    EXPECT_TRUE(WaitUntil([&] { return waiters.released.load() == 2; }));
    waiters.Join();
    EXPECT_FALSE(event.WaitForEvent(0)) << "both signals were taken, none may be left";
}

// The next two also prove that a wait ends as soon as the event is set: the waiters would
// otherwise sleep on to their 10 s limit, past the 5 s allowed here.
TYPED_TEST(SyncFamilyTest, TwoQuickSetsReleaseTwoWaiters) {
    // Each signal goes to a thread that is already waiting, even when the second comes before the
    // first waiter has woken up.
    typename TypeParam::Event event(true);
    Waiters<typename TypeParam::Event> waiters(event, 2);
    ASSERT_TRUE(WaitUntil([&] { return waiters.waiting.load() == 2; }));
    std::this_thread::sleep_for(300ms); // let both reach the wait itself, also on a busy machine
    event.SetEvent();
    event.SetEvent();
    EXPECT_TRUE(WaitUntil([&] { return waiters.released.load() == 2; }, 5000ms));
}

TYPED_TEST(SyncFamilyTest, ManualResetReleasesEveryWaiter) {
    typename TypeParam::Event event(false);
    Waiters<typename TypeParam::Event> waiters(event, 4);
    std::this_thread::sleep_for(50ms);
    event.SetEvent();
    EXPECT_TRUE(WaitUntil([&] { return waiters.released.load() == 4; }, 5000ms));
    waiters.Join();
    EXPECT_TRUE(event.WaitForEvent(0)) << "a manual-reset event stays set";
}

// ---- threads -----------------------------------------------------------------------------------

// A worker whose Process() records what it saw and then waits for the test to open its gate.
template <class Base> class Worker : public Base {
public:
    std::function<bool()> body;
    std::atomic<bool> gateOpen{true};
    std::atomic<int> runs{0};
    std::atomic<int> runsOnOwnThread{0};

    bool Process() override {
        ++runs;
        if (this->IsThread())
            ++runsOnOwnThread;
        while (!gateOpen.load())
            std::this_thread::sleep_for(1ms);
        return body ? body() : true;
    }
};

TYPED_TEST(SyncFamilyTest, ThreadRunsProcessOnceAndCanBeStartedAgain) {
    Worker<typename TypeParam::Thread> worker;
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_FALSE(worker.IsThread()) << "no thread runs, so the caller cannot be it";

    worker.gateOpen = false;
    worker.StartThread();
    EXPECT_TRUE(worker.IsRunning());
    ASSERT_TRUE(WaitUntil([&] { return worker.runs.load() == 1; }));
    EXPECT_FALSE(worker.IsThread());
    // Starting while the thread runs starts no second one.
    worker.StartThread();
    worker.StartThread();
    worker.gateOpen = true;
    ASSERT_TRUE(WaitUntil([&] { return !worker.IsRunning(); }));
    EXPECT_EQ(worker.runs.load(), 1);
    EXPECT_EQ(worker.runsOnOwnThread.load(), 1) << "IsThread() was false inside Process()";

    worker.StartThread();
    ASSERT_TRUE(WaitUntil([&] { return !worker.IsRunning(); }));
    EXPECT_EQ(worker.runs.load(), 2);
    EXPECT_EQ(worker.runsOnOwnThread.load(), 2);
}

TYPED_TEST(SyncFamilyTest, ThreadObjectHasNothingToLock) {
    Worker<typename TypeParam::Thread> worker;
    const Clock::time_point start = Clock::now();
    EXPECT_FALSE(worker.Lock(true));
    EXPECT_FALSE(worker.LockWaitMilliSec(1000));
    EXPECT_LT(ElapsedMs(start), 500) << "a wrapper without a handle must not wait";
}

TYPED_TEST(SyncFamilyTest, InternalProcessReturnsTheResultAndSwallowsExceptions) {
    struct Case {
        const char* name;
        std::function<bool()> body;
        bool expected;
    };
    const Case cases[] = {
        {"returns true", [] { return true; }, true},
        {"returns false", [] { return false; }, false},
        {"throws std::exception", []() -> bool { throw std::runtime_error("x"); }, false},
        {"throws int", []() -> bool { throw 42; }, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Worker<typename TypeParam::Thread> worker;
        worker.body = c.body;
        EXPECT_EQ(worker.InternalProcess(), c.expected);
        EXPECT_FALSE(worker.IsRunning());
    }
}

TYPED_TEST(SyncFamilyTest, EndedThreadsLeaveNothingBehind) {
    constexpr int kThreads = 200;
    const int before = ProcessThreadCount();
    {
        std::vector<std::unique_ptr<Worker<typename TypeParam::Thread>>> workers;
        for (int i = 0; i < kThreads; ++i) {
            workers.push_back(std::make_unique<Worker<typename TypeParam::Thread>>());
            workers.back()->gateOpen = false;
            workers.back()->StartThread();
        }
        const auto all = [&](auto condition) {
            return std::all_of(workers.begin(), workers.end(), condition);
        };
        ASSERT_TRUE(WaitUntil([&] { return all([](const auto& w) { return w->runs.load() == 1; }); }));
        // Proves the count sees the threads at all, so that the final comparison means something.
        EXPECT_GE(ProcessThreadCount(), before + kThreads);
        for (const auto& w : workers)
            w->gateOpen = true;
        ASSERT_TRUE(WaitUntil([&] { return all([](const auto& w) { return !w->IsRunning(); }); }));
    }
    // A thread has returned from its work a moment before the system has removed it.
    EXPECT_TRUE(WaitUntil([&] { return ProcessThreadCount() <= before; }));
    EXPECT_EQ(ProcessThreadCount(), before);

    // The same for one object started again and again.
    Worker<typename TypeParam::Thread> worker;
    for (int i = 0; i < kThreads; ++i) {
        worker.StartThread();
        ASSERT_TRUE(WaitUntil([&] { return !worker.IsRunning(); }));
    }
    EXPECT_EQ(worker.runs.load(), kThreads);
    EXPECT_TRUE(WaitUntil([&] { return ProcessThreadCount() <= before; }));
    EXPECT_EQ(ProcessThreadCount(), before);
}

TEST(XSyncThreadTest, ExceptionInProcessEndsOnlyTheRunAndResetsTheIdentifier) {
    const std::function<bool()> throwers[] = {
        []() -> bool { throw std::runtime_error("failure in Process"); },
        []() -> bool { throw 7; },
    };
    for (const auto& thrower : throwers) {
        Worker<ZEP6_AE::XSyncThread> worker;
        worker.body = thrower;
        worker.StartThread();
        ASSERT_TRUE(WaitUntil([&] { return !worker.IsRunning(); }));
        EXPECT_EQ(worker.runs.load(), 1);
        // The object is usable again.
        worker.body = [] { return true; };
        worker.StartThread();
        ASSERT_TRUE(WaitUntil([&] { return !worker.IsRunning(); }));
        EXPECT_EQ(worker.runs.load(), 2);
    }
}

TEST(SyncThreadDeathTest, ExceptionOutOfProcessEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            Worker<OGL_ZEP6_AE::SyncThread> worker;
            worker.body = []() -> bool { throw std::runtime_error("failure in Process"); };
            worker.StartThread();
            WaitUntil([&] { return !worker.IsRunning(); }, 5000ms);
            std::this_thread::sleep_for(500ms);
        },
        "");
}

// ---- scoped lock -------------------------------------------------------------------------------

// Records what StLock asks of its object.
class RecordingObj : public ZEP6_AE::XSyncObj {
public:
    explicit RecordingObj(bool grant) : grant_(grant) {}
    bool LockWaitMilliSec(long milliseconds) override {
        askedMs = milliseconds;
        return grant_;
    }
    void Unlock() override { ++unlocks; }
    long askedMs = -1;
    int unlocks = 0;

private:
    bool grant_;
};

TEST(StLockTest, UnlocksOnlyWhatItObtained) {
    for (bool grant : {true, false}) {
        SCOPED_TRACE(grant ? "lock obtained" : "lock refused");
        RecordingObj object(grant);
        {
            ZEP6_AE::StLock lock(object, 37);
            EXPECT_EQ(lock.IsLocked(), grant);
            EXPECT_EQ(object.askedMs, 37);
            EXPECT_EQ(object.unlocks, 0);
        }
        EXPECT_EQ(object.unlocks, grant ? 1 : 0);
    }
}

TEST(StLockTest, HoldsARealMutexForItsScope) {
    ZEP6_AE::XSyncMutex mutex;
    {
        ZEP6_AE::StLock lock(mutex, 0);
        ASSERT_TRUE(lock.IsLocked());
        EXPECT_FALSE(OtherThreadCanLock(mutex));
        // A second scoped lock on another thread gives up after its limit.
        EXPECT_FALSE(OnOtherThread([&] { return ZEP6_AE::StLock(mutex, 30).IsLocked(); }));
    }
    EXPECT_TRUE(OtherThreadCanLock(mutex));
}

// ---- static list -------------------------------------------------------------------------------

// A registered static object that records its finalisation. The oldest probe of a test does not
// pass the call on: the list also holds the library's own static objects, which these tests must
// leave alone.
class Probe final : public ZEP6_AE::StaticList {
public:
    Probe(std::vector<std::string>& log, std::string name, bool passOn)
        : log_(log), name_(std::move(name)), passOn_(passOn) {}

    void Finalize() override {
        log_.push_back(name_);
        if (passOn_)
            FinalizedNext();
    }

private:
    std::vector<std::string>& log_;
    std::string name_;
    bool passOn_;
};

class StaticListTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(ZEP6_AE::StaticList::UserCount(), 0) << "an earlier test left users registered";
        oldest_ = std::make_unique<Probe>(log_, "oldest", false);
        middle_ = std::make_unique<Probe>(log_, "middle", true);
        newest_ = std::make_unique<Probe>(log_, "newest", true);
    }
    // Leaves no users behind for later tests; only the probes can be finalised here.
    void TearDown() override {
        while (ZEP6_AE::StaticList::UserCount() > 0)
            ZEP6_AE::StaticList::Decrement();
    }
    // One user arriving and leaving: what the finalisation reaches now, in order.
    std::vector<std::string> FinaliseAll() {
        log_.clear();
        ZEP6_AE::StaticList::Increment();
        ZEP6_AE::StaticList::Decrement();
        return log_;
    }

    const std::vector<std::string> kAll{"newest", "middle", "oldest"};
    std::vector<std::string> log_;
    std::unique_ptr<Probe> oldest_, middle_, newest_;
};

TEST_F(StaticListTest, DecrementWithoutUsersDoesNothing) {
    ZEP6_AE::StaticList::Decrement();
    EXPECT_EQ(ZEP6_AE::StaticList::UserCount(), 0);
    EXPECT_FALSE(ZEP6_AE::StaticList::IsSafe());
    EXPECT_TRUE(log_.empty());
    // The count did not go below zero: one user is again the last one.
    EXPECT_EQ(FinaliseAll(), kAll);
}

TEST_F(StaticListTest, OnlyTheLastUserLeavingFinalisesNewestFirst) {
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        log_.clear();
        ZEP6_AE::StaticList::Increment();
        ZEP6_AE::StaticList::Increment();
        EXPECT_TRUE(ZEP6_AE::StaticList::IsSafe());
        EXPECT_EQ(ZEP6_AE::StaticList::UserCount(), 2);
        ZEP6_AE::StaticList::Decrement();
        EXPECT_TRUE(log_.empty());
        EXPECT_TRUE(ZEP6_AE::StaticList::IsSafe());
        ZEP6_AE::StaticList::Decrement();
        EXPECT_FALSE(ZEP6_AE::StaticList::IsSafe());
        EXPECT_EQ(log_, kAll);
    }
}

TEST_F(StaticListTest, DestroyedObjectsLeaveTheList) {
    middle_.reset();
    EXPECT_EQ(FinaliseAll(), (std::vector<std::string>{"newest", "oldest"}));
    newest_.reset(); // the head
    EXPECT_EQ(FinaliseAll(), (std::vector<std::string>{"oldest"}));
    Probe late(log_, "late", true);
    EXPECT_EQ(FinaliseAll(), (std::vector<std::string>{"late", "oldest"}));
}

TEST_F(StaticListTest, ConcurrentUsersKeepAnExactCount) {
    ZEP6_AE::StaticList::Increment(); // held throughout, so no round trip below reaches zero
    constexpr int kThreads = 4, kRounds = 100000;
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&ready] {
            // All start together, so that the threads really overlap.
            ++ready;
            while (ready.load() < kThreads)
                std::this_thread::yield();
            for (int i = 0; i < kRounds; ++i) {
                ZEP6_AE::StaticList::Increment();
                ZEP6_AE::StaticList::Decrement();
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(ZEP6_AE::StaticList::UserCount(), 1);
    EXPECT_TRUE(log_.empty());
    ZEP6_AE::StaticList::Decrement();
    EXPECT_EQ(log_, kAll);
}

} // namespace
