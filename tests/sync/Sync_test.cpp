// Mutexes, events, scoped locks, the static list and worker threads of the synchronisation layer.
// The ZEP6_AE wrappers and their OGL_ZEP6_AE twins share one set of typed tests: they must behave
// alike, but for what an exception out of Process() does.

#include "support/ProcessCounters.h"
#include "sync/StLock.h"
#include "sync/StaticList.h"
#include "sync/SyncTwins.h"
#include "sync/XSyncObj.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

long ElapsedMs(Clock::time_point since) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
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

// Whether another thread can take the object right now (it gives it back at once).
template <class Obj> bool OtherThreadCanLock(Obj& object) {
    bool taken = false;
    std::thread([&] {
        taken = object.Lock(false);
        if (taken)
            object.Unlock();
    }).join();
    return taken;
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

struct FamilyNames {
    template <class T> static std::string GetName(int) { return std::is_same<T, XFamily>::value ? "ZEP6_AE" : "OGL_ZEP6_AE"; }
};

template <class Family> class SyncFamilyTest : public ::testing::Test {};
using Families = ::testing::Types<XFamily, TwinFamily>;
TYPED_TEST_SUITE(SyncFamilyTest, Families, FamilyNames);

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

TYPED_TEST(SyncFamilyTest, OnlyTheOwnerUnlocksAndOncePerLock) {
    typename TypeParam::Mutex mutex;
    ASSERT_TRUE(mutex.Lock(true));
    ASSERT_TRUE(mutex.Lock(false)) << "the owner must be able to take its mutex again";
    std::thread([&] { mutex.Unlock(); }).join(); // not the owner: refused
    mutex.Unlock();
    EXPECT_FALSE(OtherThreadCanLock(mutex)) << "one Unlock gave up both takes, or another thread's counted";
    mutex.Unlock();
    EXPECT_TRUE(OtherThreadCanLock(mutex));
    // Unlocking a free mutex is refused as well; it must stay usable.
    mutex.Unlock();
    EXPECT_TRUE(mutex.Lock(false));
    mutex.Unlock();
}

// Every wait gives up at its limit; then the mutex's holder lets go 300 ms after being told: a
// poll still fails at once, and Lock(true) waits until the holder has let go.
TYPED_TEST(SyncFamilyTest, WaitsTimeOutAtTheirLimitOrWhenTheHolderLetsGo) {
    typename TypeParam::Mutex mutex;
    typename TypeParam::Event autoEvent(true), manualEvent(false);
    Worker<typename TypeParam::Thread> thread;
    std::atomic<bool> held{false}, done{false}, released{false};
    std::thread holder([&] {
        mutex.Lock(true);
        held = true;
        WaitUntil([&] { return done.load(); });
        std::this_thread::sleep_for(300ms);
        released = true;
        mutex.Unlock();
    });
    EXPECT_TRUE(WaitUntil([&] { return held.load(); }));

    // A wrapper without a handle (the thread object) has nothing to wait for.
    const std::pair<const char*, std::function<bool(long)>> cases[] = {
        {"held mutex", [&](long ms) { return mutex.LockWaitMilliSec(ms); }},
        {"auto-reset event", [&](long ms) { return autoEvent.WaitForEvent(ms); }},
        {"manual-reset event", [&](long ms) { return manualEvent.WaitForEvent(ms); }},
        {"thread object", [&](long ms) { return thread.LockWaitMilliSec(ms); }},
    };
    for (const auto& [object, wait] : cases)
        for (long limit : {0L, 40L, 120L}) {
            SCOPED_TRACE(std::string(object) + ", limit " + std::to_string(limit) + " ms");
            const bool waitsItsLimit = std::string(object) != "thread object";
            const Clock::time_point start = Clock::now();
            EXPECT_FALSE(wait(limit));
            const long elapsed = ElapsedMs(start);
            EXPECT_GE(elapsed, waitsItsLimit ? limit - 1 : 0);
            // Generous: a loaded machine (sanitizers, parallel builds) may wake the thread late.
            EXPECT_LT(elapsed, waitsItsLimit ? limit + 1500 : 100);
        }
    done = true;
    const Clock::time_point start = Clock::now();
    EXPECT_FALSE(mutex.Lock(false));
    EXPECT_LT(ElapsedMs(start), 250) << "a poll must not wait for the holder";
    EXPECT_TRUE(mutex.Lock(true));
    EXPECT_TRUE(released.load()) << "Lock(true) returned while another thread held the mutex";
    EXPECT_LT(ElapsedMs(start), 5000) << "the wait must end when the holder releases";
    mutex.Unlock();
    holder.join();
}

TYPED_TEST(SyncFamilyTest, EventStaysSignalledUntilTakenOrResetAndReleasesItsWaiters) {
    for (bool autoReset : {true, false}) {
        SCOPED_TRACE(autoReset ? "auto-reset" : "manual-reset");
        typename TypeParam::Event event(autoReset);
        EXPECT_FALSE(event.WaitForEvent(0)) << "an event starts not signalled";
        event.SetEvent();
        EXPECT_TRUE(event.WaitForEvent(0));
        // An auto-reset wait takes the signal; the flag, still set, never satisfies a wait alone.
        EXPECT_EQ(event.WaitForEvent(0), !autoReset);
        event.SetEvent();
        EXPECT_TRUE(event.WaitForEvent(0)) << "setting again re-arms the event";
        event.SetEvent();
        event.ResetEvent();
        EXPECT_FALSE(event.WaitForEvent(20));
        EXPECT_FALSE(event.Lock(false)) << "the event itself stayed signalled";
    }

    // Each signal of an auto-reset event releases one waiting thread, also when the second comes
    // before the first waiter has woken up; a manual-reset one releases all and stays set. A wait
    // also ends as soon as it is released: the waiters would otherwise sleep on to their 10 s limit,
    // past the 5 s allowed here.
    struct Case {
        bool autoReset;
        int waiters, sets, released;
        bool signalLeft;
    } const cases[] = {{true, 2, 1, 1, false}, {true, 2, 2, 2, false}, {false, 4, 1, 4, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.autoReset ? "auto" : "manual") + "-reset, sets " + std::to_string(c.sets));
        typename TypeParam::Event event(c.autoReset);
        std::atomic<int> waiting{0}, released{0};
        std::vector<std::thread> waiters;
        for (int i = 0; i < c.waiters; ++i)
            waiters.emplace_back([&] {
                ++waiting;
                if (event.WaitForEvent(10000))
                    ++released;
            });
        EXPECT_TRUE(WaitUntil([&] { return waiting.load() == c.waiters; }));
        std::this_thread::sleep_for(200ms); // let all reach the wait itself, also on a busy machine
        for (int i = 0; i < c.sets; ++i)
            event.SetEvent();
        EXPECT_TRUE(WaitUntil([&] { return released.load() >= c.released; }, 5000ms));
        std::this_thread::sleep_for(150ms);
        EXPECT_EQ(released.load(), c.released);
        for (int i = c.released; i < c.waiters; ++i)
            event.SetEvent();
        for (std::thread& waiter : waiters)
            waiter.join();
        EXPECT_EQ(event.WaitForEvent(0), c.signalLeft);
    }
}

TYPED_TEST(SyncFamilyTest, ThreadsRunOnceEachStartLeaveNothingBehindAndSwallowExceptions) {
    constexpr int kThreads = 100;
    // A sanitizer may start a thread of its own with the process's first thread: it comes first.
    std::thread([] {}).join();
    const int before = zep6test::ThreadCount();
    {
        std::vector<std::unique_ptr<Worker<typename TypeParam::Thread>>> workers;
        const auto all = [&](auto condition) { return std::all_of(workers.begin(), workers.end(), condition); };
        for (int i = 0; i < kThreads; ++i) {
            workers.push_back(std::make_unique<Worker<typename TypeParam::Thread>>());
            workers.back()->gateOpen = false;
            EXPECT_FALSE(workers.back()->IsRunning());
            // Starting while the thread runs starts no second one.
            workers.back()->StartThread();
            workers.back()->StartThread();
            EXPECT_TRUE(workers.back()->IsRunning());
            EXPECT_FALSE(workers.back()->IsThread());
        }
        ASSERT_TRUE(WaitUntil([&] { return all([](const auto& w) { return w->runs.load() == 1; }); }));
        EXPECT_EQ(zep6test::ThreadCount(), before + kThreads);
        for (const auto& w : workers)
            w->gateOpen = true;
        ASSERT_TRUE(WaitUntil([&] { return all([](const auto& w) { return !w->IsRunning(); }); }));
        // An ended thread can be started again.
        for (const auto& w : workers)
            w->StartThread();
        ASSERT_TRUE(WaitUntil([&] {
            return all([](const auto& w) { return w->runs.load() == 2 && !w->IsRunning(); });
        }));
        EXPECT_TRUE(all([](const auto& w) { return w->runsOnOwnThread.load() == 2; }))
            << "IsThread() was false inside Process()";
    }
    // A thread has returned from its work a moment before the system has removed it.
    EXPECT_TRUE(WaitUntil([&] { return zep6test::ThreadCount() <= before; }));
    EXPECT_EQ(zep6test::ThreadCount(), before);

    // InternalProcess() returns Process()'s result and swallows what it throws; so does the start
    // routine of the library's own threads, which leave the object ready for the next start. The
    // twins' start routine lets the exception end the process.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const struct {
        const char* name;
        std::function<bool()> body;
        bool result, throws;
    } cases[] = {
        {"returns true", [] { return true; }, true, false},
        {"returns false", [] { return false; }, false, false},
        {"throws std::exception", []() -> bool { throw std::runtime_error("x"); }, false, true},
        {"throws int", []() -> bool { throw 42; }, false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Worker<typename TypeParam::Thread> worker;
        worker.body = c.body;
        EXPECT_EQ(worker.InternalProcess(), c.result);
        const auto startAndWait = [&] {
            worker.StartThread();
            EXPECT_TRUE(WaitUntil([&] { return !worker.IsRunning(); }, 5000ms));
        };
        if (c.throws && !std::is_same<TypeParam, XFamily>::value) {
            EXPECT_DEATH({ startAndWait(); std::this_thread::sleep_for(500ms); }, "");
            continue;
        }
        startAndWait();
        EXPECT_EQ(worker.runs.load(), 2);
    }
}

TEST(StLockTest, HoldsWhatItObtainedForItsScope) {
    ZEP6_AE::XSyncMutex mutex;
    {
        ZEP6_AE::StLock lock(mutex, 0);
        EXPECT_TRUE(lock.IsLocked());
        std::thread([&] {
            // Another thread's scoped lock waits its limit, then gives up.
            const Clock::time_point start = Clock::now();
            EXPECT_FALSE(ZEP6_AE::StLock(mutex, 60).IsLocked());
            EXPECT_GE(ElapsedMs(start), 59);
        }).join();
        EXPECT_FALSE(OtherThreadCanLock(mutex));
    }
    EXPECT_TRUE(OtherThreadCanLock(mutex));
}

// A registered static object that records its finalisation. The oldest probe of a test does not
// pass the call on: the list also holds the library's own static objects, which these tests must
// leave alone.
struct Probe final : ZEP6_AE::StaticList {
    Probe(std::vector<std::string>& log, std::string name, bool passOn) : log(log), name(std::move(name)), passOn(passOn) {}
    void Finalize() override {
        log.push_back(name);
        if (passOn)
            FinalizedNext();
    }
    std::vector<std::string>& log;
    std::string name;
    bool passOn;
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

    const std::vector<std::string> kAll{"newest", "middle", "oldest"};
    std::vector<std::string> log_;
    std::unique_ptr<Probe> oldest_, middle_, newest_;
};

// Each step changes the list, then two users arrive and leave: only the second leaving finalises,
// and it reaches what is listed then, newest first.
TEST_F(StaticListTest, OnlyTheLastUserLeavingFinalisesWhatIsListedNewestFirst) {
    // Without users a Decrement does nothing, and the count does not go below zero.
    ZEP6_AE::StaticList::Decrement();
    EXPECT_TRUE(log_.empty());
    std::unique_ptr<Probe> late;
    const std::pair<std::function<void()>, std::vector<std::string>> steps[] = {
        {[] {}, kAll},
        {[&] { middle_.reset(); }, {"newest", "oldest"}},
        {[&] { newest_.reset(); }, {"oldest"}}, // the head
        {[&] { late = std::make_unique<Probe>(log_, "late", true); }, {"late", "oldest"}},
    };
    for (const auto& [change, expected] : steps) {
        change();
        log_.clear();
        ZEP6_AE::StaticList::Increment();
        ZEP6_AE::StaticList::Increment();
        ZEP6_AE::StaticList::Decrement();
        EXPECT_TRUE(log_.empty());
        EXPECT_TRUE(ZEP6_AE::StaticList::IsSafe());
        ZEP6_AE::StaticList::Decrement();
        EXPECT_FALSE(ZEP6_AE::StaticList::IsSafe());
        EXPECT_EQ(log_, expected);
    }
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
