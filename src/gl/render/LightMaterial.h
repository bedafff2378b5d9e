#pragma once

// Materials for lit drawing, and the colour-plus-material pair that the colour-scaling passes
// set. OpenGL is not asked for the material: a static copy of the last applied material stands in
// for it, so Material::Retrieve() gives back exactly what was applied last. Apply() runs on the
// GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "gl/state/Color.h"
#include "gl/state/Push.h"

namespace OGL_ZEP6_AE {

// Both faces' material.
class ZEP6_API Material {
public:
    struct Face {
        Color ambient;
        Color diffuse;
        Color specular;
        Color emission;
        float shininess;
        // Only meaningful in colour-index mode; kept so that applying a material is complete.
        float indexes[3];
    };

    Face front;
    Face back;

    // Both faces: ambient dark grey (0.2), diffuse light grey (0.8), no specular or emission
    // (transparent black), shininess 0.
    constexpr Material()
        : Material(Color(0.2f, 0.2f, 0.2f, 1.0f), Color(0.8f, 0.8f, 0.8f, 1.0f),
                   Color(0.0f, 0.0f, 0.0f, 0.0f), Color(0.0f, 0.0f, 0.0f, 0.0f), 0.0f) {}
    // Both faces the same; colour indexes 0.
    constexpr Material(const Color& ambient, const Color& diffuse, const Color& specular,
                       const Color& emission, float shininess)
        : front{ambient, diffuse, specular, emission, shininess, {0.0f, 0.0f, 0.0f}},
          back{ambient, diffuse, specular, emission, shininess, {0.0f, 0.0f, 0.0f}} {}

    // glMaterialfv on GL_FRONT, then on GL_BACK (ambient, diffuse, specular, emission, shininess,
    // colour indexes); then remembers the material as the current one.
    void Apply() const;
    // The last applied material (the context is not read).
    void Retrieve();

    bool operator==(const Material& m) const;
    bool operator!=(const Material& m) const { return !(*this == m); }

    static const Material Default;
};

// A colour and a material, applied together.
class ZEP6_API ColorMaterial {
public:
    Color color;
    Material material;

    // White and the default material.
    constexpr ColorMaterial() : color(), material() {}
    // The colour; both faces ambient = colour, diffuse = diffuse, no specular or emission,
    // shininess 0.
    constexpr ColorMaterial(const Color& colour, const Color& diffuse)
        : color(colour),
          material(colour, diffuse, Color(0.0f, 0.0f, 0.0f, 0.0f), Color(0.0f, 0.0f, 0.0f, 0.0f), 0.0f) {}

    // Sets Color::sCurrentColor and the OpenGL colour, then applies the material.
    void Apply() const;
    // Colour from Color::sCurrentColor, material from the last applied one.
    void Retrieve();

    bool operator==(const ColorMaterial& c) const { return color == c.color && material == c.material; }
    bool operator!=(const ColorMaterial& c) const { return !(*this == c); }
};

// Saves the current colour material and applies ColorMaterial(colour, diffuse); the default
// applies ColorMaterial(Color::DarkGray, Color::Transparent).
class ZEP6_API PushColorMaterial : public Push<ColorMaterial> {
public:
    PushColorMaterial();
    PushColorMaterial(const Color& colour, const Color& diffuse);
};

} // namespace OGL_ZEP6_AE
