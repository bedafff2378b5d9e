// `zep6gl info [--extensions]`: the hardware report the library gives the plug-ins, and with
// --extensions the capability answers and the extension list of the context it renders in.
#include "Command.h"

#include "gl/context/Capabilities.h"
#include "gl/context/Thread.h"

#include <GL/gl.h>

#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace zep6gl {

void RunInfo(const Arguments& arguments) {
    LibraryUse use;
    // Without a context the report would be a page of "Unknown": only the reason is printed.
    if (OGL_ZEP6_AE::GetCard() == "Unknown")
        throw std::runtime_error(std::string("no OpenGL context could be made (") +
                                 (OGL_ZEP6_AE::sThread ? OGL_ZEP6_AE::sThread->ErrorMessage() : "no worker thread") +
                                 ")");
    const std::string report = OGL_ZEP6_AE::HardwareInfoString();
    std::fputs(report.c_str(), stdout);
    if (report.empty() || report.back() != '\n')
        std::fputc('\n', stdout);
    if (!arguments.Has("--extensions"))
        return;

    std::printf("\nVendor:            %s\n", OGL_ZEP6_AE::GetVendor().c_str());
    std::printf("Card series:       %ld\n", OGL_ZEP6_AE::GetCardSeries());
    std::printf("Memory (bytes):    %u\n", OGL_ZEP6_AE::GetCardMemorySize());
    const struct {
        const char* name;
        bool (*test)();
    } answers[] = {
        {"16-bit textures", OGL_ZEP6_AE::IsShortSupported},
        {"float textures", OGL_ZEP6_AE::IsFloatSupported},
        {"half-float pixels", OGL_ZEP6_AE::IsHalfFloatSupported},
        {"framebuffer objects", OGL_ZEP6_AE::IsFrameBufferSupported},
        {"depth textures", OGL_ZEP6_AE::IsDepthTextureSupported},
        {"Quadro", OGL_ZEP6_AE::IsQuadro},
        {"basic Quadro", OGL_ZEP6_AE::IsBasicQuadro},
        {"ATI", OGL_ZEP6_AE::IsATI},
    };
    for (const auto& a : answers)
        std::printf("%-22s%s\n", (std::string(a.name) + ":").c_str(), a.test() ? "yes" : "no");

    std::vector<char> list(1 << 16, '\0');
    OGL_ZEP6_AE::GetGLString(GL_EXTENSIONS, list.data(), static_cast<int>(list.size()));
    std::istringstream names(list.data());
    std::vector<std::string> listed;
    for (std::string name; names >> name;)
        listed.push_back(name);
    std::printf("\nOpenGL extensions (%zu):\n", listed.size());
    for (const std::string& name : listed)
        std::printf("  %s%s\n", name.c_str(), OGL_ZEP6_AE::IsExtensionSupported(name.c_str()) ? "" : "  (disabled)");
}

} // namespace zep6gl
