#include "gl/state/Capability.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

void Capability::Apply() const {
    if (on)
        glEnable(capability);
    else
        glDisable(capability);
}

void Capability::Retrieve() {
    on = IsEnabled(capability);
}

bool Capability::IsEnabled(unsigned int capability) {
    return glIsEnabled(capability) == GL_TRUE;
}

} // namespace OGL_ZEP6_AE
