#pragma once

// The common path of the whole-image operations. Every operation is one exported function whose
// body begins with the same few lines:
//
//     void Premultiply(const XIImage* source, XIImage* destination) {
//         if (MarshalToWorker(&Premultiply, source, destination))   // host thread: run as a job
//             return;
//         if (!IsValid(source) || !IsWritable(destination))         // worker: check, then work
//             return;
//         SubImageTexture texture(source);
//         ForEachTile(destination, [&](TiledBuffer& tiles, const Region& tile) { ... });
//     }
//
// On a host thread the guard hands the call to the GL worker thread and waits; on the worker (and
// from inside another job) the body runs directly. An exception on the worker never reaches the
// host: the job ends with its text in Shared::ErrorMessage(). Operations with a calling-thread
// shortcut (a byte copy, a clear to zero) take it before the guard, so they never start the
// worker for it.

#include "core/Errors.h"
#include "core/PixelTypes.h"
#include "core/XIImage.h"
#include "geometry/Region.h"
#include "gl/context/Shared.h"
#include "gl/resources/Buffer.h"
#include "gl/state/Clear.h"
#include "gl/state/ClearColor.h"
#include "gl/state/Color.h"
#include "gl/state/ColorMask.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"
#include "gl/texture/Texture.h"

#include <cmath>

namespace OGL_ZEP6_AE {
namespace imageops {

// A destination an operation may write: valid and not read-only.
bool IsWritable(const XIImage* image);

// Calling-thread shortcuts, no OpenGL. Copies row bytes x height bytes when the two images have
// exactly the same description (IsMatchingFormat); whether it did.
bool CopyMatchingBytes(const XIImage* source, XIImage* destination);
// Fills row bytes x height bytes (padding included) with zeros when the colour is exactly
// transparent black; whether it did.
bool ClearToZeroBytes(XIImage* destination, const Color& color);

// Exactly the state a tile's drawing may change, saved when built and restored in reverse order
// when destroyed: blend enable and factors, the current colour, the colour mask, the model-view
// matrix, the bound texture, and the clear colour and depth.
class TileState {
public:
    TileState() = default;
    TileState(const TileState&) = delete;
    TileState& operator=(const TileState&) = delete;

private:
    Push<ClearColor> clear_;
    Push<Texture> texture_;
    PushModelMatrix model_;
    Push<ColorMask> mask_;
    PushColor color_;
    PushBlendFunc blend_;
};

// The tile loop: draw(tiles, tile) for every tile of the destination, in destination pixels,
// with the tile's state saved around each call. Each tile starts transparent black, so pixels an
// operation does not draw come out transparent. The TiledBuffer reads each finished tile back
// into the destination in its own layout (through `postProcessing` when given).
template <class Draw> void ForEachTile(XIImage* destination, Draw&& draw, GLSL::Shader* postProcessing = nullptr) {
    TiledBuffer tiles(destination);
    if (postProcessing)
        tiles.SetPostProcessing(postProcessing);
    while (tiles.Next()) {
        const TileState saved;
        ClearColorBuffer(Color::Transparent);
        draw(tiles, tiles.GetCurrentTile());
    }
}

// A blur amount as the blurs take it: non-finite and negative ones blur by nothing, and a kernel
// wider than twice the image reads nothing but repeated edge pixels beyond that, so it is cut there.
inline float UsableBlurAmount(float amount, long imageSize) {
    if (!std::isfinite(amount) || amount < 0.0f)
        return 0.0f;
    return std::fmin(amount, 2.0f * static_cast<float>(imageSize) + 1.0f);
}

// Runs `draw` with `target` as the drawing destination, the whole state saved around it.
template <class Draw> void DrawInto(RenderedTexture& target, Draw&& draw) {
    PushState state;
    if (target.Select())
        draw();
}

// An intermediate image for operations that need one: float RGBA, white 1, its pixels from the
// memory cache (which the end of the job empties).
class WorkingImage : public Buffer<RGBAPixelType<float, 1>> {
public:
    // Colour space "RGBA", 128 bits a pixel, white level 1; sized when both sides are above 0.
    WorkingImage(int width, int height);
};

} // namespace imageops
} // namespace OGL_ZEP6_AE
