#pragma once

// Scoped save-and-restore of OpenGL state. A Push object reads a piece of state when it is built
// and writes it back when it is destroyed, so a function leaves the context as it found it on
// every way out, an exception included. Nesting works because each object keeps its own copy.
//
//     {
//         PushBlendFunc blend(GL_ONE, GL_ZERO);     // saved, then set
//         PushModelMatrix model;                    // saved; GL_MODELVIEW selected
//         ...draw...
//     }                                             // both restored, in reverse order
//
// Everything here runs on the GL worker thread (or a thread with the root context current).
// Push<Texture> is a texture itself and is declared with the textures; Push<ColorMaterial> and
// PushColorMaterial are with the materials (gl/render/LightMaterial.h).

#include "Export.h"
#include "geometry/Vector.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/Matrices.h"
#include "gl/state/PixelStore.h"
#include "gl/state/PixelTransfer.h"
#include "gl/state/Texturing.h"

class XIImage;

namespace OGL_ZEP6_AE {

namespace detail {
// What a Push does after saving: nothing, except that a pushed matrix leaves its own matrix mode
// selected, so that the code in the scope works on that matrix.
template <class T> inline void SelectAfterSave(const T&) {}
ZEP6_API void SelectAfterSave(const ModelMatrix&);
ZEP6_API void SelectAfterSave(const ProjectionMatrix&);
ZEP6_API void SelectAfterSave(const TextureMatrix&);
} // namespace detail

// Saves a T (T::Retrieve) when built and applies the saved copy (T::Apply) once, at Pop() or at
// destruction, whichever comes first. A failure while restoring in the destructor is swallowed.
template <class T> class Push {
public:
    Push() { Save(); }
    // Saves, then applies `value`.
    explicit Push(const T& value) {
        Save();
        value.Apply();
    }
    ~Push() {
        try {
            Pop();
        } catch (...) {
        }
    }
    Push(const Push&) = delete;
    Push& operator=(const Push&) = delete;

    // Restores the saved state; a second call does nothing.
    void Pop() {
        if (!pushed_)
            return;
        pushed_ = false;
        saved_.Apply();
    }

    bool IsPushed() const { return pushed_; }
    const T& Saved() const { return saved_; }

protected:
    T saved_{};
    bool pushed_ = false;

private:
    void Save() {
        saved_.Retrieve();
        pushed_ = true;
        detail::SelectAfterSave(saved_);
    }
};

// Saves the blend factors and GL_BLEND; the forms with factors then set them and enable blending
// (the separate form when colour and alpha factors differ: Unsupported without it).
class ZEP6_API PushBlendFunc : public Push<BlendFunc> {
public:
    PushBlendFunc() = default;
    PushBlendFunc(unsigned int src, unsigned int dst) : Push<BlendFunc>(BlendFunc(src, dst)) {}
    PushBlendFunc(unsigned int srcRGB, unsigned int dstRGB, unsigned int srcAlpha, unsigned int dstAlpha)
        : Push<BlendFunc>(BlendFunc(srcRGB, dstRGB, srcAlpha, dstAlpha)) {}
};

// Saves Color::sCurrentColor; restores it and the OpenGL colour.
class ZEP6_API PushColor : public Push<Color> {
public:
    PushColor() = default;
};

// Each saves the current matrix mode and its matrix, selects its matrix mode, and restores both.
class ZEP6_API PushModelMatrix : public Push<ModelMatrix> {
public:
    PushModelMatrix() = default;
};

class ZEP6_API PushProjectionMatrix : public Push<ProjectionMatrix> {
public:
    PushProjectionMatrix() = default;
};

class ZEP6_API PushTextureMatrix : public Push<TextureMatrix> {
public:
    PushTextureMatrix() = default;
};

// Saves the matrix mode and selects `mode`; restores the saved mode. For code that multiplies
// onto one matrix (glOrtho, glFrustum, glScalef, ...) and leaves the caller's mode selected.
class ZEP6_API PushMatrixMode : public Push<Matrix> {
public:
    explicit PushMatrixMode(unsigned int mode) : Push<Matrix>(Selecting(mode)) {}

private:
    static Matrix Selecting(unsigned int mode) {
        Matrix m;
        m.mode = mode;
        return m;
    }
};

// Selects a matrix mode and pushes that matrix stack; the destructor selects the mode again, pops
// the stack and selects GL_MODELVIEW.
class ZEP6_API PushMatrixStack {
public:
    explicit PushMatrixStack(unsigned int mode);
    ~PushMatrixStack();
    PushMatrixStack(const PushMatrixStack&) = delete;
    PushMatrixStack& operator=(const PushMatrixStack&) = delete;

private:
    unsigned int mode_;
};

class ZEP6_API PushModelStack : public PushMatrixStack {
public:
    PushModelStack() : PushMatrixStack(GL_MODELVIEW) {}
};

class ZEP6_API PushProjectionStack : public PushMatrixStack {
public:
    PushProjectionStack() : PushMatrixStack(GL_PROJECTION) {}
};

class ZEP6_API PushTextureStack : public PushMatrixStack {
public:
    PushTextureStack() : PushMatrixStack(GL_TEXTURE) {}
};

// Saves the eight pixel-transfer values; the form with values then applies them composed with
// the current ones (see PixelTransfer).
class ZEP6_API PushPixelTransfer : public Push<PixelTransfer> {
public:
    PushPixelTransfer() = default;
    PushPixelTransfer(float rs, float rb, float gs, float gb, float bs, float bb, float as, float ab)
        : Push<PixelTransfer>(PixelTransfer(rs, rb, gs, gb, bs, bb, as, ab)) {}
};

// Save the unpack (loads) or pack (read-back) parameters and set new ones: five values in field
// order, or the area of an image that starts at (skipPixels, skipRows) (see PixelAddressing).
class ZEP6_API PushPixelUnpack : public Push<PixelUnpack> {
public:
    PushPixelUnpack() = default;
    PushPixelUnpack(int alignment, int rowLength, int imageHeight, int skipPixels, int skipRows)
        : Push<PixelUnpack>(PixelUnpack(alignment, rowLength, imageHeight, skipPixels, skipRows)) {}
    PushPixelUnpack(const XIImage* image, int skipPixels, int skipRows)
        : Push<PixelUnpack>(PixelUnpack(image, skipPixels, skipRows)) {}
};

class ZEP6_API PushPixelPack : public Push<PixelPack> {
public:
    PushPixelPack() = default;
    PushPixelPack(int alignment, int rowLength, int imageHeight, int skipPixels, int skipRows)
        : Push<PixelPack>(PixelPack(alignment, rowLength, imageHeight, skipPixels, skipRows)) {}
    PushPixelPack(const XIImage* image, int skipPixels, int skipRows)
        : Push<PixelPack>(PixelPack(image, skipPixels, skipRows)) {}
};

// Saves the four unpack parameters of PixelStore and sets new ones.
class ZEP6_API PushPixelStore : public Push<PixelStore> {
public:
    PushPixelStore() = default;
    PushPixelStore(int alignment, int rowLength, int skipPixels, int skipRows)
        : Push<PixelStore>(PixelStore(alignment, rowLength, skipPixels, skipRows)) {}
};

// Saves the name bound to `target` on the active unit and binds `name` to it; restores the saved
// name, or 0 when it is no longer a texture, so that a texture deleted in the scope is not brought
// back. The enable switches and filters are left alone (Push<TextureBinding> saves those).
class ZEP6_API PushTextureTarget {
public:
    PushTextureTarget(unsigned int target, unsigned int name);
    ~PushTextureTarget();
    PushTextureTarget(const PushTextureTarget&) = delete;
    PushTextureTarget& operator=(const PushTextureTarget&) = delete;

    // Binds the saved name back now; a second call does nothing.
    void Pop();
    const TextureTargetBinding& Saved() const { return saved_; }

private:
    TextureTargetBinding saved_;
    bool pushed_;
};

// Saves the framebuffer binding (GL_FRAMEBUFFER_BINDING); the form with a name then binds that
// framebuffer. Restores with glBindFramebufferEXT (Unsupported when missing, swallowed in the
// destructor).
class ZEP6_API PushFrameBuffer {
public:
    PushFrameBuffer();
    explicit PushFrameBuffer(unsigned int frameBuffer);
    ~PushFrameBuffer();
    PushFrameBuffer(const PushFrameBuffer&) = delete;
    PushFrameBuffer& operator=(const PushFrameBuffer&) = delete;

    // Rebinds the saved framebuffer now; a second call does nothing.
    void Pop();
    unsigned int Saved() const { return saved_; }

private:
    unsigned int saved_;
    bool pushed_;
};

// Saves the program in use (GL_CURRENT_PROGRAM); the form with a name then uses that program.
// Restores with glUseProgram (Unsupported when missing, swallowed in the destructor).
class ZEP6_API PushProgram {
public:
    PushProgram();
    explicit PushProgram(unsigned int program);
    ~PushProgram();
    PushProgram(const PushProgram&) = delete;
    PushProgram& operator=(const PushProgram&) = delete;

private:
    unsigned int saved_;
};

// Drawing at one unit per unit of the model-view space without its rotation and scale: saves the
// model-view matrix (as PushModelMatrix) and loads the identity. With a point, the point is first
// transformed by the current model-view matrix and the identity is translated to the result, so
// drawing keeps the point's position. The destructor restores the matrix.
class ZEP6_API UnitScale : public PushModelMatrix {
public:
    UnitScale();
    explicit UnitScale(const p3f& point);
};

} // namespace OGL_ZEP6_AE
