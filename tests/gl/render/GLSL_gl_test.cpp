// The GLSL wrappers on a real context: lazy compilation, failures (also as a job's message after
// unwinding freed the program), relinking, missing entry points.
#include "core/Errors.h"
#include "gl/context/EntryPoints.h"
#include "gl/context/Shared.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"

#include "gl/render/EffectProgramTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <unistd.h>

using namespace OGL_ZEP6_AE;
using zep6test::GlProgramTest;
using zep6test::MissingEntry;

namespace {

const char* const kGoodFragment = "uniform float level;\nvoid main() { gl_FragColor = vec4(level); }\n";
const char* const kBadFragment = "void main() { gl_FragColor = vec4(1.0) + ; }\n";
// Compiles, but calls a function that no shader of the program defines.
const char* const kUnresolvedFragment = "float missing();\nvoid main() { gl_FragColor = vec4(missing()); }\n";

// A program of the good fragment shader, linked and current for the case.
class GlslTest : public GlProgramTest {
protected:
    void SetUp() override {
        GlProgramTest::SetUp();
        program.Attach(fragment);
        program.Apply();
    }
    GLSL::Shader fragment{GL_FRAGMENT_SHADER, kGoodFragment};
    GLSL::Program program;
};

} // namespace

TEST_F(GlslTest, ShaderCompilesOnceOnFirstUseAndLoadsAWholeFile) {
    GLSL::Shader shader(GL_FRAGMENT_SHADER, kGoodFragment);
    EXPECT_EQ(shader.Name(), 0u) << "constructing makes no OpenGL object";
    const int name = shader;
    EXPECT_NE(name, 0);
    EXPECT_TRUE(GLEntry::glIsShader(static_cast<GLuint>(name)));
    shader.Initialize();
    EXPECT_EQ(static_cast<int>(shader.Name()), name) << "a compiled shader is not made again";

    shader.Finalize();
    EXPECT_EQ(shader.Name(), 0u);
    EXPECT_FALSE(GLEntry::glIsShader(static_cast<GLuint>(name)));
    shader.Initialize();
    EXPECT_NE(shader.Name(), 0u) << "the source survives Finalize, so the shader can be made again";

    // LoadFile reads the whole file.
    const std::string file = "/tmp/zep6_glsl_" + std::to_string(getpid());
    const char* path = file.c_str();
    const std::string text = std::string("// from a file\n") + kGoodFragment;
    {
        std::ofstream out(path);
        out << text;
    }
    GLSL::Shader loaded(GL_FRAGMENT_SHADER, "unchanged");
    EXPECT_FALSE(loaded.LoadFile("/nonexistent/dir/shader.glsl"));
    EXPECT_STREQ(loaded.Source(), "unchanged") << "a file that cannot be opened leaves the source";
    EXPECT_TRUE(loaded.LoadFile(path));
    EXPECT_EQ(std::string(loaded.Source()), text);
    EXPECT_NO_THROW(loaded.Initialize()) << "the loaded source compiles";

    { std::ofstream truncate(path, std::ios::trunc); }
    GLSL::Shader empty(GL_FRAGMENT_SHADER, "old");
    EXPECT_FALSE(empty.LoadFile(path)) << "no text read";
    EXPECT_STREQ(empty.Source(), "");
    std::remove(path);
}

TEST_F(GlslTest, FailuresThrowOnceWithTheirPrefixes) {
    GLSL::Shader shader(GL_FRAGMENT_SHADER, kBadFragment);
    try {
        shader.Initialize();
        FAIL() << "a syntax error must throw";
    } catch (const Error& e) {
        EXPECT_EQ(std::string(e.what()).rfind("GLSL Compile Error:\n", 0), 0u) << e.what();
        EXPECT_GT(std::strlen(e.what()), std::strlen("GLSL Compile Error:\n")) << "the driver's log follows";
        EXPECT_STREQ(e.what(), shader.ErrorText());
    }
    EXPECT_NE(shader.Name(), 0u);
    EXPECT_NO_THROW(shader.Initialize()) << "the failure is not reported twice";

    GLSL::Shader unresolved(GL_FRAGMENT_SHADER, kUnresolvedFragment);
    GLSL::Program linking;
    linking.Attach(unresolved);
    EXPECT_TRUE(linking.NeedsLink());
    try {
        linking.Apply();
        FAIL() << "an unresolved function must fail to link";
    } catch (const Error& e) {
        EXPECT_EQ(std::string(e.what()).rfind("GLSL Link Error:\n", 0), 0u) << e.what();
    }
    EXPECT_FALSE(linking.NeedsLink());
    EXPECT_FALSE(linking.IsCurrent());
    while (glGetError() != GL_NO_ERROR) { // using an unlinked program is an OpenGL error
    }
}

// A job's compile or link failure keeps the driver's message after unwinding freed its program.
TEST(ProgramErrors, OutliveTheProgramOfTheJob) {
    void (*const link)(const char*, int) = [](const char* fragment, int) {
        GLSL::Shader shader(GL_FRAGMENT_SHADER, fragment);
        EffectProgram(&shader).Apply();
    };
    for (auto [fragment, head] : {std::make_pair(kBadFragment, "GLSL Compile Error:\n"),
                                         std::make_pair(kUnresolvedFragment, "GLSL Link Error:\n")}) {
        int unused = 0;
        Threader2<void (*)(const char*, int), const char*, int> job(link, &fragment, &unused);
        EXPECT_FALSE(job.ThreadQueue()) << head;
        const std::string message = job.ErrorMessage();
        EXPECT_EQ(message.rfind(head, 0), 0u) << message;
        EXPECT_GT(message.size(), std::string(head).size()) << "the driver's log follows: " << message;
    }
}

TEST_F(GlslTest, ProgramRelinksAfterAChange) {
    GLSL::Shader vertex(GL_VERTEX_SHADER, "void main() { gl_Position = ftransform(); }\n");
    EXPECT_TRUE(program.IsCurrent());
    program.Attach(vertex);
    EXPECT_TRUE(program.NeedsLink());
    program.Apply();
    program.Detach(vertex);
    EXPECT_TRUE(program.NeedsLink());
    program.Apply();
    GLint attached = 0;
    GLEntry::glGetProgramiv(static_cast<GLuint>(program.Name()), GL_ATTACHED_SHADERS, &attached);
    EXPECT_EQ(attached, 1);

    GLSL::Program::UseProgram(0);
    EXPECT_FALSE(program.IsCurrent());
    GLSL::Program other;
    other.Retrieve();
    EXPECT_EQ(other.Name(), 0) << "Retrieve reads OpenGL's current program";
    program.Apply();
    other.Retrieve();
    EXPECT_EQ(other.Name(), program.Name());

    GLSL::Program::UseProgram(0);
    other.Retrieve(); // back to no name, so that only `program` deletes the object

    const GLuint name = static_cast<GLuint>(program.Name());
    program.Finalize();
    EXPECT_EQ(program.Name(), 0);
    EXPECT_FALSE(program.NeedsLink());
    // Drivers may keep a deleted program's name alive for a while; it is then flagged deleted.
    GLint deleted = GL_TRUE;
    if (GLEntry::glIsProgram(name))
        GLEntry::glGetProgramiv(name, GL_DELETE_STATUS, &deleted);
    EXPECT_EQ(deleted, GL_TRUE);
}

TEST_F(GlslTest, UniformTakesItsLocationFromTheProgram) {
    GLSL::Uniform early("level", GL_FLOAT);
    GLSL::Program empty;
    try {
        early.Attach(empty);
        FAIL() << "a program without a name has no uniforms";
    } catch (const Error& e) {
        EXPECT_STREQ(e.what(), "No Program for Uniform Variable");
    }
    EXPECT_FALSE(early.IsAttached());

    GLSL::Uniform level("level", GL_FLOAT);
    level.Attach(program);
    EXPECT_TRUE(level.IsAttached());
    EXPECT_EQ(static_cast<int>(level),
              GLEntry::glGetUniformLocation(static_cast<GLuint>(program.Name()), "level"));

    GLSL::Uniform absent("no_such_uniform", GL_FLOAT);
    absent.Attach(program);
    EXPECT_FALSE(absent.IsAttached()) << "OpenGL reports -1 for a name the program does not have";
}

TEST_F(GlslTest, MissingEntryPointThrowsUnsupportedBeforeAnyCall) {
    GLSL::Shader shader(GL_FRAGMENT_SHADER, kGoodFragment);
    {
        MissingEntry<decltype(GLEntry::glCompileShader)> missing(GLEntry::glCompileShader);
        EXPECT_THROW(shader.Initialize(), Unsupported);
        EXPECT_EQ(shader.Name(), 0u) << "no shader object was made";
    }
    GLSL::Program fresh;
    {
        MissingEntry<decltype(GLEntry::glAttachShader)> missing(GLEntry::glAttachShader);
        EXPECT_THROW(fresh.Attach(shader), Unsupported);
        EXPECT_EQ(fresh.Name(), 0) << "no program object was made";
        EXPECT_EQ(shader.Name(), 0u) << "the shader was not compiled either";
    }
    fresh.Attach(shader);
    {
        MissingEntry<decltype(GLEntry::glUseProgram)> missing(GLEntry::glUseProgram);
        EXPECT_THROW(fresh.Apply(), Unsupported);
        EXPECT_TRUE(fresh.NeedsLink()) << "not linked: the check comes before the link";
    }
    {
        MissingEntry<decltype(GLEntry::glGetUniformLocation)> missing(GLEntry::glGetUniformLocation);
        GLSL::Uniform level("level", GL_FLOAT);
        EXPECT_THROW(level.Attach(fresh), Unsupported);
    }
    // An effect program checks before it makes anything; its quad needs unit coordinates only for
    // a last unit.
    GLSL::Shader white(GL_FRAGMENT_SHADER, "void main() { gl_FragColor = vec4(1.0); }\n");
    EffectProgram effect(&white);
    {
        MissingEntry<decltype(GLEntry::glLinkProgram)> missing(GLEntry::glLinkProgram);
        EXPECT_THROW(effect.Apply(), Unsupported);
        EXPECT_EQ(effect.GetProgram().Name(), 0);
        EXPECT_EQ(white.Name(), 0u);
    }
    {
        MissingEntry<decltype(GLEntry::glMultiTexCoord2fv)> missing(GLEntry::glMultiTexCoord2fv);
        EXPECT_THROW(EffectProgram::DrawRegion(Region(4, 4), GL_TEXTURE1), Unsupported);
        EXPECT_NO_THROW(EffectProgram::DrawRegion(Region(4, 4)));
    }
    EXPECT_NO_THROW(effect.Apply());
}
