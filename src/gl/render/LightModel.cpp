#include "gl/render/LightModel.h"

namespace OGL_ZEP6_AE {

void LightModel::Apply() const {
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, ambient);
    glLightModeli(GL_LIGHT_MODEL_COLOR_CONTROL, static_cast<GLint>(colorControl));
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, localViewer);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, twoSided);
}

void LightModel::Retrieve() {
    glGetFloatv(GL_LIGHT_MODEL_AMBIENT, ambient);
    GLint value = 0;
    glGetIntegerv(GL_LIGHT_MODEL_COLOR_CONTROL, &value);
    colorControl = static_cast<unsigned int>(value);
    glGetIntegerv(GL_LIGHT_MODEL_LOCAL_VIEWER, &value);
    localViewer = value;
    glGetIntegerv(GL_LIGHT_MODEL_TWO_SIDE, &value);
    twoSided = value;
}

bool LightModel::operator==(const LightModel& m) const {
    return ambient == m.ambient && colorControl == m.colorControl && localViewer == m.localViewer &&
           twoSided == m.twoSided;
}

} // namespace OGL_ZEP6_AE
