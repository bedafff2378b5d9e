// Which cached buffer satisfies which request: the acceptance rules of the three cache keys.

#include "gl/resources/ResourceKeys.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

using namespace OGL_ZEP6_AE;

namespace {

constexpr unsigned int kRect = GL_TEXTURE_RECTANGLE;

TEST(TextureKey, DefaultIsAnEmptyFloatRectangleThatIsNotExact) {
    const TextureKey key;
    EXPECT_EQ(key.Target(), 0x84F5u);
    EXPECT_EQ(key.Width(), 0);
    EXPECT_EQ(key.Height(), 0);
    EXPECT_EQ(key.InternalFormat(), 0x8814u);
    EXPECT_FALSE(key.Exact());
    EXPECT_EQ(key.Size(), 0);
}

TEST(TextureKey, SizeCountsTheTexels) {
    // 2048 x 1080 four-float texels: 16 bytes each, the figure the texture budget is planned with.
    EXPECT_EQ(TextureKey(kRect, 2048, 1080, GL_RGBA32F, 0).Size(), 35389440);
    EXPECT_EQ(TextureKey(kRect, 4096, 4096, GL_RGBA8, 1).Size(), 4096 * 4096 * 4);
}

struct TextureCase {
    const char* what;
    TextureKey request;
    TextureKey candidate;
    bool accepted;
};

TEST(TextureKey, Acceptance) {
    const TextureCase cases[] = {
        {"same size, not exact", {kRect, 2048, 1080, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, true},
        {"larger candidate, not exact",
         {kRect, 100, 100, GL_RGBA8, 0},
         {kRect, 2048, 1080, GL_RGBA8, 0},
         true},
        {"wider only, not exact", {kRect, 100, 1200, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"higher only, not exact", {kRect, 2100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"same size, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 100, 100, GL_RGBA8, 1}, true},
        {"larger candidate, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
        {"smaller candidate, exact", {kRect, 100, 100, GL_RGBA8, 1}, {kRect, 99, 100, GL_RGBA8, 1}, false},
        {"candidate's exact flag ignored",
         {kRect, 100, 100, GL_RGBA8, 1},
         {kRect, 100, 100, GL_RGBA8, 0},
         true},
        {"exact candidate serves inexact request",
         {kRect, 64, 64, GL_RGBA8, 0},
         {kRect, 100, 100, GL_RGBA8, 1},
         true},
        {"other internal format", {kRect, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA32F, 0}, false},
        {"other target", {GL_TEXTURE_2D, 100, 100, GL_RGBA8, 0}, {kRect, 2048, 1080, GL_RGBA8, 0}, false},
    };
    for (const TextureCase& c : cases)
        EXPECT_EQ(c.request.IsAcceptable(c.candidate), c.accepted) << c.what;
}

TEST(TextureKey, RecordsTheInternalFormatGiven) {
    TextureKey key(kRect, 8, 8, GL_RGBA, 1);
    key.SetInternalFormat(GL_RGBA8);
    EXPECT_EQ(key.InternalFormat(), static_cast<unsigned int>(GL_RGBA8));
    EXPECT_TRUE(TextureKey(kRect, 8, 8, GL_RGBA8, 1).IsAcceptable(key));
    EXPECT_FALSE(TextureKey(kRect, 8, 8, GL_RGBA, 1).IsAcceptable(key));
}

TEST(RenderKey, RequestHasNoInternalFormatOrSize) {
    const RenderKey key(640, 480, GL_RGBA, GL_FLOAT);
    EXPECT_EQ(key.width, 640);
    EXPECT_EQ(key.height, 480);
    EXPECT_EQ(key.format, static_cast<unsigned int>(GL_RGBA));
    EXPECT_EQ(key.type, static_cast<unsigned int>(GL_FLOAT));
    EXPECT_EQ(key.internalFormat, 0u);
    EXPECT_EQ(key.size, 0);
}

TEST(RenderKey, AcceptsOnlyTheSameSizeFormatAndType) {
    const RenderKey request(640, 480, GL_RGBA, GL_FLOAT);
    RenderKey made = request;
    made.internalFormat = GL_RGBA32F;
    made.size = 640 * 480 * 16;
    EXPECT_TRUE(request.IsAcceptable(made)) << "what the renderbuffer filled in is not compared";

    EXPECT_FALSE(request.IsAcceptable(RenderKey(640, 480, GL_RGBA, GL_UNSIGNED_BYTE)));
    EXPECT_FALSE(request.IsAcceptable(RenderKey(640, 480, GL_DEPTH_COMPONENT, GL_FLOAT)));
    EXPECT_FALSE(request.IsAcceptable(RenderKey(641, 480, GL_RGBA, GL_FLOAT)));
    EXPECT_FALSE(request.IsAcceptable(RenderKey(640, 960, GL_RGBA, GL_FLOAT)));
}

TEST(MemoryKey, AcceptsAnyBlockAtLeastAsLarge) {
    const MemoryKey request(0x100000);
    EXPECT_TRUE(request.IsAcceptable(MemoryKey(0x100000)));
    EXPECT_TRUE(request.IsAcceptable(MemoryKey(0x400000)));
    EXPECT_FALSE(request.IsAcceptable(MemoryKey(0xFFFFF)));
}

} // namespace
