#include "gl/state/Clear.h"

#include "gl/state/ColorMask.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {

// The attribute groups a clear changes are saved on the attribute stack for its duration.
class PushAttrib {
public:
    explicit PushAttrib(GLbitfield mask) { glPushAttrib(mask); }
    ~PushAttrib() { glPopAttrib(); }
    PushAttrib(const PushAttrib&) = delete;
    PushAttrib& operator=(const PushAttrib&) = delete;
};

void SetClearColor(const Color& c) {
    glClearColor(c.red, c.green, c.blue, c.alpha);
}

void SetDepthClear(float depth) {
    glClearDepth(depth);
    glDepthFunc(GL_ALWAYS);
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
}

void Scissor(const Region& region) {
    glEnable(GL_SCISSOR_TEST);
    glScissor(region.x, region.y, static_cast<GLsizei>(region.width), static_cast<GLsizei>(region.height));
}

} // namespace

void ClearColorBuffer(const Color& color) {
    PushAttrib saved(GL_COLOR_BUFFER_BIT);
    SetClearColor(color);
    glClear(GL_COLOR_BUFFER_BIT);
}

void ClearColorBuffer(const Region& region, const Color& color) {
    if (!region.IsValid())
        return;
    PushAttrib saved(GL_COLOR_BUFFER_BIT | GL_SCISSOR_BIT);
    Scissor(region);
    SetClearColor(color);
    glClear(GL_COLOR_BUFFER_BIT);
}

void ClearDepthBuffer(float depth) {
    PushAttrib saved(GL_DEPTH_BUFFER_BIT);
    SetDepthClear(depth);
    glClear(GL_DEPTH_BUFFER_BIT);
}

void ClearDepthBuffer(const Region& region, float depth) {
    if (!region.IsValid())
        return;
    PushAttrib saved(GL_DEPTH_BUFFER_BIT | GL_SCISSOR_BIT);
    Scissor(region);
    SetDepthClear(depth);
    glClear(GL_DEPTH_BUFFER_BIT);
}

void ClearAlphaBuffer(float alpha) {
    ColorMask mask;
    mask.Retrieve();
    ColorMask::AlphaOnly.Apply();
    {
        PushAttrib saved(GL_COLOR_BUFFER_BIT);
        SetClearColor(Color::Black * alpha);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    mask.Apply();
}

void ClearAllBuffers(const Color& color, float depth) {
    PushAttrib saved(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    SetClearColor(color);
    SetDepthClear(depth);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

void ClearAllBuffers(const Region& region, const Color& color, float depth) {
    if (!region.IsValid())
        return;
    PushAttrib saved(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_SCISSOR_BIT);
    Scissor(region);
    SetClearColor(color);
    SetDepthClear(depth);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

} // namespace OGL_ZEP6_AE
