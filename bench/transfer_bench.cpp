// Throughput of one frame through the card: upload, one draw into a render target, read back
// into a host frame of the same layout. Through the library's public path (SubImageTexture upload
// inside RenderedTexture::Write, RenderedTexture::Read, each frame one job on the GL worker
// thread) and, in the same run, through plain OpenGL on a context of its own (glTexSubImage2D
// into a texture of the library's internal format, one copy draw into a framebuffer object of
// that format, glReadPixels in the frame's layout), so the ratio shows what the library adds.
//
// The frame is larger than the library's default render target (2048 x 1080); the benchmark
// sizes one RenderedTexture to the whole frame (the texture cache hands out a colour buffer at
// least that large, checked below) so both sides do one upload, one draw and one read per frame.
//
// Layouts: 8-bit BGRA bottom-up and float RGBA bottom-up, which OpenGL takes as they are (direct
// upload and read), and 8-bit RGBA top-down and 16-bit RGBA, which the library converts on the
// card (flip, white level). The plain-OpenGL side moves each layout with the format and type
// OpenGL offers for it, in memory order (for a top-down frame the same bytes come back without
// any flip), which is the least any implementation has to do.
//
// Reported: real time per frame (ms), bytes per second (upload plus read back), megapixels per
// second, and in the label the frame size, layout and renderer. A summary after the run gives
// library / plain OpenGL per layout; the target is at most 1.3 for the layout that needs no
// conversion.
//
// A floor row per layout, Floor/<layout>, copies the same bytes (a frame each way) with memcpy
// on this machine: no transfer can cross faster than memory does. The closing table gives each
// side's time as a multiple of its floor.
//
// Mixed/1000 frames sends 1,000 frames of mixed sizes and layouts through a render target of each
// frame's size and reports how much resident memory grew over them (after one warm-up round of
// every size) with the staging buffers' and the memory cache's counters. The staging buffers are
// used where ZEP6_PIXEL_BUFFERS picks them (run with ZEP6_PIXEL_BUFFERS=on on llvmpipe).
#include "core/TestCountersPrivate.h"
#include "BenchFrame.h"
#include "PlainGl.h"

#include "core/PixelFormat.h"
#include "geometry/Region.h"
#include "gl/resources/MemoryBuffer.h"
#include "gl/resources/StagingBuffer.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/Texture.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>
#include <map>
#include <memory>
#include <vector>
#include <string>
#include <thread>

using namespace OGL_ZEP6_AE;
using zep6bench::Frame;

namespace {

constexpr long kWidth = 3840;
constexpr long kHeight = 2160;

struct Layout {
    const char* name;
    long colorSpace;
    long bitDepth;
    long whiteLevel;
    bool bottomUp;
    GLenum glFormat; // what plain OpenGL moves the pixels as
    GLenum glType;
};

const Layout kLayouts[] = {
    {"bgra8 bottom-up", static_cast<long>(FourCC("BGRA")), 32, 255, true, GL_BGRA, GL_UNSIGNED_BYTE},
    {"rgba32f bottom-up", static_cast<long>(FourCC("RGBA")), 128, 1, true, GL_RGBA, GL_FLOAT},
    {"rgba8 top-down", static_cast<long>(FourCC("RGBA")), 32, 255, false, GL_RGBA, GL_UNSIGNED_BYTE},
    {"rgba16 bottom-up", static_cast<long>(FourCC("RGBA")), 64, 65535, true, GL_RGBA, GL_UNSIGNED_SHORT},
};

std::string Label(const Layout& layout, const std::string& renderer) {
    return std::to_string(kWidth) + "x" + std::to_string(kHeight) + " " + layout.name + " | " + renderer;
}

// Upload and read back: two frames' worth of bytes cross per frame.
constexpr int kTransfers = 2;

// One frame through the library, as one job: upload and draw into the target, read back.
// GL worker thread.
void LibraryFrame(const Frame& source, Frame& destination, RenderedTexture& target) {
    {
        PushState state;
        if (!target.Select())
            throw std::runtime_error("the render target could not be selected");
        // A plain copy, like the baseline's draw: the selected target's default state blends by
        // alpha, and BlendFunc::Replace keeps blending on (with factors one and zero), which costs
        // llvmpipe a read of every destination pixel; blending off writes the same values.
        BlendFunc copy = BlendFunc::Replace;
        copy.flag = false;
        Push<BlendFunc> replace(copy);
        target.Write(&source);
    }
    target.Read(&destination);
}

void BM_LibraryTransfer(benchmark::State& state, const Layout& layout) {
    const zep6bench::LibraryFacts& facts = zep6bench::Facts();
    Frame source(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight, layout.bottomUp);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight,
                      layout.bottomUp);
    source.FillPattern(1);

    // Made, warmed up (programs linked, textures taken from the cache) and checked before timing.
    std::unique_ptr<RenderedTexture> target;
    std::string error = zep6bench::OnWorker([&] {
        target.reset(new RenderedTexture(static_cast<int>(kWidth), static_cast<int>(kHeight)));
        LibraryFrame(source, destination, *target);
        const TextureBuffer* buffer = target->ColorBuffer();
        if (!buffer || buffer->Key().Width() < kWidth || buffer->Key().Height() < kHeight)
            throw std::runtime_error("the texture cache gave no colour buffer as large as the frame");
    });
    if (error.empty() && !destination.SameWithin(source))
        error = "the frame did not come back as it went in";
    ResetTestCounts();

    double seconds = 0;
    if (error.empty()) {
        seconds = zep6bench::TimeFrames(state, [&] {
            error = zep6bench::OnWorker([&] { LibraryFrame(source, destination, *target); });
            return error.empty();
        });
    }
    zep6bench::OnWorker([&] { target.reset(); });
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
    } else {
        zep6bench::Report(state, source, kTransfers, seconds);
        const double frames = static_cast<double>(state.iterations());
        state.counters["direct_uploads"] = TestCount(TestCounter::DirectUploads) / frames;
        state.counters["direct_reads"] = TestCount(TestCounter::DirectReads) / frames;
        state.SetLabel(Label(layout, facts.renderer));
        zep6bench::Timings()[layout.name].library = zep6bench::MillisecondsPerFrame(state, seconds);
    }
}

// The same frame through plain OpenGL on its own context on this thread.
void BM_PlainGlTransfer(benchmark::State& state, const Layout& layout) {
    const std::unique_ptr<plaingl::Context> context = zep6bench::PlainGlContext(state);
    if (!context)
        return;
    const plaingl::Functions& gl = context->gl();
    Frame source(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight, layout.bottomUp);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight,
                      layout.bottomUp);
    source.FillPattern(1);

    const plaingl::Pass pass(gl, kWidth, kHeight, zep6bench::Facts().internalFormat, 1,
                             plaingl::CopyFragmentShader());
    gl.Uniform1i(gl.GetUniformLocation(pass.Program(), "source"), 0);
    glEnable(GL_TEXTURE_RECTANGLE);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    auto frame = [&] {
        glBindTexture(GL_TEXTURE_RECTANGLE, pass.Input(0));
        glTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, 0, kWidth, kHeight, layout.glFormat, layout.glType,
                        source.Bytes());
        gl.BindFramebuffer(GL_FRAMEBUFFER, pass.Framebuffer());
        plaingl::DrawFullQuad(kWidth, kHeight);
        glReadPixels(0, 0, kWidth, kHeight, layout.glFormat, layout.glType, destination.Bytes());
        return true;
    };
    frame();
    if (glGetError() != GL_NO_ERROR) {
        state.SkipWithError("plain OpenGL: an error in the first frame");
        return;
    }
    if (!destination.SameWithin(source)) {
        state.SkipWithError("plain OpenGL: the frame did not come back as it went in");
        return;
    }
    const double seconds = zep6bench::TimeFrames(state, frame);
    zep6bench::Report(state, source, kTransfers, seconds);
    state.SetLabel(Label(layout, context->Renderer()));
    zep6bench::Timings()[layout.name].baseline = zep6bench::MillisecondsPerFrame(state, seconds);
}

// The floor: the bytes one frame moves (up and back), copied in host memory.
std::map<std::string, double>& FloorTimes() {
    static std::map<std::string, double> times;
    return times;
}

void BM_MemcpyFloor(benchmark::State& state, const Layout& layout) {
    Frame source(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight, layout.bottomUp);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight,
                      layout.bottomUp);
    source.FillPattern(1);
    // Two copies per frame, as the transfer moves a frame up and a frame back.
    const double seconds = zep6bench::TimeFrames(state, [&] {
        std::memcpy(destination.Bytes(), source.Bytes(), source.ByteCount());
        benchmark::ClobberMemory();
        std::memcpy(source.Bytes(), destination.Bytes(), source.ByteCount());
        benchmark::ClobberMemory();
        return true;
    });
    zep6bench::Report(state, source, kTransfers, seconds);
    state.SetLabel(Label(layout, "memcpy"));
    FloorTimes()[layout.name] = zep6bench::MillisecondsPerFrame(state, seconds);
}

// The staging copy of one float frame (into packed memory and back out) over 1, 2 and 4 threads,
// beside what this machine's CopyThreads would choose: whether splitting pays here.
void BM_StagingCopy(benchmark::State& state, int threads) {
    const Layout& layout = kLayouts[1]; // rgba32f
    Frame source(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight, true);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, kWidth, kHeight, true);
    source.FillPattern(1);
    std::vector<unsigned char> packed(source.ByteCount());
    const long rowBytes = kWidth * 16;
    const HostRows in{source.Bytes(), rowBytes, rowBytes, kHeight};
    const HostRows out{destination.Bytes(), rowBytes, rowBytes, kHeight};
    const double seconds = zep6bench::TimeFrames(state, [&] {
        StagingBuffer::CopyIn(in, packed.data(), threads);
        StagingBuffer::CopyOut(packed.data(), out, threads);
        benchmark::ClobberMemory();
        return true;
    });
    zep6bench::Report(state, source, kTransfers, seconds);
    state.SetLabel("this machine would use " + std::to_string(StagingBuffer::CopyThreads(rowBytes * kHeight)) +
                   " of " + std::to_string(std::thread::hardware_concurrency()) + " cores");
}

void PrintFloorRatios() {
    std::printf("\nAgainst the memcpy floor (ms per frame; ratio = time / floor)\n");
    std::printf("%-34s %10s %10s %8s %10s %8s\n", "case", "floor", "library", "ratio", "plain GL", "ratio");
    // A side that did not run (filtered out or skipped) shows n/a.
    const auto cell = [](double ms, double floor) {
        char text[48];
        if (ms > 0 && floor > 0)
            std::snprintf(text, sizeof text, "%10.2f %8.2f", ms, ms / floor);
        else
            std::snprintf(text, sizeof text, "%10s %8s", "n/a", "n/a");
        return std::string(text);
    };
    for (const auto& [name, floor] : FloorTimes()) {
        const zep6bench::Timing t = zep6bench::Timings()[name];
        std::printf("%-34s %10.2f %s %s\n", name.c_str(), floor, cell(t.library, floor).c_str(),
                    cell(t.baseline, floor).c_str());
    }
}

// Resident bytes of this process (/proc/self/statm).
double ResidentBytes() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0, resident = 0;
    statm >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void BM_MixedFrames(benchmark::State& state) {
    constexpr int kFrames = 1000;
    const long sizes[][2] = {{1280, 720}, {640, 360}, {1920, 1080}, {17, 9}, {1000, 333}, {320, 180}, {1024, 768}};
    constexpr int kSizes = sizeof sizes / sizeof sizes[0];
    std::vector<std::unique_ptr<Frame>> sources, destinations;
    for (int i = 0; i < kSizes; ++i)
        for (const Layout& layout : {kLayouts[0], kLayouts[1]}) { // bgra8 and rgba32f, both bottom-up
            sources.emplace_back(new Frame(layout.colorSpace, layout.bitDepth, layout.whiteLevel, sizes[i][0],
                                           sizes[i][1], layout.bottomUp));
            sources.back()->FillPattern(static_cast<unsigned>(i));
            destinations.emplace_back(new Frame(layout.colorSpace, layout.bitDepth, layout.whiteLevel, sizes[i][0],
                                                sizes[i][1], layout.bottomUp));
        }
    // Frame f: size f % 7, layout f / 7 % 2, so every size meets both layouts.
    const auto frame = [&](int f) {
        const std::size_t at = static_cast<std::size_t>((f % kSizes) * 2 + f / kSizes % 2);
        return zep6bench::OnWorker([&] {
            RenderedTexture target(static_cast<int>(sources[at]->GetWidth()), static_cast<int>(sources[at]->GetHeight()));
            LibraryFrame(*sources[at], *destinations[at], target);
        });
    };
    std::string error;
    for (int f = 0; f < 2 * kSizes && error.empty(); ++f)
        error = frame(f);
    for (std::size_t i = 0; i < sources.size() && error.empty(); ++i)
        if (!destinations[i]->SameWithin(*sources[i]))
            error = "a frame did not come back as it went in";
    double before = 0, after = 0;
    const double seconds = zep6bench::TimeFrames(state, [&] {
        before = ResidentBytes();
        for (int f = 0; f < kFrames && error.empty(); ++f)
            error = frame(f);
        after = ResidentBytes();
        return error.empty();
    });
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    bool buffers = false; // asked on the worker: the answer needs the context
    zep6bench::OnWorker([&] { buffers = StagingBuffer::IsAvailable(); });
    const CacheCounters staging = StagingBuffer::Counters();
    const CacheCounters memory = MemoryBuffer::Counters();
    const double iterations = static_cast<double>(state.iterations());
    state.counters["ms/frame"] = seconds * 1e3 / (iterations * kFrames);
    state.counters["rss_growth_MiB"] = (after - before) / (1 << 20);
    state.counters["rss_MiB"] = after / (1 << 20);
    state.counters["staging_MiB"] = static_cast<double>(staging.allocated) / (1 << 20);
    state.counters["staging_peak_MiB"] = static_cast<double>(staging.peak) / (1 << 20);
    state.counters["staging_in_use_MiB"] = static_cast<double>(staging.inUse) / (1 << 20);
    state.counters["staging_buffers"] = staging.idleCount;
    state.counters["staging_hits"] = static_cast<double>(staging.hits);
    state.counters["memory_cache_outside_MiB"] = static_cast<double>(memory.outside) / (1 << 20);
    state.SetLabel(std::string(buffers ? "staging buffers" : "direct") + " | " +
                   zep6bench::Facts().renderer);
}

void RegisterAll() {
    benchmark::AddCustomContext("frame", std::to_string(kWidth) + "x" + std::to_string(kHeight));
    // About a second and a half of frames each on llvmpipe; a GPU runs many more in the same time.
    for (const Layout& layout : kLayouts) {
        zep6bench::RegisterPair(layout.name, 1.5, BM_LibraryTransfer, BM_PlainGlTransfer, layout);
        benchmark::RegisterBenchmark((std::string("Floor/") + layout.name).c_str(), BM_MemcpyFloor, layout)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.5);
    }
    for (const int threads : {1, 2, 4})
        benchmark::RegisterBenchmark(("StagingCopy/rgba32f/threads " + std::to_string(threads)).c_str(),
                                     BM_StagingCopy, threads)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.5);
    // One iteration: the 1,000 frames are the measurement.
    benchmark::RegisterBenchmark("Mixed/1000 frames", BM_MixedFrames)
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv) {
    return zep6bench::RunProgram(argc, argv, RegisterAll, [] {
        // The bottom-up layouts need no conversion on either side; the top-down one is converted.
        zep6bench::PrintSummary("Upload, draw and read back", 1.3, "bottom-up");
        PrintFloorRatios();
    });
}
