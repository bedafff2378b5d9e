#pragma once

// The library's exception classes and the image-validity checks.
//
// Every class derives directly from std::exception (not from one another): a caller that wants
// them all catches std::exception. The texts some of them compose live in static buffers, so a
// text stays valid only until the next exception of the same kind composes its own; callers that
// keep a text copy it at once. None of this locks: two threads composing texts at the same time
// overwrite each other's.

#include "Export.h"

#include <exception>

class XIImage;

namespace OGL_ZEP6_AE {

// A failure with a fixed message. Only the pointer is kept, so the text must outlive the
// exception: pass a literal or text held in a static buffer.
class ZEP6_API Error : public std::exception {
public:
    explicit Error(const char* message);
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;

    // The message pointer given to the constructor (an empty text for a null one).
    const char* what() const noexcept override;

private:
    const char* message_;
};

// An OpenGL entry point or capability an operation needs is missing.
class ZEP6_API Unsupported : public std::exception {
public:
    Unsupported() = default;
    Unsupported(const Unsupported&) = default;
    Unsupported& operator=(const Unsupported&) = default;
    ~Unsupported() override;

    const char* what() const noexcept override;
};

// No offscreen render target can be made.
class ZEP6_API OffscreenUnsupported : public std::exception {
public:
    OffscreenUnsupported() = default;
    OffscreenUnsupported(const OffscreenUnsupported&) = default;
    OffscreenUnsupported& operator=(const OffscreenUnsupported&) = default;
    ~OffscreenUnsupported() override;

    const char* what() const noexcept override;
};

// An OpenGL error. Code 0 (the default) stands for "OpenGL failed to make an object, or made one
// of another size than asked" and has an empty text; a non-zero code is described with GLU, and
// a file adds its location.
class ZEP6_API OpenGLError : public std::exception {
public:
    explicit OpenGLError(int code = 0, const char* file = nullptr, int line = 0);
    OpenGLError(const OpenGLError&) = default;
    OpenGLError& operator=(const OpenGLError&) = default;
    ~OpenGLError() override;

    // Composes the text into the shared message buffer and returns it.
    const char* what() const noexcept override;

private:
    int code_;
    const char* file_;
    int line_;
};

// An incomplete framebuffer, named by its status enumerant. Offered to plug-ins; the library
// does not throw it.
class ZEP6_API FramebufferError : public std::exception {
public:
    FramebufferError(int status, const char* file, int line);
    FramebufferError(const FramebufferError&) = default;
    FramebufferError& operator=(const FramebufferError&) = default;
    ~FramebufferError() override;

    // Composes the text into the shared message buffer and returns it.
    const char* what() const noexcept override;

private:
    int status_;
    const char* file_;
    int line_;
};

// A diagnostic text from the driver's debug output. The constructor copies the text into the
// shared message buffer; what() returns that buffer. Offered to plug-ins; the library does not
// throw it.
class ZEP6_API OpenGLDebug : public std::exception {
public:
    explicit OpenGLDebug(const char* text);
    OpenGLDebug(const OpenGLDebug&) = default;
    OpenGLDebug& operator=(const OpenGLDebug&) = default;
    ~OpenGLDebug() override;

    const char* what() const noexcept override;
};

// Whether an image can be worked on: not null, width and height in 1..16383, a base address, and
// row bytes of at least bit depth * width / 8.
ZEP6_API bool IsValid(const XIImage* image);

// Throws Error with the text "<name> error." (for example "Source error.") unless the image is
// valid. The text lives in a static buffer of 256 bytes; a long name is cut to fit.
ZEP6_API void AssertValidImage(const XIImage* image, const char* name);

// Kept for plug-ins that call it: it tests the image and asserts only an image that passed, so
// it never throws.
ZEP6_API void AssertOptionalImage(const XIImage* image, const char* name);

} // namespace OGL_ZEP6_AE
