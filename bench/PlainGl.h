#pragma once

// The baselines of the benchmarks: OpenGL used directly, with no part of the library. One
// headless EGL context (an EGL device, else Mesa's surfaceless platform, else the default
// display; a compatibility-profile context, current without a surface where EGL allows it, else
// on a 1 x 1 pbuffer), the handful of entry points beyond OpenGL 1.1 the baselines need, and
// helpers for rectangle textures, framebuffer objects, small GLSL programs, the set of them one
// draw uses, and a full-target quad. Everything here runs on the thread that made the context
// current.
//
// ZEP6_EGL_DEVICE picks the EGL device as it does for the library, so both render on the same
// one; the benchmarks print both renderer strings.

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace plaingl {

struct Functions {
    PFNGLGENFRAMEBUFFERSPROC GenFramebuffers = nullptr;
    PFNGLDELETEFRAMEBUFFERSPROC DeleteFramebuffers = nullptr;
    PFNGLBINDFRAMEBUFFERPROC BindFramebuffer = nullptr;
    PFNGLFRAMEBUFFERTEXTURE2DPROC FramebufferTexture2D = nullptr;
    PFNGLCHECKFRAMEBUFFERSTATUSPROC CheckFramebufferStatus = nullptr;
    PFNGLCREATESHADERPROC CreateShader = nullptr;
    PFNGLSHADERSOURCEPROC ShaderSource = nullptr;
    PFNGLCOMPILESHADERPROC CompileShader = nullptr;
    PFNGLGETSHADERIVPROC GetShaderiv = nullptr;
    PFNGLGETSHADERINFOLOGPROC GetShaderInfoLog = nullptr;
    PFNGLCREATEPROGRAMPROC CreateProgram = nullptr;
    PFNGLATTACHSHADERPROC AttachShader = nullptr;
    PFNGLLINKPROGRAMPROC LinkProgram = nullptr;
    PFNGLGETPROGRAMIVPROC GetProgramiv = nullptr;
    PFNGLGETPROGRAMINFOLOGPROC GetProgramInfoLog = nullptr;
    PFNGLDELETESHADERPROC DeleteShader = nullptr;
    PFNGLDELETEPROGRAMPROC DeleteProgram = nullptr;
    PFNGLUSEPROGRAMPROC UseProgram = nullptr;
    PFNGLGETUNIFORMLOCATIONPROC GetUniformLocation = nullptr;
    PFNGLUNIFORM1IPROC Uniform1i = nullptr;
    PFNGLUNIFORM1FPROC Uniform1f = nullptr;
    PFNGLACTIVETEXTUREPROC ActiveTexture = nullptr;
};

namespace detail {

template <class F> void Load(F& pointer, const char* name) {
    pointer = reinterpret_cast<F>(eglGetProcAddress(name));
    if (!pointer)
        throw std::runtime_error(std::string("plain OpenGL: no entry point ") + name);
}

inline bool HasExtension(const char* list, const char* name) {
    if (!list)
        return false;
    const size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at; at = std::strstr(at + 1, name))
        if ((at == list || at[-1] == ' ') && (at[length] == ' ' || at[length] == '\0'))
            return true;
    return false;
}

// Throws with the info log of a shader or program (`what`) whose `status` (compile or link) is
// not set.
template <class GetInteger, class GetLog>
void CheckStatus(GetInteger getInteger, GetLog getLog, GLuint object, GLenum status, const char* what) {
    GLint ok = 0;
    getInteger(object, status, &ok);
    if (!ok) {
        char log[1024] = {};
        getLog(object, sizeof log, nullptr, log);
        throw std::runtime_error(std::string("plain OpenGL: ") + what + ": " + log);
    }
}

} // namespace detail

// A headless compatibility context, current on the constructing thread until destroyed.
class Context {
public:
    Context() {
        auto queryDevices =
            reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
        EGLDeviceEXT devices[16];
        EGLint count = 0;
        if (queryDevices && queryDevices(16, devices, &count)) {
            if (const char* named = std::getenv("ZEP6_EGL_DEVICE")) {
                const int index = std::atoi(named);
                if (index >= 0 && index < count)
                    Try(eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[index], nullptr));
            } else {
                for (EGLint i = 0; i < count && context_ == EGL_NO_CONTEXT; ++i)
                    Try(eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr));
            }
        }
        if (context_ == EGL_NO_CONTEXT && !std::getenv("ZEP6_EGL_DEVICE"))
            Try(eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr));
        if (context_ == EGL_NO_CONTEXT && !std::getenv("ZEP6_EGL_DEVICE"))
            Try(eglGetDisplay(EGL_DEFAULT_DISPLAY));
        if (context_ == EGL_NO_CONTEXT)
            throw std::runtime_error("plain OpenGL: no EGL display gives a compatibility context");

        using detail::Load;
        Load(gl_.GenFramebuffers, "glGenFramebuffers");
        Load(gl_.DeleteFramebuffers, "glDeleteFramebuffers");
        Load(gl_.BindFramebuffer, "glBindFramebuffer");
        Load(gl_.FramebufferTexture2D, "glFramebufferTexture2D");
        Load(gl_.CheckFramebufferStatus, "glCheckFramebufferStatus");
        Load(gl_.CreateShader, "glCreateShader");
        Load(gl_.ShaderSource, "glShaderSource");
        Load(gl_.CompileShader, "glCompileShader");
        Load(gl_.GetShaderiv, "glGetShaderiv");
        Load(gl_.GetShaderInfoLog, "glGetShaderInfoLog");
        Load(gl_.CreateProgram, "glCreateProgram");
        Load(gl_.AttachShader, "glAttachShader");
        Load(gl_.LinkProgram, "glLinkProgram");
        Load(gl_.GetProgramiv, "glGetProgramiv");
        Load(gl_.GetProgramInfoLog, "glGetProgramInfoLog");
        Load(gl_.DeleteShader, "glDeleteShader");
        Load(gl_.DeleteProgram, "glDeleteProgram");
        Load(gl_.UseProgram, "glUseProgram");
        Load(gl_.GetUniformLocation, "glGetUniformLocation");
        Load(gl_.Uniform1i, "glUniform1i");
        Load(gl_.Uniform1f, "glUniform1f");
        Load(gl_.ActiveTexture, "glActiveTexture");
    }

    ~Context() {
        // The display stays initialised: the library may render on the very same EGL display,
        // and eglTerminate would pull it from under it.
        eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (surface_ != EGL_NO_SURFACE)
            eglDestroySurface(display_, surface_);
        eglDestroyContext(display_, context_);
    }

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    const Functions& gl() const { return gl_; }

    std::string Renderer() const {
        const GLubyte* text = glGetString(GL_RENDERER);
        return text ? reinterpret_cast<const char*>(text) : "unknown renderer";
    }

private:
    void Try(EGLDisplay display) {
        EGLint major = 0, minor = 0;
        if (display == EGL_NO_DISPLAY || !eglInitialize(display, &major, &minor))
            return;
        if (!eglBindAPI(EGL_OPENGL_API))
            return;
        const bool surfaceless =
            detail::HasExtension(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context");
        const EGLint withPbuffer[] = {EGL_SURFACE_TYPE,
                                      EGL_PBUFFER_BIT,
                                      EGL_RENDERABLE_TYPE,
                                      EGL_OPENGL_BIT,
                                      EGL_RED_SIZE,
                                      8,
                                      EGL_GREEN_SIZE,
                                      8,
                                      EGL_BLUE_SIZE,
                                      8,
                                      EGL_ALPHA_SIZE,
                                      8,
                                      EGL_NONE};
        const EGLint anySurface[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint found = 0;
        bool pbuffer = eglChooseConfig(display, withPbuffer, &config, 1, &found) && found > 0;
        if (!pbuffer &&
            !(surfaceless && eglChooseConfig(display, anySurface, &config, 1, &found) && found > 0))
            return;
        const EGLint contextAttributes[] = {EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                            EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT, EGL_NONE};
        EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, contextAttributes);
        if (context == EGL_NO_CONTEXT)
            return;
        EGLSurface surface = EGL_NO_SURFACE;
        if (!surfaceless) {
            const EGLint size[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
            surface = eglCreatePbufferSurface(display, config, size);
        }
        if (!eglMakeCurrent(display, surface, surface, context)) {
            if (surface != EGL_NO_SURFACE)
                eglDestroySurface(display, surface);
            eglDestroyContext(display, context);
            return;
        }
        display_ = display;
        context_ = context;
        surface_ = surface;
    }

    EGLDisplay display_ = EGL_NO_DISPLAY;
    EGLContext context_ = EGL_NO_CONTEXT;
    EGLSurface surface_ = EGL_NO_SURFACE;
    Functions gl_;
};

// A rectangle texture of that size and internal format, nearest filtering, edges clamped.
inline GLuint MakeTexture(int width, int height, GLenum internalFormat) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_RECTANGLE, name);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, static_cast<GLint>(internalFormat), width, height, 0, GL_RGBA,
                 GL_FLOAT, nullptr);
    glBindTexture(GL_TEXTURE_RECTANGLE, 0);
    return name;
}

// A framebuffer object drawing into `texture` (a rectangle texture); throws when incomplete.
inline GLuint MakeFramebuffer(const Functions& gl, GLuint texture) {
    GLuint name = 0;
    gl.GenFramebuffers(1, &name);
    gl.BindFramebuffer(GL_FRAMEBUFFER, name);
    gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, texture, 0);
    const GLenum status = gl.CheckFramebufferStatus(GL_FRAMEBUFFER);
    gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
    if (status != GL_FRAMEBUFFER_COMPLETE)
        throw std::runtime_error("plain OpenGL: incomplete framebuffer");
    return name;
}

// A program of the pass-through vertex shader below and `fragment` (GLSL 1.20 with rectangle
// textures, which the fragment source must enable); throws with the compiler's log on failure.
inline GLuint MakeProgram(const Functions& gl, const char* fragment) {
    static const char* vertex =
        "#version 120\n"
        "void main() { gl_Position = gl_Vertex; gl_TexCoord[0] = gl_MultiTexCoord0; }\n";
    auto compile = [&](GLenum kind, const char* source) {
        const GLuint shader = gl.CreateShader(kind);
        gl.ShaderSource(shader, 1, &source, nullptr);
        gl.CompileShader(shader);
        detail::CheckStatus(gl.GetShaderiv, gl.GetShaderInfoLog, shader, GL_COMPILE_STATUS, "shader");
        return shader;
    };
    const GLuint program = gl.CreateProgram();
    const GLuint v = compile(GL_VERTEX_SHADER, vertex);
    const GLuint f = compile(GL_FRAGMENT_SHADER, fragment);
    gl.AttachShader(program, v);
    gl.AttachShader(program, f);
    gl.LinkProgram(program);
    gl.DeleteShader(v);
    gl.DeleteShader(f);
    detail::CheckStatus(gl.GetProgramiv, gl.GetProgramInfoLog, program, GL_LINK_STATUS, "program");
    return program;
}

// The objects of one baseline draw on this thread's context: `inputs` source textures and one
// colour texture, all width x height of `internalFormat`, a framebuffer object drawing into the
// colour texture, and a program of `fragment`, put in use at once. Deleted with the pass, which
// must go before its context.
class Pass {
public:
    Pass(const Functions& gl, int width, int height, GLenum internalFormat, int inputs, const char* fragment)
        : gl_(gl) {
        try {
            for (int i = 0; i <= inputs; ++i)
                textures_.push_back(MakeTexture(width, height, internalFormat));
            framebuffer_ = MakeFramebuffer(gl, textures_.back());
            program_ = MakeProgram(gl, fragment);
        } catch (...) {
            Release();
            throw;
        }
        gl.UseProgram(program_);
    }
    ~Pass() { Release(); }

    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    GLuint Input(int index) const { return textures_[static_cast<size_t>(index)]; }
    GLuint Framebuffer() const { return framebuffer_; }
    GLuint Program() const { return program_; }

private:
    void Release() {
        gl_.BindFramebuffer(GL_FRAMEBUFFER, 0);
        gl_.DeleteFramebuffers(1, &framebuffer_);
        gl_.DeleteProgram(program_);
        glDeleteTextures(static_cast<GLsizei>(textures_.size()), textures_.data());
    }

    const Functions& gl_;
    std::vector<GLuint> textures_;
    GLuint framebuffer_ = 0;
    GLuint program_ = 0;
};

// The copy program: the texture on unit 0, as it is.
inline const char* CopyFragmentShader() {
    return "#version 120\n"
           "#extension GL_ARB_texture_rectangle : require\n"
           "uniform sampler2DRect source;\n"
           "void main() { gl_FragColor = texture2DRect(source, gl_TexCoord[0].st); }\n";
}

// Covers the whole viewport of width x height with texture coordinates in pixels (rectangle
// textures): texel (x, y) lands on pixel (x, y).
inline void DrawFullQuad(int width, int height) {
    glViewport(0, 0, width, height);
    const float w = static_cast<float>(width), h = static_cast<float>(height);
    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, 0.0f);
    glVertex2f(-1.0f, -1.0f);
    glTexCoord2f(w, 0.0f);
    glVertex2f(1.0f, -1.0f);
    glTexCoord2f(w, h);
    glVertex2f(1.0f, 1.0f);
    glTexCoord2f(0.0f, h);
    glVertex2f(-1.0f, 1.0f);
    glEnd();
}

} // namespace plaingl
