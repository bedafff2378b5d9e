#pragma once

// Support for the GL tests of the resource layer: running a test body on the GL worker thread,
// running a check with extensions hidden, and telling whether the process-wide caches are as a
// fresh process has them.

#include "gl/context/Shared.h"
#include "gl/resources/RenderBuffer.h"
#include "gl/resources/TextureBuffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <exception>
#include <functional>
#include <unistd.h>

namespace zep6test {

// Runs a test body as a job on the GL worker thread, with the root context current and the state
// captured around it, as the library's own marshalled functions run. GoogleTest's assertions work
// there (they are thread-safe); an exception that escapes the body is reported as a failure.
inline void RunBodyOnWorker(const std::function<void()>* body, bool* finished) {
    if (OGL_ZEP6_AE::MarshalToWorker(&RunBodyOnWorker, body, finished))
        return;
    try {
        (*body)();
        *finished = true;
    } catch (const std::exception& e) {
        ADD_FAILURE() << "exception on the worker: " << e.what();
    } catch (...) {
        ADD_FAILURE() << "unknown exception on the worker";
    }
}

// Returns whether the body ran to its end.
inline bool OnWorker(const std::function<void()>& body) {
    bool finished = false;
    const std::function<void()>* pointer = &body;
    RunBodyOnWorker(pointer, &finished);
    return finished;
}

// A case whose whole body runs as a job of the GL worker thread (OnWorker).
#define ZEP6_WORKER_TEST(suite, name)                                                                        \
    void suite##_##name##_OnWorker();                                                                        \
    TEST(suite, name) { ASSERT_TRUE(::zep6test::OnWorker(&suite##_##name##_OnWorker)); }                    \
    void suite##_##name##_OnWorker()

// Capability answers are taken once per process, so the cases that hide an extension run their
// check in a fresh process of their own (the test binary started again for just this case).
inline void ExpectWithout(const char* extensions, bool (*check)()) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto run = [&] {
        setenv("ZEP6_DISABLE_EXTENSIONS", extensions, 1);
        bool ok = false;
        OnWorker([&] { ok = check(); });
        return ok ? 0 : 1;
    };
    EXPECT_EXIT(_exit(run()), ::testing::ExitedWithCode(0), "");
}

// Whether the texture and renderbuffer caches hold nothing and still keep what is recycled, as
// in a fresh process (GL tests run one process per case; run on their own, the cases that count
// on this skip otherwise).
inline bool CachesAreFresh() {
    const OGL_ZEP6_AE::CacheCounters t = OGL_ZEP6_AE::TextureBuffer::Counters();
    const OGL_ZEP6_AE::CacheCounters r = OGL_ZEP6_AE::RenderBuffer::Counters();
    return t.allocated == 0 && r.allocated == 0 && !t.finalized && !r.finalized;
}

#define ZEP6_REQUIRE_FRESH_CACHES()                                                                          \
    do {                                                                                                     \
        if (!::zep6test::CachesAreFresh())                                                                   \
            GTEST_SKIP() << "needs the caches of a fresh process (run this case on its own)";                \
    } while (0)

} // namespace zep6test
