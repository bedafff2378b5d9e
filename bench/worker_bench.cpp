// Round trip of a marshalled job through the GL worker thread: the cost every public OpenGL
// operation pays once. Reports the median and 99th percentile per call in microseconds, with
// the renderer in the label so figures from different machines are never confused.
#include "gl/context/RootContext.h"
#include "gl/context/Shared.h"
#include "gl/context/Thread.h"
#include "gl/context/ThreadHooksPrivate.h"
#include "sync/StaticList.h"

#include <GL/gl.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

// Marshalled functions take at least two arguments (the job templates start at two).
void EmptyJob(int* counter, int step) {
    if (MarshalToWorker(&EmptyJob, counter, step))
        return;
    *counter += step;
}

void ReadRenderer(std::string* out, int maxLength) {
    if (MarshalToWorker(&ReadRenderer, out, maxLength))
        return;
    const GLubyte* text = glGetString(GL_RENDERER);
    *out = text ? reinterpret_cast<const char*>(text) : "no renderer";
    out->resize(std::min(out->size(), size_t(maxLength)));
}

void ReportPercentiles(benchmark::State& state, std::vector<double>& micros) {
    if (micros.empty())
        return;
    std::sort(micros.begin(), micros.end());
    auto at = [&](double q) { return micros[std::min(micros.size() - 1, size_t(q * micros.size()))]; };
    state.counters["median_us"] = at(0.5);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = micros.back();
    std::string renderer;
    ReadRenderer(&renderer, 200);
    state.SetLabel(renderer);
}

// state.range(0): 1 = the whole OpenGL state is captured and restored around each job, as in
// every real call; 0 = the capture is switched off, leaving the bare hand-over between threads.
void BM_EmptyMarshalledJob(benchmark::State& state) {
    const detail::JobStateHooks saved = detail::gJobStateHooks;
    if (state.range(0) == 0)
        detail::gJobStateHooks = detail::JobStateHooks();
    ZEP6_AE::StaticList::Increment();
    int counter = 0;
    EmptyJob(&counter, 1);  // starts the worker and makes the context
    std::vector<double> micros;
    micros.reserve(1 << 16);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        EmptyJob(&counter, 1);
        const auto end = std::chrono::steady_clock::now();
        micros.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    }
    benchmark::DoNotOptimize(counter);
    ReportPercentiles(state, micros);
    detail::gJobStateHooks = saved;
    ZEP6_AE::StaticList::Decrement();
}
BENCHMARK(BM_EmptyMarshalledJob)->ArgName("state_capture")->Arg(0)->Arg(1)->Iterations(20000)->UseRealTime();

// Start-up and shutdown of the whole engine: worker thread, root context and first job.
void BM_StartStopCycle(benchmark::State& state) {
    for (auto _ : state) {
        ZEP6_AE::StaticList::Increment();
        int counter = 0;
        EmptyJob(&counter, 1);
        ZEP6_AE::StaticList::Decrement();
        benchmark::DoNotOptimize(counter);
    }
}
BENCHMARK(BM_StartStopCycle)->Iterations(20)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
