#include "platform/Egl.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace OGL_ZEP6_AE {
namespace platform {

namespace {

// The process's EGL display and its config, chosen once. The display is never terminated:
// re-initialising a software driver after eglTerminate has been a source of crashes, and a
// process that uses the library once is likely to use it again.
struct DisplayChoice {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLConfig config = nullptr;
    bool pbuffer = false;  // the config offers pbuffer surfaces
    bool surfaceless = false;  // EGL_KHR_surfaceless_context without pbuffer support
};

bool ChooseConfig(EGLDisplay display, DisplayChoice& choice) {
    // Deepest depth buffer first: 32 is asked for, 24 is what drivers give.
    for (EGLint depth : {32, 24, 16, 0}) {
        const EGLint attributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
                                     EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_ALPHA_SIZE, 8,
                                     EGL_DEPTH_SIZE, depth, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        if (eglChooseConfig(display, attributes, &config, 1, &count) && count > 0) {
            choice.config = config;
            choice.pbuffer = true;
            return true;
        }
    }
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    if (extensions && std::strstr(extensions, "EGL_KHR_surfaceless_context")) {
        const bool configless = std::strstr(extensions, "EGL_KHR_no_config_context") ||
                                std::strstr(extensions, "EGL_MESA_configless_context");
        if (configless) {
            choice.config = nullptr;  // EGL_NO_CONFIG_KHR
            choice.surfaceless = true;
            return true;
        }
        const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        if (eglChooseConfig(display, attributes, &config, 1, &count) && count > 0) {
            choice.config = config;
            choice.surfaceless = true;
            return true;
        }
    }
    return false;
}

bool TryDisplay(EGLDisplay display, DisplayChoice& choice) {
    if (display == EGL_NO_DISPLAY)
        return false;
    EGLint major = 0, minor = 0;
    if (!eglInitialize(display, &major, &minor))
        return false;
    if (!eglBindAPI(EGL_OPENGL_API) || !ChooseConfig(display, choice))
        return false;  // left initialised: terminating it is what we avoid
    choice.display = display;
    return true;
}

DisplayChoice FindDisplay() {
    DisplayChoice choice;
    auto queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    EGLDeviceEXT devices[32];
    EGLint deviceCount = 0;
    if (queryDevices && !queryDevices(32, devices, &deviceCount))
        deviceCount = 0;

    // A device named by the user is the only one tried, so that a wrong name shows up as a
    // context failure instead of silently rendering elsewhere.
    if (const char* named = std::getenv("ZEP6_EGL_DEVICE")) {
        char* end = nullptr;
        const long index = std::strtol(named, &end, 10);
        if (end != named && *end == '\0' && index >= 0 && index < deviceCount)
            TryDisplay(eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[index], nullptr), choice);
        return choice;
    }
    for (EGLint i = 0; i < deviceCount; ++i)
        if (TryDisplay(eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr), choice))
            return choice;
    if (TryDisplay(eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr), choice))
        return choice;
    TryDisplay(eglGetDisplay(EGL_DEFAULT_DISPLAY), choice);
    return choice;
}

const DisplayChoice& Display() {
    static std::once_flag once;
    static DisplayChoice choice;
    std::call_once(once, [] { choice = FindDisplay(); });
    return choice;
}

} // namespace

ContextBinding CurrentBinding() {
    ContextBinding b;
    b.context = eglGetCurrentContext();
    if (b.context == EGL_NO_CONTEXT) {
        b.context = nullptr;
        return b;
    }
    b.display = eglGetCurrentDisplay();
    b.draw = eglGetCurrentSurface(EGL_DRAW);
    b.read = eglGetCurrentSurface(EGL_READ);
    return b;
}

bool MakeCurrent(const ContextBinding& binding) {
    if (!binding.context) {
        // Release whatever the thread has current, on that context's own display.
        EGLDisplay display = eglGetCurrentDisplay();
        if (display == EGL_NO_DISPLAY)
            return true;
        return eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT) == EGL_TRUE;
    }
    return eglMakeCurrent(binding.display, binding.draw, binding.read, binding.context) == EGL_TRUE;
}

bool HasCurrentContext() { return eglGetCurrentContext() != EGL_NO_CONTEXT; }

bool CreateRootContext(ContextBinding& root) {
    root = ContextBinding();
    const DisplayChoice& choice = Display();
    if (choice.display == EGL_NO_DISPLAY)
        return false;
    if (!eglBindAPI(EGL_OPENGL_API))
        return false;

    EGLSurface surface = EGL_NO_SURFACE;
    if (choice.pbuffer) {
        const EGLint attributes[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
        surface = eglCreatePbufferSurface(choice.display, choice.config, attributes);
        if (surface == EGL_NO_SURFACE)
            return false;
    }
    // No profile attributes: a compatibility-profile context, since the library needs the
    // fixed-function state.
    EGLContext context = eglCreateContext(choice.display, choice.config, EGL_NO_CONTEXT, nullptr);
    if (context == EGL_NO_CONTEXT) {
        if (surface != EGL_NO_SURFACE)
            eglDestroySurface(choice.display, surface);
        return false;
    }
    if (!eglMakeCurrent(choice.display, surface, surface, context)) {
        eglDestroyContext(choice.display, context);
        if (surface != EGL_NO_SURFACE)
            eglDestroySurface(choice.display, surface);
        return false;
    }
    root.display = choice.display;
    root.draw = surface;
    root.read = surface;
    root.context = context;
    return true;
}

void DestroyRootContext(ContextBinding& root) {
    if (!root.context) {
        root = ContextBinding();
        return;
    }
    if (eglGetCurrentContext() == root.context)
        eglMakeCurrent(root.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(root.display, root.context);
    if (root.draw)
        eglDestroySurface(root.display, root.draw);
    root = ContextBinding();
}

void ReleaseThread() { eglReleaseThread(); }

void* GetProcAddress(const char* name) {
    if (!name)
        return nullptr;
    return reinterpret_cast<void*>(eglGetProcAddress(name));
}

const char* WindowSystemExtensions() {
    EGLDisplay display = eglGetCurrentDisplay();
    if (display == EGL_NO_DISPLAY)
        display = Display().display;
    if (display == EGL_NO_DISPLAY)
        return nullptr;
    return eglQueryString(display, EGL_EXTENSIONS);
}

} // namespace platform
} // namespace OGL_ZEP6_AE
