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
#include "gl/resources/TextureBuffer.h"
#include "gl/targets/RenderedTexture.h"
#include "sync/StaticList.h"

#include <benchmark/benchmark.h>

#include <chrono>
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

struct LibraryFacts {
    unsigned int internalFormat = 0;
    std::string renderer;
};

const LibraryFacts& Facts() {
    static const LibraryFacts facts = [] {
        LibraryFacts f;
        f.renderer = zep6bench::LibraryRenderer();
        zep6bench::OnWorker([&] {
            RenderedTexture probe(64, 64);
            if (probe.Select() && probe.ColorBuffer())
                f.internalFormat = probe.ColorBuffer()->Key().InternalFormat();
        });
        return f;
    }();
    return facts;
}

std::string CaseName(const Size& size, const Layout& layout) {
    return std::to_string(size.width) + "x" + std::to_string(size.height) + " " + layout.name;
}

void Report(benchmark::State& state, const Frame& frame, double seconds, const std::string& name,
            const std::string& renderer) {
    const int64_t frames = state.iterations();
    state.SetBytesProcessed(frames * static_cast<int64_t>(frame.ByteCount()) * 3);
    state.counters["MP/s"] =
        benchmark::Counter(static_cast<double>(frames * frame.Pixels()) / 1e6, benchmark::Counter::kIsRate);
    state.counters["ms/frame"] = seconds * 1e3 / static_cast<double>(frames);
    state.SetLabel(name + " multiply | " + renderer);
}

void BM_LibraryComposite(benchmark::State& state, Size size, const Layout& layout) {
    const LibraryFacts& facts = Facts();
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
    double seconds = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        ApplyMode::Apply(&front, &back, nullptr, &destination, PixelApplyMultiply, 1.0f);
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    const std::string name = CaseName(size, layout);
    Report(state, destination, seconds, name, facts.renderer);
    zep6bench::Timings()[name].library = seconds * 1e3 / static_cast<double>(state.iterations());
}

void BM_PlainGlComposite(benchmark::State& state, Size size, const Layout& layout) {
    const unsigned int internalFormat = Facts().internalFormat;
    if (internalFormat == 0) {
        state.SkipWithError("the library's render-target format is unknown");
        return;
    }
    std::unique_ptr<plaingl::Context> context;
    try {
        context.reset(new plaingl::Context());
    } catch (const std::exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    const plaingl::Functions& gl = context->gl();
    const int w = static_cast<int>(size.width), h = static_cast<int>(size.height);
    Frame front(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    Frame back(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    Frame destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, size.width, size.height, true);
    front.FillPattern(1);
    back.FillPattern(2);

    const GLuint frontTexture = plaingl::MakeTexture(w, h, internalFormat);
    const GLuint backTexture = plaingl::MakeTexture(w, h, internalFormat);
    const GLuint colour = plaingl::MakeTexture(w, h, internalFormat);
    const GLuint framebuffer = plaingl::MakeFramebuffer(gl, colour);
    const GLuint program = plaingl::MakeProgram(gl, kMultiplyShader);
    gl.UseProgram(program);
    gl.Uniform1i(gl.GetUniformLocation(program, "front"), 0);
    gl.Uniform1i(gl.GetUniformLocation(program, "back"), 1);
    gl.Uniform1f(gl.GetUniformLocation(program, "apply_mix"), 1.0f);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    auto frame = [&] {
        gl.ActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_RECTANGLE, backTexture);
        glTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, 0, w, h, layout.glFormat, layout.glType, back.Bytes());
        gl.ActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_RECTANGLE, frontTexture);
        glTexSubImage2D(GL_TEXTURE_RECTANGLE, 0, 0, 0, w, h, layout.glFormat, layout.glType, front.Bytes());
        gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        plaingl::DrawFullQuad(w, h);
        glReadPixels(0, 0, w, h, layout.glFormat, layout.glType, destination.Bytes());
    };
    frame();
    const bool failed = glGetError() != GL_NO_ERROR;
    double seconds = 0;
    if (!failed) {
        for (auto _ : state) {
            const auto start = std::chrono::steady_clock::now();
            frame();
            seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        }
    }
    gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
    gl.DeleteFramebuffers(1, &framebuffer);
    gl.DeleteProgram(program);
    const GLuint textures[] = {frontTexture, backTexture, colour};
    glDeleteTextures(3, textures);
    if (failed) {
        state.SkipWithError("plain OpenGL: an error in the first frame");
        return;
    }
    const std::string name = CaseName(size, layout);
    Report(state, destination, seconds, name, context->Renderer());
    zep6bench::Timings()[name].baseline = seconds * 1e3 / static_cast<double>(state.iterations());
}

void RegisterAll() {
    for (const Size& size : kSizes)
        for (const Layout& layout : kLayouts) {
            const std::string name = CaseName(size, layout);
            // About a second of frames each on llvmpipe; a GPU runs many more in the same time.
            benchmark::RegisterBenchmark(("Library/" + name).c_str(), BM_LibraryComposite, size, layout)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond)
                ->MinTime(1.0);
            benchmark::RegisterBenchmark(("PlainGL/" + name).c_str(), BM_PlainGlComposite, size, layout)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond)
                ->MinTime(1.0);
        }
}

} // namespace

// The library stays in use for the whole run (main counts as its user), so the worker thread and
// its context are made once, not per benchmark.
int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    ZEP6_AE::StaticList::Increment();
    benchmark::AddCustomContext("renderer", Facts().renderer);
    benchmark::AddCustomContext("render target format",
                                zep6bench::InternalFormatName(Facts().internalFormat));
    RegisterAll();
    benchmark::RunSpecifiedBenchmarks();
    zep6bench::PrintSummary("Composite (multiply) of two frames", 1.5, "3840x2160");
    ZEP6_AE::StaticList::Decrement();
    benchmark::Shutdown();
    return 0;
}
