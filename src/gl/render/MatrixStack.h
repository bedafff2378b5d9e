#pragma once

// Transforms applied to the current OpenGL matrix (the one glMatrixMode selected). Angles are
// degrees. These call OpenGL directly: they run on the thread whose context is current, which for
// the library's own work is the GL worker thread.

#include "Export.h"
#include "geometry/Matrix.h"
#include "geometry/Vector.h"

namespace OGL_ZEP6_AE {

ZEP6_API void LoadIdentity();
ZEP6_API void Translate(const p3f& t);
ZEP6_API void Translate(float x, float y, float z);
ZEP6_API void Scale(const p3f& s);
ZEP6_API void Scale(float x, float y, float z);
// Rotation by degrees about an axis.
ZEP6_API void Rotate(float degrees, const p3f& axis);
// An Euler rotation: up to three rotations in the order named, left to right; X turns about
// (1, 0, 0), Y about (0, -1, 0) and Z about (0, 0, -1). Angles of magnitude 1e-7 or less are
// skipped, and an order out of range does nothing.
ZEP6_API void Rotate(float x, float y, float z, RotationOrder order);
ZEP6_API void Rotate(const p3f& angles, RotationOrder order);
// Multiplies by the matrix's sixteen elements in storage order.
ZEP6_API void MultMatrix(const m44f& m);

} // namespace OGL_ZEP6_AE
