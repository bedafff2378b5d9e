// The rule that picks a texture's internal format for pixels of a given format and type, and the
// debug image writers.

#include "core/BufferDebug.h"
#include "core/TextureFormat.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <tuple>
#include <unistd.h>

using namespace OGL_ZEP6_AE;

namespace {

// Expected with float textures and half-float pixels, with float textures only, with half-float
// pixels only, and with neither.
TEST(InternalFormatFor, FollowsTypeAndWhatTheCardOffers) {
    const struct {
        unsigned int format, type;
        unsigned int full, floatOnly, halfOnly, none;
    } cases[] = {
        {GL_RGBA, GL_UNSIGNED_BYTE, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_BGRA, GL_BYTE, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_BGRA, GL_UNSIGNED_INT_8_8_8_8, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_ALPHA, GL_UNSIGNED_BYTE, GL_RGBA8, GL_RGBA8, GL_RGBA8, GL_RGBA8},
        {GL_RGBA, GL_SHORT, GL_RGBA16, GL_RGBA16, GL_RGBA16, GL_RGBA16},
        {GL_RGBA, GL_UNSIGNED_SHORT, GL_RGBA16, GL_RGBA16, GL_RGBA16, GL_RGBA16},
        {GL_RGBA, GL_FLOAT, GL_RGBA32F, GL_RGBA32F, GL_RGBA16, GL_RGBA16},
        {GL_LUMINANCE, GL_UNSIGNED_INT, GL_RGBA32F, GL_RGBA32F, GL_RGBA16, GL_RGBA16},
        {GL_RGBA, GL_HALF_FLOAT, GL_RGBA16F, GL_RGBA32F, GL_RGBA16F, GL_RGBA16},
        // Types with no four-channel counterpart fall back to 8-bit RGB.
        {GL_RGBA, GL_INT, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        {GL_RGB, GL_UNSIGNED_SHORT_5_6_5, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        {GL_RGB, GL_UNSIGNED_SHORT_5_5_5_1, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        {GL_RGBA, 0, GL_RGB8, GL_RGB8, GL_RGB8, GL_RGB8},
        // Depth pixels are depth whatever their type.
        {GL_DEPTH_COMPONENT, GL_FLOAT, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24},
        {GL_DEPTH_COMPONENT, GL_INT, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT24},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(std::make_tuple(InternalFormatFor(c.format, c.type, true, true),
                                  InternalFormatFor(c.format, c.type, true, false),
                                  InternalFormatFor(c.format, c.type, false, true),
                                  InternalFormatFor(c.format, c.type, false, false)),
                  std::make_tuple(c.full, c.floatOnly, c.halfOnly, c.none))
            << "format 0x" << std::hex << c.format << " type 0x" << c.type;
    }
}

TEST(DebugWriters, WriteNothingAndReportFailure) {
    char path[] = "/tmp/zep6_debug_writer_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    std::remove(path);

    zep6test::TestImage image(zep6test::Formats::BGRA8, 4, 4);
    image.Fill(0x7F);
    EXPECT_FALSE(WriteImageToFile(path, &image, Channel::All));
    EXPECT_FALSE(WriteBufferToFile(path, 4, 4, Channel::Alpha));
    EXPECT_FALSE(WriteBufferToFile(path, Channel::Red));
    EXPECT_FALSE(WriteImageToFile(nullptr, nullptr, Channel::Luma));
    EXPECT_EQ(access(path, F_OK), -1) << "an inert writer created " << path;
}

} // namespace
