#include "gl/state/Push.h"

#include "gl/context/EntryPoints.h"
#include "gl/state/ProgramInUse.h"

#include <GL/gl.h>
#include <GL/glext.h>

namespace OGL_ZEP6_AE {

namespace detail {
void SelectAfterSave(const ModelMatrix&) {
    glMatrixMode(GL_MODELVIEW);
}
void SelectAfterSave(const ProjectionMatrix&) {
    glMatrixMode(GL_PROJECTION);
}
void SelectAfterSave(const TextureMatrix&) {
    glMatrixMode(GL_TEXTURE);
}
} // namespace detail

// ---- PushMatrixStack -------------------------------------------------------------------------

PushMatrixStack::PushMatrixStack(unsigned int mode) : mode_(mode) {
    glMatrixMode(mode_);
    glPushMatrix();
}

PushMatrixStack::~PushMatrixStack() {
    glMatrixMode(mode_);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}

// ---- PushTextureTarget -----------------------------------------------------------------------

PushTextureTarget::PushTextureTarget(unsigned int target, unsigned int name)
    : saved_(target), pushed_(true) {
    saved_.Retrieve();
    TextureTargetBinding(target, name).Apply();
}

PushTextureTarget::~PushTextureTarget() {
    Pop();
}

void PushTextureTarget::Pop() {
    if (!pushed_)
        return;
    pushed_ = false;
    const bool exists = saved_.name != 0 && glIsTexture(saved_.name) == GL_TRUE;
    TextureTargetBinding(saved_.target, exists ? saved_.name : 0).Apply();
}

// ---- PushFrameBuffer -------------------------------------------------------------------------

namespace {
unsigned int CurrentFrameBuffer() {
    GLint name = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &name);
    return static_cast<unsigned int>(name);
}
} // namespace

PushFrameBuffer::PushFrameBuffer() : saved_(CurrentFrameBuffer()), pushed_(true) {}

PushFrameBuffer::PushFrameBuffer(unsigned int frameBuffer) : PushFrameBuffer() {
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER, frameBuffer);
}

PushFrameBuffer::~PushFrameBuffer() {
    try {
        Pop();
    } catch (...) {
    }
}

void PushFrameBuffer::Pop() {
    if (!pushed_)
        return;
    pushed_ = false;
    ZEP6_GLCALL(glBindFramebufferEXT)(GL_FRAMEBUFFER, saved_);
}

// ---- PushProgram -----------------------------------------------------------------------------

PushProgram::PushProgram() : saved_(0) {
    ProgramInUse current;
    current.Retrieve();
    saved_ = current.program;
}

PushProgram::PushProgram(unsigned int program) : PushProgram() {
    ProgramInUse(program).Apply();
}

PushProgram::~PushProgram() {
    try {
        ProgramInUse(saved_).Apply();
    } catch (...) {
    }
}

// ---- UnitScale -------------------------------------------------------------------------------

UnitScale::UnitScale() {
    glLoadIdentity();
}

UnitScale::UnitScale(const p3f& point) {
    const p3f at = saved_ * point;
    glLoadIdentity();
    glTranslatef(at.x, at.y, at.z);
}

} // namespace OGL_ZEP6_AE
