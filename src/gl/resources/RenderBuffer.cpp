#include "gl/resources/RenderBuffer.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "gl/context/Capabilities.h"
#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"
#include "gl/resources/InternalFormat.h"
#include "gl/resources/StaticFactoryPrivate.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <atomic>
#include <climits>

namespace OGL_ZEP6_AE {

namespace {

detail::StaticFactory<RenderFactory> sRenderFactory;

// Driver limits, read on first use inside a context; 0 means not read yet.
std::atomic<int> sMaxSamples{0};
std::atomic<int> sMaxRenderbufferSize{0};
// Multisampling support: 0 not asked yet, 1 yes, 2 no.
std::atomic<int> sMultiSample{0};

int ReadLimit(std::atomic<int>& cache, GLenum name) {
    int value = cache.load();
    if (value > 0)
        return value;
    GLint read = 0;
    glGetIntegerv(name, &read);
    // Kept only once a context gave an answer.
    if (read > 0)
        cache.store(read);
    return read;
}

} // namespace

RenderBuffer::RenderBuffer(const RenderKey& key) : name_(0), key_(key) {
    Initialize();
}

RenderBuffer::~RenderBuffer() {
    try {
        if (name_ && RootContext::HasContext())
            Delete();
    } catch (...) {
    }
    name_ = 0;
}

void RenderBuffer::Delete() const {
    const GLuint name = name_;
    name_ = 0;
    ZEP6_GLCALL(glDeleteRenderbuffersEXT)(1, &name);
}

void RenderBuffer::Finalize() {
    if (name_)
        Delete();
}

void RenderBuffer::Initialize() const {
    if (name_)
        return;
    GLuint name = 0;
    ZEP6_GLCALL(glGenRenderbuffersEXT)(1, &name);
    if (name == 0)
        throw OpenGLError();
    Relist();
    name_ = name;
    try {
        ZEP6_GLCALL(glBindRenderbufferEXT)(GL_RENDERBUFFER_EXT, name);
        key_.width = ClampBufferSize(key_.width);
        key_.height = ClampBufferSize(key_.height);
        ZEP6_GLCALL(glRenderbufferStorageEXT)
        (GL_RENDERBUFFER_EXT, GetInternalFormat(key_.format, key_.type), key_.width, key_.height);
        GLint width = 0, height = 0, internalFormat = 0;
        auto getParameter = ZEP6_GLCALL(glGetRenderbufferParameterivEXT);
        getParameter(GL_RENDERBUFFER_EXT, GL_RENDERBUFFER_WIDTH_EXT, &width);
        getParameter(GL_RENDERBUFFER_EXT, GL_RENDERBUFFER_HEIGHT_EXT, &height);
        if (width != key_.width || height != key_.height)
            throw OpenGLError();
        getParameter(GL_RENDERBUFFER_EXT, GL_RENDERBUFFER_INTERNAL_FORMAT_EXT, &internalFormat);
        key_.internalFormat = static_cast<unsigned int>(internalFormat);
        const long size = CalculateTextureSize(key_.width, key_.height, key_.internalFormat);
        key_.size = size > INT_MAX ? INT_MAX : static_cast<int>(size);
    } catch (...) {
        // A renderbuffer that failed is not kept, so a constructor that throws leaks no name.
        Delete();
        throw;
    }
}

void RenderBuffer::Attach(unsigned int attachment) const {
    Initialize();
    ZEP6_GLCALL(glFramebufferRenderbufferEXT)(GL_FRAMEBUFFER_EXT, attachment, GL_RENDERBUFFER_EXT, name_);
}

bool RenderBuffer::IsMultiSampleSupported() {
    int known = sMultiSample.load();
    if (known == 0) {
        const bool supported = IsExtensionSupported("GL_EXT_framebuffer_object") &&
                               IsExtensionSupported("GL_EXT_framebuffer_blit") &&
                               IsExtensionSupported("GL_EXT_framebuffer_multisample");
        known = supported ? 1 : 2;
        sMultiSample.store(known);
    }
    return known == 1;
}

int RenderBuffer::ClampMultisample(int samples) {
    if (samples < 2 || !IsMultiSampleSupported())
        return 0;
    return std::min(samples, ReadLimit(sMaxSamples, GL_MAX_SAMPLES_EXT));
}

int RenderBuffer::ClampBufferSize(int size) {
    const int limit = ReadLimit(sMaxRenderbufferSize, GL_MAX_RENDERBUFFER_SIZE_EXT);
    // Without an answer from a context there is nothing to clamp against.
    return limit > 0 ? std::min(size, limit) : size;
}

RenderBuffer* RenderBuffer::Make(const RenderKey& key) {
    if (RenderFactory* factory = sRenderFactory.Get())
        return factory->Make(key);
    return new RenderBuffer(key);
}

void RenderBuffer::Recycle(RenderBuffer* buffer) {
    if (RenderFactory* factory = sRenderFactory.Get())
        factory->Recycle(buffer);
    else
        delete buffer;
}

CacheCounters RenderBuffer::Counters() {
    RenderFactory* factory = sRenderFactory.Get();
    return factory ? factory->Counters() : CacheCounters();
}

} // namespace OGL_ZEP6_AE
