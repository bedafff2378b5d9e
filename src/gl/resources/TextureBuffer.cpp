#include "gl/resources/TextureBuffer.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "core/XIImage.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "geometry/Region.h"
#include "gl/resources/StagingBuffer.h"
#include "gl/resources/StaticFactoryPrivate.h"
#include "gl/state/Clear.h"
#include "gl/state/Color.h"
#include "gl/state/Matrices.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "gl/state/ViewArea.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

detail::StaticFactory<TextureFactory> sTextureFactory;

} // namespace

TextureBuffer::TextureBuffer(const TextureKey& key) : key_(key), texture_(0), frameBuffer_(0) {
    Initialize();
}

TextureBuffer::~TextureBuffer() {
    try {
        if ((texture_ || frameBuffer_) && RootContext::HasContext())
            DeleteNames();
    } catch (...) {
    }
    texture_ = 0;
    frameBuffer_ = 0;
}

void TextureBuffer::DeleteNames() const {
    if (texture_) {
        const GLuint name = texture_;
        texture_ = 0;
        glDeleteTextures(1, &name);
    }
    if (frameBuffer_) {
        const GLuint name = frameBuffer_;
        frameBuffer_ = 0;
        ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &name);
    }
}

void TextureBuffer::Finalize() {
    DeleteNames();
}

void TextureBuffer::Initialize() const {
    if (texture_)
        return;
    GLuint name = 0;
    glGenTextures(1, &name);
    if (name == 0)
        throw OpenGLError();
    Relist();

    // The binding of the key's target comes back on every way out.
    const GLenum target = key_.Target();
    Push<TextureBinding> savedBinding;
    PushTextureTarget binding(target, name);
    texture_ = name;
    try {
        unsigned int format = 0, type = 0;
        GetColorSpaceFormat(key_.InternalFormat(), format, type);
        // No pixels are passed; an unsized internal format names no type, and any valid one will do.
        if (type == 0)
            type = GL_UNSIGNED_BYTE;
        glTexImage2D(target, 0, static_cast<GLint>(key_.InternalFormat()), key_.Width(), key_.Height(), 0,
                     format, type, nullptr);
        GLint width = 0, height = 0, internalFormat = 0;
        glGetTexLevelParameteriv(target, 0, GL_TEXTURE_WIDTH, &width);
        glGetTexLevelParameteriv(target, 0, GL_TEXTURE_HEIGHT, &height);
        if (width != key_.Width() || height != key_.Height())
            throw OpenGLError();
        glGetTexLevelParameteriv(target, 0, GL_TEXTURE_INTERNAL_FORMAT, &internalFormat);
        key_.SetInternalFormat(static_cast<unsigned int>(internalFormat));

        // A new texture starts transparent black. Without framebuffer objects it cannot be
        // drawn into, and its content is left as the driver made it.
        if (format != GL_DEPTH_COMPONENT && IsFrameBufferSupported()) {
            PushState state;
            if (const_cast<TextureBuffer*>(this)->SelectTarget(true))
                ClearColorBuffer(Color::Transparent);
        }
    } catch (...) {
        // A texture that failed is not kept, so a constructor that throws leaks no name.
        DeleteNames();
        throw;
    }
}

void TextureBuffer::Bind() const {
    // Binding name 0 only switches the 2-D and rectangle targets off: they stay off if making the
    // texture fails.
    TextureBinding::Bind(key_.Target(), 0);
    Initialize();
    TextureBinding::Bind(key_.Target(), texture_);
}

bool TextureBuffer::IsResident() const {
    if (!texture_)
        return false;
    const GLuint name = texture_;
    GLboolean resident = GL_FALSE;
    return glAreTexturesResident(1, &name, &resident) == GL_TRUE;
}

void TextureBuffer::Attach(unsigned int attachment) const {
    Initialize();
    const GLenum target = key_.Target();
    {
        PushTextureTarget binding(target, texture_);
        glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    }
    ZEP6_GLCALL(glFramebufferTexture2DEXT)(GL_FRAMEBUFFER_EXT, attachment, target, texture_, 0);
}

bool TextureBuffer::Select() {
    return SelectTarget(false);
}

bool TextureBuffer::SelectTarget(bool keepTextureWhenIncomplete) {
    if (key_.Width() == 0 || key_.Height() == 0)
        return false;
    // As Bind(): texturing off first, so that it stays off if making the texture fails.
    TextureBinding::Bind(key_.Target(), 0);
    Initialize();
    TextureBinding::Bind(key_.Target(), texture_);
    if (!IsFrameBufferSupported())
        throw OffscreenUnsupported();

    auto bindFrameBuffer = ZEP6_GLCALL(glBindFramebufferEXT);
    if (frameBuffer_ == 0) {
        GLuint name = 0;
        ZEP6_GLCALL(glGenFramebuffersEXT)(1, &name);
        frameBuffer_ = name;
    }
    if (frameBuffer_ == 0)
        return false;

    bindFrameBuffer(GL_FRAMEBUFFER_EXT, frameBuffer_);
    Attach(GL_COLOR_ATTACHMENT0_EXT);
    if (ZEP6_GLCALL(glCheckFramebufferStatusEXT)(GL_FRAMEBUFFER_EXT) != GL_FRAMEBUFFER_COMPLETE_EXT) {
        // While a new texture is being cleared, an incomplete framebuffer only means it cannot
        // be drawn into; the texture itself is kept.
        if (!keepTextureWhenIncomplete)
            Finalize();
        return false;
    }
    bindFrameBuffer(GL_FRAMEBUFFER_EXT, frameBuffer_);
    SetDefault();
    Orthogonal(-10000.0, 10000.0);
    return true;
}

bool TextureBuffer::Deselect() {
    return false;
}

void TextureBuffer::Orthogonal(double zNear, double zFar) {
    OrthogonalFor(key_.Width(), key_.Height(), zNear, zFar);
}

void TextureBuffer::OrthogonalFor(int width, int height, double zNear, double zFar) {
    if (width == 0 || height == 0)
        return;
    ViewArea(0, 0, width, height).Apply();
    // Loading the identity projection leaves GL_PROJECTION selected, so glOrtho multiplies onto
    // it; the identity model-view matrix then leaves GL_MODELVIEW selected.
    ProjectionMatrix::Identity.Apply();
    glOrtho(0.0, width, 0.0, height, zNear, zFar);
    ModelMatrix::Identity.Apply();
}

void TextureBuffer::Reset() {
    SetDefault();
    Orthogonal(-10000.0, 10000.0);
}

void TextureBuffer::LoadImageNative(const XIImage* image, const Region& source, const Region& dest) const {
    Transfer(image, source, dest, true, false);
}

void TextureBuffer::ReadImageNative(const XIImage* image, const Region& source, const Region& dest) const {
    Transfer(image, source, dest, false, false);
}

void TextureBuffer::LoadImageAsRgba(const XIImage* image, const Region& source, const Region& dest) const {
    Transfer(image, source, dest, true, true);
}

void TextureBuffer::ReadImageAsRgba(const XIImage* image, const Region& source, const Region& dest) const {
    Transfer(image, source, dest, false, true);
}

void TextureBuffer::Transfer(const XIImage* image, const Region& source, const Region& dest, bool load,
                             bool asRgba) const {
    if (!image)
        throw OpenGLError();
    void* pixels = image->GetBaseAddress();
    if (!pixels || !source.IsValid() || source.Width() == 0 || source.Height() == 0)
        return;
    // Only the part of the source inside the image's memory moves; the destination moves with its
    // corner, so a region reaching past the image never reads or writes outside its pixels.
    const Region area = source & Region(static_cast<unsigned int>(std::max(image->GetWidth(), 0L)),
                                        static_cast<unsigned int>(std::max(image->GetHeight(), 0L)));
    if (!area.IsValid())
        return;
    const Region target(dest.XOrigin() + (area.XOrigin() - source.XOrigin()),
                        dest.YOrigin() + (area.YOrigin() - source.YOrigin()), area.Width(), area.Height());

    unsigned int format = 0, type = 0;
    GetFormatType(image, format, type);
    // Pixels OpenGL has no type for cannot be moved as they are.
    if (type == 0)
        return;
    if (asRgba) {
        if (format == GL_BGR) {
            format = GL_RGB;
        } else if (format == GL_BGRA) {
            format = GL_RGBA;
            if (type == GL_UNSIGNED_INT_8_8_8_8 || type == GL_UNSIGNED_INT_8_8_8_8_REV)
                type = GL_UNSIGNED_BYTE;
        }
    }

    const GLsizei width = static_cast<GLsizei>(area.Width());
    const GLsizei height = static_cast<GLsizei>(area.Height());
    const long pixelBytes = image->GetBitDepth() / 8;
    if (TransferThroughBuffer(image, area, target, format, type, load))
        return;
    if (pixelBytes > 0 && image->GetRowBytes() % pixelBytes != 0) {
        // Rows that are not a whole number of pixels apart cannot be described to OpenGL (its row
        // length counts pixels): one row at a time, each from its own address.
        const auto row = [&](GLsizei r) {
            return static_cast<unsigned char*>(pixels) + (area.YOrigin() + r) * image->GetRowBytes();
        };
        if (load) {
            Initialize();
            PushPixelUnpack unpack(1, 0, 0, area.XOrigin(), 0);
            PushTextureTarget binding(key_.Target(), texture_);
            for (GLsizei r = 0; r < height; ++r)
                glTexSubImage2D(key_.Target(), 0, target.XOrigin(), target.YOrigin() + r, width, 1, format, type, row(r));
        } else {
            PushPixelPack pack(1, 0, 0, area.XOrigin(), 0);
            for (GLsizei r = 0; r < height; ++r)
                glReadPixels(target.XOrigin(), target.YOrigin() + r, width, 1, format, type, row(r));
        }
        return;
    }
    if (load) {
        Initialize();
        PushPixelUnpack unpack(image, area.XOrigin(), area.YOrigin());
        PushTextureTarget binding(key_.Target(), texture_);
        glTexSubImage2D(key_.Target(), 0, target.XOrigin(), target.YOrigin(), width, height, format, type,
                        pixels);
    } else {
        PushPixelPack pack(image, area.XOrigin(), area.YOrigin());
        glReadPixels(target.XOrigin(), target.YOrigin(), width, height, format, type, pixels);
    }
}

bool TextureBuffer::TransferThroughBuffer(const XIImage* image, const Region& area, const Region& target,
                                          unsigned int format, unsigned int type, bool load) const {
    const long pixelBytes = image->GetBitDepth() / 8;
    const long stride = image->GetRowBytes();
    if (pixelBytes <= 0 || image->GetBitDepth() % 8 != 0 || stride <= 0 || !StagingBuffer::IsAvailable())
        return false;
    const GLsizei width = static_cast<GLsizei>(area.Width());
    const GLsizei height = static_cast<GLsizei>(area.Height());
    HostRows rows;
    rows.first = static_cast<unsigned char*>(image->GetBaseAddress()) + area.YOrigin() * stride +
                 area.XOrigin() * pixelBytes;
    rows.stride = stride;
    rows.rowBytes = width * pixelBytes;
    rows.height = height;
    // In the buffer the rows lie packed, whatever their spacing in the host image.
    if (load) {
        Initialize();
        PushPixelUnpack unpack(1, 0, 0, 0, 0);
        PushTextureTarget binding(key_.Target(), texture_);
        return StagingBuffer::Upload(rows, [&] {
            glTexSubImage2D(key_.Target(), 0, target.XOrigin(), target.YOrigin(), width, height, format, type,
                            nullptr);
        });
    }
    // Pixels outside the framebuffer are left alone by a read into host memory but would bring the
    // buffer's old bytes with them: only blocks inside this texture's own framebuffer go this way.
    GLint readFrameBuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &readFrameBuffer);
    if (frameBuffer_ == 0 || static_cast<unsigned int>(readFrameBuffer) != frameBuffer_ || target.XOrigin() < 0 ||
        target.YOrigin() < 0 || target.XOrigin() + width > key_.Width() || target.YOrigin() + height > key_.Height())
        return false;
    PushPixelPack pack(1, 0, 0, 0, 0);
    return StagingBuffer::Read(rows, [&] {
        glReadPixels(target.XOrigin(), target.YOrigin(), width, height, format, type, nullptr);
    });
}

TextureBuffer* TextureBuffer::Make(const TextureKey& key) {
    TextureKey request = key;
    if (!key.Exact())
        request = TextureKey(key.Target(), std::max(key.Width(), kMinimumWidth),
                             std::max(key.Height(), kMinimumHeight), key.InternalFormat(), 0);
    if (request.Width() <= 0 || request.Height() <= 0)
        return nullptr;
    if (TextureFactory* factory = sTextureFactory.Get())
        return factory->Make(request);
    return new TextureBuffer(request);
}

void TextureBuffer::Recycle(TextureBuffer* buffer) {
    if (TextureFactory* factory = sTextureFactory.Get())
        factory->Recycle(buffer);
    else
        delete buffer;
}

CacheCounters TextureBuffer::Counters() {
    TextureFactory* factory = sTextureFactory.Get();
    return factory ? factory->Counters() : CacheCounters();
}

} // namespace OGL_ZEP6_AE
