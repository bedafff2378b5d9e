#include "gl/render/LightMaterial.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

const Material Material::Default;

namespace {

// The last applied material. OpenGL's own material is not read back: colour-material tracking
// would make it report the current colour instead of what the library set.
Material sCurrentMaterial;

void ApplyFace(GLenum face, const Material::Face& f) {
    glMaterialfv(face, GL_AMBIENT, f.ambient);
    glMaterialfv(face, GL_DIFFUSE, f.diffuse);
    glMaterialfv(face, GL_SPECULAR, f.specular);
    glMaterialfv(face, GL_EMISSION, f.emission);
    glMaterialfv(face, GL_SHININESS, &f.shininess);
    glMaterialfv(face, GL_COLOR_INDEXES, f.indexes);
}

bool SameFace(const Material::Face& a, const Material::Face& b) {
    return a.ambient == b.ambient && a.diffuse == b.diffuse && a.specular == b.specular &&
           a.emission == b.emission && a.shininess == b.shininess && a.indexes[0] == b.indexes[0] &&
           a.indexes[1] == b.indexes[1] && a.indexes[2] == b.indexes[2];
}

} // namespace

void Material::Apply() const {
    ApplyFace(GL_FRONT, front);
    ApplyFace(GL_BACK, back);
    sCurrentMaterial = *this;
}

void Material::Retrieve() {
    *this = sCurrentMaterial;
}

bool Material::operator==(const Material& m) const {
    return SameFace(front, m.front) && SameFace(back, m.back);
}

void ColorMaterial::Apply() const {
    color.Apply();
    material.Apply();
}

void ColorMaterial::Retrieve() {
    color.Retrieve();
    material.Retrieve();
}

PushColorMaterial::PushColorMaterial()
    : Push<ColorMaterial>(ColorMaterial(Color::DarkGray, Color::Transparent)) {}

PushColorMaterial::PushColorMaterial(const Color& colour, const Color& diffuse)
    : Push<ColorMaterial>(ColorMaterial(colour, diffuse)) {}

} // namespace OGL_ZEP6_AE
