// The state objects on a real context: every value class gives back what it applied, every push
// class restores what it saved (also when an exception leaves its scope), SetDefault() leaves the
// library's default state, the clearing helpers clear only what they should, and the GL worker
// keeps each job's state changes from reaching the next job or the thread that had the context.
#include "core/Errors.h"
#include "gl/context/EntryPoints.h"
#include "gl/context/RootContext.h"
#include "gl/context/Thread.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/state/AlphaFunc.h"
#include "gl/state/Attributes.h"
#include "gl/state/Blend.h"
#include "gl/state/Clear.h"
#include "gl/state/ClearColor.h"
#include "gl/state/Color.h"
#include "gl/state/ColorMask.h"
#include "gl/state/ColorMatrix.h"
#include "gl/state/ColorScale.h"
#include "gl/state/CullFace.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Matrices.h"
#include "gl/state/PixelStore.h"
#include "gl/state/PixelTransfer.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

// ---- helpers -----------------------------------------------------------------------------------

int GetInt(GLenum name) {
    GLint v = 0;
    glGetIntegerv(name, &v);
    return v;
}

std::string ErrorsLeft() {
    std::string errors;
    for (GLenum e = glGetError(); e != GL_NO_ERROR; e = glGetError())
        errors += std::to_string(e) + " ";
    return errors;
}

// The root context current on the test thread for the whole test; the thread's previous binding
// (none) comes back afterwards. Every test must leave no OpenGL error behind.
class StateGL : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(RootContext::Select());
        ASSERT_EQ(ErrorsLeft(), "");
    }
    void TearDown() override { EXPECT_EQ(ErrorsLeft(), "") << "OpenGL errors left behind"; }

    PushOpenGLContext saved_;
};

template <class T> T Current(const T& prototype) {
    T value = prototype;
    value.Retrieve();
    return value;
}

template <class T> bool Same(const T& a, const T& b) {
    return a == b;
}
bool Same(const ColorSpace& a, const ColorSpace& b) {
    return a.redScale == b.redScale && a.greenScale == b.greenScale && a.blueScale == b.blueScale &&
           a.alphaScale == b.alphaScale;
}
bool Same(const Opacity& a, const Opacity& b) {
    return a.alphaScale == b.alphaScale;
}
bool Same(const ColorMatrix& a, const ColorMatrix& b) {
    for (int i = 0; i < 16; ++i)
        if (a.m[i] != b.m[i])
            return false;
    return true;
}
bool Same(const TextureUnits& a, const TextureUnits& b) {
    if (a.count != b.count || a.active.unit != b.active.unit)
        return false;
    for (int i = 0; i < a.count; ++i)
        if (a.bindings[i] != b.bindings[i] || a.matrices[i] != b.matrices[i])
            return false;
    return true;
}

// Applies `value` over a state that differs from it and reads it back.
template <class T>::testing::AssertionResult RoundTrips(const T& value) {
    if (Same(Current(value), value))
        return ::testing::AssertionFailure() << "the value is already current: the case proves nothing";
    value.Apply();
    const std::string errors = ErrorsLeft();
    if (!errors.empty())
        return ::testing::AssertionFailure() << "Apply left OpenGL errors " << errors;
    if (!Same(Current(value), value))
        return ::testing::AssertionFailure() << "Retrieve gave back another value";
    return ::testing::AssertionSuccess();
}

Matrix Filled(double first, unsigned int mode) {
    Matrix m(false);
    m.mode = mode;
    for (int i = 0; i < 16; ++i)
        m.m[i] = first + i * 0.5; // exact in float, so OpenGL keeps it unchanged
    return m;
}
template <class M> M As(const Matrix& from) {
    M m;
    static_cast<Matrix&>(m) = from;
    return m;
}

// A texture name made known to OpenGL by binding it once to `target`.
GLuint MakeTexture(GLenum target) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(target, name);
    glBindTexture(target, 0);
    return name;
}

void ExpectFloats(const float* got, const float* want, int n, const char* what) {
    for (int i = 0; i < n; ++i)
        EXPECT_FLOAT_EQ(got[i], want[i]) << what << "[" << i << "]";
}

} // namespace

// ---- Apply then Retrieve -------------------------------------------------------------------------

TEST_F(StateGL, EveryValueClassGivesBackWhatItApplied) {
    const GLuint tex2D = MakeTexture(GL_TEXTURE_2D);
    const GLuint texRect = MakeTexture(GL_TEXTURE_RECTANGLE);
    TextureBinding binding;
    binding.enable2D = true;
    binding.texture2D = tex2D;
    binding.magFilter2D = GL_NEAREST;
    binding.minFilter2D = GL_NEAREST_MIPMAP_LINEAR;
    binding.enableRectangle = true;
    binding.textureRectangle = texRect;
    binding.magFilterRectangle = GL_NEAREST;
    binding.minFilterRectangle = GL_NEAREST;
    binding.envMode = GL_REPLACE;
    binding.envColor[0] = 0.25f;
    binding.envColor[3] = 0.75f;

    BlendFunc blendOff(GL_DST_COLOR, GL_ONE_MINUS_DST_COLOR);
    blendOff.flag = false;
    BlendColor blendColorOff(Color(0.5f, 0.25f, 0.125f, 1.0f));
    blendColorOff.flag = false;
    PixelTransfer transfer;
    transfer.redScale = 2.0f;
    transfer.redBias = 0.25f;
    transfer.greenScale = 0.5f;
    transfer.blueBias = -0.5f;
    transfer.alphaScale = 4.0f;
    transfer.alphaBias = 0.125f;
    ColorSpace space;
    space.redScale = 0.5f;
    space.alphaScale = 3.0f;
    Opacity opacity;
    opacity.alphaScale = 0.25f;

    const std::vector<std::pair<const char*, std::function<::testing::AssertionResult()>>> cases = {
        {"AlphaFunc", [] { return RoundTrips(AlphaFunc(GL_GEQUAL, 0.25f)); }},
        {"BlendFunc", [] { return RoundTrips(BlendFunc(GL_ONE, GL_ZERO)); }},
        {"BlendFunc separate", [] { return RoundTrips(BlendFunc::BlendUnder); }},
        {"BlendFunc off", [&] { return RoundTrips(blendOff); }},
        {"BlendEquation", [] { return RoundTrips(BlendEquation::Subtract); }},
        {"BlendEquation separate",
         [] { return RoundTrips(BlendEquation(GL_MAX, GL_FUNC_REVERSE_SUBTRACT)); }},
        {"BlendColor", [] { return RoundTrips(BlendColor(Color(0.25f, 0.5f, 0.75f, 1.0f))); }},
        {"BlendColor off", [&] { return RoundTrips(blendColorOff); }},
        {"BlendOp", [] { return RoundTrips(BlendOp::Subtractive); }},
        {"BlendOp screen", [] { return RoundTrips(BlendOp::Screen); }},
        {"ClearColor", [] { return RoundTrips(ClearColor(Color(0.25f, 0.5f, 0.75f, 0.125f), 0.5f)); }},
        {"ColorMask", [] { return RoundTrips(ColorMask::NoAlpha); }},
        {"ColorMask alpha", [] { return RoundTrips(ColorMask::AlphaOnly); }},
        {"CullFace", [] { return RoundTrips(CullFace(true, GL_FRONT)); }},
        {"DepthFunc", [] { return RoundTrips(DepthFunc::GreaterEqual); }},
        {"PixelStore", [] { return RoundTrips(PixelStore(1, 17, 3, 5)); }},
        {"PixelUnpack", [] { return RoundTrips(PixelUnpack(2, 33, 7, 4, 9)); }},
        {"PixelPack", [] { return RoundTrips(PixelPack(8, 21, 6, 2, 3)); }},
        {"PixelTransfer", [&] { return RoundTrips(transfer); }},
        {"ColorSpace", [&] { return RoundTrips(space); }},
        {"Opacity", [&] { return RoundTrips(opacity); }},
        {"ModelMatrix", [] { return RoundTrips(As<ModelMatrix>(Filled(1.0, GL_PROJECTION))); }},
        {"ProjectionMatrix", [] { return RoundTrips(As<ProjectionMatrix>(Filled(-3.0, GL_TEXTURE))); }},
        {"TextureMatrix", [] { return RoundTrips(As<TextureMatrix>(Filled(2.0, GL_MODELVIEW))); }},
        {"TextureBinding", [&] { return RoundTrips(binding); }},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(c.second()) << c.first;

    glDeleteTextures(1, &tex2D);
    glDeleteTextures(1, &texRect);
}

TEST_F(StateGL, ColorKeepsTheMirrorAndTheContextInStep) {
    const Color c(0.25f, 0.5f, 0.75f, 0.125f);
    c.Apply();
    EXPECT_EQ(Color::sCurrentColor, c);
    EXPECT_EQ(Current(Color::White), c);
    float current[4];
    glGetFloatv(GL_CURRENT_COLOR, current);
    ExpectFloats(current, c, 4, "GL_CURRENT_COLOR");

    // Retrieve does not ask the context.
    glColor4f(1, 0, 1, 0);
    EXPECT_EQ(Current(Color::White), c);
}

TEST_F(StateGL, ColorScaleSetsColourMaterialAndModulatingBlend) {
    const ColorScale scale(0.5f);
    scale.Apply();
    EXPECT_EQ(Color::sCurrentColor, Color(0.5f));
    EXPECT_EQ(Current(BlendFunc()), BlendFunc(GL_ZERO, GL_SRC_COLOR));
    float ambient[4];
    glGetMaterialfv(GL_FRONT, GL_AMBIENT, ambient);
    ExpectFloats(ambient, Color(0.5f), 4, "front ambient");
    ColorScale read(1.0f);
    read.Retrieve();
    EXPECT_EQ(read.color, scale.color);
    EXPECT_EQ(read.material, scale.material);
    EXPECT_EQ(read.blend, scale.blend);
}

TEST_F(StateGL, ColorMatrixWorksWhereImagingExistsAndIsHarmlessElsewhere) {
    const ColorMatrix m(Color(0, 1, 0, 0), Color(0, 0, 1, 0), Color(0, 0, 0, 1), Color(1, 0, 0, 0));
    glMatrixMode(GL_TEXTURE);
    m.Apply();
    if (ColorMatrix::IsSupported()) {
        EXPECT_TRUE(Same(Current(ColorMatrix()), m));
        EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_MODELVIEW);
        ColorMatrix(Color(1, 0, 0, 0), Color(0, 1, 0, 0), Color(0, 0, 1, 0), Color(0, 0, 0, 1)).Apply();
    } else {
        // No colour matrix: nothing is selected and no error is raised (checked by TearDown).
        EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_TEXTURE);
        ColorMatrix read = m;
        read.Retrieve();
        EXPECT_TRUE(Same(read, m));
    }
    glMatrixMode(GL_MODELVIEW);
}

TEST_F(StateGL, ComposingConstructorsReadTheCurrentValues) {
    // PixelTransfer(2, 0.1, ...) over the identity: red scale 2, bias 0.1.
    PixelTransfer().Apply();
    const PixelTransfer overIdentity(2, 0.1f, 1, 0, 1, 0, 1, 0);
    EXPECT_FLOAT_EQ(overIdentity.redScale, 2.0f);
    EXPECT_FLOAT_EQ(overIdentity.redBias, 0.1f);
    // Over a current red scale of 0.5 (and bias 0.25): scale 1, bias 2 x 0.25 + 0.1.
    glPixelTransferf(GL_RED_SCALE, 0.5f);
    glPixelTransferf(GL_RED_BIAS, 0.25f);
    const PixelTransfer composed(2, 0.1f, 1, 0, 1, 0, 1, 0);
    EXPECT_FLOAT_EQ(composed.redScale, 1.0f);
    EXPECT_FLOAT_EQ(composed.redBias, 0.6f);
    EXPECT_FLOAT_EQ(composed.greenScale, 1.0f);

    glPixelTransferf(GL_GREEN_SCALE, 0.5f);
    glPixelTransferf(GL_ALPHA_SCALE, 0.8f);
    const ColorSpace space(GL_UNSIGNED_SHORT, 32768);
    EXPECT_FLOAT_EQ(space.redScale, 0.5f * 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(space.greenScale, 0.5f * 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(space.blueScale, 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(Opacity(0.5f).alphaScale, 0.4f);
    PixelTransfer().Apply();
}

TEST_F(StateGL, SeparateBlendFactorsNeedTheSeparateEntryPoint) {
    const auto saved = GLEntry::glBlendFuncSeparate;
    BlendFunc::BlendOver.Apply(); // separate factors in the context
    GLEntry::glBlendFuncSeparate = nullptr;
    EXPECT_NO_THROW(BlendFunc(GL_ONE, GL_ZERO).Apply());
    EXPECT_THROW(BlendFunc(GL_ONE, GL_ZERO, GL_ONE, GL_ONE).Apply(), Unsupported);
    EXPECT_THROW(PushBlendFunc(GL_ONE, GL_ZERO, GL_ONE, GL_ONE), Unsupported);
    {
        // Restoring the separate factors fails now; the destructor must swallow that.
        GLEntry::glBlendFuncSeparate = saved;
        PushBlendFunc push;
        GLEntry::glBlendFuncSeparate = nullptr;
    }
    GLEntry::glBlendFuncSeparate = saved;
    EXPECT_EQ(Current(BlendFunc()), BlendFunc(GL_ONE, GL_ZERO));

    const auto savedActive = GLEntry::glActiveTexture;
    GLEntry::glActiveTexture = nullptr;
    EXPECT_THROW(TextureUnit(1).Apply(), Unsupported);
    GLEntry::glActiveTexture = savedActive;
}

TEST_F(StateGL, TextureBindingReplacesADeletedTextureByNone) {
    GLuint tex = MakeTexture(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, tex);
    const TextureBinding recorded = Current(TextureBinding());
    ASSERT_EQ(recorded.texture2D, tex);
    glDeleteTextures(1, &tex);
    recorded.Apply();
    EXPECT_EQ(GetInt(GL_TEXTURE_BINDING_2D), 0);
    EXPECT_FALSE(glIsTexture(tex));
}

TEST_F(StateGL, TextureUnitsRecordFourUnitsAtMostAndRestoreTheActiveOne) {
    // Unit 5 must exist for glActiveTexture: NVIDIA has only 4 fixed-function units
    // (GL_MAX_TEXTURE_UNITS) but many more texture image units.
    ASSERT_GE(std::max(GetInt(GL_MAX_TEXTURE_COORDS), GetInt(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS)), 6);
    const GLuint texA = MakeTexture(GL_TEXTURE_2D), texB = MakeTexture(GL_TEXTURE_RECTANGLE),
                 texC = MakeTexture(GL_TEXTURE_2D);

    // Unit 5 is beyond what TextureUnits handles: its binding must survive an Apply.
    TextureUnit::Activate(GL_TEXTURE5);
    glBindTexture(GL_TEXTURE_2D, texC);

    TextureUnits units(8);
    units.Retrieve();
    EXPECT_EQ(units.count, 4);
    ASSERT_GE(TextureUnit::MaxUnits(), 4);
    units.active.unit = GL_TEXTURE1;
    units.bindings[0].enable2D = true;
    units.bindings[0].texture2D = texA;
    units.bindings[0].magFilter2D = GL_NEAREST;
    units.bindings[1].enableRectangle = true;
    units.bindings[1].textureRectangle = texB;
    units.bindings[1].envMode = GL_DECAL;
    units.bindings[3].envColor[1] = 0.5f;
    for (int i = 0; i < 4; ++i)
        units.matrices[i] = As<TextureMatrix>(Filled(i + 1.0, GL_PROJECTION));
    EXPECT_TRUE(RoundTrips(units));
    EXPECT_EQ(GetInt(GL_ACTIVE_TEXTURE), GL_TEXTURE1);
    EXPECT_EQ(GetInt(GL_CLIENT_ACTIVE_TEXTURE), GL_TEXTURE1);

    units.count = 8;
    units.Apply();
    TextureUnit::Activate(GL_TEXTURE5);
    EXPECT_EQ(static_cast<GLuint>(GetInt(GL_TEXTURE_BINDING_2D)), texC);
    glBindTexture(GL_TEXTURE_2D, 0);

    const GLuint names[] = {texA, texB, texC};
    glDeleteTextures(3, names);
    SetDefault();
}

TEST_F(StateGL, TextureUnitOperations) {
    TextureUnit(1).TexCoord(p2f(0.25f, 0.75f));
    TextureUnit(2).ApplyNearest(); // no texture: only makes the unit active
    EXPECT_EQ(GetInt(GL_ACTIVE_TEXTURE), GL_TEXTURE2);
    EXPECT_EQ(Current(TextureUnit()).unit, static_cast<unsigned>(GL_TEXTURE2));
    TextureUnit(1).Apply();
    float coords[4];
    glGetFloatv(GL_CURRENT_TEXTURE_COORDS, coords);
    const float want[4] = {0.25f, 0.75f, 0.0f, 1.0f};
    ExpectFloats(coords, want, 4, "texture coordinates of unit 1");

    TextureUnit::Default.Apply();
}

// ---- attributes and State ------------------------------------------------------------------------

TEST_F(StateGL, AttributesPushOnceAndUnwindLevelsLeftAbove) {
    const int base = GetInt(GL_ATTRIB_STACK_DEPTH), clientBase = GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH);
    glDisable(GL_BLEND);
    Attributes attributes(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT, GL_CLIENT_VERTEX_ARRAY_BIT);
    attributes.Apply();
    attributes.Retrieve(); // pops its own level first: still one level
    EXPECT_EQ(GetInt(GL_ATTRIB_STACK_DEPTH), base + 1);
    EXPECT_EQ(GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH), clientBase + 1);

    // Someone pushes above it and forgets to pop.
    glEnable(GL_BLEND);
    glPushAttrib(GL_ENABLE_BIT);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glEnableClientState(GL_VERTEX_ARRAY);
    attributes.Pop();
    EXPECT_FALSE(attributes.IsPushed());
    EXPECT_EQ(GetInt(GL_ATTRIB_STACK_DEPTH), base);
    EXPECT_EQ(GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH), clientBase);
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY));
    attributes.Pop(); // nothing left to pop
    EXPECT_EQ(GetInt(GL_ATTRIB_STACK_DEPTH), base);
}

namespace {

// The parts of a context that State covers, read with plain OpenGL calls.
struct Snapshot {
    int blend = 0, blendSrc = 0, blendDst = 0, blendSrcAlpha = 0, blendEquation = 0;
    float blendColor[4] = {};
    int depthTest = 0, viewport[4] = {}, matrixMode = 0;
    float clearColor[4] = {};
    float model[16] = {}, projection[16] = {};
    int activeTexture = 0, clientActiveTexture = 0;
    int enable2D[2] = {}, enableRect[2] = {}, binding2D[2] = {}, bindingRect[2] = {}, envMode[2] = {};
    float textureMatrix[2][16] = {};
    int frameBuffer = 0, program = 0;
    int attribDepth = 0, clientAttribDepth = 0;

    static Snapshot Take() {
        Snapshot s;
        s.blend = glIsEnabled(GL_BLEND);
        s.blendSrc = GetInt(GL_BLEND_SRC_RGB);
        s.blendDst = GetInt(GL_BLEND_DST_RGB);
        s.blendSrcAlpha = GetInt(GL_BLEND_SRC_ALPHA);
        s.blendEquation = GetInt(GL_BLEND_EQUATION_RGB);
        glGetFloatv(GL_BLEND_COLOR, s.blendColor);
        s.depthTest = glIsEnabled(GL_DEPTH_TEST);
        glGetIntegerv(GL_VIEWPORT, s.viewport);
        s.matrixMode = GetInt(GL_MATRIX_MODE);
        glGetFloatv(GL_COLOR_CLEAR_VALUE, s.clearColor);
        glGetFloatv(GL_MODELVIEW_MATRIX, s.model);
        glGetFloatv(GL_PROJECTION_MATRIX, s.projection);
        s.activeTexture = GetInt(GL_ACTIVE_TEXTURE);
        s.clientActiveTexture = GetInt(GL_CLIENT_ACTIVE_TEXTURE);
        for (int i = 0; i < 2; ++i) {
            GLEntry::glActiveTexture(GL_TEXTURE0 + i);
            s.enable2D[i] = glIsEnabled(GL_TEXTURE_2D);
            s.enableRect[i] = glIsEnabled(GL_TEXTURE_RECTANGLE);
            s.binding2D[i] = GetInt(GL_TEXTURE_BINDING_2D);
            s.bindingRect[i] = GetInt(GL_TEXTURE_BINDING_RECTANGLE);
            glGetTexEnviv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, &s.envMode[i]);
            glGetFloatv(GL_TEXTURE_MATRIX, s.textureMatrix[i]);
        }
        GLEntry::glActiveTexture(s.activeTexture);
        s.frameBuffer = GetInt(GL_FRAMEBUFFER_BINDING);
        s.program = GetInt(GL_CURRENT_PROGRAM);
        s.attribDepth = GetInt(GL_ATTRIB_STACK_DEPTH);
        s.clientAttribDepth = GetInt(GL_CLIENT_ATTRIB_STACK_DEPTH);
        return s;
    }

    // The fields that differ, by name; empty when the snapshots agree.
    std::string DifferencesFrom(const Snapshot& o) const {
        std::ostringstream out;
        auto ints = [&](const char* name, const int* a, const int* b, int n) {
            for (int i = 0; i < n; ++i)
                if (a[i] != b[i])
                    out << name << "[" << i << "] " << a[i] << " vs " << b[i] << "; ";
        };
        auto floats = [&](const char* name, const float* a, const float* b, int n) {
            for (int i = 0; i < n; ++i)
                if (a[i] != b[i])
                    out << name << "[" << i << "] " << a[i] << " vs " << b[i] << "; ";
        };
        ints("blend", &blend, &o.blend, 1);
        ints("blendSrc", &blendSrc, &o.blendSrc, 1);
        ints("blendDst", &blendDst, &o.blendDst, 1);
        ints("blendSrcAlpha", &blendSrcAlpha, &o.blendSrcAlpha, 1);
        ints("blendEquation", &blendEquation, &o.blendEquation, 1);
        floats("blendColor", blendColor, o.blendColor, 4);
        ints("depthTest", &depthTest, &o.depthTest, 1);
        ints("viewport", viewport, o.viewport, 4);
        ints("matrixMode", &matrixMode, &o.matrixMode, 1);
        floats("clearColor", clearColor, o.clearColor, 4);
        floats("model", model, o.model, 16);
        floats("projection", projection, o.projection, 16);
        ints("activeTexture", &activeTexture, &o.activeTexture, 1);
        ints("clientActiveTexture", &clientActiveTexture, &o.clientActiveTexture, 1);
        ints("enable2D", enable2D, o.enable2D, 2);
        ints("enableRect", enableRect, o.enableRect, 2);
        ints("binding2D", binding2D, o.binding2D, 2);
        ints("bindingRect", bindingRect, o.bindingRect, 2);
        ints("envMode", envMode, o.envMode, 2);
        floats("textureMatrix0", textureMatrix[0], o.textureMatrix[0], 16);
        floats("textureMatrix1", textureMatrix[1], o.textureMatrix[1], 16);
        ints("frameBuffer", &frameBuffer, &o.frameBuffer, 1);
        ints("program", &program, &o.program, 1);
        ints("attribDepth", &attribDepth, &o.attribDepth, 1);
        ints("clientAttribDepth", &clientAttribDepth, &o.clientAttribDepth, 1);
        return out.str();
    }
};

// Objects to bind: two textures per unit, a framebuffer and a linked program.
struct Sentinels {
    GLuint tex2D[2] = {}, texRect[2] = {}, frameBuffer = 0, program = 0;

    void Create() {
        for (int i = 0; i < 2; ++i) {
            tex2D[i] = MakeTexture(GL_TEXTURE_2D);
            texRect[i] = MakeTexture(GL_TEXTURE_RECTANGLE);
        }
        ZEP6_GLCALL(glGenFramebuffersEXT)(1, &frameBuffer);
        const char* vs = "void main() { gl_Position = ftransform(); }";
        const char* fs = "void main() { gl_FragColor = vec4(1.0); }";
        program = ZEP6_GLCALL(glCreateProgram)();
        for (const auto& [type, text] : {std::pair<GLenum, const char*>{GL_VERTEX_SHADER, vs},
                                         std::pair<GLenum, const char*>{GL_FRAGMENT_SHADER, fs}}) {
            const GLuint shader = ZEP6_GLCALL(glCreateShader)(type);
            ZEP6_GLCALL(glShaderSource)(shader, 1, &text, nullptr);
            ZEP6_GLCALL(glCompileShader)(shader);
            ZEP6_GLCALL(glAttachShader)(program, shader);
            ZEP6_GLCALL(glDeleteShader)(shader);
        }
        ZEP6_GLCALL(glLinkProgram)(program);
    }

    void Destroy() {
        glDeleteTextures(2, tex2D);
        glDeleteTextures(2, texRect);
        ZEP6_GLCALL(glDeleteFramebuffersEXT)(1, &frameBuffer);
        ZEP6_GLCALL(glDeleteProgram)(program);
    }

    // Changes everything State covers to recognisable values, with plain OpenGL calls.
    void Damage(double seed) const {
        glEnable(GL_BLEND);
        GLEntry::glBlendFuncSeparate(GL_DST_COLOR, GL_ONE_MINUS_DST_ALPHA, GL_SRC_ALPHA_SATURATE, GL_ONE);
        GLEntry::glBlendEquation(GL_MAX);
        GLEntry::glBlendColor(0.125f, 0.25f, 0.375f, 0.5f);
        glEnable(GL_DEPTH_TEST);
        glViewport(1, 2, 3, 4);
        glClearColor(0.5f, 0.25f, 0.125f, 1.0f);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 7, 0, 9, -seed, seed);
        glMatrixMode(GL_MODELVIEW);
        glTranslated(seed, 2 * seed, 3);
        for (int i = 0; i < 2; ++i) {
            GLEntry::glActiveTexture(GL_TEXTURE0 + i);
            glEnable(GL_TEXTURE_2D);
            glEnable(GL_TEXTURE_RECTANGLE);
            glBindTexture(GL_TEXTURE_2D, tex2D[i]);
            glBindTexture(GL_TEXTURE_RECTANGLE, texRect[i]);
            glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, i == 0 ? GL_REPLACE : GL_DECAL);
            glMatrixMode(GL_TEXTURE);
            glScaled(seed + i, 2, 1);
        }
        GLEntry::glClientActiveTexture(GL_TEXTURE1);
        glMatrixMode(GL_TEXTURE);
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, frameBuffer);
        GLEntry::glUseProgram(program);
    }
};

} // namespace

TEST_F(StateGL, StateRestoresWhatItRecordedAndStaysSavedForALaterApply) {
    Sentinels objects;
    objects.Create();
    const Snapshot before = Snapshot::Take();

    State state(2);
    state.Retrieve();
    EXPECT_TRUE(state.retrieved);
    EXPECT_TRUE(state.attributes.IsPushed());
    EXPECT_EQ(Snapshot::Take().attribDepth, before.attribDepth + 1);

    for (double seed : {5.0, 6.0}) {
        objects.Damage(seed);
        EXPECT_NE(Snapshot::Take().DifferencesFrom(before), "") << "the damage must show";
        state.Apply();
        Snapshot restored = Snapshot::Take();
        EXPECT_EQ(restored.attribDepth, before.attribDepth + 1);
        restored.attribDepth = before.attribDepth;
        restored.clientAttribDepth = before.clientAttribDepth;
        EXPECT_EQ(restored.DifferencesFrom(before), "") << "after damage " << seed;
    }
    state.Pop();
    EXPECT_EQ(Snapshot::Take().DifferencesFrom(before), "");
    objects.Destroy();
}

TEST_F(StateGL, StateBindsNoneForAFramebufferOrProgramDeletedSinceItWasRecorded) {
    Sentinels objects;
    objects.Create();
    GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, objects.frameBuffer);
    GLEntry::glUseProgram(objects.program);
    State state(2);
    state.Retrieve();
    GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, 0);
    GLEntry::glUseProgram(0);
    objects.Destroy();
    state.Apply();
    state.Pop();
    EXPECT_EQ(GetInt(GL_FRAMEBUFFER_BINDING), 0);
    EXPECT_EQ(GetInt(GL_CURRENT_PROGRAM), 0);
    EXPECT_FALSE(GLEntry::glIsFramebufferEXT(objects.frameBuffer)) << "the old name must not come back";
}

TEST_F(StateGL, PushStateRestoresAlsoWhenAnExceptionLeavesItsScope) {
    Sentinels objects;
    objects.Create();
    const Snapshot before = Snapshot::Take();
    try {
        PushState saved;
        objects.Damage(3.0);
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(Snapshot::Take().DifferencesFrom(before), "");
    objects.Destroy();
}

// ---- push classes ----------------------------------------------------------------------------------

namespace {

using Guard = std::shared_ptr<void>;
template <class T> struct NotDeduced { using type = T; };

// Sets `original`, then twice opens a scope with the push object from `push`, checks what it set
// (if anything), changes the state to `damage`, and leaves the scope, once normally and once
// through an exception. Each time the state must be back at `original`.
template <class T>
void ExpectPushRestores(const char* name, const T& original, const std::function<Guard()>& push,
                        const typename NotDeduced<T>::type* setInside,
                        const typename NotDeduced<T>::type& damage) {
    SCOPED_TRACE(name);
    original.Apply();
    ASSERT_TRUE(Same(Current(original), original));
    ASSERT_FALSE(Same(original, damage));
    {
        Guard guard = push();
        if (setInside) {
            EXPECT_TRUE(Same(Current(original), *setInside)) << "the push object did not set its value";
        }
        damage.Apply();
    }
    EXPECT_TRUE(Same(Current(original), original)) << "not restored at the end of the scope";
    try {
        Guard guard = push();
        damage.Apply();
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(Same(Current(original), original)) << "not restored when an exception left the scope";
    EXPECT_EQ(ErrorsLeft(), "");
}

template <class P, class... A> std::function<Guard()> Make(A... args) {
    return [=] { return std::make_shared<P>(args...); };
}

} // namespace

TEST_F(StateGL, EveryPushClassRestoresWhatItSaved) {
    const BlendFunc over = BlendFunc::BlendOver, replace = BlendFunc::Replace, invert = BlendFunc::Invert;
    const BlendFunc mask = BlendFunc::Mask;
    ExpectPushRestores("Push<BlendFunc>", over, Make<Push<BlendFunc>>(), nullptr, replace);
    ExpectPushRestores("Push<BlendFunc>(value)", over, Make<Push<BlendFunc>, BlendFunc>(invert), &invert,
                       replace);
    ExpectPushRestores("PushBlendFunc", over, Make<PushBlendFunc>(), nullptr, replace);
    ExpectPushRestores("PushBlendFunc(src, dst)", over,
                       Make<PushBlendFunc, unsigned, unsigned>(GL_ONE_MINUS_SRC_COLOR, GL_ZERO), &invert,
                       replace);
    ExpectPushRestores(
        "PushBlendFunc(4)", replace,
        Make<PushBlendFunc, unsigned, unsigned, unsigned, unsigned>(GL_ZERO, GL_ONE, GL_ZERO, GL_SRC_ALPHA),
        &mask, over);
    BlendFunc off = over;
    off.flag = false;
    ExpectPushRestores("PushBlendFunc enables blending", off,
                       Make<PushBlendFunc, unsigned, unsigned>(GL_ONE, GL_ZERO), &replace, over);

    ExpectPushRestores("PushColor", Color::Yellow, Make<PushColor>(), nullptr, Color::Blue);

    const ModelMatrix model = As<ModelMatrix>(Filled(1.0, GL_TEXTURE));
    const ModelMatrix modelDamage = As<ModelMatrix>(Filled(-1.0, GL_PROJECTION));
    ExpectPushRestores("PushModelMatrix", model, Make<PushModelMatrix>(), nullptr, modelDamage);
    const ProjectionMatrix projection = As<ProjectionMatrix>(Filled(2.0, GL_MODELVIEW));
    ExpectPushRestores("PushProjectionMatrix", projection, Make<PushProjectionMatrix>(), nullptr,
                       As<ProjectionMatrix>(Filled(3.0, GL_TEXTURE)));
    const TextureMatrix texture = As<TextureMatrix>(Filled(4.0, GL_PROJECTION));
    ExpectPushRestores("PushTextureMatrix", texture, Make<PushTextureMatrix>(), nullptr,
                       As<TextureMatrix>(Filled(5.0, GL_MODELVIEW)));

    PixelTransfer scaled;
    scaled.redScale = 0.5f;
    scaled.redBias = 0.25f;
    PixelTransfer composed = scaled; // 2, 0.1 after 0.5, 0.25
    composed.redScale = 1.0f;
    composed.redBias = 0.6f;
    ExpectPushRestores("PushPixelTransfer", scaled, Make<PushPixelTransfer>(), nullptr, PixelTransfer());
    ExpectPushRestores("PushPixelTransfer(values)", scaled,
                       Make<PushPixelTransfer, float, float, float, float, float, float, float, float>(
                           2.0f, 0.1f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f),
                       &composed, PixelTransfer());

    const PixelUnpack unpack(2, 10, 20, 3, 4), unpackSet(1, 5, 6, 7, 8);
    ExpectPushRestores("PushPixelUnpack", unpack,
                       Make<PushPixelUnpack, int, int, int, int, int>(1, 5, 6, 7, 8), &unpackSet,
                       PixelUnpack());
    zep6test::TestImage image(zep6test::Formats::RGBA16, 9, 11, 8);
    const PixelUnpack unpackImage(8, 10, 11, 2, 3); // rows of 80 bytes: alignment 8
    ExpectPushRestores("PushPixelUnpack(image)", unpack,
                       Make<PushPixelUnpack, const XIImage*, int, int>(&image, 2, 3), &unpackImage,
                       PixelUnpack());
    const PixelPack pack(4, 12, 13, 1, 2), packImage(8, 10, 11, 5, 6);
    ExpectPushRestores("PushPixelPack(image)", pack,
                       Make<PushPixelPack, const XIImage*, int, int>(&image, 5, 6), &packImage, PixelPack());
    const PixelPack packSet(1, 2, 3, 4, 5);
    ExpectPushRestores("PushPixelPack", pack, Make<PushPixelPack, int, int, int, int, int>(1, 2, 3, 4, 5),
                       &packSet, PixelPack());
    const PixelStore store(2, 30, 1, 1), storeSet(1, 7, 8, 9);
    ExpectPushRestores("PushPixelStore", store, Make<PushPixelStore, int, int, int, int>(1, 7, 8, 9),
                       &storeSet, PixelStore());

    const GLuint tex = MakeTexture(GL_TEXTURE_2D);
    TextureBinding bound;
    bound.enable2D = true;
    bound.texture2D = tex;
    bound.envMode = GL_BLEND;
    ExpectPushRestores("Push<TextureBinding>", bound, Make<Push<TextureBinding>>(), nullptr,
                       TextureBinding());
    glDeleteTextures(1, &tex);
    TextureBinding().Apply();
}

TEST_F(StateGL, PushedMatricesSelectTheirModeAndRestoreTheCallersMode) {
    glMatrixMode(GL_TEXTURE);
    {
        PushModelMatrix model;
        EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_MODELVIEW);
        {
            PushProjectionMatrix projection;
            EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_PROJECTION);
        }
        EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_MODELVIEW);
        Push<TextureMatrix> texture;
        EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_TEXTURE);
    }
    EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_TEXTURE);
    glMatrixMode(GL_MODELVIEW);
}

TEST_F(StateGL, PushedStacksPopAndLeaveModelViewSelected) {
    struct Case {
        const char* name;
        GLenum mode, matrix, depth;
        std::function<Guard()> push;
    };
    const Case cases[] = {
        {"model", GL_MODELVIEW, GL_MODELVIEW_MATRIX, GL_MODELVIEW_STACK_DEPTH, Make<PushModelStack>()},
        {"projection", GL_PROJECTION, GL_PROJECTION_MATRIX, GL_PROJECTION_STACK_DEPTH,
         Make<PushProjectionStack>()},
        {"texture", GL_TEXTURE, GL_TEXTURE_MATRIX, GL_TEXTURE_STACK_DEPTH, Make<PushTextureStack>()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        glMatrixMode(c.mode);
        glLoadIdentity();
        glTranslatef(1, 2, 3);
        glMatrixMode(GL_PROJECTION == c.mode ? GL_TEXTURE : GL_PROJECTION);
        float before[16], after[16];
        glMatrixMode(c.mode);
        glGetFloatv(c.matrix, before);
        const int depth = GetInt(c.depth);
        {
            Guard push = c.push();
            EXPECT_EQ(GetInt(GL_MATRIX_MODE), static_cast<int>(c.mode));
            EXPECT_EQ(GetInt(c.depth), depth + 1);
            glScalef(5, 5, 5);
            glMatrixMode(GL_PROJECTION == c.mode ? GL_TEXTURE : GL_PROJECTION);
        }
        EXPECT_EQ(GetInt(c.depth), depth);
        EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_MODELVIEW);
        glMatrixMode(c.mode);
        glGetFloatv(c.matrix, after);
        ExpectFloats(after, before, 16, "matrix");
        glLoadIdentity();
    }
    glMatrixMode(GL_MODELVIEW);
}

TEST_F(StateGL, UnitScaleKeepsThePointsPositionButDropsScale) {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glTranslatef(10, 20, 30);
    glScalef(2, 3, 4);
    float before[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, before);
    {
        UnitScale unit(p3f(1, 1, 1));
        float m[16];
        glGetFloatv(GL_MODELVIEW_MATRIX, m);
        // The identity translated to where the point went: (2 + 10, 3 + 20, 4 + 30).
        const float want[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 12, 23, 34, 1};
        ExpectFloats(m, want, 16, "model-view inside");
    }
    {
        UnitScale unit;
        const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        float m[16];
        glGetFloatv(GL_MODELVIEW_MATRIX, m);
        ExpectFloats(m, identity, 16, "model-view inside");
    }
    float after[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, after);
    ExpectFloats(after, before, 16, "model-view after");
    glLoadIdentity();
}

TEST_F(StateGL, PushFrameBufferRebindsTheSavedFramebuffer) {
    GLuint fbo[2] = {};
    ZEP6_GLCALL(glGenFramebuffersEXT)(2, fbo);
    GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, fbo[0]);
    {
        PushFrameBuffer push(fbo[1]);
        EXPECT_EQ(static_cast<GLuint>(GetInt(GL_FRAMEBUFFER_BINDING)), fbo[1]);
        EXPECT_EQ(push.Saved(), fbo[0]);
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, 0);
    }
    EXPECT_EQ(static_cast<GLuint>(GetInt(GL_FRAMEBUFFER_BINDING)), fbo[0]);
    try {
        PushFrameBuffer push;
        GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, fbo[1]);
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(static_cast<GLuint>(GetInt(GL_FRAMEBUFFER_BINDING)), fbo[0]);
    GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, 0);
    GLEntry::glDeleteFramebuffersEXT(2, fbo);
}

// ---- SetDefault ------------------------------------------------------------------------------------

TEST_F(StateGL, SetDefaultLeavesTheLibrarysDefaultState) {
    // Damage everything SetDefault covers, with plain OpenGL calls.
    glEnable(GL_ALPHA_TEST);
    glAlphaFunc(GL_LESS, 0.5f);
    glDisable(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE);
    GLEntry::glBlendEquation(GL_MIN);
    GLEntry::glBlendColor(1, 1, 1, 1);
    glClearColor(1, 1, 1, 1);
    glClearDepth(0.5);
    glColor4f(0.5f, 0.5f, 0.5f, 0.5f);
    glColorMask(GL_FALSE, GL_TRUE, GL_FALSE, GL_TRUE);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_FRONT);
    const float modelAmbient[4] = {1, 0, 0, 1};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, modelAmbient);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 0);
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, 1);
    glLightModeli(GL_LIGHT_MODEL_COLOR_CONTROL, GL_SINGLE_COLOR);
    glMaterialfv(GL_BACK, GL_AMBIENT, modelAmbient);
    const int units = TextureUnit::MaxUnits();
    for (int i = 0; i < units; ++i) {
        GLEntry::glActiveTexture(GL_TEXTURE0 + i);
        glEnable(GL_TEXTURE_2D);
        glEnable(GL_TEXTURE_RECTANGLE);
        glEnable(GL_TEXTURE_CUBE_MAP);
    }
    glMatrixMode(GL_TEXTURE);
    glScalef(2, 2, 2);
    GLEntry::glClientActiveTexture(GL_TEXTURE2);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    GLEntry::glClientActiveTexture(GL_TEXTURE0);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_NORMAL_ARRAY);
    glEnableClientState(GL_COLOR_ARRAY);
    GLEntry::glClientActiveTexture(GL_TEXTURE2);
    glEnable(GL_DITHER);
    glDisable(GL_NORMALIZE);
    glFrontFace(GL_CW);
    glMatrixMode(GL_PROJECTION);
    glOrtho(0, 5, 0, 5, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glTranslatef(1, 2, 3);
    glMatrixMode(GL_TEXTURE);
    ASSERT_EQ(ErrorsLeft(), "");

    SetDefault();

    EXPECT_FALSE(glIsEnabled(GL_ALPHA_TEST));
    EXPECT_EQ(GetInt(GL_ALPHA_TEST_FUNC), GL_ALWAYS);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_EQ(GetInt(GL_BLEND_SRC_RGB), GL_SRC_ALPHA);
    EXPECT_EQ(GetInt(GL_BLEND_DST_RGB), GL_ONE_MINUS_SRC_ALPHA);
    EXPECT_EQ(GetInt(GL_BLEND_SRC_ALPHA), GL_SRC_ALPHA);
    EXPECT_EQ(GetInt(GL_BLEND_DST_ALPHA), GL_ONE_MINUS_SRC_ALPHA);
    EXPECT_EQ(GetInt(GL_BLEND_EQUATION_RGB), GL_FUNC_ADD);
    EXPECT_EQ(GetInt(GL_BLEND_EQUATION_ALPHA), GL_FUNC_ADD);
    float v[16];
    const float zero4[4] = {0, 0, 0, 0}, one4[4] = {1, 1, 1, 1};
    glGetFloatv(GL_BLEND_COLOR, v);
    ExpectFloats(v, zero4, 4, "blend colour");
    glGetFloatv(GL_COLOR_CLEAR_VALUE, v);
    ExpectFloats(v, zero4, 4, "clear colour");
    glGetFloatv(GL_DEPTH_CLEAR_VALUE, v);
    EXPECT_FLOAT_EQ(v[0], 1.0f);
    glGetFloatv(GL_CURRENT_COLOR, v);
    ExpectFloats(v, one4, 4, "current colour");
    EXPECT_EQ(Color::sCurrentColor, Color::White);
    GLboolean mask[4];
    glGetBooleanv(GL_COLOR_WRITEMASK, mask);
    for (GLboolean channel : mask)
        EXPECT_EQ(channel, GL_TRUE);
    EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
    EXPECT_EQ(GetInt(GL_CULL_FACE_MODE), GL_BACK);

    EXPECT_EQ(Current(LightModel()), LightModel());
    glGetMaterialfv(GL_BACK, GL_AMBIENT, v);
    ExpectFloats(v, Color::DarkGray, 4, "back ambient");
    glGetMaterialfv(GL_FRONT, GL_DIFFUSE, v);
    ExpectFloats(v, Color::LightGray, 4, "front diffuse");
    EXPECT_EQ(Current(Material()), Material::Default);

    for (int i = 0; i < units; ++i) {
        GLEntry::glActiveTexture(GL_TEXTURE0 + i);
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D)) << "unit " << i;
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_RECTANGLE)) << "unit " << i;
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_CUBE_MAP)) << "unit " << i;
    }
    GLEntry::glActiveTexture(GL_TEXTURE0);
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    glGetFloatv(GL_TEXTURE_MATRIX, v);
    ExpectFloats(v, identity, 16, "texture matrix");
    EXPECT_EQ(GetInt(GL_CLIENT_ACTIVE_TEXTURE), GL_TEXTURE0);
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_ARRAY));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_COORD_ARRAY));
    EXPECT_FALSE(glIsEnabled(GL_NORMAL_ARRAY));
    EXPECT_FALSE(glIsEnabled(GL_COLOR_ARRAY));
    EXPECT_FALSE(glIsEnabled(GL_DITHER));
    EXPECT_TRUE(glIsEnabled(GL_NORMALIZE));
    EXPECT_EQ(GetInt(GL_FRONT_FACE), GL_CCW);
    glGetFloatv(GL_PROJECTION_MATRIX, v);
    ExpectFloats(v, identity, 16, "projection");
    glGetFloatv(GL_MODELVIEW_MATRIX, v);
    ExpectFloats(v, identity, 16, "model-view");
    EXPECT_EQ(GetInt(GL_MATRIX_MODE), GL_MODELVIEW);
}

TEST_F(StateGL, SetDefaultCheckedRightAfterItRuns) {
    // The active texture unit is read first thing: the test above reads it after walking units.
    GLEntry::glActiveTexture(GL_TEXTURE3);
    GLEntry::glClientActiveTexture(GL_TEXTURE2);
    SetDefault();
    EXPECT_EQ(GetInt(GL_ACTIVE_TEXTURE), GL_TEXTURE0);
    EXPECT_EQ(GetInt(GL_CLIENT_ACTIVE_TEXTURE), GL_TEXTURE0);
}

TEST_F(StateGL, ANewRootContextStartsInTheDefaultState) {
    // The root context was made by this test's Select(): the default-state hook ran on it.
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_FALSE(glIsEnabled(GL_DITHER));
    EXPECT_TRUE(glIsEnabled(GL_NORMALIZE));
    EXPECT_EQ(Color::sCurrentColor, Color::White);
    EXPECT_EQ(Current(LightModel()), LightModel());
}

// ---- clearing --------------------------------------------------------------------------------------

namespace {
void ReadPixel(int x, int y, float* rgba) {
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_FLOAT, rgba);
}
float ReadDepth(int x, int y) {
    float d = -1.0f;
    glReadPixels(x, y, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &d);
    return d;
}
// 8-bit storage: within half a step (a little more, so that a value halfway between two steps
// passes whichever way the driver rounds it).
void ExpectPixel(int x, int y, const Color& want) {
    float got[4];
    ReadPixel(x, y, got);
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(got[i], static_cast<const float*>(want)[i], 0.5001 / 255.0)
            << "(" << x << ", " << y << ") " << i;
}
} // namespace

TEST_F(StateGL, ClearingHelpersClearAndKeepTheirSettings) {
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    ASSERT_GE(viewport[2], 8);
    ASSERT_GE(viewport[3], 8);
    const ClearColor clearValues(Color(0.5f, 0.5f, 0.5f, 0.5f), 0.75f);
    clearValues.Apply();
    glDepthFunc(GL_LESS);
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
    glDisable(GL_SCISSOR_TEST);

    ClearAllBuffers(Color::Red, 0.25f);
    ExpectPixel(0, 0, Color::Red);
    ExpectPixel(7, 7, Color::Red);
    EXPECT_NEAR(ReadDepth(3, 3), 0.25f, 1e-6);

    const Region region(2, 3, 4, 2);
    ClearColorBuffer(region, Color::Blue);
    ExpectPixel(2, 3, Color::Blue);
    ExpectPixel(5, 4, Color::Blue);
    ExpectPixel(1, 3, Color::Red);
    ExpectPixel(6, 4, Color::Red);
    ExpectPixel(2, 5, Color::Red);
    ClearDepthBuffer(region, 0.5f);
    EXPECT_NEAR(ReadDepth(3, 4), 0.5f, 1e-6);
    EXPECT_NEAR(ReadDepth(0, 0), 0.25f, 1e-6);

    ClearColorBuffer(Region(), Color::Green); // invalid: nothing
    ClearAllBuffers(Region(), Color::Green, 1.0f);
    ExpectPixel(0, 0, Color::Red);

    // 0.5 lies exactly between two 8-bit steps: llvmpipe stores 128, NVIDIA 127.
    ClearAlphaBuffer(0.5f);
    ExpectPixel(0, 0, Color(1, 0, 0, 127.5f / 255.0f));
    ExpectPixel(3, 4, Color(0, 0, 1, 127.5f / 255.0f));

    ClearColorBuffer(Color::Green);
    ExpectPixel(3, 4, Color::Green);
    ClearDepthBuffer(1.0f);
    EXPECT_NEAR(ReadDepth(3, 4), 1.0f, 1e-6);
    ClearAllBuffers(Region(0, 0, 1, 1), Color::Black, 0.0f);
    ExpectPixel(0, 0, Color::Black);
    ExpectPixel(1, 0, Color::Green);

    // Every setting the helpers touch is as before.
    EXPECT_EQ(Current(clearValues), clearValues);
    EXPECT_EQ(GetInt(GL_DEPTH_FUNC), GL_LESS);
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_FALSE(glIsEnabled(GL_SCISSOR_TEST));
    GLboolean depthMask = GL_TRUE;
    glGetBooleanv(GL_DEPTH_WRITEMASK, &depthMask);
    EXPECT_EQ(depthMask, GL_FALSE);
    EXPECT_EQ(Current(ColorMask()), ColorMask::Default);
    glDepthMask(GL_TRUE);
}

// ---- the GL worker ---------------------------------------------------------------------------------

namespace {

Thread& Worker() {
    if (!sThread)
        sThread = new Thread();
    return *sThread;
}

bool RunFunction(void* data) {
    return (*static_cast<std::function<bool()>*>(data))();
}

// Runs `body` as a job on the worker thread; returns the job's result.
bool RunJob(std::function<bool()> body) {
    return Worker().Execute(RunFunction, &body);
}

} // namespace

TEST(WorkerState, AJobsChangesDoNotReachTheNextJob) {
    Sentinels objects;
    Snapshot baseline, damaged, next;
    std::string errors;
    ASSERT_TRUE(RunJob([&] {
        objects.Create();
        baseline = Snapshot::Take();
        errors = ErrorsLeft();
        return true;
    }));
    ASSERT_EQ(errors, "");
    ASSERT_TRUE(RunJob([&] {
        objects.Damage(7.0);
        damaged = Snapshot::Take();
        return true;
    }));
    ASSERT_TRUE(RunJob([&] {
        next = Snapshot::Take();
        errors = ErrorsLeft();
        return true;
    }));
    EXPECT_EQ(errors, "") << "capture or restore left OpenGL errors";
    // The damage covered every part of the snapshot that a job can change.
    for (const char* part :
         {"blend", "blendSrc", "blendEquation", "blendColor", "viewport", "model", "projection",
          "binding2D[0]", "binding2D[1]", "bindingRect[0]", "bindingRect[1]", "enable2D[1]", "textureMatrix1",
          "frameBuffer", "program", "matrixMode", "clientActiveTexture"})
        EXPECT_NE(damaged.DifferencesFrom(baseline).find(part), std::string::npos)
            << part << " was not damaged";
    EXPECT_EQ(next.DifferencesFrom(baseline), "");
    RunJob([&] {
        objects.Destroy();
        return true;
    });
}

TEST(WorkerState, AJobSeesTheStateItFoundAndLeavesItSo) {
    // The test thread sets recognisable state in the root context, then lets it go. Each of the
    // two recorded units is tried as the active one: the capture walks both and must come back.
    Sentinels objects;
    for (GLenum activeUnit : {GL_TEXTURE0, GL_TEXTURE1}) {
        SCOPED_TRACE(activeUnit == GL_TEXTURE0 ? "unit 0 active" : "unit 1 active");
        Snapshot set;
        {
            PushOpenGLContext saved;
            ASSERT_TRUE(RootContext::Select());
            if (!objects.program)
                objects.Create();
            objects.Damage(9.0 + activeUnit);
            GLEntry::glActiveTexture(activeUnit);
            GLEntry::glClientActiveTexture(activeUnit);
            set = Snapshot::Take();
            ASSERT_EQ(ErrorsLeft(), "");
        }
        Snapshot inside;
        ASSERT_TRUE(RunJob([&] {
            inside = Snapshot::Take();
            // Change it all; the restore must bring back the test's values, not the defaults.
            SetDefault();
            GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, 0);
            GLEntry::glUseProgram(0);
            return true;
        }));
        // Inside a job the capture holds one level of each attribute stack.
        EXPECT_EQ(inside.attribDepth, set.attribDepth + 1);
        EXPECT_EQ(inside.clientAttribDepth, set.clientAttribDepth + 1);
        inside.attribDepth = set.attribDepth;
        inside.clientAttribDepth = set.clientAttribDepth;
        EXPECT_EQ(inside.DifferencesFrom(set), "") << "capturing the state changed it";
        {
            PushOpenGLContext saved;
            ASSERT_TRUE(RootContext::Select());
            EXPECT_EQ(Snapshot::Take().DifferencesFrom(set), "") << "the job's changes stayed";
            EXPECT_EQ(ErrorsLeft(), "");
        }
    }
    PushOpenGLContext saved;
    ASSERT_TRUE(RootContext::Select());
    objects.Destroy();
}

TEST(WorkerState, FailingAndUnbalancedJobsLeaveTheAttributeStacksAsTheyWere) {
    Snapshot baseline, after;
    ASSERT_TRUE(RunJob([&] {
        baseline = Snapshot::Take();
        return true;
    }));

    // A job that throws after changing state.
    EXPECT_FALSE(RunJob([] {
        glDisable(GL_BLEND);
        glViewport(0, 0, 1, 1);
        throw Error("job failed");
        return true;
    }));
    EXPECT_STREQ(Worker().ErrorMessage(), "job failed");
    // A job that pushes attribute levels and never pops them.
    EXPECT_TRUE(RunJob([] {
        glPushAttrib(GL_ALL_ATTRIB_BITS);
        glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS);
        glDisable(GL_BLEND);
        return true;
    }));
    // A job after which the restore itself fails (no glUseProgram): the attribute levels of the
    // capture must still be given back.
    const auto useProgram = GLEntry::glUseProgram;
    EXPECT_FALSE(RunJob([] {
        GLEntry::glUseProgram = nullptr;
        glDisable(GL_BLEND);
        return true;
    }));
    GLEntry::glUseProgram = useProgram;
    EXPECT_STREQ(Worker().ErrorMessage(), Unsupported().what());

    std::string errors;
    ASSERT_TRUE(RunJob([&] {
        after = Snapshot::Take();
        errors = ErrorsLeft();
        return true;
    }));
    EXPECT_EQ(errors, "");
    EXPECT_EQ(after.DifferencesFrom(baseline), "");
}
