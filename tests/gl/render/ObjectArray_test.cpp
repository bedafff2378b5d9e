// The storage life cycle of an ObjectArray (no OpenGL context: only Draw talks to OpenGL; what
// it records per vertex is checked by drawing, in ObjectArray_gl_test.cpp).
#include "gl/render/ObjectArray.h"

#include <gtest/gtest.h>

using namespace OGL_ZEP6_AE;

namespace {

TEST(ObjectArrayTest, GrowsPastItsCapacity) {
    ObjectArray array(0x0000 /* GL_POINTS */, 2);
    for (int i = 0; i < 5; ++i)
        array.Vertex(p3f(static_cast<float>(i), 0, 0));
    EXPECT_EQ(array.Count(), 5);
    EXPECT_GE(array.Capacity(), 5);

    ObjectArray empty(0x0000, 0);
    EXPECT_EQ(empty.Capacity(), 0);
    empty.Vertex(p3f());
    EXPECT_EQ(empty.Count(), 1);
    EXPECT_GE(empty.Capacity(), 1);
}

TEST(ObjectArrayTest, InitializeEmptiesAndFinalizeReleases) {
    ObjectArray array(0x0004, 16);
    array.Vertex(p3f(1, 1, 1));
    array.Vertex(p3f(2, 2, 2));

    array.Initialize();
    EXPECT_EQ(array.Count(), 0);
    EXPECT_EQ(array.Capacity(), 16);
    EXPECT_FALSE(array.MustDraw());

    array.Vertex(p3f(3, 3, 3));
    array.MustDraw(true);
    EXPECT_TRUE(array.MustDraw());

    array.Finalize();
    EXPECT_EQ(array.Count(), 0);
    EXPECT_EQ(array.Capacity(), 0);
    // Usable again after being finalised.
    array.Vertex(p3f(4, 4, 4));
    EXPECT_EQ(array.Count(), 1);
}

} // namespace
