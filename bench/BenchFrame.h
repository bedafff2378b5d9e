#pragma once

// What the benchmarks of the library against plain OpenGL share: a host frame that owns its
// pixels, a way to run a piece of work as one job on the library's GL worker thread (as a
// plug-in's call does), the renderer and render-target format the library draws with, the
// plain-OpenGL side's context, the timing and reporting of frames, the registration of each case
// on both sides, the figures that go into the summary printed after all benchmarks have run
// (library time over plain-OpenGL time, per case), and the program's main.

#include "PlainGl.h"

#include "core/PixelFormat.h"
#include "core/XIImage.h"
#include "gl/context/Capabilities.h"
#include "gl/context/Shared.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/targets/RenderedTexture.h"
#include "sync/StaticList.h"

#include <GL/gl.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zep6bench {

class Frame : public XIImage {
public:
    Frame(long colorSpace, long bitDepth, long whiteLevel, long width, long height, bool bottomUp)
        : colorSpace_(colorSpace), bitDepth_(bitDepth), whiteLevel_(whiteLevel), width_(width),
          height_(height), bottomUp_(bottomUp),
          pixels_(static_cast<size_t>(width * bitDepth / 8) * static_cast<size_t>(height)) {}

    bool IsReadOnly() const override { return false; }
    long GetWidth() const override { return width_; }
    long GetHeight() const override { return height_; }
    long GetRowBytes() const override { return width_ * bitDepth_ / 8; }
    void* GetBaseAddress() const override { return const_cast<unsigned char*>(pixels_.data()); }
    long GetColorSpace() const override { return colorSpace_; }
    long GetBitDepth() const override { return bitDepth_; }
    long GetWhiteLevel() const override { return whiteLevel_; }
    bool IsBottomUp() const override { return bottomUp_; }
    void* GetNative() const override { return nullptr; }

    unsigned char* Bytes() { return pixels_.data(); }
    const unsigned char* Bytes() const { return pixels_.data(); }
    size_t ByteCount() const { return pixels_.size(); }
    long Pixels() const { return width_ * height_; }

    // Every channel a value in [0, 1] of the frame's own type that changes from pixel to pixel
    // (seeded, so two frames can differ).
    void FillPattern(unsigned seed) {
        const long channels = width_ * height_ * 4;
        const long size = bitDepth_ / 32;
        for (long i = 0; i < channels; ++i) {
            const unsigned v = (static_cast<unsigned>(i) * 2654435761u + seed * 40503u) >> 16;
            unsigned char* at = pixels_.data() + i * size;
            if (size == 1) {
                *at = static_cast<unsigned char>(v % 256);
            } else if (size == 2) {
                const auto s = static_cast<uint16_t>(v % static_cast<unsigned>(whiteLevel_ + 1));
                std::memcpy(at, &s, 2);
            } else {
                const float f = static_cast<float>(v % 1025) / 1024.0f;
                std::memcpy(at, &f, 4);
            }
        }
    }

    // Whether `other` (same description) holds the same picture as far as the card's half-float
    // storage keeps it (2^-10 relative, one 8-bit step), sampled on a grid of channels.
    bool SameWithin(const Frame& other) const {
        const long size = bitDepth_ / 32;
        const long channels = width_ * height_ * 4;
        for (long i = 0; i < channels; i += 997) {
            const unsigned char* a = pixels_.data() + i * size;
            const unsigned char* b = other.pixels_.data() + i * size;
            double x = 0, y = 0, tolerance = 0;
            if (size == 1) {
                x = *a, y = *b, tolerance = 1.0;
            } else if (size == 2) {
                uint16_t s, t;
                std::memcpy(&s, a, 2), std::memcpy(&t, b, 2);
                x = s, y = t, tolerance = whiteLevel_ / 1024.0 + 1.0;
            } else {
                float s, t;
                std::memcpy(&s, a, 4), std::memcpy(&t, b, 4);
                x = s, y = t, tolerance = 1e-3 * std::fabs(s) + 1e-6;
            }
            if (!(std::fabs(x - y) <= tolerance))
                return false;
        }
        return true;
    }

private:
    long colorSpace_, bitDepth_, whiteLevel_, width_, height_;
    bool bottomUp_;
    std::vector<unsigned char> pixels_;
};

namespace detail {
inline void RunJob(const std::function<void()>* body, std::string* error) {
    if (OGL_ZEP6_AE::MarshalToWorker(&RunJob, body, error))
        return;
    try {
        (*body)();
    } catch (const std::exception& e) {
        *error = e.what();
    }
}
} // namespace detail

// Runs `body` as one job on the GL worker thread and waits; returns the message of an exception
// that left it, or "" when it ran through.
inline std::string OnWorker(const std::function<void()>& body) {
    std::string error;
    const std::function<void()>* pointer = &body;
    detail::RunJob(pointer, &error);
    return error;
}

inline std::string LibraryRenderer() {
    char text[256] = {};
    OGL_ZEP6_AE::GetGLString(GL_RENDERER, text, sizeof text);
    return text[0] ? text : "no renderer";
}

// The colour-buffer internal format of a library render target, and the renderer, found once.
struct LibraryFacts {
    unsigned int internalFormat = 0;
    std::string renderer;
};

inline const LibraryFacts& Facts() {
    static const LibraryFacts facts = [] {
        LibraryFacts f;
        f.renderer = LibraryRenderer();
        OnWorker([&] {
            OGL_ZEP6_AE::RenderedTexture probe(64, 64);
            if (probe.Select() && probe.ColorBuffer())
                f.internalFormat = probe.ColorBuffer()->Key().InternalFormat();
        });
        return f;
    }();
    return facts;
}

// The plain-OpenGL side's context, current on this thread; null, with the benchmark skipped and
// the reason given, when the library's render-target format (which the baseline's textures take)
// is unknown or no context can be made.
inline std::unique_ptr<plaingl::Context> PlainGlContext(benchmark::State& state) {
    if (Facts().internalFormat == 0) {
        state.SkipWithError("the library's render-target format is unknown");
        return nullptr;
    }
    try {
        return std::make_unique<plaingl::Context>();
    } catch (const std::exception& e) {
        state.SkipWithError(e.what());
        return nullptr;
    }
}

// Runs `frame` once per benchmark iteration; the seconds of real time the frames took, summed.
// `frame` returns whether to go on: false ends the timing early (a failed frame).
template <class FrameBody> double TimeFrames(benchmark::State& state, FrameBody&& frame) {
    double seconds = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const bool more = frame();
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (!more)
            break;
    }
    return seconds;
}

inline double MillisecondsPerFrame(const benchmark::State& state, double seconds) {
    return seconds * 1e3 / static_cast<double>(state.iterations());
}

// The counters of a timed run over frames like `frame`: bytes per second (`transfers` frames'
// worth of bytes cross to or from the card per frame), megapixels per second and milliseconds
// per frame.
inline void Report(benchmark::State& state, const Frame& frame, int transfers, double seconds) {
    const int64_t frames = state.iterations();
    state.SetBytesProcessed(frames * static_cast<int64_t>(frame.ByteCount()) * transfers);
    state.counters["MP/s"] =
        benchmark::Counter(static_cast<double>(frames * frame.Pixels()) / 1e6, benchmark::Counter::kIsRate);
    state.counters["ms/frame"] = seconds * 1e3 / static_cast<double>(frames);
}

// Registers one case on both sides, "Library/<name>" and "PlainGL/<name>", each run for at
// least `minTime` seconds of real time and reported in milliseconds.
template <class Bench, class... Args>
void RegisterPair(const std::string& name, double minTime, Bench library, Bench plain, const Args&... args) {
    for (benchmark::internal::Benchmark* side :
         {benchmark::RegisterBenchmark(("Library/" + name).c_str(), library, args...),
          benchmark::RegisterBenchmark(("PlainGL/" + name).c_str(), plain, args...)})
        side->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(minTime);
}

// The name of a colour internal format a render target may have.
inline std::string InternalFormatName(unsigned int format) {
    switch (format) {
    case 0x881A:
        return "GL_RGBA16F";
    case 0x8814:
        return "GL_RGBA32F";
    case 0x8058:
        return "GL_RGBA8";
    default: {
        char text[32];
        std::snprintf(text, sizeof text, "0x%04X", format);
        return text;
    }
    }
}

// Milliseconds per frame of each case, by side, for the closing summary.
struct Timing {
    double library = 0;
    double baseline = 0;
};

inline std::map<std::string, Timing>& Timings() {
    static std::map<std::string, Timing> timings;
    return timings;
}

// Prints one row per case: both times and the ratio library / baseline against `target`.
inline void PrintSummary(const char* title, double target, const std::string& targetCases) {
    std::printf("\n%s (ms per frame, real time; ratio = library / plain OpenGL)\n", title);
    std::printf("%-34s %12s %12s %8s\n", "case", "library", "plain GL", "ratio");
    for (const auto& [name, t] : Timings()) {
        if (t.library > 0 && t.baseline > 0)
            std::printf("%-34s %12.2f %12.2f %8.2f%s\n", name.c_str(), t.library, t.baseline,
                        t.library / t.baseline,
                        name.find(targetCases) != std::string::npos
                            ? (t.library / t.baseline <= target ? "  (target met)" : "  (TARGET MISSED)")
                            : "");
        else
            std::printf("%-34s %12.2f %12.2f %8s\n", name.c_str(), t.library, t.baseline, "n/a");
    }
    std::printf("target: library at most %.1fx plain OpenGL for cases matching '%s'\n", target,
                targetCases.c_str());
}

// A benchmark program's main: `registerAll` registers the cases (and may add lines of context),
// `summary` prints after the run. The library stays in use for the whole run (main counts as its
// user), so the worker thread and its context are made once, not per benchmark.
inline int RunProgram(int argc, char** argv, const std::function<void()>& registerAll,
                      const std::function<void()>& summary) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    ZEP6_AE::StaticList::Increment();
    benchmark::AddCustomContext("renderer", Facts().renderer);
    benchmark::AddCustomContext("render target format", InternalFormatName(Facts().internalFormat));
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    summary();
    ZEP6_AE::StaticList::Decrement();
    benchmark::Shutdown();
    return 0;
}

// RunProgram with the summary of library against plain OpenGL that PrintSummary gives.
inline int Main(int argc, char** argv, const std::function<void()>& registerAll, const char* title,
                double target, const std::string& targetCases) {
    return RunProgram(argc, argv, registerAll, [&] { PrintSummary(title, target, targetCases); });
}

// The two host-frame descriptions the operation benchmarks run over: 8-bit BGRA and float RGBA.
struct FrameLayout {
    const char* name;
    long colorSpace;
    long bitDepth;
    long whiteLevel;
};
inline const FrameLayout kFrameLayouts[] = {
    {"bgra8", static_cast<long>(OGL_ZEP6_AE::FourCC("BGRA")), 32, 255},
    {"rgba32f", static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), 128, 1},
};

} // namespace zep6bench
