#pragma once

#include "Export.h"
#include "gl/resources/Resource.h"
#include "gl/resources/ResourceFactory.h"
#include "gl/resources/ResourceKeys.h"

namespace OGL_ZEP6_AE {

// An OpenGL renderbuffer (framebuffer-object extension), made and given back through the
// renderbuffer cache (16 MiB idle budget): RenderBuffer::Make(key) and RenderBuffer::Recycle().
// Storage is single-sampled, in the internal format GetInternalFormat gives for the key's pixel
// format and type. Used on the GL worker thread only.
class ZEP6_API RenderBuffer : public Resource {
public:
    // Copies the key and creates the renderbuffer (Initialize()).
    explicit RenderBuffer(const RenderKey& key);
    RenderBuffer(const RenderBuffer&) = delete;
    RenderBuffer& operator=(const RenderBuffer&) = delete;
    // Deletes the renderbuffer (only when the thread has a context current).
    ~RenderBuffer() override;

    // Deletes the renderbuffer; the key stays, so Initialize() or Attach() makes it again.
    void Finalize() override;
    void Dump() const override {}

    // Creates the renderbuffer when there is none: width and height clamped to the largest
    // renderbuffer size (and stored so into the key), storage defined, and the internal format
    // and size OpenGL gave it stored into the key. The renderbuffer is left bound. OpenGLError()
    // when no name can be made or the storage has another size than asked; Unsupported when the
    // entry points are missing.
    void Initialize() const;
    // Initialize(), then attaches the renderbuffer to the bound framebuffer object.
    void Attach(unsigned int attachment) const;

    const RenderKey& Key() const { return key_; }
    int Width() const { return key_.width; }
    int Height() const { return key_.height; }
    // Bytes, as counted by the cache (the key's size).
    int Size() const { return key_.size; }
    // The OpenGL name, 0 when there is none.
    unsigned int Name() const { return name_; }

    // "GL_EXT_framebuffer_object", "GL_EXT_framebuffer_blit" and "GL_EXT_framebuffer_multisample"
    // are all there (asked once).
    static bool IsMultiSampleSupported();
    // 0 when multisampling is unsupported or samples is below 2, else samples limited to
    // GL_MAX_SAMPLES_EXT (read once).
    static int ClampMultisample(int samples);
    // size limited to GL_MAX_RENDERBUFFER_SIZE_EXT (read once).
    static int ClampBufferSize(int size);

    // The renderbuffer cache.
    static RenderBuffer* Make(const RenderKey& key);
    static void Recycle(RenderBuffer* buffer);
    static CacheCounters Counters();

private:
    void Delete() const;

    mutable unsigned int name_;
    mutable RenderKey key_;
};

// The renderbuffer cache's type: same size, format and type; 16 MiB kept idle at most.
using RenderFactory = ResourceFactory<RenderKey, RenderBuffer, 0x1000000>;

} // namespace OGL_ZEP6_AE
