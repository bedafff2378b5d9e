#include "gl/state/Texturing.h"

#include "gl/context/EntryPoints.h"
#include "gl/state/Capability.h"
#include "gl/state/TextureUnitHooksPrivate.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace detail {
TextureUnitHooks gTextureUnitHooks;
}

namespace {

int GetInt(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

int GetTexParameter(GLenum target, GLenum name) {
    GLint value = 0;
    glGetTexParameteriv(target, name, &value);
    return value;
}

// One target of a TextureBinding: switch, name (0 when it is no longer a texture), filters.
void ApplyTarget(GLenum target, bool enable, unsigned int name, int magFilter, int minFilter) {
    Capability(target, enable).Apply();
    glBindTexture(target, name != 0 && glIsTexture(name) ? name : 0);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, magFilter);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, minFilter);
}

} // namespace

// ---- TextureBinding --------------------------------------------------------------------------

const TextureBinding TextureBinding::Default;

void TextureBinding::Apply() const {
    ApplyTarget(GL_TEXTURE_2D, enable2D, texture2D, magFilter2D, minFilter2D);
    ApplyTarget(GL_TEXTURE_RECTANGLE, enableRectangle, textureRectangle, magFilterRectangle,
                minFilterRectangle);
    TextureEnvironment(envMode, envColor).Apply();
}

void TextureBinding::Retrieve() {
    enable2D = Capability::IsEnabled(GL_TEXTURE_2D);
    texture2D = static_cast<unsigned int>(GetInt(GL_TEXTURE_BINDING_2D));
    magFilter2D = GetTexParameter(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER);
    minFilter2D = GetTexParameter(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER);
    enableRectangle = Capability::IsEnabled(GL_TEXTURE_RECTANGLE);
    textureRectangle = static_cast<unsigned int>(GetInt(GL_TEXTURE_BINDING_RECTANGLE));
    magFilterRectangle = GetTexParameter(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER);
    minFilterRectangle = GetTexParameter(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER);
    GLint mode = GL_MODULATE;
    glGetTexEnviv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, &mode);
    envMode = mode;
    glGetTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, envColor);
}

bool TextureBinding::operator==(const TextureBinding& b) const {
    return enable2D == b.enable2D && texture2D == b.texture2D && magFilter2D == b.magFilter2D &&
           minFilter2D == b.minFilter2D && enableRectangle == b.enableRectangle &&
           textureRectangle == b.textureRectangle && magFilterRectangle == b.magFilterRectangle &&
           minFilterRectangle == b.minFilterRectangle && envMode == b.envMode &&
           envColor[0] == b.envColor[0] && envColor[1] == b.envColor[1] && envColor[2] == b.envColor[2] &&
           envColor[3] == b.envColor[3];
}

void TextureBinding::Disable() {
    glDisable(GL_TEXTURE_1D);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_TEXTURE_3D);
    glDisable(GL_TEXTURE_RECTANGLE);
    glDisable(GL_TEXTURE_CUBE_MAP);
}

void TextureBinding::Unbind() {
    Disable();
    for (GLenum target :
         {GL_TEXTURE_1D, GL_TEXTURE_2D, GL_TEXTURE_3D, GL_TEXTURE_RECTANGLE, GL_TEXTURE_CUBE_MAP})
        glBindTexture(target, 0);
}

void TextureBinding::Bind(unsigned int target, unsigned int name) {
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_TEXTURE_RECTANGLE);
    if (name == 0)
        return;
    glEnable(target);
    glBindTexture(target, name);
}

// ---- TextureTargetBinding --------------------------------------------------------------------

namespace {
GLenum BindingQueryOf(GLenum target) {
    switch (target) {
    case GL_TEXTURE_1D:
        return GL_TEXTURE_BINDING_1D;
    case GL_TEXTURE_2D:
        return GL_TEXTURE_BINDING_2D;
    case GL_TEXTURE_3D:
        return GL_TEXTURE_BINDING_3D;
    case GL_TEXTURE_CUBE_MAP:
        return GL_TEXTURE_BINDING_CUBE_MAP;
    default:
        return GL_TEXTURE_BINDING_RECTANGLE;
    }
}
} // namespace

void TextureTargetBinding::Apply() const {
    glBindTexture(target, name);
}

void TextureTargetBinding::Retrieve() {
    name = static_cast<unsigned int>(GetInt(BindingQueryOf(target)));
}

// ---- TextureEnvironment ----------------------------------------------------------------------

TextureEnvironment::TextureEnvironment(int mode_, const float* color_)
    : mode(mode_), color{color_[0], color_[1], color_[2], color_[3]} {}

void TextureEnvironment::Apply() const {
    ApplyMode(mode);
    glTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, color);
}

void TextureEnvironment::Retrieve() {
    GLint value = GL_MODULATE;
    glGetTexEnviv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, &value);
    mode = value;
    glGetTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, color);
}

void TextureEnvironment::ApplyMode(int mode) {
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, mode);
}

// ---- TextureUnit -----------------------------------------------------------------------------

const TextureUnit TextureUnit::Default;

TextureUnit::~TextureUnit() = default;

void TextureUnit::Activate(unsigned int unit) {
    ZEP6_GLCALL(glActiveTexture)(unit);
    ZEP6_GLCALL(glClientActiveTexture)(unit);
}

int TextureUnit::MaxUnits() {
    static int maxUnits = 0;
    if (maxUnits <= 0)
        maxUnits = GetInt(GL_MAX_TEXTURE_UNITS);
    return maxUnits;
}

void TextureUnit::Apply() const {
    Activate(unit);
    if (texture && detail::gTextureUnitHooks.bind)
        detail::gTextureUnitHooks.bind(*texture);
}

void TextureUnit::Retrieve() {
    unit = static_cast<unsigned int>(GetInt(GL_ACTIVE_TEXTURE));
}

namespace {
// Sets one parameter pair on the target of the unit's texture (none without a texture).
void SetOnTexture(const TextureUnit& unit, GLenum first, GLenum second, GLint value) {
    TextureUnit::Activate(unit.unit);
    if (!unit.texture)
        return;
    const GLenum target = detail::gTextureUnitHooks.target ? detail::gTextureUnitHooks.target(*unit.texture)
                                                           : GL_TEXTURE_RECTANGLE;
    glTexParameteri(target, first, value);
    glTexParameteri(target, second, value);
}
} // namespace

void TextureUnit::ApplyNearest() const {
    SetOnTexture(*this, GL_TEXTURE_MAG_FILTER, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
}
void TextureUnit::ApplyLinear() const {
    SetOnTexture(*this, GL_TEXTURE_MAG_FILTER, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
}
void TextureUnit::ApplyClamp() const {
    SetOnTexture(*this, GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T, GL_CLAMP);
}
void TextureUnit::ApplyClampToEdge() const {
    SetOnTexture(*this, GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void TextureUnit::TexCoord(const p2f& p) const {
    ZEP6_GLCALL(glMultiTexCoord2f)(unit, p.x, p.y);
}

// ---- TextureUnits ----------------------------------------------------------------------------

TextureUnits::~TextureUnits() = default;

void TextureUnits::Retrieve() {
    count = std::min(count, kMaxUnits);
    active.Retrieve();
    for (int i = 0; i < count; ++i) {
        TextureUnit::Activate(GL_TEXTURE0 + i);
        bindings[i].Retrieve();
        matrices[i].Retrieve();
    }
    TextureUnit::Activate(active.unit);
}

void TextureUnits::Apply() const {
    const int units = std::min(count, kMaxUnits);
    for (int i = 0; i < units; ++i) {
        TextureUnit::Activate(GL_TEXTURE0 + i);
        bindings[i].Apply();
        matrices[i].Apply();
    }
    TextureUnit::Activate(active.unit);
}

} // namespace OGL_ZEP6_AE
