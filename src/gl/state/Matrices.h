#pragma once

// The fixed-function matrices as values: 16 doubles in OpenGL's column order plus a matrix
// mode. ModelMatrix, ProjectionMatrix and TextureMatrix record, besides their matrix, the matrix
// mode that was selected when they were read, and select it again after loading. All
// Apply()/Retrieve() calls run on the GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "geometry/Matrix.h"
#include "geometry/Vector.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

class ZEP6_API Matrix {
public:
    unsigned int mode;
    double m[16];

    // With true the identity, with false all zero; the mode is 0 (fill it by Retrieve or
    // assignment).
    constexpr explicit Matrix(bool identity = false) : Matrix(0u, identity) {}

    // Selects the mode.
    void Apply() const;
    // Reads the current mode.
    void Retrieve();
    // Multiplies the current OpenGL matrix by this one (glMultMatrixd).
    void Multiply() const;
    // Replaces the current OpenGL matrix, of whatever mode is selected, by the identity
    // (glLoadIdentity); the mode stays.
    static void LoadIdentity();

    // The point (x, y, z, 1) transformed in double precision and divided by w; the fourth
    // component of the result is 0.
    p3f operator*(const p3f& p) const;
    // The plain product with (x, y, z, w), no division.
    p4f operator*(const p4f& p) const;

    // Same mode and all 16 values equal.
    bool operator==(const Matrix& other) const;
    bool operator!=(const Matrix& other) const { return !(*this == other); }

protected:
    constexpr Matrix(unsigned int mode_, bool identity)
        : mode(mode_), m{identity ? 1.0 : 0.0, 0.0, 0.0, 0.0, 0.0, identity ? 1.0 : 0.0, 0.0, 0.0, 0.0, 0.0,
                         identity ? 1.0 : 0.0, 0.0, 0.0, 0.0, 0.0, identity ? 1.0 : 0.0} {}
    // Selects `target`, loads the values, selects the recorded mode again.
    void Load(unsigned int target) const;
    // Reads the current mode and the matrix named by `query`.
    void Read(unsigned int query);
};

class ZEP6_API ModelMatrix : public Matrix {
public:
    constexpr explicit ModelMatrix(bool identity = false) : Matrix(GL_MODELVIEW, identity) {}
    void Apply() const;
    void Retrieve();
    // The current model-view matrix as floats.
    static void Retrieve(m44f& out);

    static const ModelMatrix Identity;
};

class ZEP6_API ProjectionMatrix : public Matrix {
public:
    constexpr explicit ProjectionMatrix(bool identity = false) : Matrix(GL_PROJECTION, identity) {}
    void Apply() const;
    void Retrieve();
    // The current projection matrix as floats.
    static void Retrieve(m44f& out);

    static const ProjectionMatrix Identity;
};

// The texture matrix of the active texture unit.
class ZEP6_API TextureMatrix : public Matrix {
public:
    constexpr explicit TextureMatrix(bool identity = false) : Matrix(GL_TEXTURE, identity) {}
    void Apply() const;
    void Retrieve();

    static const TextureMatrix Identity;
};

} // namespace OGL_ZEP6_AE
