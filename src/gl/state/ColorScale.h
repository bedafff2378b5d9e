#pragma once

// Drawing that multiplies what is already in the target by a grey level: a colour, a colour
// material of that level, and the blend function (GL_ZERO, GL_SRC_COLOR). Apply()/Retrieve() run
// on the GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "gl/render/LightMaterial.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ColorScale {
public:
    Color color;
    ColorMaterial material;
    BlendFunc blend;

    // Colour (s, s, s, s), the colour material of that colour (ambient and diffuse), blending
    // (GL_ZERO, GL_SRC_COLOR) on.
    constexpr explicit ColorScale(float s = 1.0f)
        : color(s), material(Color(s), Color(s)), blend(GL_ZERO, GL_SRC_COLOR) {}

    // The colour (as Color::Apply), the material, the blend function.
    void Apply() const;
    // Color::sCurrentColor, the current colour material, the blend function.
    void Retrieve();
};

} // namespace OGL_ZEP6_AE
