#include "gl/state/DepthFunc.h"
#include "gl/state/Capability.h"

namespace OGL_ZEP6_AE {

const DepthFunc DepthFunc::Never(GL_NEVER);
const DepthFunc DepthFunc::Less(GL_LESS);
const DepthFunc DepthFunc::Equal(GL_EQUAL);
const DepthFunc DepthFunc::LessEqual(GL_LEQUAL);
const DepthFunc DepthFunc::Greater(GL_GREATER);
const DepthFunc DepthFunc::NotEqual(GL_NOTEQUAL);
const DepthFunc DepthFunc::GreaterEqual(GL_GEQUAL);
const DepthFunc DepthFunc::Always(GL_ALWAYS);

void DepthFunc::Apply() const {
    glDepthFunc(function);
    Capability(GL_DEPTH_TEST, flag).Apply();
}

void DepthFunc::Retrieve() {
    flag = Capability::IsEnabled(GL_DEPTH_TEST);
    GLint f = GL_LESS;
    glGetIntegerv(GL_DEPTH_FUNC, &f);
    function = static_cast<unsigned int>(f);
}

void DepthFunc::DisableDepth() {
    glDisable(GL_DEPTH_TEST);
}

void DepthFunc::EnableWrite(unsigned int function) {
    glDepthFunc(function);
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
}

} // namespace OGL_ZEP6_AE
