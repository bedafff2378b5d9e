// Feedback measurements of known drawings on a real context.
#include "GeometryFixture.h"

#include "gl/render/Feedback.h"
#include "gl/render/Geometry.h"
#include "gl/render/Plane.h"
#include "gl/render/Region.h"

using namespace geometry_test;

namespace {

void DrawTriangle(float z) {
    glBegin(GL_TRIANGLES);
    glVertex3f(10, 20, z);
    glVertex3f(30, 25, z);
    glVertex3f(15, 40, z);
    glEnd();
}

class FeedbackGlTest : public GeometryGlTest {
protected:
    void SetUp() override {
        GeometryGlTest::SetUp();
        // Room for the triangle at (15, 40); depth -1...1 in eye space maps to 1...0.
        glViewport(0, 0, 64, 64);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 64, 0, 64, -1, 1);
        glMatrixMode(GL_MODELVIEW);
    }
};

TEST_F(FeedbackGlTest, TriangleBox2d) {
    Region3d box;
    {
        Feedback feedback;
        EXPECT_TRUE(Feedback::IsFeedbackMode());
        DrawTriangle(0.5f);
        box = feedback.GetRegion();
        EXPECT_FALSE(Feedback::IsFeedbackMode()) << "the first query ends the measurement";
        EXPECT_EQ(feedback.GetMinimum(), p3f(10, 20, 0));
        EXPECT_EQ(feedback.GetMaximum(), p3f(30, 40, 0));
    }
    ASSERT_TRUE(box.IsValid());
    EXPECT_EQ(box.GetMinimum(), p3f(10, 20, 0));
    EXPECT_EQ(box.GetMaximum(), p3f(30, 40, 0));
    EXPECT_EQ(Region(box), Region(10, 20, 20, 20));
}

TEST_F(FeedbackGlTest, TriangleBox3dCarriesDepth) {
    Feedback feedback(GL_3D);
    DrawTriangle(0.5f); // eye z 0.5 -> window depth (1 - 0.5) / 2 = 0.25
    glBegin(GL_POINTS);
    glVertex3f(40, 5, -0.5f); // window depth 0.75
    glEnd();
    const Region3d box = feedback.GetRegion();
    ASSERT_TRUE(box.IsValid());
    EXPECT_EQ(box.GetMinimum(), p3f(10, 5, 0.25f));
    EXPECT_EQ(box.GetMaximum(), p3f(40, 40, 0.75f));
}

TEST_F(FeedbackGlTest, NothingReachesTheFramebufferAndParsingHappensOnce) {
    Feedback feedback;
    sPlane.Draw(Region(4, 6, 20, 10));
    DrawRegion(Region(2, 3, 4, 5));
    const Region3d first = feedback.GetRegion();
    ASSERT_TRUE(first.IsValid());
    EXPECT_EQ(first.GetMinimum(), p3f(2, 3, 0));
    EXPECT_EQ(first.GetMaximum(), p3f(24, 16, 0));
    EXPECT_EQ(CountOf(Coverage()), 0) << "feedback mode draws nothing";

    // Drawing after the first query is real drawing and does not change the measurement.
    DrawTriangle(0);
    const Region3d second = feedback.GetRegion();
    EXPECT_EQ(second.GetMinimum(), first.GetMinimum());
    EXPECT_EQ(second.GetMaximum(), first.GetMaximum());
    EXPECT_GT(CountOf(Coverage()), 0);
}

TEST_F(FeedbackGlTest, EmptyDrawingClippedDrawingAndDestructor) {
    {
        Feedback feedback;
        EXPECT_FALSE(feedback.GetRegion().IsValid()) << "nothing drawn";
    }
    {
        // Partly outside the view: the box is that of the clipped polygon.
        Feedback feedback;
        sPlane.Draw(-10, 50, 20, 90, 0);
        const Region3d box = feedback.GetRegion();
        ASSERT_TRUE(box.IsValid());
        EXPECT_EQ(box.GetMinimum(), p3f(0, 50, 0));
        EXPECT_EQ(box.GetMaximum(), p3f(20, 64, 0));
    }
    {
        Feedback feedback;
        DrawTriangle(0);
    }
    EXPECT_FALSE(Feedback::IsFeedbackMode()) << "the destructor ends an unread measurement";

    // A finished measurement going out of scope must not end a later one.
    auto* finished = new Feedback;
    finished->GetRegion();
    Feedback open;
    delete finished;
    EXPECT_TRUE(Feedback::IsFeedbackMode());
    DrawTriangle(0);
    EXPECT_EQ(open.GetMaximum(), p3f(30, 40, 0));
}

} // namespace
