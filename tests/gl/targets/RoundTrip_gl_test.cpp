// The round-trip matrix: every source layout is uploaded through SubImageTexture, drawn into a
// RenderedTexture and read back into every four-channel destination layout in both orientations,
// against a CPU reference from the source's encoded values. Each case prints the largest error per
// destination, tagged "round-trip" for collection. Under each ZEP6_STORAGE choice, one source per
// layout family makes the same trip within what that storage type holds.

#include "geometry/Region.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/texture/Texture.h"
#include "support/PixelLayouts.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

// Uploads `input`, draws it into a target of its size as a plain copy and reads it into `output`;
// with `plain`, also reads the target into it with glReadPixels, OpenGL converting to its layout.
bool ThroughTheCard(TestImage& input, TestImage& output, TestImage* plain = nullptr) {
    const long w = input.GetWidth(), h = input.GetHeight();
    return OnWorker([&] {
        SubImageTexture texture(&input);
        RenderedTexture target(static_cast<int>(w), static_cast<int>(h));
        texture.Load(); // upload first: a render upload selects its own framebuffer
        PushState state;
        ASSERT_TRUE(target.Select());
        target.Clear();
        glDisable(GL_BLEND); // a plain copy: the selected state blends by alpha
        texture.Blit(Region(static_cast<unsigned>(w), static_cast<unsigned>(h)), 1.0f);
        state.Pop();
        target.Read(&output);
        if (plain) {
            PushState again;
            ASSERT_TRUE(target.Select());
            target.ColorBuffer()->ReadImageNative(plain, Region(static_cast<unsigned>(w), static_cast<unsigned>(h)),
                                                  Region(static_cast<unsigned>(w), static_cast<unsigned>(h)));
        }
    });
}

Comparison CompareWithSource(const TestImage& output, const Layout& out, const TestImage& input, const Layout& in,
                             double tolerance) {
    return CompareWithReference(output, out, tolerance,
                                [&](long px, long py, double rgba[4]) { SourceRGBA(input, in, px, py, rgba); });
}

constexpr long kWidth = 37;
constexpr long kHeight = 23;

class RoundTrip : public ::testing::TestWithParam<SourceCase> {};

TEST_P(RoundTrip, EveryDestinationMatchesTheReference) {
    const SourceCase& source = GetParam();
    // Rows two pixels longer than packed: with the odd width, one- and two-byte pixels then give
    // row bytes that are not a multiple of 4 (39 and 78).
    const long pixelBytes = source.layout.format.bitDepth / 8;
    TestImage input(source.layout.format, kWidth, kHeight, 2 * pixelBytes);
    input.SetBottomUp(source.bottomUp);
    FillSource(input, source.layout);

    std::string table;
    ForEachDestination(kWidth, kHeight, [&](TestImage& output, const Layout& destinationLayout,
                                            const std::string& destinationName) {
        // 8-bit bottom-up destinations OpenGL can write as they are: the library's read (by way of
        // an 8-bit copy of a float target) gives the very bytes glReadPixels gives.
        const bool bytes = destinationLayout.format.bitDepth == 32 && output.IsBottomUp();
        TestImage plain = output;
        ASSERT_TRUE(ThroughTheCard(input, output, bytes ? &plain : nullptr));
        EXPECT_TRUE(!bytes || std::equal(output.Bytes(), output.Bytes() + output.ByteCount(), plain.Bytes()))
            << CaseName(source) << " -> " << destinationName << " differs from glReadPixels";
        const double tolerance = Tolerance(destinationLayout.format);
        const Comparison result = CompareWithSource(output, destinationLayout, input, source.layout, tolerance);
        EXPECT_LE(result.largest, tolerance) << CaseName(source) << " -> " << destinationName << ": " << result
                                             << " of " << kWidth * kHeight * 4;
        char line[320];
        std::snprintf(line, sizeof line, "round-trip %-22s -> %-22s max error %.3e (tolerance %.3e)\n",
                      CaseName(source).c_str(), destinationName.c_str(), result.largest, tolerance);
        table += line;
    });
    std::printf("%s", table.c_str());
    RecordProperty("max_errors", table);
}

INSTANTIATE_TEST_SUITE_P(Matrix, RoundTrip, ::testing::ValuesIn(SourceCases()),
                         [](const ::testing::TestParamInfo<SourceCase>& info) {
                             return CaseName(info.param);
                         });

// One source of each layout family read back into its own layout (the one-channel one into
// RGBA16), plus, under float storage, what only float holds: red beyond the largest half float
// (65504) and green finer than its steps. Returns how many failed.
int FamiliesKeepWhatTheStorageHolds() {
    const std::vector<Layout> layouts = SourceLayouts();
    const auto named = [&layouts](const char* name) {
        return *std::find_if(layouts.begin(), layouts.end(),
                             [name](const Layout& l) { return std::strcmp(l.name, name) == 0; });
    };
    const std::pair<const char*, const char*> families[] = {
        {"ARGB8", "ARGB8"}, {"BGRA16", "BGRA16"}, {"RGBA16_4000", "RGBA16_4000"}, {"RGBA32F", "RGBA32F"},
        {"Luma16", "RGBA16"}};
    int failed = 0;
    for (const auto& [source, destination] : families) {
        const Layout in = named(source), out = named(destination);
        TestImage input(in.format, 23, 9), output(out.format, 23, 9);
        FillSource(input, in);
        const bool ran = ThroughTheCard(input, output);
        // Float storage into a float destination keeps 24 bits.
        const bool exact = Texture::GetBestType() == GL_FLOAT && out.format.whiteLevel == 1;
        const Comparison c = CompareWithSource(output, out, input, in, exact ? 2e-7 : Tolerance(out.format));
        std::ostringstream text;
        text << c;
        if (!ran || c.mismatches > 0) {
            std::fprintf(stderr, "%s -> %s: %s\n", source, destination, text.str().c_str());
            ++failed;
        }
    }
    if (Texture::GetBestType() == GL_FLOAT) {
        const float pixel[4] = {1e38f, 1.0f + std::ldexp(1.0f, -16), 0.5f, 1.0f};
        TestImage wide(Formats::RGBA32F, 1, 1), back(Formats::RGBA32F, 1, 1);
        std::memcpy(wide.Row(0), pixel, sizeof pixel);
        const bool ran = ThroughTheCard(wide, back);
        const float* got = reinterpret_cast<const float*>(back.Row(0));
        for (int i = 0; i < 4; ++i)
            if (!ran || !(std::fabs(got[i] - pixel[i]) <= std::fabs(pixel[i]) * 2e-7)) {
                std::fprintf(stderr, "float channel %d is %.9g, want %.9g\n", i, got[i], pixel[i]);
                ++failed;
            }
    }
    return failed;
}

struct Override {
    const char* value;   // ZEP6_STORAGE
    unsigned int type;   // the storage it gives, 0 for the card's own choice
    const char* message; // what the library says about it on the standard error stream
};

void PrintTo(const Override& o, std::ostream* out) {
    *out << o.value;
}

class StorageOverride : public ::testing::TestWithParam<Override> {};

TEST_P(StorageOverride, RoundTripsKeepWhatTheStorageHolds) {
    // The choice is read and kept once per process: each value runs in a fresh one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const Override o = GetParam();
    auto run = [&o] {
        setenv("ZEP6_STORAGE", o.value, 1);
        const unsigned int type = Texture::GetBestType();
        if (o.type != 0 && type != o.type) {
            std::fprintf(stderr, "storage type 0x%X, want 0x%X\n", type, o.type);
            return 1;
        }
        return FamiliesKeepWhatTheStorageHolds();
    };
    EXPECT_EXIT(_exit(run()), ::testing::ExitedWithCode(0), o.message);
}

// llvmpipe offers float and half-float textures, so each choice is honoured there; the card's own
// choice is the one the matrix above runs under.
INSTANTIATE_TEST_SUITE_P(Values, StorageOverride,
                         ::testing::Values(Override{"float", GL_FLOAT, ""}, Override{"half", GL_HALF_FLOAT_ARB, ""},
                                           Override{"byte", GL_UNSIGNED_BYTE, ""},
                                           Override{"double", 0, "ZEP6_STORAGE=double is not float, half or byte"}),
                         [](const ::testing::TestParamInfo<Override>& info) {
                             return std::string(info.param.value);
                         });

} // namespace
