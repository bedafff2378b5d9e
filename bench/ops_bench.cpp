// The library's whole-image operations on 3840 x 2160 host frames, 8-bit BGRA and float RGBA,
// each beside OpenCV's nearest equivalent on the processor (all of the machine's cores) in the
// same run:
//
//   premultiply     Premultiply                   cv::mixChannels spreads alpha into a factor
//                                                 (alpha, alpha, alpha, white), one cv::multiply
//   over            Composite, BlendOp::Default,  cv::blendLinear, the weights (alpha and 1 - alpha)
//                   opacity 1                     taken from the front's alpha every frame
//   down lanczos3   Transform x0.5, decimation    cv::resize INTER_LANCZOS4 to 1920 x 1080
//                   lanczos3, into 1920 x 1080
//   up catmull-rom  Transform x2, interpolation   cv::resize INTER_CUBIC to 7680 x 4320
//                   catmull-rom, into 7680 x 4320
//   rotate 30       Transform turned 30 degrees,  cv::warpAffine INTER_CUBIC, transparent border
//                   catmull-rom, same size
//
// The reduction goes through Transform, not Resize: Resize only samples linearly, and only
// Transform has a Lanczos filter. The library's rows are end to end from a host thread, as a
// plug-in calls them: uploads, the drawing in tiles, the read back into the host frame.
//
// Reported: ms per frame, bytes per second (frames moved to and from the card), megapixels per
// second of destination. After the run a summary gives, per case, both times and OpenCV / library
// (above 1: the library is faster). Target on a GPU: the resizes and the rotation at least 5
// times faster than OpenCV; on a software renderer the figures are reported only. Without OpenCV
// the benchmark builds and runs the library's rows alone.
#include "BenchFrame.h"

#include "core/PixelFormat.h"
#include "gl/state/Blend.h"
#include "imageops/ImageOperations.h"

#include <benchmark/benchmark.h>

#if ZEP6_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

using namespace OGL_ZEP6_AE;
using zep6bench::Frame;

namespace {

using Layout = zep6bench::FrameLayout;

constexpr long kWidth = 3840, kHeight = 2160;

enum class Op { Premultiply, Over, Down, Up, Rotate };

struct Case {
    Op op;
    const char* name;
    long width, height; // of the destination
    int inputs;         // source frames uploaded per frame
    bool heavy;         // under the GPU target
};

const Case kCases[] = {
    {Op::Premultiply, "premultiply", kWidth, kHeight, 1, false},
    {Op::Over, "over", kWidth, kHeight, 2, false},
    {Op::Down, "down lanczos3", kWidth / 2, kHeight / 2, 1, true},
    {Op::Up, "up catmull-rom", kWidth * 2, kHeight * 2, 1, true},
    {Op::Rotate, "rotate 30", kWidth, kHeight, 1, true},
};

std::string CaseName(const Case& c, const Layout& layout) {
    return std::string(c.name) + " " + layout.name;
}

struct Times {
    double library = 0, opencv = 0;
    bool heavy = false;
};

std::map<std::string, Times>& Summary() {
    static std::map<std::string, Times> times;
    return times;
}

// Frames of the case: the source (and the background where there is one, else a single pixel)
// of the full size, filled differently, and the destination.
struct Frames {
    Frame front, back, destination;
    Frames(const Case& c, const Layout& l)
        : front(l.colorSpace, l.bitDepth, l.whiteLevel, kWidth, kHeight, true),
          back(l.colorSpace, l.bitDepth, l.whiteLevel, c.inputs > 1 ? kWidth : 1, c.inputs > 1 ? kHeight : 1,
               true),
          destination(l.colorSpace, l.bitDepth, l.whiteLevel, c.width, c.height, true) {
        front.FillPattern(1);
        back.FillPattern(2);
    }
};

void LibraryOp(const Case& c, Frames& f) {
    const auto alone = static_cast<PixelApplyMode>(-1); // Transform's picture without a second one
    const p3f centre(0.5f * static_cast<float>(c.width), 0.5f * static_cast<float>(c.height), 0.0f);
    switch (c.op) {
    case Op::Premultiply:
        Premultiply(&f.front, &f.destination);
        break;
    case Op::Over:
        Composite(&f.front, &f.back, nullptr, &f.destination, 1.0f, BlendOp::Default);
        break;
    case Op::Down:
        Transform(&f.front, nullptr, nullptr, &f.destination, alone, centre, p3f(0.5f, 0.5f, 1.0f),
                  p3f(0.0f, 0.0f, 0.0f), XYZ, TransformInterpolateLinear, TransformDecimateLanczos3);
        break;
    case Op::Up:
        Transform(&f.front, nullptr, nullptr, &f.destination, alone, centre, p3f(2.0f, 2.0f, 1.0f),
                  p3f(0.0f, 0.0f, 0.0f), XYZ, TransformInterpolateCatmullRom, TransformDecimateNone);
        break;
    case Op::Rotate:
        Transform(&f.front, nullptr, nullptr, &f.destination, alone, centre, p3f(1.0f, 1.0f, 1.0f),
                  p3f(0.0f, 0.0f, 30.0f), XYZ, TransformInterpolateCatmullRom, TransformDecimateNone);
        break;
    }
}

// Bytes, megapixels and ms per frame; `moved`: bytes that cross to or from the card per frame.
void Report(benchmark::State& state, const Frames& f, double seconds, long long moved,
            const std::string& label) {
    zep6bench::Report(state, f.destination, 0, seconds);
    state.SetBytesProcessed(state.iterations() * moved);
    state.SetLabel(label);
}

void BM_Library(benchmark::State& state, const Case& c, const Layout& layout) {
    Frames f(c, layout);
    // A first frame as a job of its own, so that a failure on the card skips the case with its
    // message; it links the programs and fills the caches, and it must have written the result.
    std::memset(f.destination.Bytes(), 0x5A, f.destination.ByteCount());
    const std::string error = zep6bench::OnWorker([&] { LibraryOp(c, f); });
    long untouched = 0, probes = 0;
    for (size_t i = 0; i < f.destination.ByteCount(); i += 4099, ++probes)
        untouched += f.destination.Bytes()[i] == 0x5A ? 1 : 0;
    if (!error.empty() || untouched * 2 > probes) {
        state.SkipWithError(error.empty() ? "the operation left the destination as it was" : error.c_str());
        return;
    }
    const double seconds = zep6bench::TimeFrames(state, [&] {
        LibraryOp(c, f);
        return true;
    });
    const long long moved =
        static_cast<long long>(c.inputs * f.front.ByteCount() + f.destination.ByteCount());
    Report(state, f, seconds, moved, CaseName(c, layout) + " | " + zep6bench::Facts().renderer);
    Times& t = Summary()[CaseName(c, layout)];
    t.library = zep6bench::MillisecondsPerFrame(state, seconds);
    t.heavy = c.heavy;
}

#if ZEP6_BENCH_OPENCV
// What OpenCV's side keeps from frame to frame: the premultiplying factor (its last channel set to
// white once), the blend's weights and the rotation matrix.
struct OpenCvScratch {
    cv::Mat factor, alpha, weight, rest, rotation;
};

void OpenCvOp(const Case& c, const cv::Mat& front, const cv::Mat& back, cv::Mat& out, OpenCvScratch& s,
              double white) {
    switch (c.op) {
    case Op::Premultiply: {
        const int alphaToColour[] = {3, 0, 3, 1, 3, 2};
        cv::mixChannels(&front, 1, &s.factor, 1, alphaToColour, 3);
        cv::multiply(front, s.factor, out, 1.0 / white);
        break;
    }
    case Op::Over:
        cv::extractChannel(front, s.alpha, 3);
        s.alpha.convertTo(s.weight, CV_32F, 1.0 / white);
        cv::subtract(cv::Scalar::all(1.0), s.weight, s.rest);
        cv::blendLinear(front, back, s.weight, s.rest, out);
        break;
    case Op::Down:
    case Op::Up:
        cv::resize(front, out, out.size(), 0.0, 0.0, c.op == Op::Down ? cv::INTER_LANCZOS4 : cv::INTER_CUBIC);
        break;
    case Op::Rotate:
        cv::warpAffine(front, out, s.rotation, out.size(), cv::INTER_CUBIC, cv::BORDER_CONSTANT,
                       cv::Scalar::all(0));
        break;
    }
}

void BM_OpenCV(benchmark::State& state, const Case& c, const Layout& layout) {
    Frames f(c, layout);
    const int type = layout.bitDepth == 32 ? CV_8UC4 : CV_32FC4;
    const cv::Mat front(kHeight, kWidth, type, f.front.Bytes()), back(kHeight, kWidth, type, f.back.Bytes());
    cv::Mat out(static_cast<int>(c.height), static_cast<int>(c.width), type, f.destination.Bytes());
    const double white = static_cast<double>(layout.whiteLevel);
    OpenCvScratch s;
    s.factor = cv::Mat(kHeight, kWidth, type, cv::Scalar::all(white));
    s.rotation = cv::getRotationMatrix2D(cv::Point2f(0.5f * (kWidth - 1), 0.5f * (kHeight - 1)), 30.0, 1.0);
    OpenCvOp(c, front, back, out, s, white); // allocates the scratch planes
    const double seconds = zep6bench::TimeFrames(state, [&] {
        OpenCvOp(c, front, back, out, s, white);
        return true;
    });
    Report(state, f, seconds, 0,
           CaseName(c, layout) + " | " + std::to_string(cv::getNumThreads()) + " threads");
    Summary()[CaseName(c, layout)].opencv = zep6bench::MillisecondsPerFrame(state, seconds);
}
#endif

void RegisterAll() {
    for (const Case& c : kCases)
        for (const Layout& layout : zep6bench::kFrameLayouts) {
            const std::string name = CaseName(c, layout);
            benchmark::RegisterBenchmark(("Library/" + name).c_str(), BM_Library, c, layout)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond)
                ->MinTime(1.0);
#if ZEP6_BENCH_OPENCV
            benchmark::RegisterBenchmark(("OpenCV/" + name).c_str(), BM_OpenCV, c, layout)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond)
                ->MinTime(1.0);
#endif
        }
}

bool SoftwareRenderer(const std::string& renderer) {
    for (const char* name : {"llvmpipe", "softpipe", "Software", "SwiftShader"})
        if (renderer.find(name) != std::string::npos)
            return true;
    return false;
}

void PrintSummary() {
    const std::string renderer = zep6bench::Facts().renderer;
    const bool software = SoftwareRenderer(renderer);
    std::printf("\nOperations on %ld x %ld frames (ms per frame, real time; OpenCV/library above 1: the "
                "library is faster)\n",
                kWidth, kHeight);
    std::printf("%-26s %12s %12s %16s\n", "case", "library", "OpenCV", "OpenCV/library");
    for (const Case& c : kCases)
        for (const Layout& layout : zep6bench::kFrameLayouts) {
            const Times& t = Summary()[CaseName(c, layout)];
            char ratio[32] = "n/a";
            const char* verdict = "";
            if (t.library > 0 && t.opencv > 0) {
                std::snprintf(ratio, sizeof ratio, "%.2f", t.opencv / t.library);
                if (c.heavy && !software)
                    verdict = t.opencv / t.library >= 5.0 ? "  (target met)" : "  (TARGET MISSED)";
            }
            std::printf("%-26s %12.1f %12.1f %16s%s\n", CaseName(c, layout).c_str(), t.library, t.opencv,
                        ratio, verdict);
        }
    std::printf("target on a GPU: OpenCV/library >= 5 for the resizes and the rotation; renderer '%s'%s\n",
                renderer.c_str(), software ? " is a software one: reported only" : "");
}

} // namespace

int main(int argc, char** argv) {
    return zep6bench::RunProgram(argc, argv, RegisterAll, PrintSummary);
}
