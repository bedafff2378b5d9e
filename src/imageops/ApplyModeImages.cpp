#include "gl/render/ApplyMode.h"

#include "core/Errors.h"
#include "core/XIImage.h"
#include "geometry/Region.h"
#include "gl/context/Shared.h"
#include "gl/render/EffectProgram.h"
#include "gl/state/Blend.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "gl/texture/SubImageTexture.h"
#include "imageops/OperationFramePrivate.h"

#include <GL/gl.h>
#include <GL/glext.h>

// The composite of host images with an apply mode: an image operation on the common frame (the
// mode programs themselves live with the other effect programs).

namespace OGL_ZEP6_AE {

namespace {

// The whole picture of an image, rows counted from its bottom.
Region PictureOf(const XIImage* image) {
    return Region(0, 0, static_cast<unsigned int>(image->GetWidth()),
                  static_cast<unsigned int>(image->GetHeight()));
}

// GL worker thread. Points the texture on `unit`, which holds `area` of its image, at the tile
// that DrawRegion covers with texture coordinates 0 to 1: texel = coordinate * tile size + tile
// origin - area origin, so every destination pixel samples the image pixel at the same place.
// Where the area is smaller than the tile (the image does not reach that far) the border gives
// transparent black.
void PointAt(int unit, const Texture& texture, const Region& area, const Region& tile) {
    if (area == tile)
        return; // Apply() has set exactly this mapping
    TextureUnit::Activate(GL_TEXTURE0 + static_cast<unsigned int>(unit));
    texture.SetTransform(static_cast<float>(tile.width), static_cast<float>(tile.height),
                         static_cast<float>(tile.x - area.x), static_cast<float>(tile.y - area.y));
    const GLenum target = texture.Key().Target();
    static const GLfloat kTransparent[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    glTexParameterfv(target, GL_TEXTURE_BORDER_COLOR, kTransparent);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_BORDER);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_BORDER);
}

} // namespace

// Images are aligned at their lower-left picture corners: destination pixel (x, y) combines the
// front and back pixels at (x, y). Where the front or back does not reach (an image smaller than
// the destination) and where there is no valid back at all, the mode sees transparent black in
// its place: "left out" means composited against nothing. A mask that does not cover the front
// is left out too (its pixels would not reach every front pixel).
void ApplyMode::Apply(const XIImage* front, const XIImage* back, const XIImage* mask, XIImage* destination,
                      PixelApplyMode mode, float mix) {
    using Composite =
        void (*)(const XIImage*, const XIImage*, const XIImage*, XIImage*, PixelApplyMode, float);
    if (MarshalToWorker(static_cast<Composite>(&ApplyMode::Apply), front, back, mask, destination, mode, mix))
        return;
    if (!IsValid(front) || !imageops::IsWritable(destination))
        return;

    const Region frontPicture = PictureOf(front);
    const Region destinationPicture = PictureOf(destination);
    SubImageTexture frontTexture(front);
    if (IsValid(mask) && mask->GetWidth() >= front->GetWidth() && mask->GetHeight() >= front->GetHeight())
        frontTexture.SetMask(mask);
    const bool hasBack = IsValid(back);
    SubImageTexture backTexture;
    Region backPicture;
    if (hasBack) {
        backTexture.SetImage(back);
        backPicture = PictureOf(back);
    }
    // Transparent black in place of a missing back, and of either image on tiles it does not
    // reach; with clamping, every sample of it is (0, 0, 0, 0).
    RenderedTexture transparent(16, 16);
    if (!hasBack || (frontPicture & destinationPicture) != destinationPicture ||
        (backPicture & destinationPicture) != destinationPicture)
        transparent.Clear();

    ApplyMode* selected = GetApplyMode(mode);
    imageops::ForEachTile(destination, [&](TiledBuffer&, const Region& tile) {
        const Region frontArea = tile & frontPicture;
        const Region backArea = hasBack ? tile & backPicture : Region();
        // While an area does not fill the tile, its storage has exactly the area's size: samples
        // past the area then meet the transparent border rather than texels beyond it in a larger
        // cached texture, which hold whatever an earlier use left there.
        if (frontArea.valid) {
            frontTexture.SetExactStorage(frontArea != tile);
            frontTexture.SetRegion(frontArea);
        }
        if (backArea.valid) {
            backTexture.SetExactStorage(backArea != tile);
            backTexture.SetRegion(backArea);
        }
        const Texture& frontUsed = frontArea.valid ? static_cast<const Texture&>(frontTexture) : transparent;
        const Texture& backUsed = backArea.valid ? static_cast<const Texture&>(backTexture) : transparent;

        // The mode binds its program and both texture units and sets their texture matrices:
        // more than the frame saves per tile, so the whole state is saved as well.
        PushState state;
        Push<BlendFunc> blend(BlendFunc::Replace);
        Push<DepthFunc> depth(DepthFunc::Always);
        // An unknown mode has no program and binds no texture: the tile is drawn in the current
        // colour of the tile's default state, opaque white.
        if (selected != nullptr) {
            selected->Apply(frontUsed, backUsed, mix);
            if (frontArea.valid)
                PointAt(0, frontTexture, frontArea, tile);
            if (backArea.valid)
                PointAt(1, backTexture, backArea, tile);
        }
        EffectProgram::DrawRegion(tile, GL_TEXTURE1);
    });
}

} // namespace OGL_ZEP6_AE
