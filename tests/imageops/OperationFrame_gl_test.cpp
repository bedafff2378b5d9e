// The common path of the image operations: the calling-thread shortcuts, marshalling (also from
// inside a job), failures on the worker, invalid and read-only destinations, tiled conversion.
#include "core/Errors.h"
#include "gl/context/Shared.h"
#include "gl/context/Thread.h"
#include "gl/resources/ResourceTestSupport.h"
#include "gl/render/ApplyMode.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "imageops/ImageOperations.h"
#include "support/PixelLayouts.h"
#include "support/TestImage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

TestImage Patterned(const ImageFormat& format, long width, long height, bool bottomUp) {
    TestImage image(format, width, height, 12);
    image.SetBottomUp(bottomUp);
    for (std::size_t i = 0; i < image.ByteCount(); ++i)
        image.Bytes()[i] = static_cast<unsigned char>(i * 13 + 5);
    return image;
}

std::vector<unsigned char> BytesOf(const TestImage& image) {
    return std::vector<unsigned char>(image.Bytes(), image.Bytes() + image.ByteCount());
}

TEST(OperationFrame, ShortcutsStayOnTheCallingThread) {
    ASSERT_EQ(static_cast<Thread*>(sThread), nullptr);
    // Identical descriptions: every byte of the block, padding included.
    const TestImage source = Patterned(Formats::BGRA8, 33, 7, false);
    TestImage copy(Formats::BGRA8, 33, 7, 12);
    copy.SetBottomUp(false);
    Copy(&source, &copy);
    EXPECT_EQ(BytesOf(copy), BytesOf(source));
    Copy(&copy, &copy); // onto itself: unchanged
    EXPECT_EQ(BytesOf(copy), BytesOf(source));

    TestImage cleared = Patterned(Formats::RGBA32F, 9, 5, true);
    Clear(&cleared, Color(0.0f, 0.0f, 0.0f, 0.0f));
    EXPECT_EQ(BytesOf(cleared), std::vector<unsigned char>(cleared.ByteCount(), 0));

    // Read-only and invalid destinations are left alone.
    TestImage readOnly = Patterned(Formats::BGRA8, 33, 7, false);
    readOnly.SetReadOnly(true);
    const std::vector<unsigned char> before = BytesOf(readOnly);
    Copy(&source, &readOnly);
    Clear(&readOnly, Color(0.0f, 0.0f, 0.0f, 0.0f));
    EXPECT_EQ(BytesOf(readOnly), before);
    Clear(nullptr, Color(0.0f, 0.0f, 0.0f, 0.0f));
    EXPECT_EQ(static_cast<Thread*>(sThread), nullptr) << "a shortcut started the worker";
}

TEST(OperationFrame, InvalidImagesAreNoOps) {
    const TestImage source = Patterned(Formats::BGRA8, 16, 8, true);
    TestImage noPixels(Formats::RGBA8, 16, 8, 0, Pixels::None);
    TestImage tooWide = Patterned(Formats::RGBA8, 16, 8, true);
    tooWide.SetWidth(16384);
    TestImage readOnly = Patterned(Formats::RGBA8, 16, 8, true);
    readOnly.SetReadOnly(true);
    const std::vector<unsigned char> wideBytes = BytesOf(tooWide), readOnlyBytes = BytesOf(readOnly);
    for (XIImage* destination : {static_cast<XIImage*>(nullptr), static_cast<XIImage*>(&noPixels),
                                 static_cast<XIImage*>(&tooWide), static_cast<XIImage*>(&readOnly)}) {
        Copy(&source, destination);
        Clear(destination, Color(1.0f, 0.0f, 0.0f, 1.0f));
        ApplyMode::Apply(&source, &source, nullptr, destination, PixelApplyMultiply, 1.0f);
        Blur(&source, destination, 5.0f, 5.0f, 0.85f);
        BoxBlur(&source, destination, 5.0f, 5.0f);
        PascalBlur(&source, destination, 5.0f, 5.0f);
        Premultiply(&source, destination);
        Center(&source, destination);
        CopyAlpha(&source, destination);
        Resize(&source, destination);
        FitInto(&source, destination);
        Composite(&source, &source, nullptr, destination, 1.0f, BlendOp::Default);
        RenderMask(&source, &source, destination, Color::Red);
        RenderInvMask(&source, &source, destination, Color::Red);
        const XIImage* layers[] = {&source};
        const p2f amounts[] = {p2f(3.0f, 3.0f)};
        CompositeBlurredImages(layers, &source, destination, amounts, 1, BlendOp::Composite, false);
        Transform(&source, nullptr, nullptr, destination, PixelApplyOver, p3f(8.0f, 4.0f, 0.0f), p3f(1.0f, 1.0f, 1.0f),
                  p3f(0.0f, 0.0f, 10.0f), XYZ, TransformInterpolateLinear, TransformDecimateNone);
    }
    TestImage valid = Patterned(Formats::RGBA8, 16, 8, true);
    const std::vector<unsigned char> validBytes = BytesOf(valid);
    Copy(nullptr, &valid);
    Copy(&noPixels, &valid);
    EXPECT_EQ(BytesOf(valid), validBytes);
    EXPECT_EQ(BytesOf(tooWide), wideBytes);
    EXPECT_EQ(BytesOf(readOnly), readOnlyBytes);
}

// A frame of two tiles across, converted from 8-bit BGRA top-down to float RGBA bottom-up.
TEST(OperationFrame, CopyConvertsLayoutsAcrossTiles) {
    const Layout from{"BGRA8", Kind::BGRA, Formats::BGRA8};
    const Layout to{"RGBA32F", Kind::RGBA, Formats::RGBA32F};
    TestImage source(from.format, 2100, 6);
    source.SetBottomUp(false);
    FillSource(source, from);
    TestImage destination(to.format, 2100, 6);
    Copy(&source, &destination);
    double worst = 0.0;
    for (long py = 0; py < 6; ++py)
        for (long px = 0; px < 2100; ++px) {
            double want[4];
            SourceRGBA(source, from, px, py, want);
            for (int c = 0; c < 4; ++c)
                worst = std::max(worst, std::fabs(want[c] - Decode(to.format, 4, destination.Row(py) + px * 16 + 4 * c)));
        }
    EXPECT_LT(worst, 1.0 / 510) << "channel order, orientation or a tile seam is wrong";
}

TEST(OperationFrame, ClearThroughTheCardAndFromInsideAJob) {
    TestImage outside(Formats::RGBA8, 2100, 3, 4);
    TestImage inside(Formats::RGBA8, 2100, 3, 4);
    const Color colour(0.2f, 0.4f, 0.6f, 0.8f);
    Clear(&outside, colour);
    // Called on the worker itself, the operation runs there and then instead of queueing itself.
    ASSERT_TRUE(OnWorker([&] { Clear(&inside, colour); }));
    const unsigned char want[4] = {51, 102, 153, 204};
    for (const TestImage* image : {&outside, &inside})
        for (long y = 0; y < 3; ++y)
            for (long x = 0; x < 2100; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_NEAR(image->Row(y)[x * 4 + c], want[c], 1) << x << "," << y;
    // Padding is not part of the picture: the card's path leaves it alone.
    EXPECT_EQ(outside.Row(0)[2100 * 4], 0);
}

// Without framebuffer objects the tile loop cannot run (a target refuses selection): the host's
// call returns normally and the failure's text, which says something, is the job's message.
TEST(OperationFrame, AFailureOnTheWorkerEndsInTheMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto run = [] {
        setenv("ZEP6_DISABLE_EXTENSIONS", "GL_EXT_framebuffer_object", 1);
        TestImage image(Formats::RGBA8, 8, 8);
        Clear(&image, Color(1.0f, 0.0f, 0.0f, 1.0f));
        const bool unchanged = image.Bytes()[0] == 0;
        const std::string text = sThread->ErrorMessage();
        const bool message = !text.empty() && text == OffscreenUnsupported().what();
        return unchanged && message ? 0 : 1;
    };
    EXPECT_EXIT(_exit(run()), ::testing::ExitedWithCode(0), "");
}

} // namespace
