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
#include "gl/state/CullFace.h"
#include "gl/state/Matrices.h"
#include "gl/state/PixelStore.h"
#include "gl/state/PixelTransfer.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/state/Texturing.h"
#include "support/StateSentinel.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace zep6test;

namespace {

std::vector<float> GetFloats(GLenum name, int n) {
    std::vector<float> v(16);
    glGetFloatv(name, v.data());
    v.resize(std::size_t(n));
    return v;
}
std::vector<float> Floats(const float* values, int n = 4) {
    return std::vector<float>(values, values + n);
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
    return std::tie(a.redScale, a.greenScale, a.blueScale, a.alphaScale) ==
           std::tie(b.redScale, b.greenScale, b.blueScale, b.alphaScale);
}
bool Same(const Opacity& a, const Opacity& b) {
    return a.alphaScale == b.alphaScale;
}
bool Same(const ColorMatrix& a, const ColorMatrix& b) {
    return std::equal(a.m, a.m + 16, b.m);
}
bool Same(const TextureUnits& a, const TextureUnits& b) {
    return a.count == b.count && a.active.unit == b.active.unit &&
           std::equal(a.bindings, a.bindings + a.count, b.bindings) &&
           std::equal(a.matrices, a.matrices + a.count, b.matrices);
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

// A matrix value of the given mode: 16 different values exact in float (so OpenGL keeps them
// unchanged) from `first` on, or the given values in OpenGL's column order.
template <class M = Matrix> M Filled(double first, unsigned int mode) {
    M m;
    m.mode = mode;
    for (int i = 0; i < 16; ++i)
        m.m[i] = first + i * 0.5;
    return m;
}
template <class M> M MatrixOf(unsigned int mode, std::initializer_list<double> values) {
    M m;
    m.mode = mode;
    std::copy(values.begin(), values.end(), m.m);
    return m;
}

// A push object of any type, held for a scope.
using Guard = std::shared_ptr<void>;
template <class P, class... A> std::function<Guard()> Make(A... args) {
    return [=] { return std::make_shared<P>(args...); };
}

} // namespace

// The value classes whose save and restore the operation table does not hold; those it does (blend
// function, equation and operation, depth function, pixel unpack, the matrices) show there a wrong
// Apply or Retrieve as state an operation changed. No operation in the table puts the colour
// mask's alpha or the pack layout away from where the snapshot starts them, so those two stay.
// TextureBinding round-trips as part of TextureUnits, below.
TEST_F(StateGL, ValueClassesTheOperationTableDoesNotHoldGiveBackWhatTheyAppliedAndCompose) {
    BlendColor blendColorOff(Color(0.5f, 0.25f, 0.125f, 1.0f));
    blendColorOff.flag = false;
    PixelTransfer transfer;
    transfer.redScale = 2.0f, transfer.redBias = 0.25f, transfer.greenScale = 0.5f, transfer.blueBias = -0.5f;
    transfer.alphaScale = 4.0f, transfer.alphaBias = 0.125f;
    ColorSpace space;
    space.redScale = 0.5f, space.alphaScale = 3.0f;
    Opacity opacity;
    opacity.alphaScale = 0.25f;

    // In this order each value differs from the one before it (RoundTrips insists).
    EXPECT_TRUE(RoundTrips(AlphaFunc(GL_GEQUAL, 0.25f)));
    EXPECT_TRUE(RoundTrips(BlendColor(Color(0.25f, 0.5f, 0.75f, 1.0f))));
    EXPECT_TRUE(RoundTrips(blendColorOff));
    EXPECT_TRUE(RoundTrips(ClearColor(Color(0.25f, 0.5f, 0.75f, 0.125f), 0.5f)));
    EXPECT_TRUE(RoundTrips(ColorMask::NoAlpha));
    EXPECT_TRUE(RoundTrips(ColorMask::AlphaOnly));
    EXPECT_TRUE(RoundTrips(CullFace(true, GL_FRONT)));
    EXPECT_TRUE(RoundTrips(PixelStore(1, 17, 3, 5)));
    EXPECT_TRUE(RoundTrips(PixelPack(8, 21, 6, 2, 3)));
    EXPECT_TRUE(RoundTrips(transfer));
    EXPECT_TRUE(RoundTrips(space));
    EXPECT_TRUE(RoundTrips(opacity));

    // The composing constructors of ColorSpace and Opacity read the current transfer (PixelTransfer's
    // composition: PushPixelTransfer(values) among the push classes).
    PixelTransfer().Apply();
    glPixelTransferf(GL_RED_SCALE, 0.5f);
    glPixelTransferf(GL_GREEN_SCALE, 0.5f);
    glPixelTransferf(GL_ALPHA_SCALE, 0.8f);
    const ColorSpace composed(GL_UNSIGNED_SHORT, 32768);
    EXPECT_FLOAT_EQ(composed.redScale, 0.5f * 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(composed.greenScale, 0.5f * 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(composed.blueScale, 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(Opacity(0.5f).alphaScale, 0.4f);
    PixelTransfer().Apply();

    // The colour matrix works where imaging exists and is harmless elsewhere.
    const ColorMatrix m(Color(0, 1, 0, 0), Color(0, 0, 1, 0), Color(0, 0, 0, 1), Color(1, 0, 0, 0));
    glMatrixMode(GL_TEXTURE);
    m.Apply();
    if (ColorMatrix::IsSupported()) {
        EXPECT_TRUE(Same(Current(ColorMatrix()), m));
        EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
        ColorMatrix(Color(1, 0, 0, 0), Color(0, 1, 0, 0), Color(0, 0, 1, 0), Color(0, 0, 0, 1)).Apply();
    } else {
        // No colour matrix: nothing is selected and no error is raised (checked by TearDown).
        EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_TEXTURE);
        EXPECT_TRUE(Same(Current(m), m));
    }
    glMatrixMode(GL_MODELVIEW);
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

TEST_F(StateGL, TextureUnitsRecordFourUnitsAtMostAndRestoreTheActiveOne) {
    // Unit 5 must exist for glActiveTexture: NVIDIA has only 4 fixed-function units
    // (GL_MAX_TEXTURE_UNITS) but many more texture image units.
    ASSERT_GE(std::max(Integer(GL_MAX_TEXTURE_COORDS), Integer(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS)), 6);
    const GLuint names[] = {MakeTexture(GL_TEXTURE_2D), MakeTexture(GL_TEXTURE_RECTANGLE),
                            MakeTexture(GL_TEXTURE_2D), MakeTexture(GL_TEXTURE_RECTANGLE)};

    // Unit 5 is beyond what TextureUnits handles: its binding must survive an Apply.
    TextureUnit::Activate(GL_TEXTURE5);
    glBindTexture(GL_TEXTURE_2D, names[2]);

    TextureUnits units(8);
    units.Retrieve();
    EXPECT_EQ(units.count, 4);
    ASSERT_GE(TextureUnit::MaxUnits(), 4);
    units.active.unit = GL_TEXTURE1;
    // Every field of a binding differs from its default on unit 0. The filters belong to the
    // texture: each texture is bound on one unit only.
    TextureBinding& first = units.bindings[0];
    first.enable2D = first.enableRectangle = true;
    first.texture2D = names[0];
    first.textureRectangle = names[3];
    first.magFilter2D = first.magFilterRectangle = first.minFilterRectangle = GL_NEAREST;
    first.minFilter2D = GL_NEAREST_MIPMAP_LINEAR;
    first.envMode = GL_REPLACE;
    first.envColor[0] = 0.25f, first.envColor[3] = 0.75f;
    units.bindings[1].enableRectangle = true;
    units.bindings[1].textureRectangle = names[1];
    units.bindings[1].envMode = GL_DECAL;
    units.bindings[3].envColor[1] = 0.5f;
    for (int i = 0; i < 4; ++i)
        units.matrices[i] = Filled<TextureMatrix>(i + 1.0, GL_PROJECTION);
    EXPECT_TRUE(RoundTrips(units));
    EXPECT_EQ(Integer(GL_ACTIVE_TEXTURE), GL_TEXTURE1);
    EXPECT_EQ(Integer(GL_CLIENT_ACTIVE_TEXTURE), GL_TEXTURE1);

    units.count = 8;
    units.Apply();
    TextureUnit::Activate(GL_TEXTURE5);
    EXPECT_EQ(static_cast<GLuint>(Integer(GL_TEXTURE_BINDING_2D)), names[2]);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDeleteTextures(4, names);
    SetDefault();
}

// A State restores what it recorded at every Apply (the attributes stay saved for a later one, in
// one level however often it records: levels a job leaves above it are the worker's case), and
// binds none for an object deleted since it was recorded: the old names must not come back.
TEST_F(StateGL, StateRestoresWhatItRecordedAndNothingDeletedSince) {
    Sentinels objects;
    objects.Create();
    const Snapshot before = Snapshot::Take();
    State state(2);
    state.Retrieve();
    state.Retrieve(); // records afresh in the same level of the attribute stacks
    for (double seed : {5.0, 6.0}) {
        objects.Damage(seed);
        state.Apply();
        EXPECT_EQ(Snapshot::Take().DifferencesFrom(before, 1), "") << "after damage " << seed;
    }
    state.Pop();
    EXPECT_EQ(Snapshot::Take().DifferencesFrom(before), "");

    GLEntry::glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, objects.tex2D[0]);
    GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, objects.frameBuffer);
    GLEntry::glUseProgram(objects.program);
    State recorded(2);
    recorded.Retrieve();
    ASSERT_EQ(recorded.units.bindings[0].texture2D, objects.tex2D[0]);
    glBindTexture(GL_TEXTURE_2D, 0);
    GLEntry::glBindFramebufferEXT(GL_FRAMEBUFFER, 0);
    GLEntry::glUseProgram(0);
    objects.Destroy();
    recorded.Apply();
    recorded.Pop();
    EXPECT_EQ(std::make_tuple(Integer(GL_TEXTURE_BINDING_2D), Integer(GL_FRAMEBUFFER_BINDING), Integer(GL_CURRENT_PROGRAM)),
              std::make_tuple(0, 0, 0));
    EXPECT_FALSE(glIsTexture(objects.tex2D[0]) || GLEntry::glIsFramebufferEXT(objects.frameBuffer));
}

namespace {

template <class T> struct NotDeduced { using type = T; };

// Sets `original`, then twice opens a scope with the push object from `push`, checks what it set
// (if anything), changes the state to `damage`, and leaves the scope, once normally and once
// through an exception. Each time the state must be back at `original`.
template <class T>
void ExpectPushRestores(const char* name, const T& original, const std::function<Guard()>& push,
                        const typename NotDeduced<T>::type* setInside, const typename NotDeduced<T>::type& damage) {
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
        const Guard guard = push();
        damage.Apply();
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(Same(Current(original), original)) << "not restored when an exception left the scope";
    EXPECT_EQ(ErrorsLeft(), "");
}

} // namespace

// The push classes that set a value or select a matrix mode. PushColor, the pixel pack and unpack
// pushes and the matrix pushes are used by operations, which the operation table holds to the
// snapshot; no operation there leaves the matrix mode for PushMatrixMode to bring back.
TEST_F(StateGL, PushClassesRestoreWhatTheySavedAndStacksLeaveModelViewSelected) {
    const BlendFunc over = BlendFunc::BlendOver, replace = BlendFunc::Replace, invert = BlendFunc::Invert;
    const BlendFunc mask = BlendFunc::Mask;
    ExpectPushRestores("PushBlendFunc(src, dst)", over, Make<PushBlendFunc>(GL_ONE_MINUS_SRC_COLOR, GL_ZERO),
                       &invert, replace);
    ExpectPushRestores("PushBlendFunc(4)", replace, Make<PushBlendFunc>(GL_ZERO, GL_ONE, GL_ZERO, GL_SRC_ALPHA),
                       &mask, over);
    BlendFunc off = over;
    off.flag = false;
    ExpectPushRestores("PushBlendFunc enables blending", off, Make<PushBlendFunc>(GL_ONE, GL_ZERO), &replace, over);

    // PushMatrixMode saves and selects the mode only.
    const Matrix projectionMode = MatrixOf<Matrix>(GL_PROJECTION, {});
    ExpectPushRestores("PushMatrixMode", MatrixOf<Matrix>(GL_TEXTURE, {}), Make<PushMatrixMode>(GL_PROJECTION),
                       &projectionMode, MatrixOf<Matrix>(GL_MODELVIEW, {}));
    // UnitScale loads the identity, translated with a point to where the model-view matrix put it:
    // (1, 1, 1) scaled by (2, 3, 4) and moved by (10, 20, 30).
    const ModelMatrix scaled = MatrixOf<ModelMatrix>(GL_TEXTURE, {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1});
    const ModelMatrix moved = MatrixOf<ModelMatrix>(GL_MODELVIEW, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 12, 23, 34, 1});
    const ModelMatrix damage = Filled<ModelMatrix>(1.0, GL_TEXTURE);
    ExpectPushRestores("UnitScale", scaled, Make<UnitScale>(), &ModelMatrix::Identity, damage);
    ExpectPushRestores("UnitScale(point)", scaled, Make<UnitScale>(p3f(1, 1, 1)), &moved, damage);

    PixelTransfer scaledTransfer;
    scaledTransfer.redScale = 0.5f, scaledTransfer.redBias = 0.25f;
    PixelTransfer composed = scaledTransfer; // 2, 0.1 after 0.5, 0.25
    composed.redScale = 1.0f, composed.redBias = 0.6f;
    ExpectPushRestores("PushPixelTransfer(values)", scaledTransfer,
                       Make<PushPixelTransfer>(2.0f, 0.1f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f), &composed,
                       PixelTransfer());

    // The stack pushes pop their stacks and leave the model-view matrix selected.
    const std::tuple<GLenum, GLenum, GLenum, std::function<Guard()>> cases[] = {
        {GL_MODELVIEW, GL_MODELVIEW_MATRIX, GL_MODELVIEW_STACK_DEPTH, Make<PushModelStack>()},
        {GL_PROJECTION, GL_PROJECTION_MATRIX, GL_PROJECTION_STACK_DEPTH, Make<PushProjectionStack>()},
        {GL_TEXTURE, GL_TEXTURE_MATRIX, GL_TEXTURE_STACK_DEPTH, Make<PushTextureStack>()},
    };
    for (const auto& [mode, matrix, depthQuery, push] : cases) {
        SCOPED_TRACE(mode);
        glMatrixMode(mode);
        glLoadIdentity();
        glTranslatef(1, 2, 3);
        const std::vector<float> before = GetFloats(matrix, 16);
        const int depth = Integer(depthQuery);
        {
            Guard guard = push();
            EXPECT_EQ(Integer(GL_MATRIX_MODE), static_cast<int>(mode));
            EXPECT_EQ(Integer(depthQuery), depth + 1);
            glScalef(5, 5, 5);
            // Another mode selected: the destructor must select the stack's own again to pop it.
            glMatrixMode(GL_PROJECTION == mode ? GL_TEXTURE : GL_PROJECTION);
        }
        EXPECT_EQ(Integer(depthQuery), depth);
        EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
        glMatrixMode(mode);
        EXPECT_EQ(GetFloats(matrix, 16), before);
        glLoadIdentity();
    }
    glMatrixMode(GL_MODELVIEW);
}

TEST_F(StateGL, SetDefaultLeavesTheLibrarysDefaultState) {
    // The root context was made by this test's Select(): the default-state hook ran on it.
    EXPECT_TRUE(glIsEnabled(GL_BLEND) && !glIsEnabled(GL_DITHER) && glIsEnabled(GL_NORMALIZE));
    EXPECT_EQ(Color::sCurrentColor, Color::White);
    EXPECT_EQ(Current(LightModel()), LightModel());

    // Damage everything SetDefault covers: the sentinel damage (blending, colours, colour mask,
    // matrices, units 0 and 1), then the rest with plain OpenGL calls.
    Sentinels objects;
    objects.Create();
    objects.Damage(5.0);
    for (GLenum cap : {GL_ALPHA_TEST, GL_CULL_FACE, GL_DITHER})
        glEnable(cap);
    glDisable(GL_NORMALIZE);
    for (GLenum array : {GL_VERTEX_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY})
        glEnableClientState(array);
    glAlphaFunc(GL_LESS, 0.5f);
    glClearDepth(0.5);
    glCullFace(GL_FRONT);
    glFrontFace(GL_CW);
    const float modelAmbient[4] = {1, 0, 0, 1};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, modelAmbient);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 0);
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, 1);
    glLightModeli(GL_LIGHT_MODEL_COLOR_CONTROL, GL_SINGLE_COLOR);
    glMaterialfv(GL_BACK, GL_AMBIENT, modelAmbient);
    const int units = TextureUnit::MaxUnits();
    ASSERT_GT(units, 1) << "the last unit stays active: it must not be unit 0";
    const GLenum targets[] = {GL_TEXTURE_2D, GL_TEXTURE_RECTANGLE, GL_TEXTURE_CUBE_MAP};
    for (int i = 0; i < units; ++i) {
        GLEntry::glActiveTexture(GL_TEXTURE0 + i);
        for (GLenum target : targets)
            glEnable(target);
    }
    for (GLenum unit : {GL_TEXTURE0, GL_TEXTURE2}) { // unit 2 stays active on the client side
        GLEntry::glClientActiveTexture(unit);
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    }
    ASSERT_EQ(ErrorsLeft(), "");

    SetDefault();

    // Read back with plain OpenGL, the active units first: the unit checks below walk the units.
    const std::vector<double> identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    // clang-format off
    const std::pair<GLenum, std::vector<double>> expected[] = {
        {GL_ACTIVE_TEXTURE, {GL_TEXTURE0}}, {GL_CLIENT_ACTIVE_TEXTURE, {GL_TEXTURE0}},
        {GL_ALPHA_TEST, {0}}, {GL_ALPHA_TEST_FUNC, {GL_ALWAYS}}, {GL_BLEND, {1}},
        {GL_BLEND_SRC_RGB, {GL_SRC_ALPHA}}, {GL_BLEND_DST_RGB, {GL_ONE_MINUS_SRC_ALPHA}},
        {GL_BLEND_SRC_ALPHA, {GL_SRC_ALPHA}}, {GL_BLEND_DST_ALPHA, {GL_ONE_MINUS_SRC_ALPHA}},
        {GL_BLEND_EQUATION_RGB, {GL_FUNC_ADD}}, {GL_BLEND_EQUATION_ALPHA, {GL_FUNC_ADD}},
        {GL_BLEND_COLOR, {0, 0, 0, 0}}, {GL_COLOR_CLEAR_VALUE, {0, 0, 0, 0}}, {GL_DEPTH_CLEAR_VALUE, {1}},
        {GL_CURRENT_COLOR, {1, 1, 1, 1}}, {GL_COLOR_WRITEMASK, {1, 1, 1, 1}},
        {GL_CULL_FACE, {0}}, {GL_CULL_FACE_MODE, {GL_BACK}}, {GL_FRONT_FACE, {GL_CCW}},
        {GL_VERTEX_ARRAY, {0}}, {GL_TEXTURE_COORD_ARRAY, {0}}, {GL_NORMAL_ARRAY, {0}}, {GL_COLOR_ARRAY, {0}},
        {GL_DITHER, {0}}, {GL_NORMALIZE, {1}}, {GL_TEXTURE_MATRIX, identity},
        {GL_PROJECTION_MATRIX, identity}, {GL_MODELVIEW_MATRIX, identity}, {GL_MATRIX_MODE, {GL_MODELVIEW}},
    };
    // clang-format on
    for (const auto& [query, want] : expected) {
        GLdouble got[16] = {};
        glGetDoublev(query, got);
        for (std::size_t i = 0; i < want.size(); ++i)
            EXPECT_FLOAT_EQ(static_cast<float>(got[i]), static_cast<float>(want[i]))
                << "query 0x" << std::hex << query << "[" << i << "]";
    }
    EXPECT_EQ(Color::sCurrentColor, Color::White);
    EXPECT_EQ(Current(LightModel()), LightModel());
    float v[4];
    glGetMaterialfv(GL_BACK, GL_AMBIENT, v);
    EXPECT_EQ(Floats(v), Floats(Color::DarkGray));
    glGetMaterialfv(GL_FRONT, GL_DIFFUSE, v);
    EXPECT_EQ(Floats(v), Floats(Color::LightGray));
    EXPECT_EQ(Current(Material()), Material::Default);
    for (int i = 0; i < units; ++i) {
        GLEntry::glActiveTexture(GL_TEXTURE0 + i);
        for (GLenum target : targets)
            EXPECT_FALSE(glIsEnabled(target)) << "unit " << i << " target 0x" << std::hex << target;
    }
    GLEntry::glActiveTexture(GL_TEXTURE0);
    objects.Destroy();
}

namespace {
float ReadDepth(int x, int y) {
    float d = -1.0f;
    glReadPixels(x, y, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &d);
    return d;
}
// 8-bit storage: within half a step (a little more, so that a value halfway between two steps
// passes whichever way the driver rounds it).
void ExpectPixels(std::initializer_list<std::pair<int, int>> points, const Color& want) {
    for (const auto& [x, y] : points) {
        float got[4];
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_FLOAT, got);
        for (int i = 0; i < 4; ++i)
            EXPECT_NEAR(got[i], static_cast<const float*>(want)[i], 0.5001 / 255.0) << "(" << x << ", " << y << ") " << i;
    }
}
} // namespace

TEST_F(StateGL, ClearingHelpersClearAndKeepTheirSettings) {
    const std::vector<float> viewport = GetFloats(GL_VIEWPORT, 4);
    ASSERT_TRUE(viewport[2] >= 8 && viewport[3] >= 8);
    // Read-back goes through the pack and transfer state: the defaults, whatever an earlier test
    // in the same process left.
    PixelPack().Apply();
    PixelTransfer().Apply();
    const ClearColor clearValues(Color(0.5f, 0.5f, 0.5f, 0.5f), 0.75f);
    clearValues.Apply();
    glDepthFunc(GL_LESS);
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
    glDisable(GL_SCISSOR_TEST);

    ClearAllBuffers(Color::Red, 0.25f);
    ExpectPixels({{0, 0}, {7, 7}}, Color::Red);
    EXPECT_NEAR(ReadDepth(3, 3), 0.25f, 1e-6);

    const Region region(2, 3, 4, 2);
    ClearColorBuffer(region, Color::Blue);
    ExpectPixels({{2, 3}, {5, 4}}, Color::Blue);
    ExpectPixels({{1, 3}, {6, 4}, {2, 5}}, Color::Red);
    ClearDepthBuffer(region, 0.5f);
    EXPECT_NEAR(ReadDepth(3, 4), 0.5f, 1e-6);
    EXPECT_NEAR(ReadDepth(0, 0), 0.25f, 1e-6);

    ClearColorBuffer(Region(), Color::Green); // invalid: nothing
    ClearAllBuffers(Region(), Color::Green, 1.0f);
    ExpectPixels({{0, 0}}, Color::Red);

    // 0.5 lies exactly between two 8-bit steps: llvmpipe stores 128, NVIDIA 127.
    ClearAlphaBuffer(0.5f);
    ExpectPixels({{0, 0}}, Color(1, 0, 0, 127.5f / 255.0f));
    ExpectPixels({{3, 4}}, Color(0, 0, 1, 127.5f / 255.0f));

    ClearColorBuffer(Color::Green);
    ExpectPixels({{3, 4}}, Color::Green);
    ClearDepthBuffer(1.0f);
    EXPECT_NEAR(ReadDepth(3, 4), 1.0f, 1e-6);
    ClearAllBuffers(Region(0, 0, 1, 1), Color::Black, 0.0f);
    ExpectPixels({{0, 0}}, Color::Black);
    ExpectPixels({{1, 0}}, Color::Green);

    // Every setting the helpers touch is as before.
    EXPECT_EQ(Current(clearValues), clearValues);
    EXPECT_EQ(Integer(GL_DEPTH_FUNC), GL_LESS);
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST) || glIsEnabled(GL_SCISSOR_TEST) || Integer(GL_DEPTH_WRITEMASK));
    EXPECT_EQ(Current(ColorMask()), ColorMask::Default);
    glDepthMask(GL_TRUE);
}

namespace {

// Runs `body` as a job on the worker thread; returns the job's result.
bool RunJob(std::function<bool()> body) {
    if (!sThread)
        sThread = new Thread();
    return sThread->Execute([](void* data) { return (*static_cast<std::function<bool()>*>(data))(); }, &body);
}

} // namespace

TEST(WorkerState, NoJobLeavesItsChangesToTheNext) {
    // Jobs that change everything, throw, push attribute levels and never pop them, or make the
    // restore itself fail: the job after each finds the state (attribute stacks included) as it was.
    Sentinels objects;
    Snapshot baseline, damaged, after;
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
    // The damage covered every part of the snapshot that a job can change.
    for (const char* part :
         {"blend[", "blendSrc[", "blendEquation[", "blendColor[", "viewport[", "model[", "projection[", "binding2D[0]",
          "binding2D[1]", "bindingRect[0]", "bindingRect[1]", "enable2D[1]", "textureMatrix1[", "frameBuffer[",
          "program[", "matrixMode[", "clientActiveTexture["})
        EXPECT_NE(damaged.DifferencesFrom(baseline).find(part), std::string::npos) << part << " was not damaged";

    EXPECT_FALSE(RunJob([] {
        glDisable(GL_BLEND);
        glViewport(0, 0, 1, 1);
        throw Error("job failed");
        return true;
    }));
    EXPECT_STREQ(sThread->ErrorMessage(), "job failed");
    EXPECT_TRUE(RunJob([] {
        glPushAttrib(GL_ALL_ATTRIB_BITS);
        glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS);
        glDisable(GL_BLEND);
        return true;
    }));
    // No glUseProgram for the restore: the attribute levels of the capture must still be given back.
    const auto useProgram = GLEntry::glUseProgram;
    EXPECT_FALSE(RunJob([] {
        GLEntry::glUseProgram = nullptr;
        glDisable(GL_BLEND);
        return true;
    }));
    GLEntry::glUseProgram = useProgram;
    EXPECT_STREQ(sThread->ErrorMessage(), Unsupported().what());

    ASSERT_TRUE(RunJob([&] {
        after = Snapshot::Take();
        errors = ErrorsLeft();
        objects.Destroy();
        return true;
    }));
    EXPECT_EQ(errors, "") << "capture or restore left OpenGL errors";
    EXPECT_EQ(after.DifferencesFrom(baseline), "");
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
        EXPECT_EQ(inside.DifferencesFrom(set, 1), "") << "capturing the state changed it";
        PushOpenGLContext saved;
        ASSERT_TRUE(RootContext::Select());
        EXPECT_EQ(Snapshot::Take().DifferencesFrom(set), "") << "the job's changes stayed";
        EXPECT_EQ(ErrorsLeft(), "");
    }
    PushOpenGLContext saved;
    ASSERT_TRUE(RootContext::Select());
    objects.Destroy();
}
