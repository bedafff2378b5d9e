#pragma once

// Points whose size falls off with distance from the eye, for particle-like drawing: the size of
// a point of nominal size s at eye distance d is s / sqrt(1 + (0.1 / scale) d + 1e-13 d^2), held
// between 1 and the point size set here. Both functions need OpenGL 1.4 point parameters and throw
// Unsupported when the driver lacks them. On the GL worker thread.

#include "Export.h"

namespace OGL_ZEP6_AE {

// Sets the distance attenuation (1, 0.1 / scale, 1e-13), the point size and the largest size to
// the driver's largest point size held at 64, the smallest size to 1 and the fade threshold to
// 60. Returns true.
ZEP6_API bool EnableDistPointScaling(float scale);
// Sets only the distance attenuation (1, 0.1 / scale, 1e-13). Returns true.
ZEP6_API bool RescaleDistPoint(float scale);

} // namespace OGL_ZEP6_AE
