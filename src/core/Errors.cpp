#include "core/Errors.h"
#include "core/ErrorTextPrivate.h"

#include "core/XIImage.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace OGL_ZEP6_AE {

namespace {

constexpr std::size_t kMessageBufferSize = 4096;
constexpr std::size_t kFixedTextBufferSize = 1024;
constexpr std::size_t kAssertBufferSize = 256;

// The texts returned by what() live here, zero at load and for the life of the library.
// OpenGLError, FramebufferError and OpenGLDebug share the message buffer.
char sMessageBuffer[kMessageBufferSize];
char sUnsupportedBuffer[kFixedTextBufferSize];
char sOffscreenUnsupportedBuffer[kFixedTextBufferSize];
char sAssertBuffer[kAssertBufferSize];
// Texts composed at run time for Error (KeepErrorText): driver logs of compile and link failures.
char sErrorTextBuffer[16384];

const char kUnsupportedText[] =
    "Required feature of graphic card is not supported.\nConsider upgrading graphics card or driver.";
const char kOffscreenUnsupportedText[] =
    "Offscreen rendering is not supported.\nConsider upgrading graphics card or driver.";

static_assert(sizeof(kUnsupportedText) <= kFixedTextBufferSize, "text must fit its buffer");
static_assert(sizeof(kOffscreenUnsupportedText) <= kFixedTextBufferSize, "text must fit its buffer");

// Copies text into a buffer, cut so that it and its terminator fit. The source may lie in the
// buffer itself (a caller passing another exception's what()).
const char* CopyInto(char* buffer, std::size_t size, const char* text) {
    if (text == nullptr)
        text = "";
    const std::size_t length = strnlen(text, size - 1);
    std::memmove(buffer, text, length);
    buffer[length] = '\0';
    return buffer;
}

// Writes the composed text into the shared message buffer. It is composed aside first because
// its parts may point into that buffer.
const char* ComposeMessage(const char* head, const char* file, int line) {
    char text[kMessageBufferSize];
    if (file != nullptr)
        std::snprintf(text, sizeof(text), "%s\n%s: %d", head, file, line);
    else
        std::snprintf(text, sizeof(text), "%s", head);
    return CopyInto(sMessageBuffer, sizeof(sMessageBuffer), text);
}

const char* FramebufferStatusName(int status) {
    switch (status) {
    case 0x0506:
        return "GL_INVALID_FRAMEBUFFER_OPERATION_EXT";
    case 0x8CD5:
        return "GL_FRAMEBUFFER_COMPLETE_EXT";
    case 0x8CD6:
        return "GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT_EXT";
    case 0x8CD7:
        return "GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT";
    case 0x8CD9:
        return "GL_FRAMEBUFFER_INCOMPLETE_DIMENSIONS_EXT";
    case 0x8CDA:
        return "GL_FRAMEBUFFER_INCOMPLETE_FORMATS_EXT";
    case 0x8CDB:
        return "GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER_EXT";
    case 0x8CDC:
        return "GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER_EXT";
    case 0x8CDD:
        return "GL_FRAMEBUFFER_UNSUPPORTED_EXT";
    case 0x8D56:
        return "GL_FRAMEBUFFER_INCOMPLETE_MULTISAMPLE";
    case 0x8DA8:
        return "GL_FRAMEBUFFER_INCOMPLETE_LAYER_TARGETS";
    default:
        return "GL_FRAMEBUFFER Unknow error";
    }
}

} // namespace

Error::Error(const char* message) : message_(message) {}

Error::~Error() = default;

const char* Error::what() const noexcept {
    return message_ != nullptr ? message_ : "";
}

Unsupported::~Unsupported() = default;

const char* Unsupported::what() const noexcept {
    return CopyInto(sUnsupportedBuffer, sizeof(sUnsupportedBuffer), kUnsupportedText);
}

OffscreenUnsupported::~OffscreenUnsupported() = default;

const char* OffscreenUnsupported::what() const noexcept {
    return CopyInto(sOffscreenUnsupportedBuffer, sizeof(sOffscreenUnsupportedBuffer),
                    kOffscreenUnsupportedText);
}

OpenGLError::OpenGLError(int code, const char* file, int line) : code_(code), file_(file), line_(line) {}

OpenGLError::~OpenGLError() = default;

const char* OpenGLError::what() const noexcept {
    // Code 0 reports a failed or mismatched object: no text at all, not even the location.
    if (code_ == 0)
        return CopyInto(sMessageBuffer, sizeof(sMessageBuffer), "");
    // gluErrorString needs no context and gives null for codes it does not know.
    const char* description = reinterpret_cast<const char*>(gluErrorString(static_cast<GLenum>(code_)));
    char head[kMessageBufferSize];
    if (description != nullptr)
        std::snprintf(head, sizeof(head), "OpenGL error:\n%s", description);
    else
        std::snprintf(head, sizeof(head), "%s", "Unknown OpenGL error.");
    return ComposeMessage(head, file_, line_);
}

FramebufferError::FramebufferError(int status, const char* file, int line)
    : status_(status), file_(file), line_(line) {}

FramebufferError::~FramebufferError() = default;

const char* FramebufferError::what() const noexcept {
    return ComposeMessage(FramebufferStatusName(status_), file_, line_);
}

OpenGLDebug::OpenGLDebug(const char* text) {
    CopyInto(sMessageBuffer, sizeof(sMessageBuffer), text);
}

OpenGLDebug::~OpenGLDebug() = default;

const char* OpenGLDebug::what() const noexcept {
    return sMessageBuffer;
}

bool IsValid(const XIImage* image) {
    if (image == nullptr)
        return false;
    const long width = image->GetWidth();
    const long height = image->GetHeight();
    const long bitDepth = image->GetBitDepth();
    const long rowBytes = image->GetRowBytes();
    const void* base = image->GetBaseAddress();
    if (width < 1 || width > 16383 || height < 1 || height > 16383 || base == nullptr)
        return false;
    // The needed row length is a 32-bit signed quantity, as hosts compute it; the product is
    // formed wide and wrapped so that absurd bit depths cannot overflow.
    const auto needed = static_cast<std::int32_t>(static_cast<std::int64_t>(bitDepth) * width) / 8;
    return rowBytes >= needed;
}

void AssertValidImage(const XIImage* image, const char* name) {
    if (IsValid(image))
        return;
    static const char kSuffix[] = " error.";
    const std::size_t room = sizeof(sAssertBuffer) - sizeof(kSuffix); // keeps the terminator
    if (name == nullptr)
        name = "";
    const std::size_t length = strnlen(name, room);
    std::memmove(sAssertBuffer, name, length);
    std::memcpy(sAssertBuffer + length, kSuffix, sizeof(kSuffix));
    throw Error(sAssertBuffer);
}

const char* KeepErrorText(const char* text) {
    return CopyInto(sErrorTextBuffer, sizeof(sErrorTextBuffer), text);
}

void AssertOptionalImage(const XIImage* image, const char* name) {
    if (IsValid(image))
        AssertValidImage(image, name);
}

} // namespace OGL_ZEP6_AE
