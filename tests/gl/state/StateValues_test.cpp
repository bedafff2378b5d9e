// The state values without a context: colour arithmetic, flags, matrix products, colour matrices,
// pixel addressing of images, and Push<T> over a value type that logs its applies.
#include "gl/state/AlphaFunc.h"
#include "gl/state/Color.h"
#include "gl/state/ColorMatrix.h"
#include "gl/state/ColorScale.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Matrices.h"
#include "gl/state/PixelStore.h"
#include "gl/state/PixelTransfer.h"
#include "gl/state/Push.h"
#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>
#include <utility>
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

TEST(ColorValue, ConstructorsClampLumaAndEquality) {
    const float v[4] = {0.1f, 0.2f, 0.3f, 0.4f};
    const Color a(0.5f, 0.25f, 1.0f, 0.5f);
    const std::pair<Color, Color> rows[] = {
        {Color(), Color(1, 1, 1, 1)},
        {Color(0.25f), Color(0.25f, 0.25f, 0.25f, 0.25f)},
        {Color(v), Color(0.1f, 0.2f, 0.3f, 0.4f)},
        {Color(0x00FF8000UL), Color(0.0f, 128.0f / 255.0f, 1.0f, 1.0f)}, // packed 0x00BBGGRR, alpha 1
        {Color(0xFF0000FFUL), Color(1.0f, 0.0f, 0.0f, 1.0f)},
        {Color(-0.5f, 0.5f, 1.5f, 2.0f).Clamp(), Color(0.0f, 0.5f, 1.0f, 1.0f)},
    };
    for (const auto& [got, want] : rows)
        ExpectColor(got, want.red, want.green, want.blue, want.alpha);
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

TEST(TestValues, FlagsFollowTheFunction) {
    // A depth or alpha function of GL_ALWAYS switches its test off; everything else on.
    EXPECT_FALSE(DepthFunc(GL_ALWAYS).flag || AlphaFunc(GL_ALWAYS, 0.5f).flag);
    EXPECT_TRUE(DepthFunc(GL_NEVER).flag && AlphaFunc(GL_GREATER, 0.5f).flag);
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

TEST(MatrixValue, TransformsPointsInColumnOrder) {
    // Translation (1, 2, 3), x scaled by 2, and w = 0.5 x + 2: element (row r, column k) is m[4k + r].
    Matrix m(true);
    m.m[0] = 2.0, m.m[12] = 1.0, m.m[13] = 2.0, m.m[14] = 3.0, m.m[3] = 0.5, m.m[15] = 2.0;
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
    // Row bytes 4 * 10 + 24 padding over 4 bytes a pixel: a row length of 16 pixels, and the
    // widest alignment that keeps rows 64 bytes apart.
    zep6test::TestImage image(zep6test::Formats::RGBA8, 10, 7, 24);
    const PixelUnpack unpack(&image, 3, 2);
    EXPECT_EQ(unpack, PixelUnpack(8, 16, 7, 3, 2));
    zep6test::TestImage wide(zep6test::Formats::RGBA32F, 5, 3, 16);
    EXPECT_EQ(PixelPack(&wide, 1, 1), PixelPack(8, 6, 3, 1, 1));
    // Rows whose byte count is not a multiple of 4 need a smaller alignment, or OpenGL would
    // step over the padding it assumes.
    zep6test::TestImage alpha(zep6test::Formats::Alpha8, 37, 3);
    EXPECT_EQ(PixelUnpack(&alpha, 0, 0), PixelUnpack(1, 37, 3, 0, 0));
    zep6test::TestImage luma16(GL_LUMINANCE16, 16, 65535, 37, 3);
    EXPECT_EQ(PixelUnpack(&luma16, 0, 0), PixelUnpack(2, 37, 3, 0, 0));
    // Row bytes that are no whole number of pixels cannot be described; the default stays.
    zep6test::TestImage ragged(zep6test::Formats::RGBA8, 10, 3, 2);
    EXPECT_EQ(PixelUnpack(&ragged, 0, 0), PixelUnpack(4, 10, 3, 0, 0));
    // An invalid image keeps the skips but addresses no rows.
    EXPECT_EQ(PixelPack(nullptr, 5, 6), PixelPack(4, 0, 0, 5, 6));
    zep6test::TestImage empty(zep6test::Formats::RGBA8, 0, 7);
    EXPECT_EQ(PixelUnpack(&empty, 1, 2), PixelUnpack(4, 0, 0, 1, 2));
}

TEST(PixelTransferValue, WhiteFactors) {
    const std::tuple<unsigned, int, float> cases[] = {{GL_BYTE, 127, 1.0f}, {GL_UNSIGNED_BYTE, 255, 1.0f},
                                                      {GL_UNSIGNED_SHORT, 32768, 32768.0f / 65535.0f},
                                                      {GL_SHORT, 16384, 16384.0f / 32767.0f}, {GL_FLOAT, 255, 1.0f}};
    for (const auto& [type, white, factor] : cases)
        EXPECT_FLOAT_EQ(ColorSpace::WhiteFactor(type, white), factor) << type << " " << white;
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

// Saved, applied, and restored once (at Pop() or the scope's end, also by an exception), innermost
// first.
TEST(PushTemplate, SavesAppliesAndRestoresOnce) {
    ResetFake(4);
    try {
        Push<FakeState> outer(FakeState(5));
        EXPECT_EQ(outer.Saved().value, 4);
        Push<FakeState> inner(FakeState(6));
        Push<FakeState> popped;
        FakeState(7).Apply();
        popped.Pop();
        EXPECT_FALSE(popped.IsPushed());
        EXPECT_TRUE(inner.IsPushed());
        FakeState(8).Apply();
        popped.Pop();
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(FakeState::sCurrent, 4);
    EXPECT_EQ(FakeState::sApplied, (std::vector<int>{5, 6, 7, 6, 8, 5, 4}));
}
