#include "gl/context/EntryPoints.h"

#include "core/Errors.h"
#include "platform/Egl.h"

#include <cstdio>
#include <mutex>

namespace OGL_ZEP6_AE {

namespace GLEntry {
#define ZEP6_DEFINE_GL_ENTRY(name, type) type name = nullptr;
#define ZEP6_DEFINE_WGL_ENTRY(name) GenericProc name = nullptr;
ZEP6_ENTRY_POINTS(ZEP6_DEFINE_GL_ENTRY, ZEP6_DEFINE_WGL_ENTRY)
#undef ZEP6_DEFINE_GL_ENTRY
#undef ZEP6_DEFINE_WGL_ENTRY
} // namespace GLEntry

namespace {

#define ZEP6_COUNT_ENTRY(...) +1
constexpr int kListedEntries = 0 ZEP6_ENTRY_POINTS(ZEP6_COUNT_ENTRY, ZEP6_COUNT_ENTRY);
#undef ZEP6_COUNT_ENTRY
static_assert(kListedEntries == kEntryPointCount, "the entry-point table has 349 names");

// Name and reader of each entry, in table order, for EntryPointName/EntryPointAddress.
struct EntryInfo {
    const char* name;
    void* (*address)();
};

#define ZEP6_ENTRY_INFO(name, ...) {#name, [] { return reinterpret_cast<void*>(GLEntry::name); }},
const EntryInfo kEntries[] = {ZEP6_ENTRY_POINTS(ZEP6_ENTRY_INFO, ZEP6_ENTRY_INFO)};
#undef ZEP6_ENTRY_INFO
static_assert(sizeof(kEntries) / sizeof(kEntries[0]) == kEntryPointCount, "one record per entry");

const char* ErrorName(GLenum code) {
    switch (code) {
    case GL_INVALID_ENUM:
        return "GL_INVALID_ENUM";
    case GL_INVALID_VALUE:
        return "GL_INVALID_VALUE";
    case GL_INVALID_OPERATION:
        return "GL_INVALID_OPERATION";
    case GL_STACK_OVERFLOW:
        return "GL_STACK_OVERFLOW";
    case GL_STACK_UNDERFLOW:
        return "GL_STACK_UNDERFLOW";
    case GL_OUT_OF_MEMORY:
        return "GL_OUT_OF_MEMORY";
    case GL_INVALID_FRAMEBUFFER_OPERATION_EXT:
        return "GL_INVALID_FRAMEBUFFER_OPERATION";
    default:
        return "unknown error";
    }
}

} // namespace

void LoadEntryPoints() {
    // Once per process: a name the driver did not give stays null, there is no second attempt.
    static std::once_flag loaded;
    std::call_once(loaded, [] {
#define ZEP6_LOAD_GL_ENTRY(name, type)                                                                       \
    GLEntry::name = reinterpret_cast<type>(platform::GetProcAddress(#name));
#define ZEP6_SKIP_WGL_ENTRY(name)
        ZEP6_ENTRY_POINTS(ZEP6_LOAD_GL_ENTRY, ZEP6_SKIP_WGL_ENTRY)
#undef ZEP6_LOAD_GL_ENTRY
#undef ZEP6_SKIP_WGL_ENTRY
    });
}

const char* EntryPointName(int i) {
    if (i < 0 || i >= kEntryPointCount)
        return nullptr;
    return kEntries[i].name;
}

void* EntryPointAddress(int i) {
    if (i < 0 || i >= kEntryPointCount)
        return nullptr;
    return kEntries[i].address();
}

void ThrowUnsupported() {
    throw Unsupported();
}

void ReportGLErrors(const char* call, const char* file, int line) {
    // Each error flag is cleared by reading it; a broken context could keep answering, so the
    // loop is bounded.
    for (int i = 0; i < 16; ++i) {
        const GLenum code = glGetError();
        if (code == GL_NO_ERROR)
            return;
        std::fprintf(stderr, "OpenGL error 0x%04X (%s) after %s at %s:%d\n", code, ErrorName(code),
                     call ? call : "?", file ? file : "?", line);
    }
}

} // namespace OGL_ZEP6_AE
