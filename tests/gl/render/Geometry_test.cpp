// The fixed-function helpers' plain data, without any OpenGL context.
#include "gl/render/Feedback.h"
#include "gl/render/Grid.h"
#include "gl/render/Light.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/render/ObjectArray.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

// The array in memory order: per row, per column, the upper then the lower vertex, each value
// exactly its documented quotient held at 1 (so a row's upper edge is bit for bit the next row's
// lower edge and the far edges are exactly 1), z 0.
TEST(Grid, VerticesFollowTheDocumentedLayoutExactly) {
    for (const auto& size : {std::make_pair(2, 2), std::make_pair(3, 2), std::make_pair(2, 3),
                             std::make_pair(7, 13), std::make_pair(121, 121), std::make_pair(241, 241)}) {
        Grid grid(size.first, size.second);
        const int columns = size.first, rows = size.second;
        const float* v = grid.Vertices();
        ASSERT_NE(v, nullptr);
        const auto at = [&](int k, int lastK) { return std::min(float(k) / float(lastK), 1.0f); };
        int i = 0;
        for (int r = 0; r < rows; ++r)
            for (int k = 0; k < columns; ++k)
                for (int e = 0; e < 2; ++e, ++i) {
                    ASSERT_EQ(grid.Index(k, r, e), i);
                    const float* p = v + i * Grid::kStride;
                    ASSERT_EQ(p[0], at(k, columns - 1)) << columns << " x " << rows << " vertex " << i;
                    ASSERT_EQ(p[1], at(e == 0 ? r + 1 : r, rows - 1))
                        << columns << " x " << rows << " vertex " << i;
                    ASSERT_EQ(p[2], 0.0f);
                }
    }
    for (const auto& size :
         {std::make_pair(1, 5), std::make_pair(5, 1), std::make_pair(0, 0), std::make_pair(-3, 4)})
        EXPECT_EQ(Grid(size.first, size.second).Vertices(), nullptr) << size.first << " x " << size.second;
    Grid grid(5, 4);
    grid.Vertices();
    grid.Resize(3, 2);
    EXPECT_EQ(grid.Vertices()[2 * Grid::kStride], 0.5f) << "rebuilt for the new columns";
    EXPECT_EQ(grid.Vertices()[1], 1.0f) << "and rows";
}

TEST(ObjectArray, GrowsEmptiesAndReleases) {
    ObjectArray empty(GL_POINTS, 0);
    empty.Vertex(p3f());
    EXPECT_EQ(empty.Count(), 1);

    ObjectArray triangles(GL_TRIANGLES, 16);
    triangles.Vertex(p3f(1, 1, 1));
    triangles.Initialize();
    EXPECT_EQ(triangles.Count(), 0);
    triangles.Vertex(p3f(3, 3, 3));
    triangles.Finalize();
    EXPECT_EQ(triangles.Count(), 0);
    triangles.Vertex(p3f(4, 4, 4));
    EXPECT_EQ(triangles.Count(), 1) << "usable again after being finalised";
}

// ---- Feedback parsing from hand-made buffers ---------------------------------------------

struct ParseCase {
    const char* name;
    unsigned int type;
    std::vector<float> values;
    bool valid;
    p3f minimum, maximum;
};

const float kPolygon = GL_POLYGON_TOKEN, kPoint = GL_POINT_TOKEN, kLine = GL_LINE_TOKEN,
            kLineReset = GL_LINE_RESET_TOKEN, kBitmap = GL_BITMAP_TOKEN, kDrawPixel = GL_DRAW_PIXEL_TOKEN,
            kCopyPixel = GL_COPY_PIXEL_TOKEN, kPassThrough = GL_PASS_THROUGH_TOKEN;

TEST(FeedbackParse, BoxOfTheRecords) {
    // clang-format off
    const ParseCase cases[] = {
        {"2d", GL_2D, {kPolygon, 3, 10, 20, 30, 25, 15, 40}, true, p3f(10, 20, 0), p3f(30, 40, 0)},
        {"3d keeps depth", GL_3D, {kPolygon, 3, 10, 20, 0.25f, 30, 25, 0.5f, 15, 40, 0.75f}, true,
         p3f(10, 20, 0.25f), p3f(30, 40, 0.75f)},
        {"every token kind", GL_2D, {kPoint, 5, 6, kLine, 1, 9, 2, 8, kLineReset, 3, 3, 4, -2, kBitmap, 7, 7,
          kDrawPixel, 50, 1, kCopyPixel, 2, 60, kPolygon, 4, 0, 0, 1, 0, 1, 1, 0, 1}, true, p3f(0, -2, 0), p3f(50, 60, 0)},
        // The pass-through value would stretch the box if it were read as a coordinate.
        {"pass-through skipped", GL_2D, {kPassThrough, 1000, kPoint, 5, 6, kPassThrough, -1000, kPoint, 7, 8}, true,
         p3f(5, 6, 0), p3f(7, 8, 0)},
        // RGBA colour values follow each position and must be stepped over.
        {"colours skipped", GL_3D_COLOR, {kLine, 1, 2, 0.5f, 99, 99, 99, 99, 3, 4, 0.5f, -99, -99, -99, -99}, true,
         p3f(1, 2, 0.5f), p3f(3, 4, 0.5f)},
        {"empty", GL_2D, {}, false, p3f(), p3f()},
        {"only pass-through", GL_3D, {kPassThrough, 3}, false, p3f(), p3f()},
        // A record cut short by the end adds nothing beyond what is complete.
        {"truncated polygon", GL_2D, {kPoint, 1, 1, kPolygon, 3, 10, 10, 20}, true, p3f(1, 1, 0), p3f(10, 10, 0)},
        {"polygon count missing", GL_2D, {kPoint, 1, 1, kPolygon}, true, p3f(1, 1, 0), p3f(1, 1, 0)},
        // An unknown token ends the parse: its record size is unknown.
        {"unknown token stops", GL_2D, {kPoint, 1, 1, 12345, kPoint, 90, 90}, true, p3f(1, 1, 0), p3f(1, 1, 0)},
        {"unknown type", 0x1234, {kPoint, 1, 1}, false, p3f(), p3f()},
    };
    // clang-format on
    for (const ParseCase& c : cases) {
        const Region3d box = Feedback::Parse(c.values.data(), int(c.values.size()), c.type);
        EXPECT_EQ(box.IsValid(), c.valid) << c.name;
        if (c.valid && box.IsValid()) {
            EXPECT_EQ(box.GetMinimum(), c.minimum) << c.name;
            EXPECT_EQ(box.GetMaximum(), c.maximum) << c.name;
        }
    }
    const std::vector<float> values = {kPoint, 1, 2, kPoint, 100, 200};
    EXPECT_EQ(Feedback::Parse(values.data(), 3, GL_2D).GetMaximum(), p3f(1, 2, 0)) << "the count limits";
    EXPECT_FALSE(Feedback::Parse(values.data(), 0, GL_2D).IsValid());
    EXPECT_FALSE(Feedback::Parse(values.data(), -1, GL_2D).IsValid());
    EXPECT_FALSE(Feedback::Parse(nullptr, 6, GL_2D).IsValid());
}

// ---- Light values ------------------------------------------------------------------------

TEST(LightValues, DefaultModelAndSetDefaults) {
    // The effects' shading depends on the default model: two-sided, separate specular.
    EXPECT_EQ(LightModel(), LightModel(Color::DarkGray, GL_SEPARATE_SPECULAR_COLOR, 0, 1));

    ParamLight light(2);
    // SetDefaults keeps the direction, the carried parameters and the light number.
    light.direction = p4f(1, 2, 3, 0);
    light.userParams[2] = 7.0f;
    light.spot = light.userFlag1 = true;
    light.SetDefaults(3, 99);
    EXPECT_TRUE(light.on);
    EXPECT_FALSE(light.spot || light.userFlag1);
    EXPECT_EQ(light.diffuse, Color::White);
    EXPECT_EQ(light.specular, Color::Transparent);
    EXPECT_EQ(light.position, p4f(0, 0, -6, 1));
    EXPECT_EQ(light.direction, p4f(1, 2, 3, 0));
    EXPECT_EQ(light.light, unsigned(GL_LIGHT2));
    EXPECT_EQ(light.userParams[2], 7.0f);
}

} // namespace
