#pragma once

// Rendering a host frame of any size through one render target of 2048 x 1080: the frame is cut
// into target-sized tiles, and for each tile the projection is set up so that the caller draws in
// whole-frame coordinates (destination pixels, rows from the bottom); the finished tile is read
// back into its place in the frame. The loop:
//
//     TiledBuffer tiles(destination);
//     while (tiles.Next()) {
//         ...draw the whole frame in destination pixels, for example tiles.Write(image, 0, 0)...
//     }
//
// The first Next() captures the whole OpenGL state and selects the tile target; each Next()
// reads the finished tile and starts the next; the last one reads the last tile, gives the
// target back and restores the state. The target is not cleared between tiles: where the
// drawing leaves a tile uncovered, the tile keeps what the target held before.
//
// Built and run on the GL worker thread only. Made anywhere else, or for a null destination, it
// has no target: Next() then clears the destination to transparent black in memory and returns
// false. Not to be deleted through a Context pointer (Context has no virtual destructor).

#include "Export.h"
#include "gl/context/RootContext.h"
#include "geometry/Region.h"
#include "gl/state/State.h"

#include <deque>

class XIImage;

namespace OGL_ZEP6_AE {

class RenderedTexture;
namespace GLSL {
class Shader;
}

class ZEP6_API TiledBuffer : public Context {
public:
    // Tiles of 2048 x 1080 over the destination (not owned). The tile target is described (made
    // on the card at the first Next()) only on the GL worker thread and for a destination.
    explicit TiledBuffer(XIImage* destination);
    TiledBuffer(const TiledBuffer&) = delete;
    TiledBuffer& operator=(const TiledBuffer&) = delete;
    // Gives the target back; when a loop was left before its end, the state from before it is
    // restored first.
    ~TiledBuffer();

    // The read-processing shader of the tile target (not owned): it processes the pixels as each
    // tile is read back. It stays with the loop when the target is handed over (AcquireRender).
    void SetPostProcessing(GLSL::Shader* shader);

    int Width() const { return static_cast<int>(imageArea_.width); }
    int Height() const { return static_cast<int>(imageArea_.height); }

    // Cuts the destination into tiles of this size again, row by row from the bottom, each row
    // from the left; the last column and row are narrower or lower where the size does not
    // divide the destination. Whether there is any tile (never without a tile target).
    //
    // With a margin, each tile is drawn over its area grown by `margin` pixels on every side
    // (within the destination) and only its own area is read back: drawing that reads
    // neighbouring pixels (a blur) then sees the same pixels on both sides of a tile's edge. The
    // grown area must fit the tile target: tileWidth + 2 * margin at most 2048, tileHeight +
    // 2 * margin at most 1080.
    bool Rewind(int tileWidth, int tileHeight, int margin = 0);
    // Reads the finished tile and makes the next one current; false when the loop is over.
    bool Next();
    bool IsFirstTile() const { return firstTile_; }
    int TileCount() const { return static_cast<int>(tiles_.size()); }

    // Viewport and scissor over the tile's pixels, projection glOrtho over the tile's window of
    // destination pixels, identity model-view. Only while a tile is current.
    void Orthogonal(double zNear, double zFar);
    // gluPerspective after Orthogonal(1, -1), scaled by half the destination's size (integer
    // halves): the perspective's normalised square spans -W/2 ... W/2 by -H/2 ... H/2 destination
    // pixels, its centre on the destination's origin.
    void Perspective(double fovy, double aspect, double zNear, double zFar);
    // The same with glFrustum, scaled by exactly half the destination's size.
    void Perspective(float left, float right, float bottom, float top, float zNear, float zFar);
    // A frustum whose normalised square covers the whole destination ((-1, -1) at its lower-left
    // and (1, 1) at its upper-right corner), for renderers whose images come out upside down:
    // from now on every tile is read back flipped vertically, and Write and WriteFit draw their
    // images flipped so that they still land upright.
    void RS3dPerspective(float left, float right, float bottom, float top, float zNear, float zFar);

    // Draws an image at its own size with its lower-left corner at (x, y) in destination pixels,
    // under the model-view matrix the caller has set, modulated by the current colour and blended
    // as the caller has set blending. Only the part the tile shows is uploaded. Sampled nearest
    // where its pixels land one to one on the destination's, linearly where the model-view
    // stretches them.
    virtual void Write(const XIImage* image, int x, int y);
    // Draws an image stretched over the whole destination, whatever the model-view matrix, sampled
    // linearly where it is stretched; as Write otherwise.
    virtual void WriteFit(const XIImage* image);
    // Reads the tile target into the current tile's place in the image (flipped after
    // RS3dPerspective).
    virtual void Read(XIImage* image);
    // Hands the caller the tile target, its colour buffer holding the current tile and its
    // described size that of the tile; the loop goes on with a new target that takes over the
    // framebuffer object and depth attachment, selected at once. The caller owns the result.
    virtual RenderedTexture* AcquireRender();
    // The destination pixels the current tile draws: its own area grown by the margin.
    virtual Region GetCurrentTile() const { return currentTile_; }
    // Gives the tile target back (deleted). The loop is then over.
    virtual void Finalize();

protected:
    // The tile target becomes the drawing destination, in the default state with the current
    // tile's projection.
    bool Select() override;
    // Stops drawing into the target; no tile is current afterwards.
    bool Deselect() override;
    // Viewport and scissor box over the part of the target the current tile uses.
    virtual void Viewport();
    // The default state with the current tile's projection, when there is a target.
    void Reset();

    // Builds a render target for the loop. Every target of a loop is made here, so that
    // HandOver can copy it with its description.
    static RenderedTexture* MakeTarget(int width, int height, unsigned int format, unsigned int type);
    // Replaces `target` by a copy with its description that takes over its framebuffer object
    // and depth attachment (not its read-processing shader); returns the old target, which keeps
    // its colour buffer, described as width x height when both are above 0.
    static RenderedTexture* HandOver(RenderedTexture*& target, int width, int height);
    // Puts back the state captured at the first Next() and gives its attribute level back, when
    // a loop is running.
    void LeaveLoop();
    // For destructors: leaves a running loop (errors swallowed), then deletes `target`, so that
    // the state from before the loop is back before the target it may have bound goes.
    void LeaveLoopAndDelete(RenderedTexture*& target) noexcept;
    // Select and Deselect over `target` (null when there is none): the one the loop draws into.
    bool SelectTarget(RenderedTexture* target);
    bool DeselectTarget(Context* target);

    XIImage* destination_;
    RenderedTexture* tileTarget_;
    GLSL::Shader* postProcessing_;
    std::deque<Region> tiles_;
    // Drawn (the tile's own area grown by the margin) and read back (its own area).
    Region currentTile_;
    Region currentCore_;
    int margin_;
    Region imageArea_;
    Region tileSize_;
    bool firstTile_;
    bool readFlip_;
    State savedState_;

private:
    // Draws an image from (x0, y0) to (x1, y1) under the current model-view matrix, with the
    // tile's projection, uploading only the part the tile shows.
    void DrawImage(const XIImage* image, double x0, double y0, double x1, double y1);
};

} // namespace OGL_ZEP6_AE
