// A plug-in's view of the installed library: system OpenGL headers, the umbrella header, both
// namespaces opened, and a few calls that need no OpenGL context.
#include <GL/gl.h>
#include <GL/glext.h>
#include <ogl_zep6_ae.h>

#include <cstdio>
#include <cstring>

using namespace OGL_ZEP6_AE;

int main() {
    int failures = 0;
    if (CalculateTextureSize(3, 1, GL_RGB8) != 64) {
        std::puts("CalculateTextureSize(3, 1, GL_RGB8) is not 64");
        ++failures;
    }
    String path("C:/dir/sub/file.VRB");
    if (std::strcmp(path.FileName(), "file.VRB") != 0 || std::strcmp(path.Extension(), "vrb") != 0) {
        std::puts("String path helpers disagree");
        ++failures;
    }
    try {
        throw Unsupported();
    } catch (const std::exception& e) {
        if (std::strncmp(e.what(), "Required feature", 16) != 0) {
            std::puts("Unsupported has the wrong text");
            ++failures;
        }
    }
    std::printf("consumer: %s\n", failures == 0 ? "ok" : "FAILED");
    return failures == 0 ? 0 : 1;
}
