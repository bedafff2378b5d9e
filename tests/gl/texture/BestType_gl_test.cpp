// The storage type of image content (Texture::GetBestType): asked first from two sides at once,
// and chosen with ZEP6_STORAGE, under which one round trip per layout family (upload, draw, read
// back) keeps what that storage type can hold.
#include "gl/render/Region.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/texture/Texture.h"

#include "gl/resources/ResourceTestSupport.h"
#include "support/PixelLayouts.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

// One layout family of the round-trip matrix: a source layout and the layout it is read back into.
struct Family {
    const char* source;
    const char* destination;
};
const Family kFamilies[] = {
    {"ARGB8", "ARGB8"}, {"BGRA16", "BGRA16"}, {"RGBA16_4000", "RGBA16_4000"}, {"RGBA32F", "RGBA32F"},
    {"Luma16", "RGBA16"},
};

const zep6test::Layout& LayoutNamed(const char* name) {
    static const std::vector<zep6test::Layout> layouts = zep6test::SourceLayouts();
    for (const zep6test::Layout& layout : layouts)
        if (std::strcmp(layout.name, name) == 0)
            return layout;
    std::abort();
}

// Float sources also hold what only float storage keeps: red up to 1e38, far beyond the largest
// half float (65504), and green just above 1 in steps of 2^-16, finer than half float's 2^-10.
void WidenFloatSource(zep6test::TestImage& image) {
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            float* pixel = reinterpret_cast<float*>(image.Row(y)) + 4 * x;
            pixel[0] = pixel[0] * std::pow(10.0f, static_cast<float>(x % 39));
            pixel[1] = 1.0f + std::ldexp(static_cast<float>((x + y) % 16), -16);
        }
}

// Runs every family's round trip on the current storage type and reports each channel that
// differs from the source by more than that type allows; returns the number of families that
// failed.
int RoundTripsKeepWhatTheStorageHolds() {
    const unsigned int storage = Texture::GetBestType();
    int failed = 0;
    for (const Family& family : kFamilies) {
        const zep6test::Layout& in = LayoutNamed(family.source);
        const zep6test::Layout& out = LayoutNamed(family.destination);
        constexpr long kW = 23, kH = 9;
        zep6test::TestImage input(in.format, kW, kH), output(out.format, kW, kH);
        zep6test::FillSource(input, in);
        if (in.format.whiteLevel == 1 && in.kind != zep6test::Kind::Luma)
            WidenFloatSource(input);
        const bool ran = zep6test::OnWorker([&] {
            SubImageTexture texture(&input);
            RenderedTexture target(kW, kH);
            texture.Load();
            PushState state;
            ASSERT_TRUE(target.Select());
            target.Clear();
            glDisable(GL_BLEND);
            texture.Blit(Region(kW, kH), 1.0f);
            state.Pop();
            target.Read(&output);
        });
        const double step = out.format.whiteLevel == 1 ? 0.0 : 1.0 / out.format.whiteLevel;
        long off = 0;
        for (long y = 0; y < kH; ++y)
            for (long x = 0; x < kW; ++x) {
                double want[4];
                zep6test::SourceRGBA(input, in, x, y, want);
                const unsigned char* pixel = output.Row(y) + x * out.format.bitDepth / 8;
                for (int i = 0; i < 4; ++i) {
                    const int channel = zep6test::Order(out.kind)[i];
                    double v = want[channel];
                    // What the storage can hold, and how closely: float to its 24 bits; half float
                    // to 11 bits, twice rounded, and nothing beyond 65504; bytes clamped to [0, 1]
                    // in steps of 1/255, and the converting read copy, also bytes, holds a 16-bit
                    // destination's value scaled by its white level, in steps of 1/255 of that.
                    double allowed = std::max(1.0, std::fabs(v)) * 2e-7;
                    if (storage == GL_HALF_FLOAT_ARB) {
                        if (std::fabs(v) > 65504)
                            continue;
                        allowed = std::max(1.0, std::fabs(v)) * std::ldexp(1.0, -10);
                    } else if (storage == GL_UNSIGNED_BYTE) {
                        v = std::min(1.0, std::max(0.0, v));
                        const bool shorts = out.format.bitDepth == 64;
                        allowed = (1.0 + (shorts ? 65535.0 / out.format.whiteLevel : 1.0)) / 255;
                    }
                    v = std::min(v, out.format.whiteLevel == 1 ? v : 65535.0 / out.format.whiteLevel);
                    const double got = zep6test::Decode(out.format, 4, pixel + i * (out.format.bitDepth / 32));
                    if (!(std::fabs(got - v) <= allowed + step)) {
                        if (off++ == 0)
                            std::fprintf(stderr, "%s -> %s: pixel (%ld, %ld) channel %d is %.9g, want %.9g\n",
                                         family.source, family.destination, x, y, channel, got, v);
                    }
                }
            }
        failed += ran && off == 0 ? 0 : 1;
    }
    return failed;
}

struct Override {
    const char* value;       // ZEP6_STORAGE, or null for unset
    unsigned int type;       // the storage it gives, 0 for the card's own choice
    const char* message;     // what the library says about it on the standard error stream
};

void PrintTo(const Override& o, std::ostream* out) {
    *out << (o.value ? o.value : "unset");
}

class StorageOverride : public ::testing::TestWithParam<Override> {};

TEST_P(StorageOverride, RoundTripsKeepWhatTheStorageHolds) {
    // The choice is read and kept once per process: each value runs in a fresh one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const Override o = GetParam();
    auto run = [&o] {
        if (o.value)
            setenv("ZEP6_STORAGE", o.value, 1);
        else
            unsetenv("ZEP6_STORAGE");
        const unsigned int type = Texture::GetBestType();
        if (o.type != 0 && type != o.type) {
            std::fprintf(stderr, "storage type 0x%X, want 0x%X\n", type, o.type);
            return 1;
        }
        return RoundTripsKeepWhatTheStorageHolds();
    };
    EXPECT_EXIT(_exit(run()), ::testing::ExitedWithCode(0), o.message);
}

// llvmpipe offers float and half-float textures, so each choice is honoured there.
INSTANTIATE_TEST_SUITE_P(Values, StorageOverride,
                         ::testing::Values(Override{nullptr, 0, ""}, Override{"float", GL_FLOAT, ""},
                                           Override{"half", GL_HALF_FLOAT_ARB, ""},
                                           Override{"byte", GL_UNSIGNED_BYTE, ""},
                                           Override{"double", 0, "ZEP6_STORAGE=double is not float, half or byte"}),
                         [](const ::testing::TestParamInfo<Override>& info) {
                             return std::string(info.param.value ? info.param.value : "unset");
                         });

} // namespace
