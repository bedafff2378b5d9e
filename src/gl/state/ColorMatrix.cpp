#include "gl/state/ColorMatrix.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>

namespace OGL_ZEP6_AE {

namespace {

// Whether a blank-separated extension list holds exactly this name.
bool ListHas(const char* list, const char* name) {
    if (!list)
        return false;
    const size_t length = std::strlen(name);
    for (const char* p = list; (p = std::strstr(p, name)) != nullptr; p += length) {
        const bool startsWord = p == list || p[-1] == ' ';
        const bool endsWord = p[length] == ' ' || p[length] == '\0';
        if (startsWord && endsWord)
            return true;
    }
    return false;
}

} // namespace

ColorMatrix::ColorMatrix() : m{} {}

ColorMatrix::ColorMatrix(const Color& c0, const Color& c1, const Color& c2, const Color& c3) : m{} {
    const Color* rows[4] = {&c0, &c1, &c2, &c3};
    for (int row = 0; row < 4; ++row) {
        const float* c = *rows[row];
        for (int column = 0; column < 4; ++column)
            m[4 * column + row] = c[column];
    }
}

// Without the imaging subset GL_COLOR is not a matrix mode: selecting it would only raise
// GL_INVALID_ENUM (Mesa's llvmpipe has no GL_ARB_imaging). The context's own list is asked,
// because this runs with the context current on whichever thread holds it. Core-profile
// contexts have no colour matrix either, and return no list here.
bool ColorMatrix::IsSupported() {
    static int supported = -1;
    if (supported < 0) {
        const char* list = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
        if (!list)
            return false;
        supported = ListHas(list, "GL_ARB_imaging") ? 1 : 0;
    }
    return supported == 1;
}

void ColorMatrix::Apply() const {
    if (!IsSupported())
        return;
    glMatrixMode(GL_COLOR);
    glLoadMatrixd(m);
    glMatrixMode(GL_MODELVIEW);
}

void ColorMatrix::Retrieve() {
    if (!IsSupported())
        return;
    glGetDoublev(GL_COLOR_MATRIX, m);
}

ARGBWrite::ARGBWrite(float s) {
    // Columns (0, 0, 0, s), (s, 0, 0, 0), (0, s, 0, 0), (0, 0, s, 0): output (c1, c2, c3, c0).
    m[3] = s;
    m[4] = s;
    m[9] = s;
    m[14] = s;
}

} // namespace OGL_ZEP6_AE
