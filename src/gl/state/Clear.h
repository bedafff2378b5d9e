#pragma once

// Clearing the buffers of the current drawing destination. Each helper saves what it changes
// (clear values, depth test, scissor, colour mask) on the attribute stack and restores it, so only
// the buffer contents change. The Region forms clear the valid region only (scissored) and do
// nothing for an invalid one. They run on the GL worker thread (or a thread with the root
// context current).

#include "Export.h"
#include "geometry/Region.h"
#include "gl/state/Color.h"

namespace OGL_ZEP6_AE {

ZEP6_API void ClearColorBuffer(const Color& color);
ZEP6_API void ClearColorBuffer(const Region& region, const Color& color);
// Clears with the depth test on, function GL_ALWAYS and depth writes on.
ZEP6_API void ClearDepthBuffer(float depth);
ZEP6_API void ClearDepthBuffer(const Region& region, float depth);
// Writes alpha only: every pixel's alpha becomes a, colour channels are kept.
ZEP6_API void ClearAlphaBuffer(float alpha);
// Colour and depth together.
ZEP6_API void ClearAllBuffers(const Color& color, float depth);
ZEP6_API void ClearAllBuffers(const Region& region, const Color& color, float depth);

} // namespace OGL_ZEP6_AE
