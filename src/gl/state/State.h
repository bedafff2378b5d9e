#pragma once

// A snapshot of a whole context, for the GL worker thread and for the passes that select another
// drawing destination for a while: the attribute groups (pushed onto the attribute stacks), the
// model-view and projection matrices, the first texture units with their bindings and texture
// matrices, and the framebuffer and program bindings. SetDefault() puts a context into the
// library's default state. All of it runs on the GL worker thread (or a thread with the root
// context current).

#include "Export.h"
#include "gl/state/Attributes.h"
#include "gl/state/Color.h"
#include "gl/state/Matrices.h"
#include "gl/state/Texturing.h"

namespace OGL_ZEP6_AE {

class ZEP6_API State {
public:
    Attributes attributes;
    ModelMatrix model;
    ProjectionMatrix projection;
    TextureUnits units;
    unsigned int frameBuffer;
    unsigned int program;
    // The library's mirror of the current colour (Color::sCurrentColor), and the current colour.
    Color color;
    Color currentColor;
    bool retrieved;

    // Every attribute group but GL_TEXTURE_BIT (0xFFFBFFFF), every client group; `units` texture
    // units (at most four are recorded).
    explicit State(int units_ = 2);
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // Records the texture units, the model-view and projection matrices (each with the matrix
    // mode), pushes the attributes, reads the framebuffer and program bindings and copies the
    // colour mirror.
    void Retrieve();
    // Puts everything recorded back: the colour mirror, framebuffer and program (none when the recorded one
    // has been deleted since; Unsupported when the driver lacks glBindFramebufferEXT or glUseProgram),
    // projection and model-view matrices, texture units, and the attributes, which are popped and pushed
    // again so that they stay saved for a later Apply(). Call Pop() when done.
    void Apply();
    // Pops the attributes if they are pushed.
    void Pop();

    // The parts of Apply() and Retrieve() on their own.
    // Whether the recorded framebuffer was found deleted (none is bound in its place).
    bool ApplyFrameBuffer() const;
    void ApplyProgram() const;
    void ApplyModelMatrix() const;
    void ApplyProjectionMatrix() const;
    void ApplyTextureUnits() const;
    void RetrieveTextures();
};

// A State captured when built and put back when destroyed (also when an exception passes; a
// failure while restoring is swallowed, and the attribute level is always given back). The
// same capture the GL worker makes around each job, for code that selects another drawing
// destination for a while.
class ZEP6_API PushState {
public:
    explicit PushState(int units = 2);
    ~PushState();
    PushState(const PushState&) = delete;
    PushState& operator=(const PushState&) = delete;

    // Puts the state back now (exceptions pass); the destructor then does nothing.
    void Pop();

private:
    State state_;
};

// Puts the current context into the library's default state: alpha test off, the blend state of
// BlendOp::Default, clear colour 0 and depth 1, colour white, all channels written, no culling,
// the default light model and material, texturing disabled on every unit, unit 0 active,
// identity texture, projection and model-view matrices, client arrays off, dithering off,
// normalisation on, counter-clockwise front faces; the matrix mode ends as GL_MODELVIEW.
ZEP6_API void SetDefault();

} // namespace OGL_ZEP6_AE
