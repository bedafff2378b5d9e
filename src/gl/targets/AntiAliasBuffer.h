#pragma once

// A tile loop that supersamples: each tile is drawn into a target F times its size in both
// directions (F = 2, 3, 4, 6 or 8, from an antialias level) and averaged down F x F to one pixel
// (a box filter) when it is read back. The tiles shrink by F so that the supersample target stays
// within 2048 x 1080. With a factor of 1 it is a plain TiledBuffer. Used as TiledBuffer is; GL
// worker thread only.

#include "Export.h"
#include "gl/targets/TiledBuffer.h"

namespace OGL_ZEP6_AE {

class ZEP6_API AntiAliasBuffer : public TiledBuffer {
public:
    // Levels 1 to 5 give factors 2, 3, 4, 6 and 8; any other level gives 1. An invalid
    // destination, or a call away from the GL worker thread, gives no targets: the loop then only
    // clears the destination (when it is valid).
    AntiAliasBuffer(XIImage* destination, int level);
    AntiAliasBuffer(const AntiAliasBuffer&) = delete;
    AntiAliasBuffer& operator=(const AntiAliasBuffer&) = delete;
    ~AntiAliasBuffer();

    float GetAntialiasScaler() const { return static_cast<float>(factor_); }
    // The supersample target; null with a factor of 1 (and after the loop).
    RenderedTexture* SupersampleTarget() const { return supersample_; }
    // The tile target, which receives the averaged tile; null after the loop.
    RenderedTexture* TileTarget() const { return tileTarget_; }

    // Averages the supersampled tile into the tile target, then reads it as TiledBuffer does.
    void Read(XIImage* image) override;
    // With supersampling, hands out the supersample target (described as the current tile times
    // the factor) and goes on with a copy of it; otherwise as TiledBuffer.
    RenderedTexture* AcquireRender() override;
    // Gives both targets back.
    void Finalize() override;

protected:
    // The supersample target when supersampling, else the tile target.
    bool Select() override;
    bool Deselect() override;
    // The current tile's pixels times the factor when supersampling.
    void Viewport() override;

private:
    void SetAntialiasLevel(int level);
    bool IsSupersampling() const { return factor_ > 1 && supersample_ != nullptr; }
    RenderedTexture* DrawingTarget() const { return IsSupersampling() ? supersample_ : tileTarget_; }

    int factor_;
    RenderedTexture* supersample_;
};

} // namespace OGL_ZEP6_AE
