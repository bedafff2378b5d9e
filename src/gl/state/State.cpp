#include "gl/state/State.h"

#include "gl/context/EntryPoints.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/state/AlphaFunc.h"
#include "gl/state/Blend.h"
#include "gl/state/ClearColor.h"
#include "gl/state/Color.h"
#include "gl/state/ColorMask.h"
#include "gl/state/CullFace.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

namespace {
// Every server attribute group but GL_TEXTURE_BIT: texture state is saved by the texture units,
// which also restore bindings (the attribute stack does not).
constexpr unsigned int kStateAttribMask = 0xFFFBFFFFu;
constexpr unsigned int kStateClientMask = 0xFFFFFFFFu;

unsigned int GetUnsigned(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return static_cast<unsigned int>(value);
}
} // namespace

State::State(int units_)
    : attributes(kStateAttribMask, kStateClientMask), model(false), projection(false), units(units_),
      frameBuffer(0), program(0), color(Color::sCurrentColor), currentColor(), retrieved(false) {}

void State::Retrieve() {
    units.Retrieve();
    model.Retrieve();
    projection.Retrieve();
    attributes.Retrieve();
    frameBuffer = GetUnsigned(GL_FRAMEBUFFER_BINDING);
    program = GetUnsigned(GL_CURRENT_PROGRAM);
    color = Color::sCurrentColor;
    glGetFloatv(GL_CURRENT_COLOR, &currentColor.red);
    retrieved = true;
}

void State::Apply() {
    Color::sCurrentColor = color;
    const bool vanished = ApplyFrameBuffer();
    ApplyProgram();
    ApplyProjectionMatrix();
    ApplyModelMatrix();
    ApplyTextureUnits();
    if (vanished && attributes.IsPushed()) {
        // The saved attributes hold the draw and read buffers of the deleted framebuffer object
        // (colour attachment 0), which the default framebuffer has not got. NVIDIA raises
        // GL_INVALID_OPERATION when they are popped with it bound (llvmpipe applies them to
        // framebuffer objects only), so they are popped onto a stand-in object, and the level is
        // saved again with the default framebuffer bound.
        GLuint standIn = 0;
        ZEP6_GLCALL(glGenFramebuffersEXT)(1, &standIn);
        ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER, standIn);
        attributes.Pop();
        ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER, 0);
        ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &standIn);
    }
    // The current colour is among the attributes, but Mesa (llvmpipe 15) loses it when it is
    // popped after an immediate-mode draw under a program: the colour from before the pop comes
    // back at the next flush (the push below included). Setting it again between pop and push
    // keeps it.
    attributes.Pop();
    glColor4fv(&currentColor.red);
    attributes.Apply();
}

void State::Pop() {
    attributes.Pop();
}

// A framebuffer or program deleted since it was recorded is replaced by none, as a deleted
// texture is: binding its old name would make an empty framebuffer or fail.
bool State::ApplyFrameBuffer() const {
    const bool exists = frameBuffer != 0 && ZEP6_GLCALL(glIsFramebufferEXT)(frameBuffer);
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER, exists ? frameBuffer : 0);
    return frameBuffer != 0 && !exists;
}

void State::ApplyProgram() const {
    const bool exists = program != 0 && ZEP6_GLCALL(glIsProgram)(program);
    ZEP6_GLCALL(glUseProgram)(exists ? program : 0);
}

void State::ApplyModelMatrix() const {
    model.Apply();
}

void State::ApplyProjectionMatrix() const {
    projection.Apply();
}

void State::ApplyTextureUnits() const {
    units.Apply();
}

void State::RetrieveTextures() {
    units.Retrieve();
}

// ---- PushState -------------------------------------------------------------------------------

PushState::PushState(int units) : state_(units) {
    state_.Retrieve();
}

PushState::~PushState() {
    if (!state_.retrieved)
        return;
    try {
        Pop();
    } catch (...) {
        // Whatever could not be applied stays as it is; the attribute level is given back below.
    }
    state_.Pop();
}

void PushState::Pop() {
    if (!state_.retrieved)
        return;
    state_.retrieved = false;
    try {
        state_.Apply();
    } catch (...) {
        state_.Pop();
        throw;
    }
    state_.Pop();
}

// ---- SetDefault ------------------------------------------------------------------------------

void SetDefault() {
    if (AlphaFunc::IsSupported())
        AlphaFunc::Default.Apply();
    BlendOp::Default.Apply();
    ClearColor::Default.Apply();
    Color::Default.Apply();
    ColorMask::Default.Apply();
    CullFace::Default.Apply();
    LightModel().Apply();
    Material::Default.Apply();

    const int units = TextureUnit::MaxUnits();
    for (int i = 0; i < units; ++i) {
        TextureUnit::Activate(GL_TEXTURE0 + i);
        TextureBinding::Disable();
    }
    TextureUnit::Default.Apply();
    TextureMatrix::Identity.Apply();

    glDisableClientState(GL_VERTEX_ARRAY);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisableClientState(GL_NORMAL_ARRAY);
    glDisableClientState(GL_COLOR_ARRAY);

    glDisable(GL_DITHER);
    glEnable(GL_NORMALIZE);
    glFrontFace(GL_CCW);

    ProjectionMatrix::Identity.Apply();
    ModelMatrix::Identity.Apply();
}

} // namespace OGL_ZEP6_AE
