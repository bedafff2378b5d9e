// The GL worker thread on a real headless context: jobs, results, messages, nesting,
// concurrency, restarts and context failure.
#include "core/Errors.h"
#include "gl/context/RootContext.h"
#include "gl/context/Shared.h"
#include "gl/context/Thread.h"
#include "support/ProcessCounters.h"
#include "sync/StaticList.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

Thread& Worker() {
    if (!sThread)
        sThread = new Thread();
    return *sThread;
}

bool SetTrueOnWorker(void* data) {
    *static_cast<bool*>(data) =
        Shared::IsThread() && RootContext::HasContext() && glGetString(GL_RENDERER) != nullptr;
    return true;
}

// A job that hands another job to the worker: it runs at once on the same thread.
bool NestedExecute(void* data) {
    bool inner = false;
    *static_cast<bool*>(data) = sThread->Execute(SetTrueOnWorker, &inner) && inner;
    return true;
}

// A marshalled function in the library's own style: one body behind the guard.
void AddOnWorker(int a, int b, int* sum, bool* onWorker) {
    if (MarshalToWorker(&AddOnWorker, a, b, sum, onWorker))
        return;
    *sum = a + b;
    *onWorker = Shared::IsThread();
}

// A job whose value and result are its own: computed on the worker from its input, failing
// (throwing) for odd inputs. It counts jobs that overlap.
struct CheckedJob : Shared {
    explicit CheckedJob(int value) : input(value) {}
    void Run() override {
        const bool alone = inJob.fetch_add(1) == 0;
        output = Shared::IsThread() && alone ? input * 3 + 1 : -1;
        inJob.fetch_sub(1);
        if (input & 1)
            throw Error("odd");
    }
    bool Right(bool result) const { return result == ((input & 1) == 0) && output == input * 3 + 1; }
    const int input;
    int output = 0;
    static inline std::atomic<int> inJob{0};
};

} // namespace

TEST(WorkerThread, RunsJobsOnItsOwnContextStartsAgainAndYieldsToAHost) {
    Worker().Finalize(); // never started: returns at once
    for (int run = 0; run < 2; ++run) {
        bool seen = false, inner = false;
        EXPECT_TRUE(Worker().Execute(SetTrueOnWorker, &seen));
        EXPECT_TRUE(seen) << "run " << run;
        EXPECT_TRUE(Worker().Execute(NestedExecute, &inner));
        EXPECT_TRUE(inner) << "run " << run;
        EXPECT_FALSE(Shared::IsThread());
        EXPECT_FALSE(RootContext::HasContext()) << "the host thread must not get the context";
        // A stopped worker starts again, with a new root context.
        sThread->Finalize();
        EXPECT_FALSE(sThread->IsRunning());
    }
    PushOpenGLContext saved;
    ASSERT_TRUE(RootContext::Select());
    bool seen = false;
    // One context is current on one thread at a time: the worker cannot take it now.
    EXPECT_FALSE(Worker().Execute(SetTrueOnWorker, &seen));
    EXPECT_STREQ(Worker().ErrorMessage(), "OpenGL context failure.");
}

// Each job's result and message, in an order where every message differs from the one before,
// so a message left over from the previous job cannot pass.
TEST(WorkerThread, ReportsTheResultAndMessageOfEveryJobAndHostThreadsGetTheirOwn) {
    bool flag = false;
    struct Case {
        bool (*function)(void*);
        void* data;
        bool result;
        const char* message;
    };
    const Case cases[] = {
        {SetTrueOnWorker, nullptr, false, "Internal error: missing data."},
        {[](void*) -> bool { throw Error("x"); }, &flag, false, "x"},
        {[](void*) { return false; }, &flag, false, "Unknown error."},
        {nullptr, &flag, false, "Internal error: missing function."},
        // The worker survives a job that threw, and a good job clears the message.
        {SetTrueOnWorker, &flag, true, "Unknown error."},
        // The exception object is gone by the time the caller reads the text.
        {[](void*) -> bool { throw std::runtime_error(std::string("runtime ") + "failure"); }, &flag, false,
         "runtime failure"},
        {[](void*) -> bool { throw 42; }, &flag, false, "Unknown error."},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Worker().Execute(c.function, c.data), c.result) << c.message;
        EXPECT_STREQ(Worker().ErrorMessage(), c.message);
    }
    EXPECT_TRUE(flag);

    // Host threads that have not counted themselves in keep calling while another thread's last
    // Decrement() shuts the worker down again and again: every call either finishes before the
    // shutdown or starts a new worker after it, and gets its own value and result. Afterwards the
    // process has the threads and descriptors it had.
    const auto call = [](int value) {
        int sum = 0;
        bool onWorker = false;
        AddOnWorker(value, 1, &sum, &onWorker); // through the guard of a marshalled call
        CheckedJob job(value);
        return sum == value + 1 && onWorker && job.Right(job.ThreadQueue());
    };
    // The first session initialises the EGL display, which stays for the life of the process with
    // the driver's own threads, and may start a sanitizer's own thread; the counts come after it.
    EXPECT_TRUE(call(-2));
    ZEP6_AE::StaticList::Increment();
    ZEP6_AE::StaticList::Decrement();
    const int threadsBefore = zep6test::SettledThreadCount(0);
    const int descriptorsBefore = zep6test::DescriptorCount();

    constexpr int kHosts = 4, kSessions = 40;
    std::atomic<bool> stop{false};
    std::atomic<int> calls{0}, wrong{0};
    std::vector<std::thread> hosts;
    for (int t = 0; t < kHosts; ++t)
        hosts.emplace_back([&, t] {
            for (int i = 0; !stop.load(); ++i, calls.fetch_add(1))
                if (!call(t * 1000000 + i))
                    wrong.fetch_add(1);
        });
    bool stalled = false;
    for (int session = 0; session < kSessions && !stalled; ++session) {
        const int seen = calls.load();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (calls.load() < seen + 10 && !stalled)
            stalled = std::chrono::steady_clock::now() > deadline;
        ZEP6_AE::StaticList::Increment();
        ZEP6_AE::StaticList::Decrement();
    }
    stop = true;
    for (std::thread& host : hosts)
        host.join();
    EXPECT_FALSE(stalled) << "the calls stopped";
    EXPECT_EQ(wrong.load(), 0);

    ZEP6_AE::StaticList::Increment();
    ZEP6_AE::StaticList::Decrement();
    EXPECT_EQ(sThread, nullptr) << "the last Decrement deletes the worker";
    EXPECT_EQ(zep6test::SettledThreadCount(threadsBefore), threadsBefore);
    EXPECT_EQ(zep6test::DescriptorCount(), descriptorsBefore);
}

TEST(WorkerThread, ContextFailureIsReportedNotThrownOrHung) {
    // A device index that does not exist: the display cannot be made, so no context either.
    // The choice of display is made once per process; GL tests run one process per case.
    setenv("ZEP6_EGL_DEVICE", "999", 1);
    int sum = 0;
    bool onWorker = false;
    AddOnWorker(1, 2, &sum, &onWorker); // returns normally
    EXPECT_EQ(sum, 0);
    EXPECT_STREQ(sThread->ErrorMessage(), "OpenGL context failure.");
    EXPECT_FALSE(RootContext::Select());
    unsetenv("ZEP6_EGL_DEVICE");
}

TEST(RootContextOnHostThread, GuardDestructionTearsDownAndSelectRebuilds) {
    EXPECT_FALSE(RootContext::HasContext());
    {
        PushOpenGLContext saved;
        ASSERT_TRUE(RootContext::Select());
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        ASSERT_EQ(glIsTexture(texture), GL_TRUE);
        EXPECT_TRUE(RootContext::Select());
        EXPECT_EQ(glIsTexture(texture), GL_TRUE) << "selecting again keeps the same context";
        { RootContext guard; } // destroying a guard removes the root context
        EXPECT_FALSE(RootContext::HasContext());
        ASSERT_TRUE(RootContext::Select());
        EXPECT_EQ(glIsTexture(texture), GL_FALSE) << "a new context has none of the old names";
    }
    EXPECT_FALSE(RootContext::HasContext()) << "the saved binding (none) comes back";
}
