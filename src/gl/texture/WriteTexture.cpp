#include "gl/texture/WriteTexture.h"

#include "gl/render/Plane.h"
#include "geometry/Region.h"
#include "gl/texture/SubImageTexture.h"

namespace OGL_ZEP6_AE {

void WriteTexture(SubImageTexture& texture, const Region& region) {
    Push<Texture> saved;
    PushTextureMatrix matrix; // Apply sets the texture's own
    texture.SetRegion(region);
    texture.Apply();
    texture.ApplyNearest();
    const float x = static_cast<float>(region.x);
    const float y = static_cast<float>(region.y);
    sPlane.Draw(x, y, x + region.width, y + region.height, 0.0f);
}

} // namespace OGL_ZEP6_AE
