#pragma once

// Image content on the card. A Texture owns (through the texture cache) one TextureBuffer and
// knows how to bind it with its binding state, how to set the texture matrix and filters, and how
// to upload an XIImage into it: directly when the card can take the memory as it is, otherwise by
// drawing a staging copy through the conversion program (flip, resize, channel order, scale).
// Everything runs on the GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "core/BufferDebug.h"
#include "gl/context/RootContext.h"
#include "gl/resources/Resource.h"
#include "gl/resources/ResourceKeys.h"
#include "gl/state/Push.h"
#include "gl/state/Texturing.h"

class XIImage;

namespace OGL_ZEP6_AE {

class Region;
class TextureBuffer;
namespace GLSL {
class Shader;
}

class ZEP6_API Texture : public Context, public Resource {
public:
    Texture();
    // A copy shares the other's storage and never gives it back: only the texture that took it
    // from the cache does. Assignment first gives back storage of its own.
    Texture(const Texture& other);
    Texture& operator=(const Texture& other);
    ~Texture() override;

    // Context side.
    bool Select() override;   // the buffer becomes the drawing destination (made on first use)
    bool Deselect() override; // false when there is no buffer
    virtual void Apply() const;
    virtual void Retrieve();
    virtual void Reset();
    virtual void Load() const {}

    // Resource side.
    void Finalize() override;
    void Dump() const override {}

    int GetWidth() const { return width_; }
    int GetHeight() const { return height_; }
    unsigned int GetFormat() const { return format_; }
    unsigned int GetType() const { return type_; }
    const TextureKey& Key() const { return key_; }
    const char* Name() const;

    void SetStretch() { fit_ = false; }
    void SetFit() { fit_ = true; }
    bool IsFit() const { return fit_; }
    void SetLoadProcessing(GLSL::Shader* shader) { loadProcessing_ = shader; }

    TextureBinding& Binding() { return binding_; }
    const TextureBinding& Binding() const { return binding_; }
    // Applies the binding's parameters to the texture's target: its filters and the texture
    // environment. The enable flags and names in the binding are not applied (they would unbind
    // the texture being set up).
    void ApplyBinding() const;

    void ClearTransform() const;
    void SetTransform(float sx, float sy, float tx, float ty) const;
    void FlipTransform() const;

    void ApplyNearest() const;
    void ApplyLinear() const;
    void ApplyClamp() const;
    void ApplyClampToEdge() const;
    void ApplyDecal() const;
    void ApplyModulate() const;

    // Binds the storage on the active unit (made on the card first when needed) and applies the
    // binding's filters and environment: what drawing with a plain Texture, or a copy, needs.
    void Bind() const { BindTexture(); }

    static void Disable();
    // Binds a cache texture (made on the card first if it has no name yet) on the active unit as
    // the one texture it shows (TextureBinding::Bind).
    static void BindBuffer(const TextureBuffer* buffer);

    bool WriteToFile(const char* path, Channel channel) const;

    static unsigned int GetBestType();

protected:
    void SetType(unsigned int target, int width, int height, unsigned int format, unsigned int type,
                 bool exact) const;
    virtual bool CreateTexture();
    void BindTexture() const;
    void AttachTexture() const;
    bool IsResident() const;
    int ActualWidth() const;
    int ActualHeight() const;
    void ClearTexture(const Color& color) const;
    void LoadTexture(const XIImage* image, const Region& source, const Region& destination) const;
    void MaskTexture(const XIImage* mask, const Region& source, const Region& destination) const;

    // The storage; taken from the cache (and owned) when it is null and needed.
    TextureBuffer* Storage() const;

    mutable TextureBuffer* buffer_;
    // Whether buffer_ is this texture's own to give back (false for storage shared by a copy).
    mutable bool ownsBuffer_;
    mutable TextureKey key_;
    TextureBinding binding_;
    mutable int width_;
    mutable int height_;
    mutable unsigned int format_;
    mutable unsigned int type_;
    GLSL::Shader* loadProcessing_;
    bool fit_;
};

// Saves the texture binding of the active unit when built and binds it again when destroyed.
template <> class ZEP6_API Push<Texture> : public Texture {
public:
    Push();
    ~Push() override;
    Push(const Push&) = delete;
    Push& operator=(const Push&) = delete;
    void Pop();

private:
    TextureBinding saved_;
    bool pushed_;
};

} // namespace OGL_ZEP6_AE
