#pragma once

// The interface of a render target that renders a host image piece by piece: besides being
// selectable (Context), it draws images into the piece being rendered, reads that piece back
// into an image, hands its render target over, and tells which piece of the image it is on.
// No class of the library implements it; TiledBuffer has the same operations in the same order
// and derives from Context directly. GL worker thread only.

#include "Export.h"
#include "gl/context/RootContext.h"
#include "geometry/Region.h"

class XIImage;

namespace OGL_ZEP6_AE {

class RenderedTexture;

class ZEP6_API ContextBuffer : public Context {
public:
    ContextBuffer() = default;
    ContextBuffer(const ContextBuffer& other) = default;
    ContextBuffer& operator=(const ContextBuffer& other) = default;

    bool Select() override = 0;
    bool Deselect() override = 0;
    // Draws an image into the piece being rendered, its lower-left corner at (x, y).
    virtual void Write(const XIImage* image, int x, int y) = 0;
    // Draws an image stretched over the whole destination.
    virtual void WriteFit(const XIImage* image) = 0;
    // Reads the piece being rendered into its place in an image.
    virtual void Read(XIImage* image) = 0;
    // Hands the render target holding the current piece to the caller, who then owns it.
    virtual RenderedTexture* AcquireRender() = 0;
    // The piece of the destination being rendered.
    virtual Region GetCurrentTile() const = 0;

protected:
    // Never deleted through this interface, as Context.
    ~ContextBuffer() = default;
};

} // namespace OGL_ZEP6_AE
