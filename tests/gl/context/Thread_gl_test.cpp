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

bool NestedExecute(void* data) {
    // A job that hands another job to the worker runs it at once on the same thread.
    bool inner = false;
    const bool ok = sThread->Execute(SetTrueOnWorker, &inner);
    *static_cast<bool*>(data) = ok && inner;
    return true;
}

// A marshalled function in the library's own style: one body behind the guard.
void AddOnWorker(int a, int b, int* sum, bool* onWorker) {
    if (MarshalToWorker(&AddOnWorker, a, b, sum, onWorker))
        return;
    *sum = a + b;
    *onWorker = Shared::IsThread();
}

} // namespace

TEST(WorkerThread, RunsJobsWithTheRootContextCurrent) {
    bool seen = false;
    EXPECT_TRUE(Worker().Execute(SetTrueOnWorker, &seen));
    EXPECT_TRUE(seen);
    EXPECT_FALSE(Shared::IsThread());
    EXPECT_FALSE(RootContext::HasContext()) << "the host thread must not get the context";
    bool inner = false;
    EXPECT_TRUE(Worker().Execute(NestedExecute, &inner));
    EXPECT_TRUE(inner);
}

// Each job's result and message, in an order where every message differs from the one before,
// so a message left over from the previous job cannot pass.
TEST(WorkerThread, ReportsTheResultAndMessageOfEveryJob) {
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
}

TEST(WorkerThread, FinalizeBeforeStartReturnsAndExecuteRestarts) {
    Worker().Finalize(); // never started: returns at once
    EXPECT_FALSE(sThread->IsRunning());
    bool seen = false;
    EXPECT_TRUE(sThread->Execute(SetTrueOnWorker, &seen));
    EXPECT_TRUE(seen);
    EXPECT_TRUE(sThread->IsRunning());
    sThread->Finalize();
    EXPECT_FALSE(sThread->IsRunning());
    // A stopped worker starts again, with a new root context.
    seen = false;
    EXPECT_TRUE(sThread->Execute(SetTrueOnWorker, &seen));
    EXPECT_TRUE(seen);
}

TEST(WorkerThread, ManyHostThreadsGetTheirOwnResults) {
    constexpr int kThreads = 8;
    constexpr int kCalls = 500;
    // Static, so the job (a plain function) reaches them without a capture.
    static std::atomic<int> inJob{0}, overlaps{0};
    std::atomic<int> wrong{0};
    struct Call {
        int input;
        int output;
    };
    auto job = [](void* data) -> bool {
        auto* call = static_cast<Call*>(data);
        if (inJob.fetch_add(1) != 0)
            overlaps.fetch_add(1);
        call->output = call->input * 3 + 1;
        inJob.fetch_sub(1);
        return (call->input & 1) == 0;
    };
    Worker();
    std::vector<std::thread> hosts;
    for (int t = 0; t < kThreads; ++t) {
        hosts.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i) {
                Call call{t * 100000 + i, -1};
                const bool result = sThread->Execute(job, &call);
                if (call.output != call.input * 3 + 1 || result != ((call.input & 1) == 0))
                    wrong.fetch_add(1);
            }
        });
    }
    for (auto& h : hosts)
        h.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(overlaps.load(), 0);
}

TEST(WorkerThread, StartStopCyclesLeaveNothingBehind) {
    // The first cycle initialises the EGL display, which stays for the life of the process
    // with the driver's own threads (llvmpipe keeps rasteriser threads per display); the count
    // is taken after it.
    auto cycle = [](int value) {
        ZEP6_AE::StaticList::Increment();
        int sum = 0;
        bool onWorker = false;
        AddOnWorker(value, 1, &sum, &onWorker);
        EXPECT_EQ(sum, value + 1);
        EXPECT_TRUE(onWorker);
        EXPECT_NE(sThread, nullptr);
        ZEP6_AE::StaticList::Decrement();
        EXPECT_EQ(sThread, nullptr) << "the last Decrement deletes the worker";
    };
    cycle(-1);
    const int threadsBefore = zep6test::SettledThreadCount(0);
    const int descriptorsBefore = zep6test::DescriptorCount();
    for (int i = 0; i < 50; ++i) {
        cycle(i);
        if (HasFailure())
            return;
    }
    EXPECT_EQ(zep6test::SettledThreadCount(threadsBefore), threadsBefore);
    EXPECT_EQ(zep6test::DescriptorCount(), descriptorsBefore);
}

TEST(WorkerThread, ContextFailureIsReportedNotThrownOrHung) {
    // A device index that does not exist: the display cannot be made, so no context either.
    // The choice of display is made once per process; GL tests run one process per case.
    setenv("ZEP6_EGL_DEVICE", "999", 1);
    bool seen = false;
    EXPECT_FALSE(Worker().Execute(SetTrueOnWorker, &seen));
    EXPECT_FALSE(seen);
    EXPECT_STREQ(Worker().ErrorMessage(), "OpenGL context failure.");
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
        ASSERT_NE(glGetString(GL_RENDERER), nullptr);
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

TEST(RootContextOnHostThread, ContextCurrentOnHostBlocksTheWorker) {
    PushOpenGLContext saved;
    ASSERT_TRUE(RootContext::Select());
    bool seen = false;
    // One context is current on one thread at a time: the worker cannot take it now.
    EXPECT_FALSE(Worker().Execute(SetTrueOnWorker, &seen));
    EXPECT_STREQ(Worker().ErrorMessage(), "OpenGL context failure.");
}
