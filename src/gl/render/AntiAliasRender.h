#pragma once

// Multipass rendering of a 3-D scene: anti-aliasing by sub-pixel camera jitter, and depth of field
// either by jittering the camera across a lens or by blurring the finished image by a
// depth-dependent circle of confusion. The caller draws the scene once per pass:
//
//     AntiAliasRender render(quality, focus, aperture);
//     while (render.Next()) {
//         render.Perspective(tiles, left, right, bottom, top, zNear, zFar);
//         ...draw the scene...
//         render.AddRegion(drawnBox);   // window pixels in x and y, depth (0 ... 1) in z
//     }
//
// Draw with the depth test on: a pixel whose depth stays 1 counts as empty, and the depth of
// field reads the depth. Each pass is drawn into a float target of the viewport's size and added into the caller's
// framebuffer with weight 1 / passes; only the drawn box (GetRegion) is cleared, accumulated and
// blurred, so pixels outside it keep their content. The first Next() of a frame captures the
// whole OpenGL state; the last one restores it. A frame ended early (an exception, or leaving the
// loop) is restored by the destructor; within a tile loop, make the render after the TiledBuffer
// so that it ends first (the other way round the tile loop's own restore wins, which is harmless).
//
// The post-process blur smooths the depth along x and y (SetDofSmmooth), then blurs the image in
// three stripes at 45, 105 and 165 degrees, each sample spread over its own circle of confusion:
// together they give a hexagonal blur. It needs depth textures; where they are missing the frame
// is left unblurred.
//
// Bad values do no harm: a quality outside 0 ... 5 draws one pass; a focus, aperture or smoothing
// reach that is negative, NaN or infinite is 0 (no depth of field); clip distances that are not
// 0 < near < far keep the last good ones; a viewport of size 0 draws nothing (Next() is false at
// once). GL worker thread only; one frame at a time per object.

#include "Export.h"
#include "geometry/Region.h"
#include "geometry/Vector.h"
#include "gl/state/State.h"

#include <vector>

namespace OGL_ZEP6_AE {

class RenderedTexture;
class TiledBuffer;

class ZEP6_API AntiAliasRender {
public:
    AntiAliasRender() : AntiAliasRender(0, 0.0f, 0.0f) {}
    // quality 1 ... 5 gives 4, 6, 8, 12 or 16 passes, anything else one; focus is the distance in
    // focus and aperture the strength of the depth of field (0: none). Clip distances 10 and
    // 10000, post-process blur (no lens jitter), no depth smoothing.
    AntiAliasRender(int quality, float focus, float aperture);
    AntiAliasRender(const AntiAliasRender&) = delete;
    AntiAliasRender& operator=(const AntiAliasRender&) = delete;
    // Restores the state of a frame left unfinished, then gives the targets back.
    ~AntiAliasRender();

    // Sets everything again and gives the targets back (they are made anew at the next frame).
    // With lensJitter, depth of field jitters the camera across the lens (at most 7 passes).
    void Initialize(int quality, float focus, float aperture, float smooth, float zNear, float zFar,
                    bool lensJitter);
    // The reach in pixels of the depth smoothing before a post-process blur (0: none; at most
    // kMaxSmooth).
    void SetDofSmmooth(float smooth);
    static constexpr float kMaxSmooth = 100.0f;

    // Drives the pass loop: true while the caller is to draw another pass.
    bool Next();

    // The camera of the current pass of the current tile: the tiled buffer's frustum, shifted for
    // the lens sample when lens jitter is on, then moved by the pass's sub-pixel jitter.
    void Perspective(TiledBuffer& tile, float left, float right, float bottom, float top, float zNear,
                     float zFar);
    // The tiled buffer's orthographic projection, moved by the pass's sub-pixel jitter.
    void Orthogonal(TiledBuffer& tile, double zNear, double zFar);

    // The box the caller has drawn (window pixels, depth in z), widened by 1 in x and y.
    void AddRegion(const Region3d& box);
    // The drawn box within the viewport; the whole viewport (depth 0 ... 1) while nothing has been
    // added.
    Region3d GetRegion() const;

    bool IsInUse() const { return pass_ != 0; }
    bool IsFirstPass() const { return pass_ == 1; }
    bool IsLastPass() const { return pass_ == passes_; }
    // Whether a frame takes more than drawing once: several passes or any depth of field.
    bool IsEffective() const { return passes_ > 1 || dofAperture_ != 0.0f; }
    int Passes() const { return passes_; }
    int Pass() const { return pass_; }
    // The post-process blur amount: the aperture without lens jitter, else 0.
    float PostBlur() const { return postBlur_; }
    // The sub-pixel jitter and lens sample that pass k (1 ... Passes()) uses; the lens sample is
    // (0.5, 0.5) without lens jitter.
    p2f JitterOf(int k) const;
    p2f LensSampleOf(int k) const;

    // How far, in pixels, the post-process blur may carry a pixel (0 without it): tiles drawn with
    // this margin (TiledBuffer::Rewind) join without seams.
    int TileMargin() const;

    // During a frame, puts back the state captured at its start (when the render is effective).
    void RestoreState();
    // Gives the five targets back.
    void Finalize();
    // Whether any of the five targets holds storage on the card.
    bool HasTargets() const;

    // Circle of confusion (in pixels, 0.75 in focus, at most 100) of a point at distance z for
    // the given aperture.
    float CoCFromDistance(float aperture, float z) const;
    // The distance of a depth-buffer value (0 ... 1) under the current clip distances.
    float ZFromDepth(float depth) const;
    // The smallest and largest circle over a depth range; the smallest is 0 when the range
    // straddles the focus distance.
    void CoCFromDepth(float aperture, float depth1, float depth2, float& minimum, float& maximum) const;

    // The length of each of the three stripe blurs for a blur amount, and their angles (radians).
    static float StripeLength(float amount);
    static float StripeAngle(int stripe);

private:
    void SetJitters(int quality);
    void SetClip(double zNear, double zFar);
    void ReadViewport();
    bool NeedsPassTarget() const;
    bool BlursAfterPasses() const;
    void StartFrame();
    void Accumulate();
    void CopyAccumulated();
    void JitterProjection() const;
    void ResizeTargets();

    Region3d RenderDofBlur(RenderedTexture* source, float amount, const Region3d& region);
    Region3d RenderDofStripeBlur(RenderedTexture* source, float amount, float angle, const Region3d& region);
    void RenderDofStripeDepth(RenderedTexture* source, float amount, const p2f& axis, const Region& area);
    void SmoothDepth(RenderedTexture* source, const Region& area);

    int quality_;
    float viewportWidth_;
    float viewportHeight_;
    float dofNear_;
    float dofFar_;
    float dofAperture_;
    float dofFocus_;
    float dofSmooth_;
    bool lensJitter_;
    int pass_;
    int passes_;
    float postBlur_;
    const p2f* aaJitter_;
    std::vector<p2f> lensSamples_;
    // The pass target, the smoothing target, the circle-of-confusion target and two alternating
    // blur targets.
    RenderedTexture* passTarget_;
    RenderedTexture* smoothTarget_;
    RenderedTexture* cocTarget_;
    RenderedTexture* blurTargets_[2];
    Region3d region_;
    bool noRegionYet_;
    State state_;
};

} // namespace OGL_ZEP6_AE
