// The storage type of image content (Texture::GetBestType) asked first from two sides at once;
// its choice under ZEP6_STORAGE is checked with the round-trip matrix (RoundTrip_gl_test.cpp).
#include "gl/resources/ResourceTestSupport.h"
#include "gl/texture/Texture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>

using namespace OGL_ZEP6_AE;

namespace {

// Whether the thread is blocked (state S in /proc: waiting on a lock or a condition).
bool IsBlocked(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const std::size_t end = text.rfind(')');
    return end != std::string::npos && end + 2 < text.size() && text[end + 2] == 'S';
}

// A host thread asks first, outside any job, while the worker runs another thread's job; that job
// asks once the host thread is blocked waiting for the worker. The first answer's queries hand
// themselves to the worker, so an answer worked out under a lock (a function-local static) would
// leave each side waiting for the other.
int BothSidesGetTheAnswer() {
    alarm(10); // a deadlock ends the process with SIGALRM
    std::atomic<pid_t> hostThread{0};
    std::atomic<unsigned int> hostAnswer{0};
    unsigned int jobAnswer = 0;
    std::thread host;
    const bool ran = zep6test::OnWorker([&] {
        host = std::thread([&] {
            hostThread = static_cast<pid_t>(gettid());
            hostAnswer = Texture::GetBestType();
        });
        while (hostThread == 0 || !IsBlocked(hostThread))
            usleep(1000);
        jobAnswer = Texture::GetBestType();
    });
    host.join();
    return ran && jobAnswer != 0 && hostAnswer == jobAnswer ? 0 : 1;
}

TEST(BestTypeDeathTest, AskedFirstByAHostThreadAndByAJobAtOnce) {
    // The answer is kept for the process: the case runs in a fresh one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(_exit(BothSidesGetTheAnswer()), ::testing::ExitedWithCode(0), "");
}

} // namespace
