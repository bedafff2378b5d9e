#pragma once

// How a TextureUnit reaches the texture it carries. Textures are built on top of the state
// objects, so the unit cannot call them directly: the texture layer installs these functions
// (from a static object's constructor; the variable is constant-initialised).

namespace OGL_ZEP6_AE {

class Texture;

namespace detail {

struct TextureUnitHooks {
    // Binds the texture on the active unit (Texture::Apply).
    void (*bind)(const Texture& texture) = nullptr;
    // The texture's target (GL_TEXTURE_RECTANGLE for the library's image textures).
    unsigned int (*target)(const Texture& texture) = nullptr;
};
extern TextureUnitHooks gTextureUnitHooks;

} // namespace detail
} // namespace OGL_ZEP6_AE
