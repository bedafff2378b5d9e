#include "core/TestCountersPrivate.h"

#include <atomic>

namespace OGL_ZEP6_AE {

namespace {

constexpr int kCounters = static_cast<int>(TestCounter::UniformDiscoveries) + 1;

std::atomic<long> sCounts[kCounters];

} // namespace

long TestCount(TestCounter counter) {
    return sCounts[static_cast<int>(counter)].load();
}

void ResetTestCounts() {
    for (std::atomic<long>& count : sCounts)
        count = 0;
}

void AddTestCount(TestCounter counter) {
    ++sCounts[static_cast<int>(counter)];
}

} // namespace OGL_ZEP6_AE
