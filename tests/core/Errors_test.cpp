// The exception classes: their texts in one table, the message buffers, and the image-validity
// checks.

#include "core/Errors.h"
#include "support/TestImage.h"

#include <GL/glu.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <type_traits>

using namespace OGL_ZEP6_AE;
using zep6test::TestImage;
namespace Formats = zep6test::Formats;

// Callers catch them all as std::exception; none is a kind of another.
template <class... E> constexpr bool kAllExceptions = (std::is_base_of<std::exception, E>::value && ...);
static_assert(kAllExceptions<Error, Unsupported, OffscreenUnsupported, OpenGLError, FramebufferError, OpenGLDebug>);
static_assert(!std::is_base_of<Error, Unsupported>::value &&
              !std::is_base_of<Unsupported, OffscreenUnsupported>::value);

namespace {

constexpr std::size_t kMessageLimit = 4095;

std::string Glu(int code) {
    const GLubyte* text = gluErrorString(static_cast<GLenum>(code));
    return text != nullptr ? reinterpret_cast<const char*>(text) : std::string("(none)");
}

// what() of an exception caught the way plug-ins catch them.
template <typename Exception> std::string Caught(const Exception& exception) {
    try {
        throw exception;
    } catch (const std::exception& caught) {
        return caught.what();
    }
}

// The message of the Error that AssertValidImage throws for `image`.
std::string Refusal(const XIImage* image, const char* name) {
    try {
        AssertValidImage(image, name);
    } catch (const Error& error) {
        return error.what();
    }
    return "(nothing thrown)";
}

TEST(Errors, TextsTheirBuffersAndIsValidOfEachField) {
    ASSERT_EQ(gluErrorString(0x1234), nullptr);
    const std::string longName(1000, 'n');
    // 256 bytes hold 248 bytes of name, " error." and the terminator.
    const std::size_t room = 256 - 1 - std::strlen(" error.");
    TestImage noWidth(Formats::RGBA8, 4, 4);
    noWidth.SetWidth(0);
    // clang-format off
    const struct {
        const char* what;
        std::function<std::string()> text;
        std::string expected;
    } cases[] = {
        // Code 0 is empty, also after a longer text filled the shared buffer.
        {"code 0", [] { FramebufferError(0x8CD6, "file.cpp", 12).what(); return Caught(OpenGLError()); }, ""},
        {"code 0 with a file", [] { return Caught(OpenGLError(0, "x", 7)); }, ""},
        {"code with a file", [] { return Caught(OpenGLError(0x0505, "x", 7)); },
         "OpenGL error:\n" + Glu(0x0505) + "\nx: 7"},
        {"code alone", [] { return Caught(OpenGLError(0x0500)); }, "OpenGL error:\n" + Glu(0x0500)},
        {"unknown code with a file", [] { return Caught(OpenGLError(0x1234, "f", 1)); },
         "Unknown OpenGL error.\nf: 1"},
        {"framebuffer status", [] { return Caught(FramebufferError(0x8CDD, "f", 3)); },
         "GL_FRAMEBUFFER_UNSUPPORTED_EXT\nf: 3"},
        {"unknown framebuffer status", [] { return Caught(FramebufferError(0x8CD8, nullptr, 0)); },
         "GL_FRAMEBUFFER Unknow error"},
        {"invalid image", [&] { return Refusal(&noWidth, "Mask"); }, "Mask error."},
        {"no image", [] { return Refusal(nullptr, "Source"); }, "Source error."},
        {"name filling the room", [&] { return Refusal(nullptr, longName.substr(0, room).c_str()); },
         longName.substr(0, room) + " error."},
        {"name one over", [&] { return Refusal(nullptr, longName.substr(0, room + 1).c_str()); },
         longName.substr(0, room) + " error."},
    };
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(c.text(), c.expected) << c.what;
    const TestImage valid(Formats::RGBA8, 4, 4);
    EXPECT_NO_THROW(AssertValidImage(&valid, "Source"));
    for (const XIImage* image : {static_cast<const XIImage*>(nullptr), static_cast<const XIImage*>(&noWidth),
                                 static_cast<const XIImage*>(&valid)})
        EXPECT_NO_THROW(AssertOptionalImage(image, "Optional"));

    // An Error keeps the pointer it was given.
    static const char message[] = "Shader file malformed.";
    EXPECT_EQ(Error(message).what(), message);

    // Each fixed text has a buffer of its own, which composing the other texts leaves intact.
    const char* fixed = Unsupported().what();
    const char* offscreen = OffscreenUnsupported().what();
    const std::string text = fixed, offscreenText = offscreen;
    // The composed texts share one buffer: a later text replaces an earlier one.
    const char* composed = FramebufferError(0x8CDD, nullptr, 0).what();
    EXPECT_EQ(OpenGLError(0x0505).what(), composed);
    EXPECT_EQ(OpenGLDebug("debug output").what(), composed);
    EXPECT_STREQ(composed, "debug output");
    EXPECT_EQ(fixed, text);
    EXPECT_EQ(offscreen, offscreenText);

    // Long texts are cut at 4095 bytes, also a long file name; a debug text may come from the
    // buffer itself.
    for (std::size_t length : {kMessageLimit, kMessageLimit + 1}) {
        const std::string debug(length, 'd');
        EXPECT_EQ(std::string(OpenGLDebug(debug.c_str()).what()), debug.substr(0, kMessageLimit)) << length;
    }
    const std::string longFile(6000, 'f');
    const std::string cut = OpenGLError(0x0505, longFile.c_str(), 1).what();
    EXPECT_EQ(cut.size(), kMessageLimit);
    EXPECT_EQ(cut.rfind("OpenGL error:\n" + Glu(0x0505) + "\nfff", 0), 0u);
    EXPECT_EQ(std::strlen(FramebufferError(0x8CDD, longFile.c_str(), 1).what()), kMessageLimit);
    const char* previous = OpenGLError(0x0505, "same.cpp", 5).what();
    const std::string expected = previous;
    EXPECT_EQ(std::string(OpenGLDebug(previous).what()), expected);

    // IsValid: the bounds of each field.
    const struct {
        const char* what;
        void (*change)(TestImage&);
        bool valid;
    } fields[] = {
        {"as made", [](TestImage&) {}, true}, {"width 0", [](TestImage& i) { i.SetWidth(0); }, false},
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
        // 12 bits x 3 = 36 bits: 4 whole bytes (the division rounds toward zero).
        {"odd bit depth fits", [](TestImage& i) { i.SetWidth(3).SetBitDepth(12).SetRowBytes(4); }, true},
        {"odd bit depth short", [](TestImage& i) { i.SetWidth(3).SetBitDepth(12).SetRowBytes(3); }, false},
        // Read-only, orientation, colour space and white level are not checked.
        {"read-only", [](TestImage& i) { i.SetReadOnly(true); }, true},
        {"top-down", [](TestImage& i) { i.SetBottomUp(false); }, true},
        {"unknown colour space", [](TestImage& i) { i.SetColorSpace(777).SetWhiteLevel(0); }, true},
    };
    for (const auto& c : fields) {
        TestImage image(Formats::BGRA8, 10, 3); // 40-byte rows
        c.change(image);
        EXPECT_EQ(IsValid(&image), c.valid) << c.what;
    }
    EXPECT_FALSE(IsValid(nullptr));
}

} // namespace
