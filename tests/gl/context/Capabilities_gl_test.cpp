// Capability answers, entry points and the hardware report on a real headless context, checked
// against what the driver itself reports (read on the test's thread after the answers were taken
// through the worker).
#include "support/TextLines.h"
#include "core/Errors.h"
#include "gl/context/Capabilities.h"
#include "gl/context/CapabilityRulesPrivate.h"
#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"
#include "platform/SystemInfo.h"

#include <EGL/egl.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

constexpr GLenum kNvxDedicatedVidmem = 0x9047;

// What the driver says, read directly in the root context on the calling thread.
struct Driver {
    bool selected = false;
    std::string vendor, renderer, version;
    std::string extensions; // GL list then EGL list, joined as the library joins them
    GLint maxTextureSize = 0;
    bool nvxMemoryInfo = false;
    GLint nvxDedicatedKiB = 0;
    bool shortStoredExactly = false;
};

std::string Text(const GLubyte* text) {
    return text ? reinterpret_cast<const char*>(text) : "";
}

// Whether 16-bit RGBA texels come back exactly as they were given: an independent look at what
// IsShortSupported() answers.
bool ShortTexelsSurvive() {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    std::vector<GLushort> texels(4 * 4 * 4);
    for (size_t i = 0; i < texels.size(); ++i)
        texels[i] = static_cast<GLushort>(0x1234 + 0x0101 * i); // low bytes that 8 bits would lose
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16, 4, 4, 0, GL_RGBA, GL_UNSIGNED_SHORT, texels.data());
    std::vector<GLushort> back(texels.size(), 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_SHORT, back.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    glDeleteTextures(1, &texture);
    return back == texels;
}

Driver ReadDriver() {
    Driver d;
    PushOpenGLContext keep;
    if (!RootContext::Select())
        return d;
    d.selected = true;
    d.vendor = Text(glGetString(GL_VENDOR));
    d.renderer = Text(glGetString(GL_RENDERER));
    d.version = Text(glGetString(GL_VERSION));
    d.extensions = Text(glGetString(GL_EXTENSIONS));
    if (const char* egl = eglQueryString(eglGetCurrentDisplay(), EGL_EXTENSIONS))
        d.extensions += egl;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &d.maxTextureSize);
    d.nvxMemoryInfo = d.extensions.find("GL_NVX_gpu_memory_info") != std::string::npos;
    if (d.nvxMemoryInfo)
        glGetIntegerv(kNvxDedicatedVidmem, &d.nvxDedicatedKiB);
    d.shortStoredExactly = ShortTexelsSurvive();
    return d;
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

using zep6test::Lines;

TEST(Capabilities, AnswersAreWhatTheDriverReports) {
    unsetenv("ZEP6_DISABLE_EXTENSIONS");
    // The first four answer the flags below, the fifth the report's rectangle line.
    const char* names[] = {"GL_ARB_texture_float", "GL_ARB_half_float_pixel", "GL_EXT_framebuffer_object",
                           "GL_ARB_depth_texture", "GL_ARB_texture_rectangle", "GL_ARB_imaging",
                           "GL_NV_texture_shader", "GL_NVX_gpu_memory_info", "EGL_KHR_surfaceless_context",
                           "GL_ARB_texture", "", "GL_ZEP6_no_such_extension"};
    std::vector<bool> answers;
    for (const char* name : names)
        answers.push_back(IsExtensionSupported(name));
    const std::string vendor = GetVendor(), card = GetCard(), version = GetVersion(), driver = GetDriver();
    const bool shortSupported = IsShortSupported();
    const bool flags[] = {IsFloatSupported(), IsHalfFloatSupported(), IsFrameBufferSupported(),
                          IsDepthTextureSupported()};
    const long series = GetCardSeries();
    const bool quadro = IsQuadro(), ati = IsATI();
    const unsigned int memory = GetCardMemorySize();
    // Asked from a thread without a context: the texture size comes from the worker's context.
    const std::string report = HardwareInfoString();

    const Driver d = ReadDriver();
    ASSERT_TRUE(d.selected);
    ASSERT_FALSE(d.extensions.empty());

    EXPECT_EQ(vendor, d.vendor);
    EXPECT_EQ(card, d.renderer);
    EXPECT_EQ(version, d.version);
    for (size_t i = 0; i < answers.size(); ++i)
        EXPECT_EQ(answers[i], Has(d.extensions, names[i])) << '"' << names[i] << '"';
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(flags[i], Has(d.extensions, names[i])) << names[i];

    // Both drivers this runs on name their own version after their name.
    EXPECT_FALSE(driver.empty()) << version;
    EXPECT_TRUE(Has(version, " " + driver)) << version << " / " << driver;

    EXPECT_EQ(shortSupported, d.shortStoredExactly);
    EXPECT_EQ(series, CapabilityRules::CardSeriesOf(d.renderer.c_str()));
    EXPECT_EQ(quadro, Has(d.renderer, "Quadro"));
    EXPECT_EQ(ati, Has(d.renderer, "ATI"));

    const unsigned long long most = 0xFFFFFFFFULL;
    if (d.nvxMemoryInfo) {
        const unsigned long long bytes = static_cast<unsigned long long>(d.nvxDedicatedKiB) * 1024ULL;
        EXPECT_EQ(memory, bytes > most ? most : bytes);
    } else if (Has(d.renderer, "llvmpipe") && platform::KernelVideoMemory() == 0) {
        const unsigned long long bytes = static_cast<unsigned long long>(sysconf(_SC_PHYS_PAGES)) *
                                         static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
        EXPECT_EQ(memory, bytes > most ? most : bytes);
    }

    // The report's six lines: the answers above, and the maximum texture size of the context.
    const std::string size = std::to_string(d.maxTextureSize);
    const std::vector<std::string> expected = {
        "Graphics Card:     " + d.renderer,
        "OpenGL Version:    " + d.version,
        "Driver Version:    " + driver,
        std::string("Texture Rectangle: ") + (answers[4] ? "true" : "false"),
        "Texture Memory:    " + std::to_string(memory >> 20) + " MB",
        "Texture Dimension: " + size + " x " + size};
    const std::vector<std::string> lines = Lines(report);
    EXPECT_GT(d.maxTextureSize, 0);
    ASSERT_EQ(lines.size(), CapabilityRules::IsUnsupportedHardware(d.renderer, memory) ? 8u : 6u) << report;
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 6), expected);
}

TEST(Capabilities, ShortProbeRunsInTheCallersContextWhenItHasOne) {
    PushOpenGLContext keep;
    ASSERT_TRUE(RootContext::Select());
    GLuint sentinel = 0;
    glGenTextures(1, &sentinel);
    glBindTexture(GL_TEXTURE_2D, sentinel);
    const bool answer = IsShortSupported(); // on this thread: the worker cannot have the context now
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, static_cast<GLint>(sentinel)); // the probe left the binding as it found it
    glBindTexture(GL_TEXTURE_2D, 0);
    glDeleteTextures(1, &sentinel);
    EXPECT_EQ(answer, ShortTexelsSurvive());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST(EntryPoints, LoadedFromTheDriverInTheRootContext) {
    {
        PushOpenGLContext keep;
        ASSERT_TRUE(RootContext::Select()); // creating the root context loads the table
    }
    int loaded = 0;
    for (int i = 0; i < kEntryPointCount; ++i) {
        const std::string name = EntryPointName(i);
        if (name.compare(0, 3, "wgl") == 0) {
            EXPECT_EQ(EntryPointAddress(i), nullptr) << name;
            continue;
        }
        const void* expected = reinterpret_cast<void*>(eglGetProcAddress(name.c_str()));
        EXPECT_EQ(EntryPointAddress(i), expected) << name;
        loaded += EntryPointAddress(i) != nullptr;
    }
    EXPECT_GT(loaded, 300);
}

TEST(EntryPoints, ErrorReportNamesTheCall) {
    PushOpenGLContext keep;
    ASSERT_TRUE(RootContext::Select());
    while (glGetError() != GL_NO_ERROR) {
    }
    ::testing::internal::CaptureStderr();
    glEnable(0x1234); // not a capability: GL_INVALID_ENUM
    ReportGLErrors("glEnable(0x1234)", "Somewhere.cpp", 42);
    ReportGLErrors("glFlush()", "Somewhere.cpp", 43); // nothing pending: silent
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, "OpenGL error 0x0500 (GL_INVALID_ENUM) after glEnable(0x1234) at Somewhere.cpp:42\n");
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

} // namespace
