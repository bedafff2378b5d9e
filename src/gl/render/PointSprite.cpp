#include "gl/render/PointSprite.h"

#include "gl/context/EntryPoints.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

// Larger points cost fill rate for nothing the effects need.
constexpr float kLargestPointSize = 64.0f;

void SetAttenuation(float scale) {
    const GLfloat attenuation[3] = {1.0f, 0.1f / scale, 1e-13f};
    ZEP6_GLCALL(glPointParameterfv)(GL_POINT_DISTANCE_ATTENUATION, attenuation);
}

} // namespace

// On the GL worker thread.
bool EnableDistPointScaling(float scale) {
    SetAttenuation(scale);
    GLfloat largest = 0.0f;
    glGetFloatv(GL_POINT_SIZE_MAX, &largest);
    largest = std::min(largest, kLargestPointSize);
    glPointSize(largest);
    ZEP6_GLCALL(glPointParameterf)(GL_POINT_FADE_THRESHOLD_SIZE, 60.0f);
    ZEP6_GLCALL(glPointParameterf)(GL_POINT_SIZE_MIN, 1.0f);
    ZEP6_GLCALL(glPointParameterf)(GL_POINT_SIZE_MAX, largest);
    return true;
}

bool RescaleDistPoint(float scale) {
    SetAttenuation(scale);
    return true;
}

} // namespace OGL_ZEP6_AE
