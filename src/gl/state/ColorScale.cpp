#include "gl/state/ColorScale.h"

namespace OGL_ZEP6_AE {

void ColorScale::Apply() const {
    color.Apply();
    material.Apply();
    blend.Apply();
}

void ColorScale::Retrieve() {
    color.Retrieve();
    material.Retrieve();
    blend.Retrieve();
}

} // namespace OGL_ZEP6_AE
