#include "gl/state/AlphaFunc.h"
#include "gl/state/Capability.h"

namespace OGL_ZEP6_AE {

const AlphaFunc AlphaFunc::Default(GL_ALWAYS, 0.0f);
const AlphaFunc AlphaFunc::Always(GL_ALWAYS, 0.0f);

namespace {
// The alpha test has been part of every context the library has met; the flag is kept so that a
// driver without it could be handled in one place.
bool sAlphaTestSupported = true;
bool sAlphaTestFirstQuery = true;
} // namespace

bool AlphaFunc::IsSupported() {
    sAlphaTestFirstQuery = false;
    return sAlphaTestSupported;
}

void AlphaFunc::Apply() const {
    if (!IsSupported())
        return;
    glAlphaFunc(function, reference);
    Capability(GL_ALPHA_TEST, flag).Apply();
}

void AlphaFunc::Retrieve() {
    flag = Capability::IsEnabled(GL_ALPHA_TEST);
    GLint f = GL_ALWAYS;
    glGetIntegerv(GL_ALPHA_TEST_FUNC, &f);
    function = static_cast<unsigned int>(f);
    glGetFloatv(GL_ALPHA_TEST_REF, &reference);
}

bool AlphaFunc::operator==(const AlphaFunc& a) const {
    return flag == a.flag && function == a.function && reference == a.reference;
}

} // namespace OGL_ZEP6_AE
