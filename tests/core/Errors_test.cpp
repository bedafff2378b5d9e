// The exception classes, their texts and message buffers, and the image-validity checks.

#include "core/Errors.h"
#include "support/TestImage.h"

#include <GL/glu.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>

using namespace OGL_ZEP6_AE;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

// Callers catch them all as std::exception; none is a kind of another.
static_assert(std::is_base_of<std::exception, Error>::value);
static_assert(std::is_base_of<std::exception, Unsupported>::value);
static_assert(std::is_base_of<std::exception, OffscreenUnsupported>::value);
static_assert(std::is_base_of<std::exception, OpenGLError>::value);
static_assert(std::is_base_of<std::exception, FramebufferError>::value);
static_assert(std::is_base_of<std::exception, OpenGLDebug>::value);
static_assert(!std::is_base_of<Error, Unsupported>::value &&
              !std::is_base_of<Unsupported, OffscreenUnsupported>::value);

namespace {

constexpr std::size_t kMessageLimit = 4095;

std::string GluText(int code) {
    const GLubyte* text = gluErrorString(static_cast<GLenum>(code));
    return text != nullptr ? reinterpret_cast<const char*>(text) : std::string();
}

// what() of an exception caught the way plug-ins catch them.
template <typename Exception> std::string CaughtText(const Exception& exception) {
    try {
        throw exception;
    } catch (const std::exception& caught) {
        return caught.what();
    }
}

TEST(Error, KeepsTheMessagePointer) {
    static const char message[] = "Shader file malformed.";
    const Error error(message);
    EXPECT_EQ(error.what(), message);
    const Error copy = error;
    EXPECT_EQ(copy.what(), message);
    EXPECT_EQ(CaughtText(error), message);
}

TEST(Unsupported, FixedTexts) {
    EXPECT_EQ(
        CaughtText(Unsupported()),
        "Required feature of graphic card is not supported.\nConsider upgrading graphics card or driver.");
    EXPECT_EQ(CaughtText(OffscreenUnsupported()),
              "Offscreen rendering is not supported.\nConsider upgrading graphics card or driver.");
}

TEST(Unsupported, EachClassHasItsOwnBuffer) {
    const Unsupported unsupported;
    const OffscreenUnsupported offscreen;
    const char* first = unsupported.what();
    const char* second = offscreen.what();
    EXPECT_NE(first, second);
    // Composing the other texts leaves both intact.
    OpenGLDebug("something else");
    EXPECT_STREQ(first, unsupported.what());
    EXPECT_EQ(std::string(second).rfind("Offscreen rendering", 0), 0u);
}

TEST(OpenGLError, DefaultIsEmptyEvenAfterALongerText) {
    EXPECT_NE(std::strlen(FramebufferError(0x8CD6, "file.cpp", 12).what()), 0u);
    EXPECT_STREQ(OpenGLError().what(), "");
    EXPECT_STREQ(OpenGLError(0, "x", 7).what(), "");
}

TEST(OpenGLError, DescribesTheCodeWithGlu) {
    const std::string outOfMemory = GluText(0x0505);
    ASSERT_FALSE(outOfMemory.empty());
    EXPECT_EQ(CaughtText(OpenGLError(0x0505, "x", 7)), "OpenGL error:\n" + outOfMemory + "\nx: 7");

    const std::string invalidEnum = GluText(0x0500);
    ASSERT_FALSE(invalidEnum.empty());
    EXPECT_EQ(CaughtText(OpenGLError(0x0500)), "OpenGL error:\n" + invalidEnum);
    EXPECT_EQ(CaughtText(OpenGLError(0x0500, "dir/file.cpp", -3)),
              "OpenGL error:\n" + invalidEnum + "\ndir/file.cpp: -3");
}

TEST(OpenGLError, UnknownCode) {
    ASSERT_EQ(gluErrorString(0x1234), nullptr);
    EXPECT_EQ(CaughtText(OpenGLError(0x1234)), "Unknown OpenGL error.");
    EXPECT_EQ(CaughtText(OpenGLError(0x1234, "f", 1)), "Unknown OpenGL error.\nf: 1");
}

TEST(OpenGLError, CopyKeepsCodeAndLocation) {
    const OpenGLError original(0x0505, "here.cpp", 99);
    const std::string text = original.what();
    OpenGLError copy;
    copy = original;
    EXPECT_EQ(std::string(OpenGLError(original).what()), text);
    EXPECT_EQ(std::string(copy.what()), text);
}

TEST(FramebufferError, NamesTheStatus) {
    const struct {
        int status;
        const char* text;
    } cases[] = {
        {0x0506, "GL_INVALID_FRAMEBUFFER_OPERATION_EXT"},
        {0x8CD5, "GL_FRAMEBUFFER_COMPLETE_EXT"},
        {0x8CD6, "GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT_EXT"},
        {0x8CD7, "GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT"},
        {0x8CD9, "GL_FRAMEBUFFER_INCOMPLETE_DIMENSIONS_EXT"},
        {0x8CDA, "GL_FRAMEBUFFER_INCOMPLETE_FORMATS_EXT"},
        {0x8CDB, "GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER_EXT"},
        {0x8CDC, "GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER_EXT"},
        {0x8CDD, "GL_FRAMEBUFFER_UNSUPPORTED_EXT"},
        {0x8D56, "GL_FRAMEBUFFER_INCOMPLETE_MULTISAMPLE"},
        {0x8DA8, "GL_FRAMEBUFFER_INCOMPLETE_LAYER_TARGETS"},
        {0x8CD8, "GL_FRAMEBUFFER Unknow error"},
        {0, "GL_FRAMEBUFFER Unknow error"},
        {-1, "GL_FRAMEBUFFER Unknow error"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.status);
        EXPECT_EQ(CaughtText(FramebufferError(c.status, nullptr, 0)), c.text);
        EXPECT_EQ(CaughtText(FramebufferError(c.status, "f", 3)), std::string(c.text) + "\nf: 3");
    }
}

TEST(SharedMessageBuffer, OneBufferForComposedTexts) {
    const FramebufferError framebuffer(0x8CDD, nullptr, 0);
    const OpenGLError gl(0x0505);
    const char* composed = framebuffer.what();
    EXPECT_EQ(gl.what(), composed);
    // The later text replaces the earlier one: callers copy a text before the next is composed.
    EXPECT_EQ(std::string(composed).rfind("OpenGL error:\n", 0), 0u);
    const OpenGLDebug debug("debug output");
    EXPECT_EQ(debug.what(), composed);
    EXPECT_STREQ(composed, "debug output");
}

TEST(SharedMessageBuffer, LongTextsAreCutAt4095) {
    for (std::size_t length : {kMessageLimit - 1, kMessageLimit, kMessageLimit + 1, std::size_t{10000}}) {
        SCOPED_TRACE(length);
        const std::string text(length, 'd');
        const OpenGLDebug debug(text.c_str());
        const std::string stored = debug.what();
        EXPECT_EQ(stored.size(), std::min(length, kMessageLimit));
        EXPECT_EQ(stored, text.substr(0, kMessageLimit));
    }

    const std::string longFile(6000, 'f');
    const std::string text = OpenGLError(0x0505, longFile.c_str(), 1).what();
    EXPECT_EQ(text.size(), kMessageLimit);
    EXPECT_EQ(text.rfind("OpenGL error:\n" + GluText(0x0505) + "\nfff", 0), 0u);

    const std::string framebuffer = FramebufferError(0x8CDD, longFile.c_str(), 1).what();
    EXPECT_EQ(framebuffer.size(), kMessageLimit);
}

TEST(SharedMessageBuffer, DebugTextMayComeFromTheBufferItself) {
    const char* previous = OpenGLError(0x0505, "same.cpp", 5).what();
    const std::string expected = previous;
    const OpenGLDebug debug(previous);
    EXPECT_EQ(std::string(debug.what()), expected);
}

TEST(IsValid, BoundsOfEachField) {
    const struct {
        const char* what;
        void (*change)(TestImage&);
        bool valid;
    } cases[] = {
        {"as made", [](TestImage&) {}, true},
        {"width 0", [](TestImage& i) { i.SetWidth(0); }, false},
        {"width -1", [](TestImage& i) { i.SetWidth(-1); }, false},
        {"width 16383", [](TestImage& i) { i.SetWidth(16383).SetRowBytes(16383 * 4); }, true},
        {"width 16384", [](TestImage& i) { i.SetWidth(16384).SetRowBytes(16384 * 4); }, false},
        {"height 0", [](TestImage& i) { i.SetHeight(0); }, false},
        {"height 16383", [](TestImage& i) { i.SetHeight(16383); }, true},
        {"height 16384", [](TestImage& i) { i.SetHeight(16384); }, false},
        {"no pixels", [](TestImage& i) { i.SetNullBase(true); }, false},
        {"rows exactly packed", [](TestImage& i) { i.SetRowBytes(40); }, true},
        {"rows one byte short", [](TestImage& i) { i.SetRowBytes(39); }, false},
        {"negative row bytes", [](TestImage& i) { i.SetRowBytes(-40); }, false},
        {"deeper pixels than rows hold", [](TestImage& i) { i.SetBitDepth(64); }, false},
        // 12 bits x 3 = 36 bits: 4 whole bytes (the division rounds toward zero).
        {"odd bit depth fits", [](TestImage& i) { i.SetWidth(3).SetBitDepth(12).SetRowBytes(4); }, true},
        {"odd bit depth short", [](TestImage& i) { i.SetWidth(3).SetBitDepth(12).SetRowBytes(3); }, false},
        // Read-only, orientation, colour space and white level are not checked.
        {"read-only", [](TestImage& i) { i.SetReadOnly(true); }, true},
        {"top-down", [](TestImage& i) { i.SetBottomUp(false); }, true},
        {"unknown colour space", [](TestImage& i) { i.SetColorSpace(777).SetWhiteLevel(0); }, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TestImage image(Formats::BGRA8, 10, 3); // 40-byte rows
        c.change(image);
        EXPECT_EQ(IsValid(&image), c.valid);
    }
    EXPECT_FALSE(IsValid(nullptr));
}

TEST(AssertValidImage, ThrowsErrorNamingTheImage) {
    const TestImage valid(Formats::RGBA8, 4, 4);
    EXPECT_NO_THROW(AssertValidImage(&valid, "Source"));

    TestImage bad(Formats::RGBA8, 4, 4);
    bad.SetWidth(0);
    try {
        AssertValidImage(&bad, "Mask");
        FAIL() << "no exception";
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "Mask error.");
    }
    try {
        AssertValidImage(nullptr, "Source");
        FAIL() << "no exception";
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "Source error.");
    }
}

TEST(AssertValidImage, LongNamesAreCutToFit256Bytes) {
    // 256 bytes hold 248 bytes of name, " error." and the terminator.
    const std::size_t room = 256 - 1 - std::strlen(" error.");
    for (std::size_t length : {room - 1, room, room + 1, std::size_t{1000}}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'n');
        try {
            AssertValidImage(nullptr, name.c_str());
            FAIL() << "no exception";
        } catch (const Error& error) {
            EXPECT_EQ(std::string(error.what()), name.substr(0, room) + " error.");
        }
    }
}

TEST(AssertOptionalImage, NeverThrows) {
    const TestImage valid(Formats::RGBA8, 4, 4);
    TestImage invalid(Formats::RGBA8, 4, 4);
    invalid.SetNullBase(true);
    EXPECT_NO_THROW(AssertOptionalImage(nullptr, "Optional"));
    EXPECT_NO_THROW(AssertOptionalImage(&invalid, "Optional"));
    EXPECT_NO_THROW(AssertOptionalImage(&valid, "Optional"));
}

} // namespace
