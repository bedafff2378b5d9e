// Distance-attenuated points: the point parameters as OpenGL reports them afterwards, and the
// failure when the driver lacks the entry points.
#include "GeometryFixture.h"

#include "core/Errors.h"
#include "gl/render/PointSprite.h"

#include <algorithm>

using namespace geometry_test;

namespace {

float Get(GLenum name) {
    GLfloat value = -1;
    glGetFloatv(name, &value);
    return value;
}

std::vector<float> Attenuation() {
    GLfloat a[3] = {-1, -1, -1};
    glGetFloatv(GL_POINT_DISTANCE_ATTENUATION, a);
    return std::vector<float>(a, a + 3);
}

TEST_F(GeometryGlTest, DistancePointScalingSetsTheParameters) {
    GLfloat range[2] = {0, 0};
    glGetFloatv(GL_ALIASED_POINT_SIZE_RANGE, range);
    const float largest = std::min(Get(GL_POINT_SIZE_MAX), 64.0f);

    EXPECT_TRUE(EnableDistPointScaling(2.0f));
    EXPECT_EQ(Attenuation(), (std::vector<float>{1, 0.05f, 1e-13f}));
    EXPECT_EQ(Get(GL_POINT_SIZE), largest);
    EXPECT_EQ(Get(GL_POINT_SIZE_MAX), largest);
    EXPECT_EQ(Get(GL_POINT_SIZE_MIN), 1.0f);
    EXPECT_EQ(Get(GL_POINT_FADE_THRESHOLD_SIZE), 60.0f);
    EXPECT_LE(largest, 64.0f);
    EXPECT_GT(largest, 1.0f) << "driver range " << range[0] << "..." << range[1];

    // Rescaling changes the attenuation only.
    glPointSize(3);
    EXPECT_TRUE(RescaleDistPoint(4.0f));
    EXPECT_EQ(Attenuation(), (std::vector<float>{1, 0.025f, 1e-13f}));
    EXPECT_EQ(Get(GL_POINT_SIZE), 3.0f);
    EXPECT_EQ(Get(GL_POINT_SIZE_MIN), 1.0f);
}

TEST_F(GeometryGlTest, DistancePointScalingWithoutEntryPointsThrows) {
    const auto saved = GLEntry::glPointParameterfv;
    GLEntry::glPointParameterfv = nullptr;
    EXPECT_THROW(EnableDistPointScaling(1.0f), Unsupported);
    EXPECT_THROW(RescaleDistPoint(1.0f), Unsupported);
    GLEntry::glPointParameterfv = saved;
    EXPECT_EQ(Attenuation(), (std::vector<float>{1, 0, 0})) << "nothing was set";
}

} // namespace
