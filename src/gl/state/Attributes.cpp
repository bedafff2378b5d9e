#include "gl/state/Attributes.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {
int GetInt(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}
} // namespace

void Attributes::Apply() {
    ConditionallyPop();
    ConditionallyPush();
}

void Attributes::Retrieve() {
    Apply();
}

bool Attributes::IsLevelOnStack() const {
    return pushed_ && GetInt(GL_ATTRIB_STACK_DEPTH) >= serverDepth_;
}

void Attributes::Pop() {
    ConditionallyPop();
}

void Attributes::ConditionallyPush() {
    if (pushed_)
        return;
    glPushAttrib(mask);
    glPushClientAttrib(clientMask);
    serverDepth_ = GetInt(GL_ATTRIB_STACK_DEPTH);
    clientDepth_ = GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH);
    pushed_ = true;
}

void Attributes::ConditionallyPop() {
    if (!pushed_)
        return;
    pushed_ = false;
    // Levels pushed after ours and never popped (a job that forgot a glPopAttrib) would otherwise
    // take the place of ours: unwind them first, then pop our own level.
    for (int depth = GetInt(GL_ATTRIB_STACK_DEPTH); depth > serverDepth_; --depth)
        glPopAttrib();
    for (int depth = GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH); depth > clientDepth_; --depth)
        glPopClientAttrib();
    if (GetInt(GL_ATTRIB_STACK_DEPTH) == serverDepth_)
        glPopAttrib();
    if (GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH) == clientDepth_)
        glPopClientAttrib();
}

} // namespace OGL_ZEP6_AE
