#pragma once

#include "Export.h"

namespace OGL_ZEP6_AE {

class Region;
class SubImageTexture;

// Draws `texture`, pointed at `region` and loaded, as one rectangle covering the region in pixel
// coordinates, with nearest filtering; the active unit's texture binding is restored on return.
ZEP6_API void WriteTexture(SubImageTexture& texture, const Region& region);

} // namespace OGL_ZEP6_AE
