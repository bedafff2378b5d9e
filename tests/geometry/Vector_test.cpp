// The vector types: tag, equality tolerance, clamps, angles and products, Euler helpers.
#include "geometry/Vector.h"

#include "geometry/Matrix.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

using namespace OGL_ZEP6_AE;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

TEST(Vector, TagEqualityAndClampsOnEveryComponent) {
    for (const auto& c :
         {std::make_pair(0.0f, true), std::make_pair(0.00009f, true), std::make_pair(-0.00009f, true),
          std::make_pair(0.00011f, false), std::make_pair(-0.00011f, false)}) {
        for (int axis = 0; axis < 3; ++axis) {
            p3f b(1, 2, 3);
            b[axis] += c.first;
            EXPECT_EQ(p3f(1, 2, 3) == b, c.second) << c.first << " on " << axis;
            EXPECT_EQ(p3f(1, 2, 3) != b, !c.second) << c.first << " on " << axis;
        }
        EXPECT_EQ(p2f(1, 2) == p2f(1, 2 + c.first), c.second) << c.first;
        EXPECT_EQ(p4f(1, 2, 3, 4) == p4f(1, 2, 3, 4 + c.first), c.second) << c.first << ": w takes part";
    }
    EXPECT_TRUE(p3f(1, 2, 3).equal(p3f(1.4f, 2, 3), 0.5f));
    EXPECT_FALSE(p3f(1, 2, 3).equal(p3f(1, 2, 3), 0.0f)) << "strictly less than eps";
    EXPECT_FALSE(p3f(kNaN, 0, 0) == p3f(kNaN, 0, 0));

    // UnitClamp treats NaN and negatives as 0.
    for (const auto& c :
         {std::make_pair(-0.5f, 0.0f), std::make_pair(0.25f, 0.25f), std::make_pair(7.0f, 1.0f),
          std::make_pair(kNaN, 0.0f), std::make_pair(-kInf, 0.0f), std::make_pair(kInf, 1.0f)}) {
        p3f v(c.first, 0.5f, c.first);
        v.UnitClamp();
        EXPECT_EQ(v, p3f(c.second, 0.5f, c.second)) << c.first;
        p2f w(0.5f, c.first);
        EXPECT_EQ(w.UnitClamp(), p2f(0.5f, c.second)) << c.first;
    }
    // lowUniClamp sets every component when any is small in magnitude (the sign is lost).
    EXPECT_EQ(p3f(-3, -0.05f, 4).lowUniClamp(0.1f), p3f(0.1f, 0.1f, 0.1f));
    EXPECT_EQ(p3f(-3, -0.2f, 4).lowUniClamp(0.1f), p3f(-3, -0.2f, 4));
    EXPECT_EQ(p3f(0.1f, 0.1f, 5).lowUniClamp(0.1f), p3f(0.1f, 0.1f, 5)) << "not below";
    EXPECT_EQ(p2f(2, 0.01f).lowUniClamp(0.5f), p2f(0.5f, 0.5f));
    EXPECT_EQ(p2f(2, -1).lowUniClamp(0.5f), p2f(2, -1));

    // The tag is -1 only for a p3f made from a p4f.
    const p4f four(2, 4, 6, 2);
    const p3f fromFour(four);
    p3f assigned(1, 1, 1);
    assigned = four;
    // Construction and assignment copy the components; w is not divided out.
    for (const p3f& v : {fromFour, assigned, p3f(fromFour), fromFour.closest_deg_octave(p3f())}) {
        EXPECT_EQ(v.tag, -1);
        EXPECT_EQ(v, p3f(2, 4, 6));
    }
    // Values made from components, a p2f or by arithmetic carry 0, whatever their operands had.
    const p3f zeroes[] = {p3f(), p3f(1, 2, 3), p3f(static_cast<const float*>(four)), p3f(p2f(1, 2)),
                          fromFour + fromFour, fromFour * 2.0f, -fromFour, fromFour.cross(p3f::xaxis()),
                          fromFour.normalize(), fromFour * m33f(), fromFour.minimum(fromFour)};
    for (const p3f& z : zeroes)
        EXPECT_EQ(z.tag, 0) << z;
    // The implicit conversion is the homogeneous projection, built from components.
    const p3f projected = four;
    EXPECT_TRUE(projected == p3f(1, 2, 3) && projected.tag == 0) << projected;
}

TEST(Vector, AnglesProductsAndEulerHelpers) {
    EXPECT_NEAR(p2f(3, 0).deg(p2f(-2, 0)), 180.0f, 1e-4f);
    EXPECT_NEAR(p2f(1, 1).deg(p2f(0, 5)), 45.0f, 1e-4f);
    EXPECT_NEAR(p3f(0, 0, 2).deg(p3f(0, 7, 0)), 90.0f, 1e-4f);
    EXPECT_NEAR(p3f(1, 0, 0).rad(p3f(1, 1, 0)), 0.785398163f, 1e-6f);
    // Rounding can push the cosine of parallel directions past 1; the angle is then 0, not NaN.
    for (const p3f& d : {p3f(1, 1, 1), p3f(0.1f, 0.7f, 0.3f), p3f(3, -7, 11), p3f(1e-3f, 2e-3f, 5e-3f)})
        EXPECT_NEAR(d.rad(d * 3.0f), 0.0f, 1e-3f) << d;

    EXPECT_EQ(p3f(1, 2, 3).cross(p3f(4, 5, 6)), p3f(-3, 6, -3));
    EXPECT_EQ(p3f(2, 0, 0).rotax(p3f(0, 3, 0)), p3f(0, 0, 1));
    const p3f v(3, 0, 4);
    EXPECT_EQ(v.normalize(), p3f(0.6f, 0, 0.8f));
    EXPECT_EQ(v, p3f(3, 0, 4)) << "normalize returns a new value";
    p3f n(-1, 0, 1);
    EXPECT_EQ(n.compress(255.0f), p3f(0, 127.5f, 255));

    // The Euler distance takes the short way round each axis.
    EXPECT_FLOAT_EQ(p3f(10, 350, 0).euler_distance_sq(p3f(350, 10, 180)), 20 * 20 + 20 * 20 + 180 * 180);
    EXPECT_FLOAT_EQ(p3f(0, 0, 0).euler_distance_sq(p3f(180, 180, 180)), 97200.0f);
    // The closest octave moves one turn at most.
    for (const auto c : {p3f(10, 350, 370), p3f(350, 10, -10), p3f(180, 0, 180), p3f(181, 0, -179),
                         p3f(-181, 0, 179), p3f(370, -370, 10), p3f(-700, 700, -340), p3f(100, 200, 100)}) {
        const p3f r = p3f(c.x, c.x, c.x).closest_deg_octave(p3f(c.y, c.y, c.y));
        EXPECT_EQ(r, p3f(c.z, c.z, c.z)) << c.x << " toward " << c.y;
    }
    // clamp_deg wraps in place, snaps to the quarter turns exactly and reports the turns taken.
    const struct {
        p3f in, wrapped, removed;
    } cases[] = {
        {p3f(-30, 400, 89.99995f), p3f(330, 40, 90), p3f(-360, 360, 0)},
        {p3f(1000, -1000, 0), p3f(280, 80, 0), p3f(720, -1080, 0)},
        {p3f(180.00005f, 269.99999f, -90), p3f(180, 270, 270), p3f(0, 0, -360)},
        {p3f(359.99995f, 720, 0.00004f), p3f(0, 0, 0), p3f(0, 720, 0)},
    };
    for (const auto& c : cases) {
        p3f v = c.in;
        EXPECT_EQ(v.clamp_deg(), c.removed) << c.in;
        for (int i = 0; i < 3; ++i) {
            const float w = c.wrapped[i];
            if (w == 0 || w == 90 || w == 180 || w == 270)
                EXPECT_EQ(v[i], w) << c.in << " component " << i;
            else
                EXPECT_NEAR(v[i], w, 1e-3f) << c.in << " component " << i;
        }
    }
}

} // namespace
