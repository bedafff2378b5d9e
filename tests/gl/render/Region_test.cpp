#include "gl/render/Region.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace OGL_ZEP6_AE;

namespace {

Region Invalid(int x, int y, unsigned w, unsigned h) {
    Region r(x, y, w, h);
    r.valid = false;
    return r;
}

std::string Text(const Region& r) {
    std::ostringstream os;
    os << r;
    return os.str();
}

} // namespace

TEST(RegionBasics, ValidExactlyWhenBothSizesAreNonZero) {
    const Region empty;
    EXPECT_FALSE(empty.IsValid());
    EXPECT_EQ(empty.x, 0);
    EXPECT_EQ(empty.Width(), 0u);

    const struct {
        Region r;
        bool valid;
    } cases[] = {{Region(10, 0), false},       {Region(0, 10), false}, {Region(0, 0, 10, 0), false},
                 {Region(-5, 3, 0, 0), false}, {Region(5, 6), true},   {Region(-5, -6, 1, 1), true}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.r.IsValid(), c.valid) << c.r;
    }
    const Region r(5, 6);
    EXPECT_EQ(r, Region(0, 0, 5, 6));

    const Region n(-5, -7, 10, 3);
    EXPECT_EQ(n.XOrigin(), -5);
    EXPECT_EQ(n.YOrigin(), -7);
    EXPECT_EQ(n.XEnd(), 5);
    EXPECT_EQ(n.YEnd(), -4);
}

TEST(RegionBasics, EqualityIncludesTheValidFlag) {
    EXPECT_EQ(Region(1, 2, 3, 4), Region(1, 2, 3, 4));
    EXPECT_NE(Region(1, 2, 3, 4), Invalid(1, 2, 3, 4));
    EXPECT_NE(Region(1, 2, 3, 4), Region(1, 2, 3, 5));
    EXPECT_NE(Region(1, 2, 3, 4), Region(0, 2, 3, 4));
    EXPECT_NE(Region(0, 0, 10, 0), Region());
}

TEST(RegionBasics, IsInRangeExcludesTheFarEdges) {
    const Region r(10, 20, 5, 5);
    const struct {
        p2f p;
        bool inside;
    } cases[] = {{p2f(10, 20), true},  {p2f(14.99f, 24.99f), true}, {p2f(15, 22), false},
                 {p2f(12, 25), false}, {p2f(9.99f, 22), false},     {p2f(12, 19.5f), false}};
    for (const auto& c : cases) {
        EXPECT_EQ(r.IsInRange(c.p), c.inside) << c.p;
    }
    EXPECT_FALSE(Invalid(10, 20, 5, 5).IsInRange(p2f(12, 22)));
    EXPECT_TRUE(Region(-10, -10, 5, 5).IsInRange(p2f(-7.5f, -5.5f)));
}

TEST(RegionSetOps, Union) {
    const struct {
        Region a, b, expected;
    } cases[] = {
        {Region(0, 0, 10, 10), Region(5, 5, 10, 10), Region(0, 0, 15, 15)},
        {Region(5, 5, 10, 10), Region(0, 0, 2, 2), Region(0, 0, 15, 15)},
        {Region(0, 0, 10, 10), Region(2, 2, 3, 3), Region(0, 0, 10, 10)},
        {Region(-5, -5, 10, 10), Region(0, 0, 20, 20), Region(-5, -5, 25, 25)},
        {Region(100, 0, 1, 1), Region(0, 50, 1, 1), Region(0, 0, 101, 51)},
        // An invalid operand contributes nothing, whatever its fields say.
        {Region(1, 2, 3, 4), Invalid(-50, -50, 500, 500), Region(1, 2, 3, 4)},
        {Invalid(-50, -50, 500, 500), Region(1, 2, 3, 4), Region(1, 2, 3, 4)},
        {Region(), Region(), Region()},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.a | c.b, c.expected) << c.a << " | " << c.b;
    }
}

TEST(RegionSetOps, UnionWithPoint) {
    EXPECT_EQ(Region(10, 10, 5, 5) | p2f(2.5f, 12), Region(2, 10, 13, 5));
    EXPECT_EQ(Region(10, 10, 5, 5) | p2f(20.7f, 11), Region(10, 10, 10, 5));
    EXPECT_EQ(Region(10, 10, 5, 5) | p2f(12, 12), Region(10, 10, 5, 5));

    const Region fromNothing = Region() | p2f(3.9f, -1.5f);
    EXPECT_TRUE(fromNothing.IsValid());
    EXPECT_EQ(fromNothing.x, 3);
    EXPECT_EQ(fromNothing.y, -1);
    EXPECT_EQ(fromNothing.width, 0u);
    EXPECT_EQ(fromNothing.height, 0u);

    // Points gathered one by one from nothing.
    Region r;
    for (const p2f& p : {p2f(4, 4), p2f(1, 7), p2f(9, 2)}) {
        r = r | p;
    }
    EXPECT_EQ(r.x, 1);
    EXPECT_EQ(r.y, 2);
    EXPECT_EQ(r.width, 8u);
    EXPECT_EQ(r.height, 5u);
    EXPECT_TRUE(r.IsValid());
}

TEST(RegionSetOps, Intersection) {
    const struct {
        Region a, b, expected;
    } cases[] = {
        {Region(0, 0, 10, 10), Region(5, 5, 10, 10), Region(5, 5, 5, 5)},
        {Region(0, 0, 10, 10), Region(2, 3, 4, 5), Region(2, 3, 4, 5)},
        {Region(0, 0, 10, 10), Region(10, 0, 5, 5), Region()}, // touching edges
        {Region(0, 0, 10, 10), Region(0, 10, 5, 5), Region()},
        {Region(0, 0, 10, 10), Region(20, 20, 5, 5), Region()},
        {Region(-10, -10, 30, 30), Region(-5, -5, 20, 20), Region(-5, -5, 20, 20)},
        {Region(-10, -10, 30, 30), Region(5, -20, 100, 15), Region(5, -10, 15, 5)},
        {Region(0, 0, 10, 10), Invalid(0, 0, 10, 10), Region()},
        {Invalid(0, 0, 10, 10), Region(0, 0, 10, 10), Region()},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.a & c.b, c.expected) << c.a << " & " << c.b;
        EXPECT_EQ(c.b & c.a, c.expected) << c.b << " & " << c.a;
    }
}

TEST(RegionEdits, GrowFlipOffsetScale) {
    const struct {
        const char* what;
        Region got, expected;
    } cases[] = {
        {"grow", Region(5, 5, 10, 10).Grow(2, 3), Region(3, 2, 14, 16)},
        {"shrink", Region(5, 5, 10, 10).Grow(-1, -2), Region(6, 7, 8, 6)},
        {"shrink to nothing", Region(0, 0, 4, 4).Grow(-2, -1), Invalid(2, 1, 0, 2)},
        {"grow invalid", Region(0, 0, 10, 0).Grow(1, 1), Region(0, 0, 10, 0)},
        {"flip", Region(5, 5, 10, 10).Flip(100), Region(5, 85, 10, 10)},
        {"flip twice", Region(5, 5, 10, 10).Flip(100).Flip(100), Region(5, 5, 10, 10)},
        {"flip invalid", Invalid(5, 5, 10, 10).Flip(100), Invalid(5, 5, 10, 10)},
        {"offset", Region(5, 5, 10, 10).Offset(-7, 3), Region(-2, 8, 10, 10)},
        {"offset invalid", Region(0, 0, 10, 0).Offset(5, 5), Region(0, 0, 10, 0)},
        {"scale down", Region(1, 1, 3, 3).Scale(0.5f, 0.5f), Region(0, 0, 2, 2)},
        {"scale up", Region(1, 2, 3, 4).Scale(2.0f, 3.0f), Region(2, 6, 6, 12)},
        {"scale negative origin", Region(-3, 0, 5, 1).Scale(0.5f, 2.0f), Region(-2, 0, 3, 2)},
        {"scale to nothing", Region(0, 0, 1, 1).Scale(0.5f, 0.5f), Invalid(0, 0, 0, 0)},
        {"scale invalid", Invalid(4, 4, 8, 8).Scale(2.0f, 2.0f), Invalid(4, 4, 8, 8)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.got, c.expected) << c.what << ": " << c.got;
    }
}

TEST(Region3dOps, UnionWithPointsAndBoxes) {
    Region3d box;
    box = box | p3f(1, 2, 3);
    EXPECT_TRUE(box.IsValid());
    EXPECT_EQ(box.GetMinimum(), p3f(1, 2, 3));
    EXPECT_EQ(box.GetMaximum(), p3f(1, 2, 3));
    box = box | p3f(-1, 5, 3) | p3f(0, 0, 10);
    EXPECT_EQ(box.GetMinimum(), p3f(-1, 0, 3));
    EXPECT_EQ(box.GetMaximum(), p3f(1, 5, 10));

    const Region3d a(p3f(0, 0, 0), p3f(1, 1, 1));
    const Region3d b(p3f(-1, 0.5f, 2), p3f(0.5f, 3, 4));
    const Region3d u = a | b;
    EXPECT_TRUE(u.IsValid());
    EXPECT_EQ(u.GetMinimum(), p3f(-1, 0, 0));
    EXPECT_EQ(u.GetMaximum(), p3f(1, 3, 4));

    Region3d stale = b;
    stale.Reset();
    EXPECT_FALSE(stale.IsValid());
    EXPECT_EQ(stale.GetMaximum(), b.GetMaximum()); // corners stay
    EXPECT_EQ((a | stale).GetMaximum(), a.GetMaximum());
    EXPECT_EQ((stale | a).GetMinimum(), a.GetMinimum());
    EXPECT_TRUE((stale | a).IsValid());
}

TEST(Region3dOps, Intersection) {
    const Region3d a(p3f(0, 0, 0), p3f(2, 2, 2));
    const Region3d overlap = a & Region3d(p3f(1, -1, 1), p3f(3, 1, 5));
    EXPECT_TRUE(overlap.IsValid());
    EXPECT_EQ(overlap.GetMinimum(), p3f(1, 0, 1));
    EXPECT_EQ(overlap.GetMaximum(), p3f(2, 1, 2));

    // Touching faces meet in a valid box of zero thickness.
    const Region3d touching = a & Region3d(p3f(2, 0, 0), p3f(3, 2, 2));
    EXPECT_TRUE(touching.IsValid());
    EXPECT_EQ(touching.GetMinimum().x, 2.0f);
    EXPECT_EQ(touching.GetMaximum().x, 2.0f);

    const Region3d apart = a & Region3d(p3f(0, 0, 2.5f), p3f(1, 1, 3));
    EXPECT_FALSE(apart.IsValid());
    EXPECT_EQ(apart.GetMaximum(), p3f());

    EXPECT_FALSE((a & Region3d()).IsValid());
    EXPECT_FALSE((Region3d() & a).IsValid());
}

TEST(Region3dOps, GrowMovesFacesByTheMagnitude) {
    const Region3d a(p3f(0, 0, 0), p3f(2, 4, 6));
    for (const p3f& d : {p3f(1, 2, 0.5f), p3f(-1, 2, -0.5f), p3f(-1, -2, -0.5f)}) {
        const Region3d g = a.Grow(d);
        EXPECT_EQ(g.GetMinimum(), p3f(-1, -2, -0.5f)) << d;
        EXPECT_EQ(g.GetMaximum(), p3f(3, 6, 6.5f)) << d;
    }
    const Region3d g = Region3d().Grow(p3f(1, 1, 1));
    EXPECT_FALSE(g.IsValid());
    EXPECT_EQ(g.GetMaximum(), p3f());
}

TEST(Region3dOps, ConvertsToTheCoveringRegion) {
    const struct {
        Region3d box;
        Region expected;
    } cases[] = {
        {Region3d(p3f(0.5f, 0.5f, 0), p3f(2.1f, 3.0f, 0)), Region(0, 0, 3, 3)},
        {Region3d(p3f(-0.5f, -1.5f, 7), p3f(0.5f, 0.5f, -7)), Region(-1, -2, 2, 3)},
        {Region3d(p3f(1, 1, 0), p3f(1, 5, 0)), Invalid(1, 1, 0, 4)}, // no width
        {Region3d(), Region()},
    };
    for (const auto& c : cases) {
        const Region r = c.box;
        EXPECT_EQ(r, c.expected) << c.box;
    }
}

TEST(RegionStream, Texts) {
    EXPECT_EQ(Text(Region(-3, 4, 5, 6)), "-3,4 5,6");
    std::ostringstream os;
    os << Region3d(p3f(0, 0.5f, 0), p3f(1, 2, 3));
    EXPECT_EQ(os.str(), "(0,0.5,0) (1,2,3) 1");
    std::ostringstream named;
    named << std::boolalpha << Region3d();
    EXPECT_EQ(named.str(), "(0,0,0) (0,0,0) false");
}
