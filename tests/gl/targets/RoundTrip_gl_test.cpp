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
    for (const Layout& destinationLayout : FourChannelLayouts())
        for (bool destinationBottomUp : {true, false}) {
            const long destinationPixelBytes = destinationLayout.format.bitDepth / 8;
            TestImage output(destinationLayout.format, kWidth, kHeight, 5 * destinationPixelBytes);
            output.SetBottomUp(destinationBottomUp);
            output.Fill(0xA5); // anything the read does not write shows up as an error
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

            double largest = 0.0;
            long mismatches = 0;
            long worstX = 0, worstY = 0;
            int worstChannel = 0;
            double worstGot = 0.0, worstWant = 0.0;
            const long channelBytes = destinationPixelBytes / 4;
            for (long y = 0; y < kHeight; ++y)
                for (long x = 0; x < kWidth; ++x) {
                    const long py = PictureRow(output, y);
                    double want[4];
                    SourceRGBA(input, source.layout, x, py, want);
                    const unsigned char* pixel = output.Row(y) + x * destinationPixelBytes;
                    for (int i = 0; i < 4; ++i) {
                        const int channel = Order(destinationLayout.kind)[i];
                        const double got = Decode(destinationLayout.format, 4, pixel + i * channelBytes);
                        const double error = std::fabs(got - want[channel]);
                        mismatches += error > Tolerance(destinationLayout.format) ? 1 : 0;
                        if (!(error <= largest)) {
                            largest = std::isnan(error) ? 1e9 : error;
                            worstX = x, worstY = py, worstChannel = channel;
                            worstGot = got, worstWant = want[channel];
                        }
                    }
                }
            const std::string destinationName =
                std::string(destinationLayout.name) + (destinationBottomUp ? "_BottomUp" : "_TopDown");
            EXPECT_LE(largest, Tolerance(destinationLayout.format))
                << CaseName(source) << " -> " << destinationName << ": worst at (" << worstX << ", " << worstY
                << ") channel "
                << "RGBA"[worstChannel] << ": got " << worstGot << ", want " << worstWant << "; " << mismatches
                << " of " << kWidth * kHeight * 4 << " channels off";
            char line[320];
            std::snprintf(line, sizeof line, "round-trip %-22s -> %-22s max error %.3e (tolerance %.3e)\n",
                          CaseName(source).c_str(), destinationName.c_str(), largest,
                          Tolerance(destinationLayout.format));
            table += line;
        }
    std::printf("%s", table.c_str());
    RecordProperty("max_errors", table);
}

INSTANTIATE_TEST_SUITE_P(Matrix, RoundTrip, ::testing::ValuesIn(SourceCases()),
                         [](const ::testing::TestParamInfo<SourceCase>& info) {
                             return CaseName(info.param);
                         });

} // namespace
