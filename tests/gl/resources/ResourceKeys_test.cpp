// Which cached buffer satisfies which request: the acceptance rules of the three cache keys.

#include "gl/resources/ResourceKeys.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

using namespace OGL_ZEP6_AE;

namespace {

constexpr unsigned int kRect = GL_TEXTURE_RECTANGLE;

TEST(TextureKey, SizeIsOfTheInternalFormat) {
    // 2048 x 1080 four-float texels: 16 bytes each, the figure the texture budget is planned with.
    EXPECT_EQ(TextureKey(kRect, 2048, 1080, GL_RGBA32F, 0).Size(), 35389440);
    EXPECT_EQ(TextureKey(kRect, 4096, 4096, GL_RGBA8, 1).Size(), 4096 * 4096 * 4);
}

TEST(TextureKey, Acceptance) {
    const struct {
        const char* what;
        TextureKey request;
        TextureKey candidate;
        bool accepted;
    } cases[] = {
        // clang-format off
        {"same size, not exact", {kRect, 2048, 1080, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, true},
        {"larger candidate, not exact", {kRect, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, true},
        {"wider only, not exact", {kRect, 100, 1200, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"higher only, not exact", {kRect, 2100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"same size, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 100, 100, GL_RGBA8, 1}, true},
        {"larger candidate, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"smaller candidate, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 99, 100, GL_RGBA8, 1}, false},
        {"candidate's exact flag ignored", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 100, 100, GL_RGBA8, 0}, true},
        {"exact candidate serves inexact request", {kRect, 64, 64, GL_RGBA8, 0}, {kRect, 100, 100, GL_RGBA8, 1}, true},
        {"other internal format", {kRect, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA32F, 0}, false},
        {"other target", {GL_TEXTURE_2D, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        // clang-format on
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.request.IsAcceptable(c.candidate), c.accepted) << c.what;
}

TEST(RenderKey, AcceptsOnlyTheSameSizeFormatAndType) {
    const RenderKey request(640, 480, GL_RGBA, GL_FLOAT);
    RenderKey made = request;
    made.internalFormat = GL_RGBA32F;
    made.size = 640 * 480 * 16;
    EXPECT_TRUE(request.IsAcceptable(made)) << "what the renderbuffer filled in is not compared";
    const RenderKey others[] = {
        RenderKey(640, 480, GL_RGBA, GL_UNSIGNED_BYTE), RenderKey(640, 480, GL_DEPTH_COMPONENT, GL_FLOAT),
        RenderKey(641, 480, GL_RGBA, GL_FLOAT), RenderKey(640, 960, GL_RGBA, GL_FLOAT)};
    for (const RenderKey& other : others)
        EXPECT_FALSE(request.IsAcceptable(other)) << other.width << " x " << other.height << " " << other.format;
}

TEST(MemoryKey, AcceptsAnyBlockAtLeastAsLarge) {
    const MemoryKey request(0x100000);
    EXPECT_TRUE(request.IsAcceptable(MemoryKey(0x100000)));
    EXPECT_TRUE(request.IsAcceptable(MemoryKey(0x400000)));
    EXPECT_FALSE(request.IsAcceptable(MemoryKey(0xFFFFF)));
}

} // namespace
