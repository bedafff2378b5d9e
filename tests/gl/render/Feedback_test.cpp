// Parsing of feedback-buffer contents into a box, from hand-made buffers (no OpenGL context).
#include "gl/render/Feedback.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

struct ParseCase {
    const char* name;
    unsigned int type;
    std::vector<float> values;
    bool valid;
    p3f minimum, maximum;
};

const float kPolygon = GL_POLYGON_TOKEN;
const float kPoint = GL_POINT_TOKEN;
const float kLine = GL_LINE_TOKEN;
const float kLineReset = GL_LINE_RESET_TOKEN;
const float kBitmap = GL_BITMAP_TOKEN;
const float kDrawPixel = GL_DRAW_PIXEL_TOKEN;
const float kCopyPixel = GL_COPY_PIXEL_TOKEN;
const float kPassThrough = GL_PASS_THROUGH_TOKEN;

class FeedbackParseTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(FeedbackParseTest, BoxOfTheRecords) {
    const ParseCase& c = GetParam();
    const Region3d box = Feedback::Parse(c.values.data(), static_cast<int>(c.values.size()), c.type);
    ASSERT_EQ(box.IsValid(), c.valid);
    if (c.valid) {
        EXPECT_EQ(box.GetMinimum(), c.minimum);
        EXPECT_EQ(box.GetMaximum(), c.maximum);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Records, FeedbackParseTest,
    ::testing::Values(
        ParseCase{
            "Triangle2d", GL_2D, {kPolygon, 3, 10, 20, 30, 25, 15, 40}, true, p3f(10, 20, 0), p3f(30, 40, 0)},
        ParseCase{"Triangle3dKeepsDepth",
                  GL_3D,
                  {kPolygon, 3, 10, 20, 0.25f, 30, 25, 0.5f, 15, 40, 0.75f},
                  true,
                  p3f(10, 20, 0.25f),
                  p3f(30, 40, 0.75f)},
        ParseCase{"EveryTokenKind2d",
                  GL_2D,
                  {kPoint,     5,  6, kLine,      1, 9,  2,        8, kLineReset, 3, 3, 4, -2, kBitmap, 7, 7,
                   kDrawPixel, 50, 1, kCopyPixel, 2, 60, kPolygon, 4, 0,          0, 1, 0, 1,  1,       0, 1},
                  true,
                  p3f(0, -2, 0),
                  p3f(50, 60, 0)},
        // The pass-through value would stretch the box if it were read as a coordinate.
        ParseCase{"PassThroughValueSkipped",
                  GL_2D,
                  {kPassThrough, 1000, kPoint, 5, 6, kPassThrough, -1000, kPoint, 7, 8},
                  true,
                  p3f(5, 6, 0),
                  p3f(7, 8, 0)},
        // RGBA colour values follow each position and must be stepped over.
        ParseCase{"ColourRecordsSkipped",
                  GL_3D_COLOR,
                  {kLine, 1, 2, 0.5f, 99, 99, 99, 99, 3, 4, 0.5f, -99, -99, -99, -99},
                  true,
                  p3f(1, 2, 0.5f),
                  p3f(3, 4, 0.5f)},
        ParseCase{"Empty", GL_2D, {}, false, p3f(), p3f()},
        ParseCase{"OnlyPassThrough", GL_3D, {kPassThrough, 3}, false, p3f(), p3f()},
        // A record cut short by the end of the values adds nothing beyond what is complete.
        ParseCase{"TruncatedPolygon",
                  GL_2D,
                  {kPoint, 1, 1, kPolygon, 3, 10, 10, 20},
                  true,
                  p3f(1, 1, 0),
                  p3f(10, 10, 0)},
        ParseCase{"PolygonCountMissing", GL_2D, {kPoint, 1, 1, kPolygon}, true, p3f(1, 1, 0), p3f(1, 1, 0)},
        // An unknown token ends the parse: its record size is unknown.
        ParseCase{"UnknownTokenStops",
                  GL_2D,
                  {kPoint, 1, 1, 12345, kPoint, 90, 90},
                  true,
                  p3f(1, 1, 0),
                  p3f(1, 1, 0)},
        ParseCase{"UnknownTypeGivesNothing", 0x1234, {kPoint, 1, 1}, false, p3f(), p3f()}),
    [](const ::testing::TestParamInfo<ParseCase>& info) { return std::string(info.param.name); });

TEST(FeedbackParse, CountLimitsTheValuesRead) {
    const std::vector<float> values = {kPoint, 1, 2, kPoint, 100, 200};
    const Region3d box = Feedback::Parse(values.data(), 3, GL_2D);
    ASSERT_TRUE(box.IsValid());
    EXPECT_EQ(box.GetMaximum(), p3f(1, 2, 0));
    EXPECT_FALSE(Feedback::Parse(values.data(), 0, GL_2D).IsValid());
    EXPECT_FALSE(Feedback::Parse(values.data(), -1, GL_2D).IsValid());
    EXPECT_FALSE(Feedback::Parse(nullptr, 6, GL_2D).IsValid());
}

} // namespace
