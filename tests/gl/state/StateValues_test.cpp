// The state values without a context: constructors, named constants, colour arithmetic, matrix
// products, colour matrices, pixel addressing of images, and the Push<T> save-and-restore contract
// (with a value type that counts its applies instead of calling OpenGL).
#include "gl/state/AlphaFunc.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
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

#include <cstdlib>
#include <stdexcept>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

void ExpectColor(const Color& c, float r, float g, float b, float a) {
    EXPECT_FLOAT_EQ(c.red, r);
    EXPECT_FLOAT_EQ(c.green, g);
    EXPECT_FLOAT_EQ(c.blue, b);
    EXPECT_FLOAT_EQ(c.alpha, a);
}

// A CPU product of a colour matrix (column order) with a colour.
Color Transform(const ColorMatrix& m, const Color& in) {
    const float* v = in;
    float out[4];
    for (int row = 0; row < 4; ++row) {
        double sum = 0.0;
        for (int column = 0; column < 4; ++column)
            sum += m.m[4 * column + row] * v[column];
        out[row] = static_cast<float>(sum);
    }
    return Color(out);
}

} // namespace

TEST(ColorValue, NamedConstants) {
    struct Case {
        const char* name;
        const Color& value;
        float r, g, b, a;
    };
    const Case cases[] = {
        {"Default", Color::Default, 1, 1, 1, 1},
        {"White", Color::White, 1, 1, 1, 1},
        {"Bright", Color::Bright, 1, 1, 1, 1},
        {"Transparent", Color::Transparent, 0, 0, 0, 0},
        {"Off", Color::Off, 0, 0, 0, 0},
        {"Normal", Color::Normal, 1, 0, 0, 1},
        {"Red", Color::Red, 1, 0, 0, 1},
        {"Black", Color::Black, 0, 0, 0, 1},
        {"Green", Color::Green, 0, 1, 0, 1},
        {"Blue", Color::Blue, 0, 0, 1, 1},
        {"Yellow", Color::Yellow, 1, 1, 0, 1},
        {"DarkGray", Color::DarkGray, 0.2f, 0.2f, 0.2f, 1},
        {"Gray", Color::Gray, 0.4f, 0.4f, 0.4f, 1},
        {"LightGray", Color::LightGray, 0.8f, 0.8f, 0.8f, 1},
        {"LumaScale", Color::LumaScale, 0.3f, 0.59f, 0.11f, 1},
        {"MaskRed", Color::MaskRed, 1, 0, 0, 0.5f},
        {"BluishWhite", Color::BluishWhite, 0.9f, 0.9f, 1, 1},
        {"RedishWhite", Color::RedishWhite, 1, 0.9f, 0.9f, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ExpectColor(c.value, c.r, c.g, c.b, c.a);
    }
    // Unknown until the first colour is set.
    ExpectColor(Color::sCurrentColor, -1, -1, -1, -1);
}

TEST(ColorValue, Constructors) {
    ExpectColor(Color(), 1, 1, 1, 1);
    ExpectColor(Color(0.25f), 0.25f, 0.25f, 0.25f, 0.25f);
    const float v[4] = {0.1f, 0.2f, 0.3f, 0.4f};
    ExpectColor(Color(v), 0.1f, 0.2f, 0.3f, 0.4f);
    // Packed 0x00BBGGRR; alpha is always 1.
    ExpectColor(Color(0x00FF8000UL), 0.0f, 128.0f / 255.0f, 1.0f, 1.0f);
    ExpectColor(Color(0xFF0000FFUL), 1.0f, 0.0f, 0.0f, 1.0f);
}

TEST(ColorValue, Arithmetic) {
    const Color a(0.5f, 0.25f, 1.0f, 0.5f);
    const Color b(0.25f, 0.5f, 0.5f, 1.0f);
    ExpectColor(a * 2.0f, 1.0f, 0.5f, 2.0f, 1.0f);
    ExpectColor(a + b, 0.75f, 0.75f, 1.5f, 1.5f);
    ExpectColor(a - b, 0.25f, -0.25f, 0.5f, -0.5f);
    ExpectColor(a * b, 0.125f, 0.125f, 0.5f, 0.5f);
    ExpectColor(Color(-0.5f, 0.5f, 1.5f, 2.0f).Clamp(), 0.0f, 0.5f, 1.0f, 1.0f);
    EXPECT_FLOAT_EQ(a.Luma(), (0.299f * 0.5f + 0.587f * 0.25f + 0.114f * 1.0f) * 0.5f);

    // Equality needs all four components; any one differing makes them unequal.
    EXPECT_TRUE(a == Color(0.5f, 0.25f, 1.0f, 0.5f));
    for (int i = 0; i < 4; ++i) {
        Color c = a;
        static_cast<float*>(c)[i] += 0.125f;
        EXPECT_FALSE(c == a) << i;
        EXPECT_TRUE(c != a) << i;
    }
}

TEST(ColorValue, RandomTakesBlueGreenRedInThatOrder) {
    std::srand(1234);
    const int first = std::rand(), second = std::rand(), third = std::rand();
    std::srand(1234);
    const Color c = Color::Random();
    ExpectColor(c, third / 32767.0f, second / 32767.0f, first / 32767.0f, 1.0f);
}

TEST(BlendValues, FunctionConstants) {
    struct Case {
        const char* name;
        const BlendFunc& value;
        GLenum srcRGB, dstRGB, srcAlpha, dstAlpha;
    };
    const Case cases[] = {
        {"Add", BlendFunc::Add, GL_ONE, GL_ONE, GL_ONE, GL_ONE},
        {"AlphaAdd", BlendFunc::AlphaAdd, GL_SRC_ALPHA, GL_DST_ALPHA, GL_ONE, GL_ONE},
        {"BlendOver", BlendFunc::BlendOver, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE,
         GL_ONE_MINUS_SRC_ALPHA},
        {"BlendUnder", BlendFunc::BlendUnder, GL_ONE_MINUS_DST_ALPHA, GL_DST_ALPHA, GL_ONE_MINUS_DST_ALPHA,
         GL_ONE},
        {"InvBlend", BlendFunc::InvBlend, GL_ONE_MINUS_SRC_ALPHA, GL_SRC_ALPHA, GL_ONE, GL_SRC_ALPHA},
        {"Modulate", BlendFunc::Modulate, GL_ZERO, GL_SRC_COLOR, GL_ZERO, GL_SRC_COLOR},
        {"Replace", BlendFunc::Replace, GL_ONE, GL_ZERO, GL_ONE, GL_ZERO},
        {"Invert", BlendFunc::Invert, GL_ONE_MINUS_SRC_COLOR, GL_ZERO, GL_ONE_MINUS_SRC_COLOR, GL_ZERO},
        {"Mask", BlendFunc::Mask, GL_ZERO, GL_ONE, GL_ZERO, GL_SRC_ALPHA},
        {"Premultiply", BlendFunc::Premultiply, GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(c.value.flag);
        EXPECT_EQ(c.value.srcRGB, c.srcRGB);
        EXPECT_EQ(c.value.dstRGB, c.dstRGB);
        EXPECT_EQ(c.value.srcAlpha, c.srcAlpha);
        EXPECT_EQ(c.value.dstAlpha, c.dstAlpha);
    }
    const BlendEquation* equations[] = {&BlendEquation::Add, &BlendEquation::Subtract, &BlendEquation::Min,
                                        &BlendEquation::Max};
    const GLenum modes[] = {GL_FUNC_ADD, GL_FUNC_SUBTRACT, GL_MIN, GL_MAX};
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(equations[i]->flag);
        EXPECT_EQ(equations[i]->modeRGB, modes[i]);
        EXPECT_EQ(equations[i]->modeAlpha, modes[i]);
    }
}

TEST(BlendValues, OperationConstants) {
    struct Case {
        const char* name;
        const BlendOp& value;
        GLenum srcRGB, dstRGB, srcAlpha, dstAlpha, eqRGB, eqAlpha;
    };
    const GLenum ONE = GL_ONE, OMSA = GL_ONE_MINUS_SRC_ALPHA, ADD = GL_FUNC_ADD,
                 RSUB = GL_FUNC_REVERSE_SUBTRACT;
    const Case cases[] = {
        {"Default", BlendOp::Default, GL_SRC_ALPHA, OMSA, GL_SRC_ALPHA, OMSA, ADD, ADD},
        {"Composite", BlendOp::Composite, ONE, OMSA, ONE, OMSA, ADD, ADD},
        {"Additive", BlendOp::Additive, ONE, ONE, ONE, OMSA, ADD, ADD},
        {"Lighten", BlendOp::Lighten, ONE, ONE, ONE, OMSA, GL_MAX, ADD},
        {"Screen", BlendOp::Screen, ONE, GL_ONE_MINUS_SRC_COLOR, ONE, OMSA, ADD, ADD},
        {"Max", BlendOp::Max, ONE, ONE, ONE, OMSA, GL_MAX, ADD},
        {"Min", BlendOp::Min, ONE, ONE, ONE, OMSA, GL_MIN, ADD},
        {"Darken", BlendOp::Darken, ONE, ONE, ONE, OMSA, GL_MIN, ADD},
        {"Subtractive", BlendOp::Subtractive, ONE, ONE, ONE, OMSA, RSUB, ADD},
        {"Multiply", BlendOp::Multiply, GL_ZERO, GL_SRC_COLOR, ONE, OMSA, GL_MAX, ADD},
        {"Difference", BlendOp::Difference, ONE, ONE, ONE, OMSA, RSUB, ADD},
        {"Replace", BlendOp::Replace, ONE, GL_ZERO, ONE, GL_ZERO, ADD, ADD},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const BlendOp& op = c.value;
        EXPECT_TRUE(op.func.flag);
        EXPECT_EQ(op.func.srcRGB, c.srcRGB);
        EXPECT_EQ(op.func.dstRGB, c.dstRGB);
        EXPECT_EQ(op.func.srcAlpha, c.srcAlpha);
        EXPECT_EQ(op.func.dstAlpha, c.dstAlpha);
        EXPECT_TRUE(op.equation.flag);
        EXPECT_EQ(op.equation.modeRGB, c.eqRGB);
        EXPECT_EQ(op.equation.modeAlpha, c.eqAlpha);
        EXPECT_TRUE(op.color.flag);
        ExpectColor(op.color.color, 0, 0, 0, 0);
    }
    // The default-constructed operation differs from BlendOp::Default only in its white blend colour.
    const BlendOp fresh;
    EXPECT_EQ(fresh.func, BlendOp::Default.func);
    EXPECT_EQ(fresh.equation, BlendOp::Default.equation);
    ExpectColor(fresh.color.color, 1, 1, 1, 1);
    ExpectColor(BlendColor().color, 0, 0, 0, 0);
}

TEST(TestValues, FlagsFollowTheFunction) {
    // A depth or alpha function of GL_ALWAYS switches its test off; everything else on.
    EXPECT_FALSE(DepthFunc(GL_ALWAYS).flag);
    EXPECT_FALSE(DepthFunc::Always.flag);
    EXPECT_EQ(DepthFunc::Always.function, static_cast<unsigned>(GL_ALWAYS));
    const DepthFunc* on[] = {&DepthFunc::Never,       &DepthFunc::Less,    &DepthFunc::Equal,
                             &DepthFunc::LessEqual,   &DepthFunc::Greater, &DepthFunc::NotEqual,
                             &DepthFunc::GreaterEqual};
    const GLenum functions[] = {GL_NEVER, GL_LESS, GL_EQUAL, GL_LEQUAL, GL_GREATER, GL_NOTEQUAL, GL_GEQUAL};
    for (int i = 0; i < 7; ++i) {
        EXPECT_TRUE(on[i]->flag) << i;
        EXPECT_EQ(on[i]->function, functions[i]) << i;
    }
    EXPECT_FALSE(AlphaFunc(GL_ALWAYS, 0.5f).flag);
    EXPECT_TRUE(AlphaFunc(GL_GREATER, 0.5f).flag);
    EXPECT_FALSE(AlphaFunc::Default.flag);
    EXPECT_EQ(AlphaFunc::Default.function, static_cast<unsigned>(GL_ALWAYS));
    EXPECT_TRUE(AlphaFunc::IsSupported());
    EXPECT_FALSE(CullFace::Default.flag);
    EXPECT_EQ(CullFace::Default.face, static_cast<unsigned>(GL_BACK));
    EXPECT_TRUE(CullFace::CullBack.flag);
}

TEST(ColorMatrixValue, RowsAreTheOutputChannels) {
    const ColorMatrix m(Color(1, 2, 3, 4), Color(5, 6, 7, 8), Color(9, 10, 11, 12), Color(13, 14, 15, 16));
    const Color out = Transform(m, Color(1, 0.5f, 0.25f, 2));
    // Output channel i is row i dotted with the input.
    ExpectColor(out, 1 + 1 + 0.75f + 8, 5 + 3 + 1.75f + 16, 9 + 5 + 2.75f + 24, 13 + 7 + 3.75f + 32);
}

TEST(ColorMatrixValue, ARGBWriteRotatesAlphaFirstToLast) {
    const Color in(0.1f, 0.2f, 0.3f, 0.4f);
    ExpectColor(Transform(ARGBWrite(), in), 0.2f, 0.3f, 0.4f, 0.1f);
    ExpectColor(Transform(ARGBWrite(2.0f), in), 0.4f, 0.6f, 0.8f, 0.2f);
}

TEST(MatrixValue, IdentityConstantsKeepTheirModes) {
    const Matrix identity(true);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(identity.m[i], i % 5 == 0 ? 1.0 : 0.0) << i;
    EXPECT_EQ(ModelMatrix::Identity.mode, static_cast<unsigned>(GL_MODELVIEW));
    EXPECT_EQ(ProjectionMatrix::Identity.mode, static_cast<unsigned>(GL_PROJECTION));
    EXPECT_EQ(TextureMatrix::Identity.mode, static_cast<unsigned>(GL_TEXTURE));
    for (const Matrix* m : {static_cast<const Matrix*>(&ModelMatrix::Identity),
                            static_cast<const Matrix*>(&ProjectionMatrix::Identity),
                            static_cast<const Matrix*>(&TextureMatrix::Identity)})
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(m->m[i], identity.m[i]);
}

TEST(MatrixValue, TransformsPointsInColumnOrder) {
    // Translation (1, 2, 3), x scaled by 2, and w = 0.5 x + 2: element (row r, column k) is m[4k + r].
    Matrix m(true);
    m.m[0] = 2.0;
    m.m[12] = 1.0;
    m.m[13] = 2.0;
    m.m[14] = 3.0;
    m.m[3] = 0.5;
    m.m[15] = 2.0;
    const p3f p = m * p3f(2.0f, 4.0f, 6.0f);
    const double w = 0.5 * 2 + 2;
    EXPECT_FLOAT_EQ(p.x, static_cast<float>((2 * 2 + 1) / w));
    EXPECT_FLOAT_EQ(p.y, static_cast<float>((4 + 2) / w));
    EXPECT_FLOAT_EQ(p.z, static_cast<float>((6 + 3) / w));
    EXPECT_EQ(p.tag, 0);

    const p4f q = m * p4f(2.0f, 4.0f, 6.0f, 0.5f);
    EXPECT_FLOAT_EQ(q.x, 2 * 2 + 0.5f);
    EXPECT_FLOAT_EQ(q.y, 4 + 1.0f);
    EXPECT_FLOAT_EQ(q.z, 6 + 1.5f);
    EXPECT_FLOAT_EQ(q.w, 0.5f * 2 + 2 * 0.5f);
}

TEST(PixelAddressingValue, FromImage) {
    // Row bytes 4 * 10 + 24 padding over 4 bytes a pixel: a row length of 16 pixels.
    zep6test::TestImage image(zep6test::Formats::RGBA8, 10, 7, 24);
    const PixelUnpack unpack(&image, 3, 2);
    EXPECT_EQ(unpack, PixelUnpack(4, 16, 7, 3, 2));
    zep6test::TestImage wide(zep6test::Formats::RGBA32F, 5, 3, 16);
    EXPECT_EQ(PixelPack(&wide, 1, 1), PixelPack(4, 6, 3, 1, 1));
    // An invalid image keeps the skips but addresses no rows.
    EXPECT_EQ(PixelPack(nullptr, 5, 6), PixelPack(4, 0, 0, 5, 6));
    zep6test::TestImage empty(zep6test::Formats::RGBA8, 0, 7);
    EXPECT_EQ(PixelUnpack(&empty, 1, 2), PixelUnpack(4, 0, 0, 1, 2));
}

TEST(PixelTransferValue, WhiteFactors) {
    EXPECT_FLOAT_EQ(ColorSpace::WhiteFactor(GL_BYTE, 127), 1.0f);
    EXPECT_FLOAT_EQ(ColorSpace::WhiteFactor(GL_UNSIGNED_BYTE, 255), 1.0f);
    EXPECT_FLOAT_EQ(ColorSpace::WhiteFactor(GL_UNSIGNED_SHORT, 32768), 32768.0f / 65535.0f);
    EXPECT_FLOAT_EQ(ColorSpace::WhiteFactor(GL_SHORT, 16384), 16384.0f / 32767.0f);
    EXPECT_FLOAT_EQ(ColorSpace::WhiteFactor(GL_FLOAT, 255), 1.0f);
    const PixelTransfer identity;
    EXPECT_EQ(identity, PixelTransfer(identity));
    EXPECT_FLOAT_EQ(identity.redScale, 1.0f);
    EXPECT_FLOAT_EQ(identity.alphaBias, 0.0f);
}

TEST(TextureValues, Defaults) {
    const TextureBinding& b = TextureBinding::Default;
    EXPECT_FALSE(b.enable2D);
    EXPECT_FALSE(b.enableRectangle);
    EXPECT_EQ(b.texture2D, 0u);
    EXPECT_EQ(b.textureRectangle, 0u);
    for (int filter : {b.magFilter2D, b.minFilter2D, b.magFilterRectangle, b.minFilterRectangle})
        EXPECT_EQ(filter, GL_LINEAR);
    EXPECT_EQ(b.envMode, GL_MODULATE);
    EXPECT_EQ(b, TextureBinding());
    EXPECT_EQ(TextureUnit::Default.unit, static_cast<unsigned>(GL_TEXTURE0));
    EXPECT_EQ(TextureUnit::Default.texture, nullptr);
    EXPECT_EQ(static_cast<int>(TextureUnit(3)), GL_TEXTURE3);

    const TextureUnits units(3);
    EXPECT_EQ(units.count, 3);
    EXPECT_EQ(units.active.unit, static_cast<unsigned>(GL_TEXTURE0));
    for (const TextureMatrix& m : units.matrices)
        EXPECT_EQ(m.mode, static_cast<unsigned>(GL_TEXTURE));

    const State state(2);
    EXPECT_EQ(state.attributes.mask, 0xFFFBFFFFu);
    EXPECT_EQ(state.attributes.mask & GL_TEXTURE_BIT, 0u);
    EXPECT_EQ(state.attributes.clientMask, 0xFFFFFFFFu);
    EXPECT_FALSE(state.attributes.IsPushed());
    EXPECT_EQ(state.model.mode, static_cast<unsigned>(GL_MODELVIEW));
    EXPECT_EQ(state.projection.mode, static_cast<unsigned>(GL_PROJECTION));
    EXPECT_FALSE(state.retrieved);
}

// ---- Push<T> -----------------------------------------------------------------------------------

namespace {

// Stands in for a piece of OpenGL state: one "current" value and a log of every apply.
struct FakeState {
    static int sCurrent;
    static std::vector<int> sApplied;
    int value = 0;

    FakeState() = default;
    explicit FakeState(int v) : value(v) {}
    void Retrieve() { value = sCurrent; }
    void Apply() const {
        sCurrent = value;
        sApplied.push_back(value);
    }
};
int FakeState::sCurrent = 0;
std::vector<int> FakeState::sApplied;

void ResetFake(int current) {
    FakeState::sCurrent = current;
    FakeState::sApplied.clear();
}

} // namespace

TEST(PushTemplate, SavesAppliesAndRestoresOnce) {
    ResetFake(7);
    {
        Push<FakeState> push(FakeState(9));
        EXPECT_TRUE(push.IsPushed());
        EXPECT_EQ(push.Saved().value, 7);
        EXPECT_EQ(FakeState::sCurrent, 9);
    }
    EXPECT_EQ(FakeState::sCurrent, 7);
    EXPECT_EQ(FakeState::sApplied, (std::vector<int>{9, 7}));
}

TEST(PushTemplate, ExplicitPopRestoresOnceAndTheDestructorThenDoesNothing) {
    ResetFake(1);
    {
        Push<FakeState> push;
        FakeState(2).Apply();
        push.Pop();
        EXPECT_EQ(FakeState::sCurrent, 1);
        EXPECT_FALSE(push.IsPushed());
        FakeState(3).Apply();
        push.Pop();
        EXPECT_EQ(FakeState::sCurrent, 3);
    }
    EXPECT_EQ(FakeState::sCurrent, 3);
    EXPECT_EQ(FakeState::sApplied, (std::vector<int>{2, 1, 3}));
}

TEST(PushTemplate, RestoresWhenAnExceptionLeavesTheScope) {
    ResetFake(4);
    try {
        Push<FakeState> outer(FakeState(5));
        Push<FakeState> inner(FakeState(6));
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    // Inner first (back to 5), then outer (back to 4).
    EXPECT_EQ(FakeState::sCurrent, 4);
    EXPECT_EQ(FakeState::sApplied, (std::vector<int>{5, 6, 5, 4}));
}
