// The tool's 3-D scene (three lit spheres over a checkered floor) through the multipass render,
// end to end into an 8-bit BGRA host frame: 1920 x 1080 (one tile) and 3840 x 2160 (four tiles),
// anti-aliasing quality 0, 3 and 5 (1, 8 and 16 passes), each without depth of field and with the
// post-process blur focused on the middle sphere (aperture 150, depth smoothed over 2 pixels).
// Reported: ms per frame (real time). No target: the figures say what a frame of each kind costs.
#include "BenchFrame.h"
#include "Scene.h"

#include "core/PixelFormat.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

void BM_Scene(benchmark::State& state, long width, long height, int quality, bool postBlur) {
    zep6bench::Frame frame(static_cast<long>(OGL_ZEP6_AE::FourCC("BGRA")), 32, 255, width, height, true);
    zep6gl::SceneOptions options;
    options.quality = quality;
    if (postBlur) {
        options.focus = zep6gl::kSphereDistances[1];
        options.aperture = 150.0f;
        options.smooth = 2.0f;
    }
    // A first frame links the programs and fills the caches; a failure there skips the case.
    std::string error = zep6bench::OnWorker([&] { zep6gl::RenderScene(&frame, options); });
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    const double seconds = zep6bench::TimeFrames(state, [&] {
        error = zep6bench::OnWorker([&] { zep6gl::RenderScene(&frame, options); });
        return error.empty();
    });
    if (!error.empty())
        state.SkipWithError(error.c_str());
    zep6bench::Report(state, frame, 1, seconds);
    state.SetLabel(zep6bench::Facts().renderer);
}

void RegisterAll() {
    for (const auto& [width, height] : {std::pair<long, long>{1920, 1080}, std::pair<long, long>{3840, 2160}})
        for (const int quality : {0, 3, 5})
            for (const bool postBlur : {false, true}) {
                const std::string name = std::to_string(width) + "x" + std::to_string(height) + "/quality " +
                                         std::to_string(quality) + (postBlur ? "/post blur" : "/sharp");
                benchmark::RegisterBenchmark(name.c_str(), BM_Scene, width, height, quality, postBlur)
                    ->UseRealTime()
                    ->Unit(benchmark::kMillisecond)
                    ->MinTime(0.5);
            }
}

} // namespace

int main(int argc, char** argv) {
    return zep6bench::RunProgram(argc, argv, RegisterAll, [] {});
}
