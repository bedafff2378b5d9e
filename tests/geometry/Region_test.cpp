#include "geometry/Region.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>

using namespace OGL_ZEP6_AE;

namespace {

// A region whose valid flag is set by hand (to invalid unless asked), whatever its sizes say.
Region Invalid(int x, int y, unsigned w, unsigned h, bool valid = false) {
    Region r(x, y, w, h);
    r.valid = valid;
    return r;
}

Region3d Invalid(const p3f& min, const p3f& max) {
    Region3d r(min, max);
    r.valid = false;
    return r;
}

// Region3d has no equality of its own: corners and flag are compared, and printed on a failure.
::testing::AssertionResult Same(const Region3d& got, const Region3d& expected) {
    if (got.GetMinimum() == expected.GetMinimum() && got.GetMaximum() == expected.GetMaximum() &&
        got.IsValid() == expected.IsValid())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << got << " instead of " << expected;
}

template <typename T> std::string Text(const T& r) {
    std::ostringstream os;
    os << r;
    return os.str();
}

} // namespace

TEST(RegionBasics, ValidComparedInRangeAndEdited) {
    EXPECT_EQ(Region(), Invalid(0, 0, 0, 0));
    const struct {
        Region r;
        bool valid;
    } cases[] = {{Region(10, 0), false},       {Region(0, 10), false}, {Region(0, 0, 10, 0), false},
                 {Region(-5, 3, 0, 0), false}, {Region(5, 6), true},   {Region(-5, -6, 1, 1), true}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.r.IsValid(), c.valid) << c.r;
    }
    EXPECT_EQ(Region(5, 6), Region(0, 0, 5, 6));

    EXPECT_EQ(std::make_pair(Region(-5, -7, 10, 3).XEnd(), Region(-5, -7, 10, 3).YEnd()), std::make_pair(5, -4));

    // Equality includes the valid flag.
    EXPECT_EQ(Region(1, 2, 3, 4), Region(1, 2, 3, 4));
    for (const Region& other : {Invalid(1, 2, 3, 4), Region(1, 2, 3, 5), Region(0, 2, 3, 4)})
        EXPECT_NE(Region(1, 2, 3, 4), other);
    EXPECT_NE(Region(0, 0, 10, 0), Region());

    // IsInRange excludes the far edges.
    const Region r(10, 20, 5, 5);
    const struct {
        p2f p;
        bool inside;
    } points[] = {{p2f(10, 20), true},  {p2f(14.99f, 24.99f), true}, {p2f(15, 22), false},
                 {p2f(12, 25), false}, {p2f(9.99f, 22), false},     {p2f(12, 19.5f), false}};
    for (const auto& c : points) {
        EXPECT_EQ(r.IsInRange(c.p), c.inside) << c.p;
    }
    EXPECT_FALSE(Invalid(10, 20, 5, 5).IsInRange(p2f(12, 22)));
    EXPECT_TRUE(Region(-10, -10, 5, 5).IsInRange(p2f(-7.5f, -5.5f)));

    // Grow, flip, offset and scale.
    const struct {
        const char* what;
        Region got, expected;
    } edits[] = {
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
    for (const auto& c : edits) {
        EXPECT_EQ(c.got, c.expected) << c.what << ": " << c.got;
    }
}

TEST(RegionSetOps, UnionAndIntersectionInEitherOrderAndUnionWithPoints) {
    const struct {
        Region a, b, both, overlap;
    } cases[] = {
        {Region(0, 0, 10, 10), Region(5, 5, 10, 10), Region(0, 0, 15, 15), Region(5, 5, 5, 5)},
        {Region(0, 0, 10, 10), Region(2, 3, 4, 5), Region(0, 0, 10, 10), Region(2, 3, 4, 5)},
        {Region(5, 5, 10, 10), Region(0, 0, 2, 2), Region(0, 0, 15, 15), Region()},
        {Region(100, 0, 1, 1), Region(0, 50, 1, 1), Region(0, 0, 101, 51), Region()},
        // Touching edges do not overlap.
        {Region(0, 0, 10, 10), Region(10, 0, 5, 5), Region(0, 0, 15, 10), Region()},
        {Region(0, 0, 10, 10), Region(0, 10, 5, 5), Region(0, 0, 10, 15), Region()},
        {Region(-5, -5, 10, 10), Region(0, 0, 20, 20), Region(-5, -5, 25, 25), Region(0, 0, 5, 5)},
        {Region(-10, -10, 30, 30), Region(-5, -5, 20, 20), Region(-10, -10, 30, 30), Region(-5, -5, 20, 20)},
        {Region(-10, -10, 30, 30), Region(5, -20, 100, 15), Region(-10, -20, 115, 40), Region(5, -10, 15, 5)},
        // An invalid operand contributes nothing to a union, whatever its fields say, and leaves
        // no overlap.
        {Region(1, 2, 3, 4), Invalid(-50, -50, 500, 500), Region(1, 2, 3, 4), Region()},
        {Region(0, 0, 10, 10), Invalid(0, 0, 10, 10), Region(0, 0, 10, 10), Region()},
        {Region(), Region(), Region(), Region()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Text(c.a) + " with " + Text(c.b));
        EXPECT_EQ(c.a | c.b, c.both);
        EXPECT_EQ(c.b | c.a, c.both);
        EXPECT_EQ(c.a & c.b, c.overlap);
        EXPECT_EQ(c.b & c.a, c.overlap);
    }
    // The union with a point.
    const struct {
        Region got, expected;
    } withPoints[] = {
        {Region(10, 10, 5, 5) | p2f(2.5f, 12), Region(2, 10, 13, 5)},
        {Region(10, 10, 5, 5) | p2f(20.7f, 11), Region(10, 10, 10, 5)},
        {Region(10, 10, 5, 5) | p2f(12, 12), Region(10, 10, 5, 5)},
        // From nothing: the empty rectangle at the point (truncated toward zero), valid.
        {Region() | p2f(3.9f, -1.5f), Invalid(3, -1, 0, 0, /*valid*/ true)},
        {Region() | p2f(4, 4) | p2f(1, 7) | p2f(9, 2), Region(1, 2, 8, 5)},
    };
    for (const auto& c : withPoints) {
        EXPECT_EQ(c.got, c.expected);
    }
}

TEST(Region3dOps, UnionIntersectionGrowAndTheCoveringRegion) {
    const Region3d a(p3f(0, 0, 0), p3f(2, 2, 2));
    const Region3d b(p3f(-1, 0.5f, 2), p3f(0.5f, 3, 4));
    const Region3d tall(p3f(0, 0, 0), p3f(2, 4, 6));
    Region3d stale = b;
    stale.Reset();
    const struct {
        const char* what;
        Region3d got, expected;
    } cases[] = {
        {"point into nothing", Region3d() | p3f(1, 2, 3), Region3d(p3f(1, 2, 3), p3f(1, 2, 3))},
        {"points", Region3d() | p3f(1, 2, 3) | p3f(-1, 5, 3) | p3f(0, 0, 10),
         Region3d(p3f(-1, 0, 3), p3f(1, 5, 10))},
        {"boxes", a | b, Region3d(p3f(-1, 0, 0), p3f(2, 3, 4))},
        {"reset keeps the corners", stale, Invalid(b.GetMinimum(), b.GetMaximum())},
        {"invalid right operand", a | stale, a},
        {"invalid left operand", stale | a, a},
        {"overlap", a & Region3d(p3f(1, -1, 1), p3f(3, 1, 5)), Region3d(p3f(1, 0, 1), p3f(2, 1, 2))},
        // Touching faces meet in a valid box of zero thickness.
        {"touching", a & Region3d(p3f(2, 0, 0), p3f(3, 2, 2)), Region3d(p3f(2, 0, 0), p3f(2, 2, 2))},
        {"apart", a & Region3d(p3f(0, 0, 2.5f), p3f(1, 1, 3)), Region3d()},
        {"overlap with nothing", a & Region3d(), Region3d()},
        {"overlap of nothing", Region3d() & a, Region3d()},
        // Faces move by the magnitude, whatever the signs.
        {"grow", tall.Grow(p3f(1, 2, 0.5f)), Region3d(p3f(-1, -2, -0.5f), p3f(3, 6, 6.5f))},
        {"grow by negatives", tall.Grow(p3f(-1, 2, -0.5f)), Region3d(p3f(-1, -2, -0.5f), p3f(3, 6, 6.5f))},
        {"grow all negative", tall.Grow(p3f(-1, -2, -0.5f)), Region3d(p3f(-1, -2, -0.5f), p3f(3, 6, 6.5f))},
        {"grow nothing", Region3d().Grow(p3f(1, 1, 1)), Region3d()},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(Same(c.got, c.expected)) << c.what;
    }
    // A box converts to the region that covers it.
    const struct {
        Region3d box;
        Region expected;
    } covering[] = {
        {Region3d(p3f(0.5f, 0.5f, 0), p3f(2.1f, 3.0f, 0)), Region(0, 0, 3, 3)},
        {Region3d(p3f(-0.5f, -1.5f, 7), p3f(0.5f, 0.5f, -7)), Region(-1, -2, 2, 3)},
        {Region3d(p3f(1, 1, 0), p3f(1, 5, 0)), Invalid(1, 1, 0, 4)}, // no width
        {Region3d(), Region()},
    };
    for (const auto& c : covering) {
        const Region r = c.box;
        EXPECT_EQ(r, c.expected) << c.box;
    }
}
