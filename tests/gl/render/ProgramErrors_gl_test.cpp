// A job's compile or link failure keeps the driver's message after unwinding freed its program.
#include "gl/context/Shared.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <string>

using namespace OGL_ZEP6_AE;

namespace {

void LinkInJob(const char* fragment, int) {
    GLSL::Shader shader(GL_FRAGMENT_SHADER, fragment);
    EffectProgram program(&shader);
    program.Apply();
}

TEST(ProgramErrors, OutliveTheProgramOfTheJob) {
    const struct {
        const char* fragment;
        const char* head;
    } cases[] = {
        {"void main() { gl_FragColor = vec4(1.0) +; }\n", "GLSL Compile Error:\n"},
        {"float missing(float x);\nvoid main() { gl_FragColor = vec4(missing(1.0)); }\n", "GLSL Link Error:\n"},
    };
    for (const auto& c : cases) {
        const char* fragment = c.fragment;
        int unused = 0;
        Threader2<void (*)(const char*, int), const char*, int> job(&LinkInJob, &fragment, &unused);
        EXPECT_FALSE(job.ThreadQueue()) << c.head;
        const std::string message = job.ErrorMessage();
        EXPECT_EQ(message.rfind(c.head, 0), 0u) << message;
        EXPECT_GT(message.size(), std::string(c.head).size()) << "the driver's log follows: " << message;
    }
}

} // namespace
