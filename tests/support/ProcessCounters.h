#pragma once

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

namespace zep6test {

// Number of entries in a /proc/self directory: threads (task) or open descriptors (fd).
inline int CountProcEntries(const char* path) {
    return static_cast<int>(
        std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator()));
}

inline int ThreadCount() { return CountProcEntries("/proc/self/task"); }
inline int DescriptorCount() { return CountProcEntries("/proc/self/fd"); }

// A thread that has returned may still be listed for a moment while the kernel reaps it; wait
// up to a second for the count to come down to `expected`.
inline int SettledThreadCount(int expected) {
    int count = ThreadCount();
    for (int i = 0; i < 100 && count > expected; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        count = ThreadCount();
    }
    return count;
}

} // namespace zep6test
