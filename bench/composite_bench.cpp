// Throughput of compositing two host frames with an apply mode into a third: the library's
// public ApplyMode::Apply(front, back, mask, destination, mode, mix) (uploads of both images, the
// mode's program drawn tile by tile over the destination, read back) beside plain OpenGL on a
// context of its own doing the same work in one pass: both frames uploaded with glTexSubImage2D
// into textures of the library's internal format, one draw of a small GLSL multiply of the two
// rectangle textures into a framebuffer object of that format, glReadPixels in the frame's layout.
//
// Cases: 1920 x 1080 (one render target of the library) and 3840 x 2160 (four tiles), 8-bit BGRA
// and float RGBA, bottom-up, mode multiply, mix 1. Reported: real time per frame (ms), bytes per
// second (two uploads and one read back), megapixels per second of destination, and in the label
// the frame size, layout and renderer. A summary after the run gives library / plain OpenGL per
// case; the target is at most 1.5 at 3840 x 2160.
#include "BenchFrame.h"
#include "PlainGl.h"

#include "core/PixelFormat.h"
#include "gl/render/ApplyMode.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

using namespace OGL_ZEP6_AE;
using zep6bench::Frame;

namespace {

struct Layout {
    const char* name;
    long colorSpace;
    long bitDepth;
    long whiteLevel;
    GLenum glFormat; // what plain OpenGL moves the pixels as
    GLenum glType;
};

const Layout kLayouts[] = {
    {"bgra8", static_cast<long>(FourCC("BGRA")), 32, 255, GL_BGRA, GL_UNSIGNED_BYTE},
    {"rgba32f", static_cast<long>(FourCC("RGBA")), 128, 1, GL_RGBA, GL_FLOAT},
};

struct Size {
    long width;
    long height;
};

const Size kSizes[] = {{1920, 1080}, {3840, 2160}};

// A multiply of premultiplied colours: colour front * back, alpha as "over", mixed with the back
// by `apply_mix`; about the arithmetic of the library's multiply mode.
const char* kMultiplyShader = "#version 120\n"
                              "#extension GL_ARB_texture_rectangle : require\n"
                              "uniform sampler2DRect front;\n"
                              "uniform sampler2DRect back;\n"
                              "uniform float apply_mix;\n"
                              "void main() {\n"
                              "    vec4 f = texture2DRect(front, gl_TexCoord[0].st);\n"
                              "    vec4 b = texture2DRect(back, gl_TexCoord[0].st);\n"
                              "    vec4 m = vec4(f.rgb * b.rgb + f.rgb * (1.0 - b.a) + b.rgb * (1.0 - f.a),\n"
                              "                  f.a + b.a - f.a * b.a);\n"
                              "    gl_FragColor = mix(b, m, apply_mix);\n"
                              "}\n";

std::string CaseName(const Size& size, const Layout& layout) {
    return std::to_string(size.width) + "x" + std::to_string(size.height) + " " + layout.name;
}

// Two uploads and one read back: three frames' worth of bytes cross per frame.
constexpr int kTransfers = 3;

void Report(benchmark::State& state, const Frame& frame, double seconds, const std::string& name,
            const std::string& renderer) {
    zep6bench::Report(state, frame, kTransfers, seconds);
    state.SetLabel(name + " multiply | " + renderer);
}

void BM_LibraryComposite(benchmark::State& state, Size size, const Layout& layout) {
    const zep6bench::LibraryFacts& facts = zep6bench::Facts();
    Frame front(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    Frame back(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    front.FillPattern(1);
    back.FillPattern(2);
    // A first call links the mode's program and fills the caches; it must also have drawn: a
    // destination still holding its fill byte means the composite did nothing.
    std::memset(destination.Bytes(), 0x5A, destination.ByteCount());
    ApplyMode::Apply(&front, &back, nullptr, &destination, PixelApplyMultiply, 1.0f);
    long untouched = 0;
    for (size_t i = 0; i < destination.ByteCount(); i += 4099)
        untouched += destination.Bytes()[i] == 0x5A ? 1 : 0;
    if (untouched * 4099 > static_cast<long>(destination.ByteCount()) / 2) {
        state.SkipWithError(
            "the composite left the destination as it was (is ApplyMode::Apply implemented?)");
        return;
    }
    const double seconds = zep6bench::TimeFrames(state, [&] {
        ApplyMode::Apply(&front, &back, nullptr, &destination, PixelApplyMultiply, 1.0f);
        return true;
    });
    const std::string name = CaseName(size, layout);
    Report(state, destination, seconds, name, facts.renderer);
    zep6bench::Timings()[name].library = zep6bench::MillisecondsPerFrame(state, seconds);
}

void BM_PlainGlComposite(benchmark::State& state, Size size, const Layout& layout) {
    const std::unique_ptr<plaingl::Context> context = zep6bench::PlainGlContext(state);
    if (!context)
        return;
    const plaingl::Functions& gl = context->gl();
    const int w = static_cast<int>(size.width), h = static_cast<int>(size.height);
    Frame front(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    Frame back(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    front.FillPattern(1);
    back.FillPattern(2);

    const plaingl::Pass pass(gl, w, h, zep6bench::Facts().internalFormat, 2, kMultiplyShader);
    const GLuint frontTexture = pass.Input(0), backTexture = pass.Input(1);
    gl.Uniform1i(gl.GetUniformLocation(pass.Program(), "front"), 0);
    gl.Uniform1i(gl.GetUniformLocation(pass.Program(), "back"), 1);
    gl.Uniform1f(gl.GetUniformLocation(pass.Program(), "apply_mix"), 1.0f);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    auto frame = [&] {
        gl.ActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_RECTANGLE, backTexture);
        glTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, 0, w, h, layout.glFormat, layout.glType, back.Bytes());
        gl.ActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_RECTANGLE, frontTexture);
        glTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, 0, w, h, layout.glFormat, layout.glType, front.Bytes());
        gl.BindFramebuffer(GL_FRAMEBUFFER, pass.Framebuffer());
        plaingl::DrawFullQuad(w, h);
        glReadPixels(0, 0, w, h, layout.glFormat, layout.glType, destination.Bytes());
        return true;
    };
    frame();
    if (glGetError() != GL_NO_ERROR) {
        state.SkipWithError("plain OpenGL: an error in the first frame");
        return;
    }
    const double seconds = zep6bench::TimeFrames(state, frame);
    const std::string name = CaseName(size, layout);
    Report(state, destination, seconds, name, context->Renderer());
    zep6bench::Timings()[name].baseline = zep6bench::MillisecondsPerFrame(state, seconds);
}

void RegisterAll() {
    // About a second of frames each on llvmpipe; a GPU runs many more in the same time.
    for (const Size& size : kSizes)
        for (const Layout& layout : kLayouts)
            zep6bench::RegisterPair(CaseName(size, layout), 1.0, BM_LibraryComposite, BM_PlainGlComposite,
                                    size, layout);
}

} // namespace

int main(int argc, char** argv) {
    return zep6bench::Main(argc, argv, RegisterAll, "Composite (multiply) of two frames", 1.5, "3840x2160");
}
