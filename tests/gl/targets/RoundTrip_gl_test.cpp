// The round-trip matrix: every source layout is uploaded through SubImageTexture, drawn into a
// RenderedTexture and read back into every four-channel destination layout in both orientations.
// The read pixels are compared with a reference computed here on the CPU from the source's
// encoded values (channel order, white-level scale, orientation, one-channel expansion). Each case
// covers one source against all destinations (one process per case under ctest) and prints the
// largest error per destination; the summary lines are tagged "round-trip" for collection.

#include "gl/render/Region.h"
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
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;
using zep6test::OnWorker;
using zep6test::TestImage;

namespace {

constexpr long kWidth = 37;
constexpr long kHeight = 23;

class RoundTrip : public ::testing::TestWithParam<SourceCase> {};

TEST_P(RoundTrip, EveryDestinationMatchesTheReference) {
    const SourceCase& source = GetParam();
    // Rows two pixels longer than the packed length: with the odd width, one- and two-byte
    // pixels then give row bytes that are not a multiple of 4 (39 and 78).
    const long pixelBytes = source.layout.format.bitDepth / 8;
    TestImage input(source.layout.format, kWidth, kHeight, 2 * pixelBytes);
    input.SetBottomUp(source.bottomUp);
    FillSource(input, source.layout);

    std::string table;
    ForEachDestination(kWidth, kHeight, [&](TestImage& output, const Layout& destinationLayout,
                                            const std::string& destinationName) {
        ASSERT_TRUE(OnWorker([&] {
            SubImageTexture texture(&input);
            RenderedTexture target(static_cast<int>(kWidth), static_cast<int>(kHeight));
            texture.Load(); // upload first: a render upload selects its own framebuffer
            PushState state;
            ASSERT_TRUE(target.Select());
            target.Clear();
            glDisable(GL_BLEND); // a plain copy: the selected state blends by alpha
            texture.Blit(Region(static_cast<unsigned>(kWidth), static_cast<unsigned>(kHeight)), 1.0f);
            state.Pop();
            target.Read(&output);
        }));
        const double tolerance = Tolerance(destinationLayout.format);
        const Comparison result = CompareWithReference(
            output, destinationLayout, tolerance,
            [&](long px, long py, double rgba[4]) { SourceRGBA(input, source.layout, px, py, rgba); });
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

} // namespace
