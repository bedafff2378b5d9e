#pragma once

// A GLU quadric: spheres, cylinders and disks drawn in immediate mode by GLU. The GLU object is
// made on first use; when GLU cannot make one, nothing is drawn. Drawing runs on the GL worker
// thread (or a thread that has the root context current).

#include "Export.h"
#include "gl/resources/Resource.h"

class GLUquadric;

namespace OGL_ZEP6_AE {

class ZEP6_API Quadric : public Resource {
public:
    // Makes nothing yet.
    Quadric() = default;
    ~Quadric() override;
    Quadric(const Quadric&) = delete;
    Quadric& operator=(const Quadric&) = delete;

    // Makes the GLU quadric if there is none.
    void Initialize();
    bool IsInitialized() const { return quadric_ != nullptr; }
    // Deletes the GLU quadric; the next use makes a new one with GLU's default settings.
    void Finalize() override;
    void Dump() const override {}

    // gluQuadricNormals (GLU_NONE, GLU_FLAT, GLU_SMOOTH).
    void Normals(unsigned int mode);
    // gluQuadricTexture: whether texture coordinates are generated.
    void Texture(bool on);
    // gluQuadricOrientation (GLU_OUTSIDE, GLU_INSIDE).
    void Orientation(unsigned int mode);

    void DrawSphere(double radius, int slices, int stacks);
    void DrawCylinder(double base, double top, double height, int slices, int stacks);
    void DrawDisk(double inner, double outer, int slices, int loops);

private:
    GLUquadric* quadric_ = nullptr;
};

} // namespace OGL_ZEP6_AE
