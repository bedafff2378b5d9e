#include "imageops/ImageOperations.h"

#include "gl/render/Plane.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/ColorMask.h"
#include "gl/state/DepthFunc.h"
#include "gl/texture/AlphaTexture.h"
#include "gl/texture/SubImageTexture.h"
#include "gl/texture/WriteTexture.h"
#include "imageops/OperationFramePrivate.h"

#include <algorithm>
#include <cmath>

namespace OGL_ZEP6_AE {

using namespace imageops;

namespace {

Region PictureOf(const XIImage* image) {
    return Region(0, 0, static_cast<unsigned int>(image->GetWidth()), static_cast<unsigned int>(image->GetHeight()));
}

// Half the difference of two sizes, rounded down: where a picture is centred in whole pixels, so
// that it is drawn one to one (nearest) rather than half a pixel off and resampled.
int HalfDifference(long outer, long inner) {
    const long difference = outer - inner;
    return static_cast<int>(difference >= 0 ? difference / 2 : -((-difference + 1) / 2));
}

// The part of the texture's image under the tile, drawn at its place one to one; false when the
// image does not reach the tile.
bool DrawUnderTile(SubImageTexture& texture, const Region& picture, const Region& tile) {
    const Region area = tile & picture;
    if (!area.valid)
        return false;
    WriteTexture(texture, area);
    return true;
}

// The mask recipe of RenderMask and RenderInvMask: the tile holds the colour, its alpha scaled by
// the mask's alpha through `maskFactor` (GL_SRC_ALPHA or GL_ONE_MINUS_SRC_ALPHA), with the image
// drawn under it.
void DrawMask(TiledBuffer& tiles, const XIImage* mask, const XIImage* image, const Color& color, unsigned int maskFactor) {
    ClearColorBuffer(color);
    ColorMask::AlphaOnly.Apply();
    BlendFunc(GL_ZERO, maskFactor).Apply();
    tiles.Write(mask, 0, 0);
    ColorMask::AllChannels.Apply();
    BlendFunc::BlendUnder.Apply();
    if (IsValid(image))
        tiles.Write(image, 0, 0);
}

void RenderMaskWith(const XIImage* mask, const XIImage* image, XIImage* destination, const Color& color,
                    unsigned int maskFactor) {
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) { DrawMask(tiles, mask, image, color, maskFactor); });
}

} // namespace

void Test(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        BlendFunc::Replace.Apply();
        tiles.Write(source, 0, 0);
    });
}

void Premultiply(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&Premultiply, source, destination))
        return;
    SubImageTexture texture(source);
    const Region picture = PictureOf(source);
    ForEachTile(destination, [&](TiledBuffer&, const Region& tile) {
        Color::White.Apply();
        BlendFunc::Replace.Apply();
        if (!DrawUnderTile(texture, picture, tile))
            return;
        // Colour times the source's alpha, alpha kept.
        ColorMask::NoAlpha.Apply();
        BlendFunc(GL_ZERO, GL_SRC_ALPHA).Apply();
        DrawUnderTile(texture, picture, tile);
    });
}

void Center(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&Center, source, destination))
        return;
    const int x = HalfDifference(destination->GetWidth(), source->GetWidth());
    const int y = HalfDifference(destination->GetHeight(), source->GetHeight());
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        BlendFunc::Replace.Apply();
        tiles.Write(source, x, y);
    });
}

void CopyAlpha(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&CopyAlpha, source, destination))
        return;
    AlphaTexture alpha(source);
    const Region picture = PictureOf(source);
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region& tile) {
        // The tile starts with the destination's own pixels; only alpha is then replaced.
        BlendFunc::Replace.Apply();
        tiles.Write(destination, 0, 0);
        const Region area = tile & picture;
        if (!area.valid)
            return;
        ColorMask::AlphaOnly.Apply();
        Push<Texture> bound;
        PushTextureMatrix matrix;
        alpha.SetRegion(area);
        alpha.Apply();
        alpha.ApplyNearest();
        const float x = static_cast<float>(area.x), y = static_cast<float>(area.y);
        sPlane.Draw(x, y, x + static_cast<float>(area.width), y + static_cast<float>(area.height), 0.0f);
    });
}

void Resize(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination) || CopyMatchingBytes(source, destination))
        return;
    if (MarshalToWorker(&Resize, source, destination))
        return;
    // The whole source stretched over the whole destination: each tile shows its share of one
    // continuous mapping, so no tile edge shifts the picture by a truncated source pixel.
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        BlendFunc::Replace.Apply();
        tiles.WriteFit(source);
    });
}

void FitInto(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&FitInto, source, destination))
        return;
    const float scale = std::min(static_cast<float>(destination->GetWidth()) / static_cast<float>(source->GetWidth()),
                                 static_cast<float>(destination->GetHeight()) / static_cast<float>(source->GetHeight()));
    const int width = static_cast<int>(scale * static_cast<float>(source->GetWidth()));
    const int height = static_cast<int>(scale * static_cast<float>(source->GetHeight()));
    WorkingImage fitted(width, height);
    if (!IsValid(&fitted))
        return; // nothing of the source survives the scale, or no memory for it
    Resize(source, &fitted);
    const int x = HalfDifference(destination->GetWidth(), width);
    const int y = HalfDifference(destination->GetHeight(), height);
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        BlendFunc::Replace.Apply();
        tiles.Write(&fitted, x, y);
    });
}

void Composite(const XIImage* foreground, const XIImage* background, const XIImage* third, XIImage* destination,
               float opacity, const BlendOp& op) {
    if (!IsWritable(destination))
        return;
    BlendOp blend = op; // the job reads it from this frame
    if (MarshalToWorker(&Composite, foreground, background, third, destination, opacity, blend))
        return;
    SubImageTexture texture;
    const bool hasForeground = IsValid(foreground);
    if (hasForeground)
        texture.SetImage(foreground);
    const Region picture = hasForeground ? PictureOf(foreground) : Region();
    const float o = std::isfinite(opacity) ? std::clamp(opacity, 0.0f, 1.0f) : 0.0f;
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region& tile) {
        Push<BlendOp> saved;
        BlendFunc::Replace.Apply();
        tiles.Write(background, 0, 0);
        if (!hasForeground)
            return;
        Color(o, o, o, o).Apply();
        blend.Apply();
        DrawUnderTile(texture, picture, tile);
    });
}

void RenderMask(const XIImage* mask, const XIImage* image, XIImage* destination, const Color& color) {
    if (!IsValid(mask) || !IsWritable(destination))
        return;
    Color value = color;
    if (MarshalToWorker(&RenderMask, mask, image, destination, value))
        return;
    RenderMaskWith(mask, image, destination, value, GL_SRC_ALPHA);
}

void RenderInvMask(const XIImage* mask, const XIImage* image, XIImage* destination, const Color& color) {
    if (!IsValid(mask) || !IsWritable(destination))
        return;
    Color value = color;
    if (MarshalToWorker(&RenderInvMask, mask, image, destination, value))
        return;
    RenderMaskWith(mask, image, destination, value, GL_ONE_MINUS_SRC_ALPHA);
}

void GetAlpha(const XIImage* source, Buffer<Alpha32F>* destination) {
    if (destination == nullptr || !IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&GetAlpha, source, destination))
        return;
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        BlendFunc::Replace.Apply();
        tiles.WriteFit(source);
    });
}

void GetLuma(const XIImage* source, Buffer<Luma32F>* destination) {
    if (destination == nullptr || !IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&GetLuma, source, destination))
        return;
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        // (0.3 R A, 0.59 G A, 0.11 B A, A): the read-back into one luminance channel adds the three.
        BlendFunc(GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO).Apply();
        Color::LumaScale.Apply();
        tiles.WriteFit(source);
    });
}

void Invert(const Buffer<Luma32F>* source, Buffer<Luma32F>* destination) {
    if (source == nullptr || destination == nullptr || !IsValid(source) || !IsWritable(destination))
        return;
    if (MarshalToWorker(&Invert, source, destination))
        return;
    const long rows = std::min(source->GetHeight(), destination->GetHeight());
    const long columns = std::min(source->GetWidth(), destination->GetWidth());
    for (long r = 0; r < rows; ++r) {
        const Luma32F* in = source->Row(r);
        Luma32F* out = destination->Row(r);
        for (long x = 0; x < columns; ++x)
            out[x].luma = 1.0f - in[x].luma;
    }
}

void CopyTexture(const Texture& texture, XIImage* destination) {
    if (!IsWritable(destination))
        return;
    // The job carries a copy that shares the texture's storage and never gives it back.
    Texture copy(texture);
    if (MarshalToWorker(&CopyTexture, copy, destination))
        return;
    const float width = static_cast<float>(texture.GetWidth()), height = static_cast<float>(texture.GetHeight());
    if (width <= 0.0f || height <= 0.0f)
        return;
    ForEachTile(destination, [&](TiledBuffer&, const Region&) {
        BlendFunc::Replace.Apply();
        Push<DepthFunc> depth(DepthFunc::Always);
        PushTextureMatrix matrix;
        texture.Bind();
        texture.ApplyNearest();
        texture.SetTransform(width, height, 0.0f, 0.0f);
        sPlane.Draw(0.0f, 0.0f, width, height, 0.0f);
    });
}

} // namespace OGL_ZEP6_AE
