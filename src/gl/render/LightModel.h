#pragma once

// The light model: global ambient light, separate specular colour, local viewer, two-sided
// lighting. Apply()/Retrieve() run on the GL worker thread (or a thread with the root context
// current).

#include "Export.h"
#include "gl/state/Color.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

class ZEP6_API LightModel {
public:
    Color ambient;
    unsigned int colorControl;
    int localViewer;
    int twoSided;

    // Ambient dark grey (0.2), GL_SEPARATE_SPECULAR_COLOR, infinite viewer, two-sided.
    constexpr LightModel() : LightModel(Color(0.2f, 0.2f, 0.2f, 1.0f), GL_SEPARATE_SPECULAR_COLOR, 0, 1) {}
    constexpr LightModel(const Color& ambient_, unsigned int colorControl_, unsigned char localViewer_,
                         unsigned char twoSided_)
        : ambient(ambient_), colorControl(colorControl_), localViewer(localViewer_), twoSided(twoSided_) {}

    // glLightModelfv(GL_LIGHT_MODEL_AMBIENT), then glLightModeli for the colour control, the
    // local viewer and two-sided lighting.
    void Apply() const;
    void Retrieve();

    bool operator==(const LightModel& m) const;
    bool operator!=(const LightModel& m) const { return !(*this == m); }
};

} // namespace OGL_ZEP6_AE
