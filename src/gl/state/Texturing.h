#pragma once

// Texture state: what is bound and enabled on a texture unit (TextureBinding), a texture unit
// itself (TextureUnit), and the first units together with their texture matrices (TextureUnits).
// These three are polymorphic: Apply() and Retrieve() are their first two virtual operations
// (the units add a virtual destructor after them). Everything that touches OpenGL
// runs on the GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "geometry/Vector.h"
#include "gl/state/Matrices.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

class Texture;

// The 2-D and rectangle targets of the active unit: enable switch, bound name and filters of
// each, and the unit's texture environment. Held by value (in textures, in push objects), never
// deleted through a pointer, so its destructor is not virtual.
class ZEP6_API TextureBinding {
public:
    bool enable2D;
    unsigned int texture2D;
    int magFilter2D;
    int minFilter2D;
    bool enableRectangle;
    unsigned int textureRectangle;
    int magFilterRectangle;
    int minFilterRectangle;
    int envMode;
    float envColor[4];

    // Both targets disabled, names 0, all filters GL_LINEAR, GL_MODULATE, environment colour 0.
    constexpr TextureBinding()
        : enable2D(false), texture2D(0), magFilter2D(GL_LINEAR), minFilter2D(GL_LINEAR),
          enableRectangle(false), textureRectangle(0), magFilterRectangle(GL_LINEAR),
          minFilterRectangle(GL_LINEAR), envMode(GL_MODULATE), envColor{0.0f, 0.0f, 0.0f, 0.0f} {}
    // Per target: enable or disable, bind the name (or 0 when it is no longer a texture, so a
    // texture deleted since it was recorded is not brought back), set the two filters. Then the
    // environment mode and colour.
    virtual void Apply() const;
    virtual void Retrieve();

    bool operator==(const TextureBinding& b) const;
    bool operator!=(const TextureBinding& b) const { return !(*this == b); }

    // Disables GL_TEXTURE_1D, _2D, _3D, _RECTANGLE and _CUBE_MAP on the active unit.
    static void Disable();
    // As Disable, and binds no texture to any of those targets.
    static void Unbind();
    // Makes `name` the one texture the active unit shows: disables the 2-D and rectangle targets,
    // then enables `target` and binds the name to it (nothing more when the name is 0).
    static void Bind(unsigned int target, unsigned int name);

    static const TextureBinding Default;
};

// The name bound to one target of the active unit (1-D, 2-D, 3-D, rectangle or cube map), without
// the enable switch, filters and environment that TextureBinding carries. For binding a texture to
// work on it (load pixels, set or read a parameter) rather than to draw with it.
class ZEP6_API TextureTargetBinding {
public:
    unsigned int target;
    unsigned int name;

    constexpr explicit TextureTargetBinding(unsigned int target_ = GL_TEXTURE_2D, unsigned int name_ = 0)
        : target(target_), name(name_) {}

    // Binds the name to the target as it is: a name glGenTextures has just made is not a texture
    // yet, and binding it is what makes it one.
    void Apply() const;
    // Reads the name bound to the target (GL_TEXTURE_BINDING_*); the target is kept.
    void Retrieve();
};

// The texture environment of the active unit: how a texture combines with the fragment colour
// (GL_TEXTURE_ENV_MODE) and the constant colour GL_BLEND mode uses.
class ZEP6_API TextureEnvironment {
public:
    int mode;
    float color[4];

    constexpr TextureEnvironment() : mode(GL_MODULATE), color{0.0f, 0.0f, 0.0f, 0.0f} {}
    TextureEnvironment(int mode_, const float* color_);

    void Apply() const;
    void Retrieve();
    // Sets the mode only.
    static void ApplyMode(int mode);
};

// One texture unit (GL_TEXTURE0 + index), optionally with a texture to bind on it.
class ZEP6_API TextureUnit {
public:
    unsigned int unit;
    const Texture* texture;

    TextureUnit() : unit(GL_TEXTURE0), texture(nullptr) {}
    explicit TextureUnit(int index) : unit(GL_TEXTURE0 + index), texture(nullptr) {}
    // The texture is not copied: it must outlive the unit's use.
    TextureUnit(int index, const Texture& t) : unit(GL_TEXTURE0 + index), texture(&t) {}

    // Makes the unit active (server and client side; Unsupported when the driver lacks
    // glActiveTexture or glClientActiveTexture), then binds the texture if there is one.
    virtual void Apply() const;
    // Reads GL_ACTIVE_TEXTURE into the unit; the texture is left as it is.
    virtual void Retrieve();
    virtual ~TextureUnit();
    TextureUnit(const TextureUnit&) = default;
    TextureUnit& operator=(const TextureUnit&) = default;

    operator int() const { return static_cast<int>(unit); }

    // Activate the unit, then set both filters (GL_NEAREST / GL_LINEAR) or both wrap modes
    // (GL_CLAMP / GL_CLAMP_TO_EDGE) on the texture's target, if the unit has a texture.
    void ApplyNearest() const;
    void ApplyLinear() const;
    void ApplyClamp() const;
    void ApplyClampToEdge() const;
    // glMultiTexCoord2f for this unit (Unsupported when missing).
    void TexCoord(const p2f& p) const;

    // Makes `unit` active on the server and client side.
    static void Activate(unsigned int unit);
    // GL_MAX_TEXTURE_UNITS, read on the first call and remembered.
    static int MaxUnits();

    static const TextureUnit Default;
};

// The bindings and texture matrices of the first units (at most four), and which unit is active.
class ZEP6_API TextureUnits {
public:
    static constexpr int kMaxUnits = 4;

    int count;
    TextureUnit active;
    TextureBinding bindings[kMaxUnits];
    TextureMatrix matrices[kMaxUnits];

    explicit TextureUnits(int count_ = 2) : count(count_) {}

    // Limits the count to four; records (Retrieve) or applies (Apply) each unit's binding and
    // texture matrix in turn, then makes the recorded unit active again.
    virtual void Apply() const;
    virtual void Retrieve();
    virtual ~TextureUnits();
    TextureUnits(const TextureUnits&) = default;
    TextureUnits& operator=(const TextureUnits&) = default;
};

} // namespace OGL_ZEP6_AE
