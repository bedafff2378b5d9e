// Effect programs on a real context: the common shader and the typed uniform transfer. (The quad
// DrawRegion lays over a region, with its coordinates on each unit, is what the apply modes and the
// composite tests draw with.)
#include "core/Errors.h"
#include "gl/context/EntryPoints.h"
#include "gl/render/EffectProgram.h"
#include "gl/state/Color.h"
#include "gl/state/Texturing.h"

#include "gl/render/EffectProgramTestSupport.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;
using zep6test::FloatTarget;
using zep6test::FloatTexture;
using zep6test::GlProgramTest;
using zep6test::MissingEntry;
using zep6test::Rgba;

using EffectProgramTest = GlProgramTest;

// luma() and saturation() are met through the modes and the conversions (ProgramFormulas_gl_test).
TEST_F(EffectProgramTest, CommonRandLinksWithoutBeingDefined) {
    GLSL::Shader shader(GL_FRAGMENT_SHADER,
                        "float rand();\nvoid main() { gl_FragColor = vec4(0.0, 0.0, rand(), 1.0); }\n");
    EffectProgram program(&shader);
    ASSERT_NO_THROW(program.Apply()) << "rand comes from the common shader";

    const int size = 8;
    FloatTarget target(size, size);
    ASSERT_TRUE(target.IsComplete());
    const p2f random(0.01f, 0.02f);
    program.SetUniform("random", random);
    glMatrixMode(GL_TEXTURE);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    EffectProgram::DrawRegion(Region(size, size), GL_TEXTURE0);

    const std::vector<Rgba> out = target.Read();
    double worstRand = 0;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const Rgba& p = out[static_cast<std::size_t>(y * size + x)];
            const double s = (x + 0.5) / size, t = (y + 0.5) / size;
            const double v = std::sin(s * double(random.x) + t * double(random.y)) * 43758.5453;
            const double expected = v - std::floor(v);
            // fract() of a value near 1300 keeps only about 1e-4 of float precision, and GLSL
            // sets no precision for sin(): llvmpipe's differs from the CPU's in its last bit,
            // NVIDIA's by about 2.5e-7, which the factor 43758 turns into 1.1e-2. 2e-2 covers
            // both; a missing or wrong rand() is off by about 0.3 on average.
            worstRand = std::max(worstRand, std::abs(p[2] - expected));
        }
    EXPECT_LT(worstRand, 2e-2);
}

TEST_F(EffectProgramTest, CommonBlurWeighsByProductOfSquaresAndCountsEveryWeight) {
    GLSL::Shader shader(
        GL_FRAGMENT_SHADER,
        "#extension GL_ARB_texture_rectangle : enable\n"
        "uniform sampler2DRect source; uniform float threshold; uniform float radius;\n"
        "vec4 blur(sampler2DRect source, vec2 position, float threshold, float radius);\n"
        "void main() { gl_FragColor = blur(source, gl_TexCoord[0].st, threshold, radius); }\n");
    EffectProgram program(&shader);
    const int w = 7, h = 5;
    std::vector<Rgba> pixels;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            // Lumas spread from 0 to 1, none within 0.01 of the thresholds used below.
            const float v = static_cast<float>((x * 3 + y * 5) % 11) / 10.0f + 0.004f;
            pixels.push_back({v, 1.0f - v, v * 0.5f, 0.25f + 0.1f * static_cast<float>(x % 4)});
        }
    FloatTarget target(w, h);
    FloatTexture source(w, h, pixels);
    source.BindOn(0);
    program.Apply();
    program.SetUniform("source", TextureUnit(0));

    for (const float radius : {1.0f, 2.0f, 3.0f}) {
        for (const float threshold : {0.0f, 0.45f}) {
            program.SetUniform("threshold", threshold);
            program.SetUniform("radius", radius);
            target.Clear({0, 0, 0, 0});
            EffectProgram::DrawRegion(Region(w, h), GL_TEXTURE0);
            const std::vector<Rgba> out = target.Read();
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    double sum = 0, acc[4] = {0, 0, 0, 0};
                    const int r = static_cast<int>(radius);
                    for (int dy = -r; dy <= r; ++dy)
                        for (int dx = -r; dx <= r; ++dx) {
                            const double weight =
                                1.0 - double(dx * dx) * double(dy * dy) / std::pow(radius, 4.0);
                            const int sx = std::clamp(x + dx, 0, w - 1), sy = std::clamp(y + dy, 0, h - 1);
                            const Rgba& s = pixels[static_cast<std::size_t>(sy * w + sx)];
                            if (s[0] * 0.299 + s[1] * 0.587 + s[2] * 0.114 >= threshold) // Rec. 601 luma
                                for (int c = 0; c < 4; ++c)
                                    acc[c] += s[static_cast<std::size_t>(c)] * weight;
                            sum += weight;
                        }
                    const Rgba& p = out[static_cast<std::size_t>(y * w + x)];
                    for (int c = 0; c < 4; ++c)
                        EXPECT_NEAR(p[static_cast<std::size_t>(c)], acc[c] / sum, 1e-4)
                            << "radius " << radius << " threshold " << threshold << " at " << x << "," << y
                            << " channel " << c;
                }
        }
    }
}

namespace {

// A program with a uniform of every type the transfer table knows.
const char* const kAllTypes =
    "#extension GL_ARB_texture_rectangle : enable\n"
    "uniform int i; uniform bool b; uniform float f; uniform vec2 v2; uniform vec3 v3; uniform vec4 v4;\n"
    "uniform ivec2 iv2; uniform ivec3 iv3; uniform ivec4 iv4; uniform mat2 m2; uniform mat3 m3;\n"
    "uniform mat4 m4; uniform sampler2DRect rect; uniform sampler2D plain;\n"
    "void main()\n"
    "{\n"
    "    float s = float(i) + (b ? 1.0 : 0.0) + f + v2.x + v3.x + v4.x;\n"
    "    s += float(iv2.x + iv3.x + iv4.x) + m2[0][0] + m3[0][0] + m4[0][0];\n"
    "    gl_FragColor = vec4(s) + texture2DRect(rect, vec2(0.0)) + texture2D(plain, vec2(0.0));\n"
    "}\n";

// `sentinel`: what the uniform holds before a transfer that must do nothing, a value no case writes
// and that the uniform can hold (a bool holds only 0 or 1, a sampler only a unit number).
struct UniformShape {
    const char* name;
    int components;
    bool integer; // read and written as integers (int, bool, ivec, sampler)
    float sentinel = -7.0f;
};

const UniformShape kShapes[] = {
    {"i", 1, true},   {"b", 1, true, 0.0f}, {"f", 1, false},  {"v2", 2, false},        {"v3", 3, false},
    {"v4", 4, false}, {"iv2", 2, true},     {"iv3", 3, true}, {"iv4", 4, true},        {"m2", 4, false},
    {"m3", 9, false}, {"m4", 16, false},    {"rect", 1, true, 5.0f}, {"plain", 1, true, 5.0f},
};

const UniformShape& Shape(const char* name) {
    for (const auto& shape : kShapes)
        if (std::strcmp(shape.name, name) == 0)
            return shape;
    throw std::logic_error(name);
}

class TypedTransferTest : public GlProgramTest {
protected:
    void SetUp() override {
        GlProgramTest::SetUp();
        program_.Apply();
        for (const auto& shape : kShapes)
            ASSERT_TRUE(program_.HasUniform(shape.name)) << shape.name;
    }

    GLint Location(const char* name) {
        return GLEntry::glGetUniformLocation(static_cast<GLuint>(program_.GetProgram().Name()), name);
    }

    // Writes the values directly with OpenGL; the last one given fills the remaining components.
    void Raw(const char* name, std::vector<float> f) {
        const UniformShape& shape = Shape(name);
        f.resize(16, f.back());
        std::vector<GLint> n(16);
        std::transform(f.begin(), f.end(), n.begin(), [](float v) { return static_cast<GLint>(v); });
        const GLint location = Location(name);
        const int k = shape.components;
        const PFNGLUNIFORM1IVPROC ints[] = {GLEntry::glUniform1iv, GLEntry::glUniform2iv,
                                            GLEntry::glUniform3iv, GLEntry::glUniform4iv};
        const PFNGLUNIFORM1FVPROC floats[] = {GLEntry::glUniform1fv, GLEntry::glUniform2fv,
                                              GLEntry::glUniform3fv, GLEntry::glUniform4fv};
        const PFNGLUNIFORMMATRIX2FVPROC matrices[] = {
            GLEntry::glUniformMatrix2fv, GLEntry::glUniformMatrix3fv, GLEntry::glUniformMatrix4fv};
        if (shape.integer)
            ints[k - 1](location, 1, n.data());
        else if (name[0] == 'm')
            matrices[k == 4 ? 0 : k == 9 ? 1 : 2](location, 1, GL_FALSE, f.data());
        else
            floats[k - 1](location, 1, f.data());
    }

    // Every component as OpenGL holds it.
    std::vector<float> Read(const char* name) {
        const UniformShape& shape = Shape(name);
        std::vector<float> out(16, 0.0f);
        const GLuint program = static_cast<GLuint>(program_.GetProgram().Name());
        if (shape.integer) {
            std::vector<GLint> n(16, 0);
            GLEntry::glGetUniformiv(program, Location(name), n.data());
            std::transform(n.begin(), n.end(), out.begin(), [](GLint v) { return static_cast<float>(v); });
        } else {
            GLEntry::glGetUniformfv(program, Location(name), out.data());
        }
        out.resize(static_cast<std::size_t>(shape.components));
        return out;
    }

    GLSL::Shader shader_{GL_FRAGMENT_SHADER, kAllTypes};
    EffectProgram program_{&shader_};
};

using Setter = std::function<void(EffectProgram&, const char*)>;

// The typed setter for `value`, on the uniform of the given name.
template <class V> Setter Set(V value) {
    return [value](EffectProgram& p, const char* name) { p.SetUniform(name, value); };
}

struct SetCase {
    const char* what;
    const char* uniform;
    Setter set;
    std::vector<float> expected; // empty: the uniform must keep the sentinel
    GLenum active = GL_TEXTURE0; // the active texture unit afterwards (unit 0 before)
};

} // namespace

TEST_F(TypedTransferTest, SettersFollowTheTableAndAUniformWithoutLocationThrows) {
    const Color colour(0.1f, 0.2f, 0.3f, 0.4f);
    const std::vector<SetCase> cases = {
        // Integral values.
        {"int on float sets 2.0", "f", Set(2), {2}},
        {"int on int", "i", Set(-5), {-5}},
        {"int on bool", "b", Set(1), {1}},
        {"int on vec2 does nothing", "v2", Set(3), {}},
        {"unsigned on sampler does nothing", "rect", Set(2u), {}},
        // Floating values.
        {"float on float", "f", Set(2.5f), {2.5f}},
        {"float 2.7 on int sets 2", "i", Set(2.7f), {2}},
        {"double -2.7 on int sets -2", "i", Set(-2.7), {-2}},
        {"float on bool does nothing", "b", Set(1.0f), {}},
        // Color.
        {"Color on vec3", "v3", Set(colour), {0.1f, 0.2f, 0.3f}},
        {"Color on vec4", "v4", Set(colour), {0.1f, 0.2f, 0.3f, 0.4f}},
        {"Color on float does nothing", "f", Set(Color::Red), {}},
        // Points.
        {"p2f on vec2", "v2", Set(p2f(1, 2)), {1, 2}},
        {"p2f on vec4 sets (x, y, 0, 1)", "v4", Set(p2f(1, 2)), {1, 2, 0, 1}},
        {"p3f on vec4", "v4", Set(p3f(1, 2, 3)), {1, 2, 3, 1}},
        {"p4f on vec2 divides by w", "v2", Set(p4f(2, 4, 6, 2)), {1, 2}},
        {"p4f (2, 4, 6, 2) on vec3 sets (1, 2, 3)", "v3", Set(p4f(2, 4, 6, 2)), {1, 2, 3}},
        {"p4f on vec4 as is", "v4", Set(p4f(2, 4, 6, 2)), {2, 4, 6, 2}},
        {"p4f on ivec4 does nothing", "iv4", Set(p4f(1, 2, 3, 4)), {}},
        // Integer vectors.
        {"vec3i on ivec3", "iv3", Set(vec<int, 3>{{7, 8, 9}}), {7, 8, 9}},
        {"vec2i on ivec3 does nothing", "iv3", Set(vec<int, 2>{{1, 2}}), {}},
        // Matrices, as they lie in memory.
        {"mat3", "m3", Set(mat<float, 3>{{1, 2, 3, 4, 5, 6, 7, 8, 9}}), {1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"mat2 on mat3 does nothing", "m3", Set(mat<float, 2>{{1, 2, 3, 4}}), {}},
        {"mat4 on vec4 does nothing", "v4", Set(mat<float, 4>{}), {}},
        // Texture units: the setter makes the unit active only when it acts.
        {"unit on rectangle sampler", "rect", Set(TextureUnit(3)), {3}, GL_TEXTURE3},
        {"unit on int does nothing", "i", Set(TextureUnit(1)), {}},
        // No uniform at all.
        {"unknown name does nothing",
         "f",
         [](EffectProgram& p, const char*) { p.SetUniform("nothing", 1.0f); },
         {}},
        {"null uniform does nothing",
         "f",
         [](EffectProgram& p, const char*) { p.SetUniform(static_cast<GLSL::Uniform*>(nullptr), 1.0f); },
         {}},
    };

    for (const SetCase& c : cases) {
        SCOPED_TRACE(c.what);
        const UniformShape& shape = Shape(c.uniform);
        Raw(c.uniform, {shape.sentinel});
        GLEntry::glActiveTexture(GL_TEXTURE0);
        ASSERT_NO_THROW(c.set(program_, c.uniform));
        std::vector<float> expected = c.expected;
        if (expected.empty())
            expected.assign(static_cast<std::size_t>(shape.components), shape.sentinel);
        const std::vector<float> actual = Read(c.uniform);
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t k = 0; k < expected.size(); ++k)
            EXPECT_FLOAT_EQ(actual[k], expected[k]) << "component " << k;
        GLint active = 0;
        glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
        EXPECT_EQ(static_cast<GLenum>(active), c.active);
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    }

    // A uniform without a location throws only when its type suits the value.
    GLSL::Uniform loose("f", GL_FLOAT); // never attached
    try {
        program_.SetUniform(&loose, 1.0f);
        ADD_FAILURE() << "nothing thrown";
    } catch (const Error& e) {
        EXPECT_STREQ(e.what(), "No Location for Uniform Variable");
    }
    float value = 0;
    EXPECT_THROW(program_.GetUniform(&loose, value), Error);
    EXPECT_NO_THROW(program_.SetUniform(&loose, Color::White)) << "a type that does not fit does nothing";
}

TEST_F(EffectProgramTest, CompileFailureThrowsAtApplyUniformsAreFoundThereAndFinalizeForgetsThem) {
    GLSL::Shader broken(GL_FRAGMENT_SHADER, "void main() { gl_FragColor = ; }\n");
    EffectProgram failing(&broken);
    // The messages' prefixes are checked in GLSL_gl_test.
    EXPECT_THROW(failing.Apply(), Error) << "compile";
    EXPECT_THROW(failing.Apply(), Error) << "the broken shader is attached and the program cannot link";
    GLint attached = 0;
    GLEntry::glGetProgramiv(static_cast<GLuint>(failing.GetProgram().Name()), GL_ATTACHED_SHADERS, &attached);
    EXPECT_EQ(attached, 2) << "the shader and the common shader, each attached once";
    while (glGetError() != GL_NO_ERROR) {
    }

    // Finalize forgets the shaders and the uniform table; the program is usable again once its
    // shaders are added.
    GLSL::Shader shader(GL_FRAGMENT_SHADER, "uniform float level; uniform float unused;\n"
                                            "void main() { gl_FragColor = vec4(level); }\n");
    EffectProgram list(nullptr, &shader, nullptr);
    EXPECT_EQ(list.ShaderCount(), 1) << "null shaders are ignored";
    for (int k = 0; k < 20; ++k)
        list.AddShader(&EffectProgram::sVertexShader);
    EXPECT_EQ(list.ShaderCount(), EffectProgram::kMaxShaders);

    EffectProgram program(&EffectProgram::sVertexShader, &shader);
    EXPECT_TRUE(!program.HasUniform("level") && !program.GetUniform("level")) << "no table before the first Apply";
    for (int k = 0; k < 5; ++k) {
        program.Apply();
        program.SetUniform("level", 0.5f + static_cast<float>(k));
    }
    float level = 0;
    program.GetUniform("level", level);
    EXPECT_EQ(level, 4.5f);
    EXPECT_TRUE(program.GetProgram().IsCurrent());
    // The linker dropped "unused"; nothing here calls rand().
    EXPECT_FALSE(program.HasUniform("unused") || program.HasUniform("random") || program.HasUniform(nullptr));

    program.Finalize();
    EXPECT_TRUE(program.ShaderCount() == 0 && program.GetProgram().Name() == 0 && !program.HasUniform("level"));
    program.AddShader(&shader);
    program.Apply();
    EXPECT_TRUE(program.HasUniform("level")) << "usable again once its shaders are added";
}
