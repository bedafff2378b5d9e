#include "gl/render/Vector.h"

#include "gl/render/Matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

using namespace OGL_ZEP6_AE;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

template <typename T> std::string Text(const T& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

} // namespace

TEST(P3fTag, ZeroFromComponentsAndArithmeticMinusOneFromP4f) {
    const p4f four(2, 4, 6, 2);
    const p3f fromFour(four);
    EXPECT_EQ(fromFour.tag, -1);
    // Construction copies the components as they are; w is not divided out.
    EXPECT_EQ(fromFour, p3f(2, 4, 6));

    p3f assigned(1, 1, 1);
    assigned = four;
    EXPECT_EQ(assigned.tag, -1);
    EXPECT_EQ(assigned, p3f(2, 4, 6));

    // Values made from components, a p2f or by arithmetic carry 0, whatever their operands had.
    const struct {
        const char* what;
        p3f value;
    } zeroes[] = {{"default", p3f()},
                  {"components", p3f(1, 2, 3)},
                  {"array", p3f(static_cast<const float*>(four))},
                  {"p2f", p3f(p2f(1, 2))},
                  {"sum", fromFour + fromFour},
                  {"scaled", fromFour * 2.0f},
                  {"negated", -fromFour},
                  {"cross", fromFour.cross(p3f::xaxis())},
                  {"normalized", fromFour.normalize()},
                  {"matrix", fromFour * m33f()},
                  {"axis", p3f::zaxis()},
                  {"minimum", fromFour.minimum(fromFour)}};
    for (const auto& z : zeroes) {
        EXPECT_EQ(z.value.tag, 0) << z.what;
    }

    // The implicit conversion is the homogeneous projection, built from components.
    const p3f projected = four;
    EXPECT_EQ(projected, p3f(1, 2, 3));
    EXPECT_EQ(projected.tag, 0);

    EXPECT_EQ(fromFour.closest_deg_octave(p3f()).tag, -1);
    EXPECT_EQ(p3f(fromFour).tag, -1);
}

TEST(P4f, DefaultsAndConversions) {
    EXPECT_EQ(p4f(), p4f(0, 0, 0, 1));
    EXPECT_EQ(p4f(p3f(1, 2, 3)), p4f(1, 2, 3, 1));
    p4f r(5, 6, 7, 8);
    r.reset();
    EXPECT_EQ(r, p4f(0, 0, 0, 1));
    r.set(1, 2, 3, 4);
    EXPECT_EQ(r.w, 4.0f);

    const p2f fromP4 = p4f(2, 4, 6, 2);
    EXPECT_EQ(fromP4, p2f(1, 2));
    const p2f fromP3 = p3f(2, 4, 6);
    EXPECT_EQ(fromP3, p2f(2, 4));

    // w takes part in equality and arithmetic.
    EXPECT_NE(p4f(1, 2, 3, 1), p4f(1, 2, 3, 2));
    EXPECT_EQ(p4f(1, 2, 3, 4) + p4f(1, 1, 1, 1), p4f(2, 3, 4, 5));
    EXPECT_EQ(p4f(1, 2, 3, 4) - p4f(1, 1, 1, 1), p4f(0, 1, 2, 3));
    EXPECT_EQ(p4f(1, 2, 3, 4) * p4f(2, 2, 2, 2), p4f(2, 4, 6, 8));
    EXPECT_EQ(p4f(1, 2, 3, 4) * 3.0f, p4f(3, 6, 9, 12));
    EXPECT_EQ(p4f(2, 4, 6, 8) / 2.0f, p4f(1, 2, 3, 4));
    EXPECT_EQ(-p4f(1, 2, 3, 4), p4f(-1, -2, -3, -4));
}

TEST(VectorEquality, WithinOneTenThousandth) {
    const struct {
        float delta;
        bool equal;
    } cases[] = {{0.0f, true}, {0.00009f, true}, {-0.00009f, true}, {0.00011f, false}, {-0.00011f, false}};
    for (const auto& c : cases) {
        for (int axis = 0; axis < 3; ++axis) {
            p3f b(1, 2, 3);
            b[axis] += c.delta;
            EXPECT_EQ(p3f(1, 2, 3) == b, c.equal) << c.delta << " on " << axis;
            EXPECT_EQ(p3f(1, 2, 3) != b, !c.equal) << c.delta << " on " << axis;
        }
        EXPECT_EQ(p2f(1, 2) == p2f(1, 2 + c.delta), c.equal) << c.delta;
        EXPECT_EQ(p4f(1, 2, 3, 4) == p4f(1, 2, 3, 4 + c.delta), c.equal) << c.delta;
    }
    EXPECT_TRUE(p3f(1, 2, 3).equal(p3f(1.4f, 2, 3), 0.5f));
    EXPECT_FALSE(p3f(1, 2, 3).equal(p3f(1, 2, 3), 0.0f)); // strictly less than eps
    EXPECT_FALSE(p3f(kNaN, 0, 0) == p3f(kNaN, 0, 0));
}

TEST(VectorClamp, UnitClampTreatsNaNAndNegativesAsZero) {
    const struct {
        float in, out;
    } cases[] = {{-0.5f, 0.0f}, {0.0f, 0.0f}, {0.25f, 0.25f}, {1.0f, 1.0f},
                 {7.0f, 1.0f},  {kNaN, 0.0f}, {-kInf, 0.0f},  {kInf, 1.0f}};
    for (const auto& c : cases) {
        p3f v(c.in, 0.5f, c.in);
        v.UnitClamp();
        EXPECT_EQ(v.x, c.out) << c.in;
        EXPECT_EQ(v.y, 0.5f);
        EXPECT_EQ(v.z, c.out) << c.in;
        p2f w(0.5f, c.in);
        EXPECT_EQ(w.UnitClamp().y, c.out) << c.in;
        EXPECT_EQ(w.x, 0.5f);
    }
}

TEST(VectorClamp, LowUniClampSetsEveryComponentWhenAnyIsSmall) {
    EXPECT_EQ(p3f(0, 0.5f, 2).lowUniClamp(0.1f), p3f(0.1f, 0.1f, 0.1f));
    // Magnitude decides, and the sign is lost.
    EXPECT_EQ(p3f(-3, -0.05f, 4).lowUniClamp(0.1f), p3f(0.1f, 0.1f, 0.1f));
    EXPECT_EQ(p3f(-3, -0.2f, 4).lowUniClamp(0.1f), p3f(-3, -0.2f, 4));
    EXPECT_EQ(p3f(0.1f, 0.1f, 5).lowUniClamp(0.1f), p3f(0.1f, 0.1f, 5)); // not below
    EXPECT_EQ(p2f(2, 0.01f).lowUniClamp(0.5f), p2f(0.5f, 0.5f));
    EXPECT_EQ(p2f(2, -1).lowUniClamp(0.5f), p2f(2, -1));
}

TEST(VectorAngles, BetweenDirections) {
    EXPECT_NEAR(p2f(1, 0).deg(p2f(0, 1)), 90.0f, 1e-4f);
    EXPECT_NEAR(p2f(3, 0).deg(p2f(-2, 0)), 180.0f, 1e-4f);
    EXPECT_NEAR(p2f(1, 1).deg(p2f(0, 5)), 45.0f, 1e-4f);
    EXPECT_NEAR(p3f(0, 0, 2).deg(p3f(0, 7, 0)), 90.0f, 1e-4f);
    EXPECT_NEAR(p3f(1, 0, 0).rad(p3f(1, 1, 0)), 0.785398163f, 1e-6f);
    // Rounding can push the cosine of parallel directions past 1; the angle is then 0, not NaN.
    const p3f directions[] = {p3f(1, 1, 1), p3f(0.1f, 0.7f, 0.3f), p3f(3, -7, 11), p3f(1e-3f, 2e-3f, 5e-3f)};
    for (const p3f& d : directions) {
        const float a = d.rad(d * 3.0f);
        EXPECT_FALSE(std::isnan(a)) << d;
        EXPECT_NEAR(a, 0.0f, 1e-3f) << d;
    }
}

TEST(VectorProducts, CrossRotaxNormalizeCompress) {
    EXPECT_EQ(p3f::xaxis().cross(p3f::yaxis()), p3f::zaxis());
    EXPECT_EQ(p3f(1, 2, 3).cross(p3f(4, 5, 6)), p3f(-3, 6, -3));
    EXPECT_EQ(p3f(2, 0, 0).rotax(p3f(0, 3, 0)), p3f(0, 0, 1));
    EXPECT_EQ(p3f(1, 2, 3).dot(p3f(4, -5, 6)), 12.0f);
    EXPECT_EQ(p2f(1, 2).dot(p2f(3, 4)), 11.0f);

    const p3f v(3, 0, 4);
    EXPECT_EQ(v.sqlength(), 25.0f);
    EXPECT_EQ(v.length(), 5.0f);
    EXPECT_EQ(v.normalize(), p3f(0.6f, 0, 0.8f));
    EXPECT_EQ(v, p3f(3, 0, 4)); // normalize returns a new value
    EXPECT_EQ(p2f(0, -2).normalize(), p2f(0, -1));
    EXPECT_EQ(v.inverse(), p3f(-3, 0, -4));

    p3f n(-1, 0, 1);
    n.compress(255.0f);
    EXPECT_EQ(n, p3f(0, 127.5f, 255));
}

TEST(VectorComponents, IndexOutsideGivesXSetAndReset) {
    p3f v(1, 2, 3);
    EXPECT_EQ(v[0], 1.0f);
    EXPECT_EQ(v[1], 2.0f);
    EXPECT_EQ(v[2], 3.0f);
    for (int i : {-1, 3, 4, 1000}) {
        EXPECT_EQ(v[i], 1.0f) << i;
    }
    v[7] = 9.0f;
    EXPECT_EQ(v, p3f(9, 2, 3));

    p2f w(5, 6);
    EXPECT_EQ(w[1], 6.0f);
    EXPECT_EQ(w[2], 5.0f);
    EXPECT_EQ(w[-3], 5.0f);
    const p2f& cw = w;
    EXPECT_EQ(&cw[2], &w.x);

    // set() from a matrix takes its translation; the array constructor the first three floats.
    const float m[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    v.set(m);
    EXPECT_EQ(v, p3f(13, 14, 15));
    EXPECT_EQ(p3f(m), p3f(1, 2, 3));
    v.reset();
    EXPECT_EQ(v, p3f());
    w.reset();
    EXPECT_EQ(w, p2f());
}

TEST(VectorArithmetic, ComponentWiseAndScalar) {
    const p3f a(2, 4, 8);
    const p3f b(1, 2, 4);
    EXPECT_EQ(a + b, p3f(3, 6, 12));
    EXPECT_EQ(a - b, p3f(1, 2, 4));
    EXPECT_EQ(a * b, p3f(2, 8, 32));
    EXPECT_EQ(a / b, p3f(2, 2, 2));
    EXPECT_EQ(a + 1.0f, p3f(3, 5, 9));
    EXPECT_EQ(a - 1.0, p3f(1, 3, 7));
    EXPECT_EQ(a * 0.5, p3f(1, 2, 4));
    EXPECT_EQ(a / 4.0f, p3f(0.5f, 1, 2));
    EXPECT_EQ(a / 4.0, p3f(0.5f, 1, 2));
    EXPECT_EQ(a.minimum(p3f(3, 1, 8)), p3f(2, 1, 8));
    EXPECT_EQ(a.maximum(p3f(3, 1, 8)), p3f(3, 4, 8));

    p3f c = a;
    c += b;
    c -= p3f(1, 1, 1);
    c *= p3f(2, 2, 2);
    c /= p3f(4, 4, 4);
    EXPECT_EQ(c, p3f(1, 2.5f, 5.5f));
    c += 1.0;
    c -= 0.5f;
    c *= 2.0;
    c /= 2.0f;
    EXPECT_EQ(c, p3f(1.5f, 3, 6));

    p2f d(1, 2);
    d += p2f(1, 1);
    d *= 3.0;
    d /= p2f(2, 3);
    d -= 1.0f;
    EXPECT_EQ(d, p2f(2, 2));
    EXPECT_EQ(p2f(6, 8) / 2.0, p2f(3, 4));
    EXPECT_EQ(p2f(6, 8).minimum(p2f(7, 1)), p2f(6, 1));
    EXPECT_EQ(-p2f(1, -2), p2f(-1, 2));

    p4f e(1, 2, 3, 4);
    e *= 2.0f;
    e /= 4.0f;
    e += p4f(1, 1, 1, 1);
    e -= p4f(0, 0, 0, 1);
    e *= p4f(2, 2, 2, 2);
    EXPECT_EQ(e, p4f(3, 4, 5, 4));
}

TEST(EulerHelpers, DistanceTakesTheShortWayRound) {
    EXPECT_FLOAT_EQ(p3f(10, 350, 0).euler_distance_sq(p3f(350, 10, 180)), 20 * 20 + 20 * 20 + 180 * 180);
    EXPECT_FLOAT_EQ(p3f(0, 0, 0).euler_distance_sq(p3f(90, -90, 45)), 90 * 90 + 90 * 90 + 45 * 45);
    EXPECT_FLOAT_EQ(p3f(0, 0, 0).euler_distance_sq(p3f(180, 180, 180)), 97200.0f);
}

TEST(EulerHelpers, ClosestOctaveMovesOneTurnAtMost) {
    const struct {
        float value, ref, out;
    } cases[] = {{10, 350, 370},  {350, 10, -10},    {180, 0, 180},   {181, 0, -179}, {-181, 0, 179},
                 {370, -370, 10}, {-700, 700, -340}, {100, 200, 100}, {0, 0, 0}};
    for (const auto& c : cases) {
        const p3f r = p3f(c.value, c.value, c.value).closest_deg_octave(p3f(c.ref, c.ref, c.ref));
        EXPECT_EQ(r, p3f(c.out, c.out, c.out)) << c.value << " toward " << c.ref;
    }
}

TEST(EulerHelpers, ClampDegWrapsInPlaceAndReportsTheTurns) {
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
        const p3f k = v.clamp_deg();
        EXPECT_TRUE(v.equal(c.wrapped, 1e-3f)) << c.in << " wrapped to " << v;
        EXPECT_EQ(k, c.removed) << c.in;
        // Snapped values land exactly.
        for (int i = 0; i < 3; ++i) {
            const float w = c.wrapped[i];
            if (w == 0 || w == 90 || w == 180 || w == 270) {
                EXPECT_EQ(v[i], w) << c.in << " component " << i;
            }
        }
    }
}

TEST(VectorStream, UsesTheStreamsNumberFormat) {
    EXPECT_EQ(Text(p2f(1.5f, -2)), "(1.5,-2)");
    EXPECT_EQ(Text(p3f(1, 2, 3)), "(1,2,3)");
    EXPECT_EQ(Text(p4f(1, 2, 3, 4)), "(1,2,3,4)");
    std::ostringstream os;
    os << std::fixed << std::setprecision(2) << p3f(0.5f, 1, -0.25f);
    EXPECT_EQ(os.str(), "(0.50,1.00,-0.25)");
}
