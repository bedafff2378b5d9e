// A host frame larger than any render target, drawn through the tile loop: TiledBuffer::Write
// of a 7680 x 4320 float RGBA frame (530 MB) into a destination of the same size and layout, 16
// tiles of 2048 x 1080, and WriteFit of the same frame stretched into a 3840 x 2160 destination
// (4 tiles). Each frame is one job on the GL worker thread, as a plug-in's call is.
//
// Reported: milliseconds per frame, megapixels per second (destination pixels), and the peak
// resident memory of the process while the frames ran (VmHWM, reset just before them), next to
// the resident memory before them, which already holds both frames; the difference is what the
// loop itself takes (on llvmpipe texture storage lives in process memory too).
#include "BenchFrame.h"

#include "core/PixelFormat.h"
#include "gl/state/Blend.h"
#include "gl/state/Push.h"
#include "gl/targets/TiledBuffer.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <string>

using namespace OGL_ZEP6_AE;
using zep6bench::Frame;

namespace {

// A line "<name>: <n> kB" of /proc/self/status, in MiB; 0 when it cannot be read.
double StatusMiB(const char* name) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::string prefix = std::string(name) + ":";
    while (std::getline(status, line))
        if (line.compare(0, prefix.size(), prefix) == 0)
            return std::stod(line.substr(prefix.size())) / 1024.0;
    return 0;
}

// Starts a new peak: VmHWM becomes the current resident size (Linux 4.0 and later).
void ResetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

// state.range(0): 0 = Write at (0, 0) into a destination of the frame's size; 1 = WriteFit into
// a destination of half the frame's width and height.
void BM_TiledWrite(benchmark::State& state) {
    constexpr long kWidth = 7680, kHeight = 4320;
    const bool fit = state.range(0) == 1;
    const long rgba = static_cast<long>(FourCC("RGBA"));
    Frame source(rgba, 128, 1, kWidth, kHeight, true);
    Frame destination(rgba, 128, 1, fit ? kWidth / 2 : kWidth, fit ? kHeight / 2 : kHeight, true);
    source.FillPattern(1);

    auto frame = [&] {
        return zep6bench::OnWorker([&] {
            TiledBuffer tiles(&destination);
            while (tiles.Next()) {
                // A copy: the tile's default state would blend the frame over what is there.
                Push<BlendFunc> replace(BlendFunc::Replace);
                if (fit)
                    tiles.WriteFit(&source);
                else
                    tiles.Write(&source, 0, 0);
            }
        });
    };
    // One frame before timing (programs linked, cache filled), its content checked where the
    // destination has the source's size; a wrong frame is reported, and still timed.
    std::string error = frame();
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    const bool sameContent = fit || destination.SameWithin(source);
    const double before = StatusMiB("VmRSS");
    ResetPeak();
    const double seconds = zep6bench::TimeFrames(state, [&] {
        error = frame();
        return error.empty();
    });
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    const double peak = StatusMiB("VmHWM");
    zep6bench::Report(state, destination, 1, seconds);
    state.counters["rss_before_MiB"] = before;
    state.counters["peak_rss_MiB"] = peak;
    state.counters["loop_peak_MiB"] = peak - before;
    state.counters["content_ok"] = sameContent ? 1 : 0;
    state.SetLabel(std::to_string(kWidth) + "x" + std::to_string(kHeight) + " rgba32f " +
                   (fit ? "WriteFit into 3840x2160" : "Write into 7680x4320") +
                   (sameContent ? "" : " (WRONG CONTENT)") + " | " + zep6bench::Facts().renderer);
}

} // namespace

int main(int argc, char** argv) {
    return zep6bench::RunProgram(
        argc, argv,
        [] {
            // A few frames each: on llvmpipe one frame takes seconds.
            benchmark::RegisterBenchmark("TiledWrite", BM_TiledWrite)
                ->Arg(0)
                ->Arg(1)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond)
                ->Iterations(3);
        },
        [] {});
}
