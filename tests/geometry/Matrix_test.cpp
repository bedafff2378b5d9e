#include "geometry/Matrix.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace OGL_ZEP6_AE;

namespace {

using Mat3 = std::array<std::array<double, 3>, 3>;
using Mat4 = std::array<std::array<double, 4>, 4>;

const double kPi = 3.14159265358979323846;

template <std::size_t N>
std::array<std::array<double, N>, N> Multiply(const std::array<std::array<double, N>, N>& a,
                                              const std::array<std::array<double, N>, N>& b) {
    std::array<std::array<double, N>, N> r{};
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j < N; ++j)
            for (std::size_t k = 0; k < N; ++k)
                r[i][j] += a[i][k] * b[k][j];
    return r;
}

// Right-handed rotation about the axis 'X', 'Y' or 'Z' for column vectors, in double precision.
Mat3 Rotation(char axis, double deg) {
    const double c = std::cos(deg * kPi / 180), s = std::sin(deg * kPi / 180);
    if (axis == 'X')
        return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
    if (axis == 'Y')
        return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
    return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
}

struct OrderCase {
    RotationOrder order;
    const char* factors; // left to right
    int middle;          // index of the middle angle
};

const OrderCase kOrders[] = {
    {XYZ, "XYZ", 1}, {ZXY, "ZXY", 0}, {YZX, "YZX", 2}, {XZY, "XZY", 2}, {ZYX, "ZYX", 1}, {YXZ, "YXZ", 0},
};

// The Euler matrix built independently: the factors in the named order, with Y turning by -y.
Mat3 ReferenceEuler(double x, double y, double z, const char* factors) {
    Mat3 r = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    for (const char* f = factors; *f; ++f)
        r = Multiply(r, Rotation(*f, *f == 'X' ? x : *f == 'Y' ? -y : z));
    return r;
}

Mat3 Elements(const m33f& m) {
    Mat3 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = m[i][j];
    return r;
}
Mat4 ColumnMajor(const m44f& m) {
    Mat4 r;
    for (int row = 0; row < 4; ++row)
        for (int k = 0; k < 4; ++k)
            r[row][k] = m.e[4 * k + row];
    return r;
}

template <std::size_t N>
::testing::AssertionResult NearElements(const std::array<std::array<double, N>, N>& got,
                                        const std::array<std::array<double, N>, N>& want, double tol) {
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j < N; ++j)
            if (!(std::fabs(got[i][j] - want[i][j]) <= tol))
                return ::testing::AssertionFailure()
                       << "element (" << i << "," << j << ") is " << got[i][j] << ", expected " << want[i][j];
    return ::testing::AssertionSuccess();
}
::testing::AssertionResult Near(const m33f& m, const Mat3& ref, double tol) {
    return NearElements(Elements(m), ref, tol);
}
::testing::AssertionResult Near(const m44f& m, const Mat4& colMajor, double tol) {
    return NearElements(ColumnMajor(m), colMajor, tol);
}

std::string Describe(const p3f& a, const OrderCase& o) {
    std::ostringstream out;
    out << o.factors << " " << a;
    return out.str();
}

// The angles of an order given as its middle angle and the two outer ones, in x, y, z order.
p3f Angles(const OrderCase& o, float middle, float p, float q) {
    p3f a;
    a[o.middle] = middle;
    a[(o.middle + 1) % 3] = p;
    a[(o.middle + 2) % 3] = q;
    return a;
}

// Whether the angles come back from their own matrix, with themselves as the reference. Float
// elements put about 1e-5 rad of noise on the angles read back; it grows as the middle angle
// approaches a quarter turn.
::testing::AssertionResult ComeBack(const p3f& a, const OrderCase& o) {
    const p3f e = m33f::angle(a, o.order).to_closest_euler(a, o.order);
    if (e.equal(a, 5e-3f))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << Describe(a, o) << " came back as " << Describe(e, o);
}

const float kSpread[] = {-350.0f, -200.0f, -135.0f, -90.0f, -45.0f, -30.0f, -0.5f,  0.0f,   0.3f,   10.0f,  45.0f,
                         89.0f,   90.0f,   91.0f,   135.0f, 180.0f, 225.0f, 270.0f, 300.0f, 359.0f, 400.0f, 700.0f};

bool QuarterTurn(float degrees) {
    return std::fmod(std::fabs(degrees), 90.0f) == 0.0f;
}

// The sixteen floats of an array, printed on a failure.
std::vector<float> Floats(const float* f) {
    return std::vector<float>(f, f + 16);
}

} // namespace

TEST(EulerMatrix, MatchesProductOfFactorsForEveryOrderAndReverses) {
    for (const OrderCase& o : kOrders) {
        for (float x : kSpread)
            for (float y : kSpread)
                for (float z : {-135.0f, 0.0f, 30.0f, 200.0f})
                    ASSERT_TRUE(Near(m33f::angle(x, y, z, o.order), ReferenceEuler(x, y, z, o.factors), 2e-6))
                        << Describe(p3f(x, y, z), o);
    }
    for (int bad : {6, -1})
        EXPECT_TRUE(Near(m33f::angle(30.0f, 40.0f, 50.0f, RotationOrder(bad)), Elements(m33f()), 0.0))
            << "order " << bad << " is the identity";

    // Reversing an order swaps its first and last factor.
    const RotationOrder cases[][2] = {{XYZ, ZYX}, {ZXY, YXZ}, {YZX, XZY}, {XZY, YZX}, {ZYX, XYZ}, {YXZ, ZXY}};
    for (const auto& c : cases) {
        EXPECT_EQ(ReverseRotationOrder(c[0]), c[1]);
        EXPECT_EQ(ReverseRotationOrder(ReverseRotationOrder(c[0])), c[0]);
    }
    for (int bad : {6, -1, 42})
        EXPECT_EQ(ReverseRotationOrder(static_cast<RotationOrder>(bad)), static_cast<RotationOrder>(bad));
}

TEST(ToClosestEuler, RebuildsTheMatrixAndReturnsTheSolutionNearestTheReference) {
    for (const OrderCase& o : kOrders)
        for (float x : kSpread)
            for (float y : kSpread)
                for (float z : kSpread) {
                    const p3f a(x, y, z);
                    const m33f m = m33f::angle(a, o.order);
                    // Middle angle at a multiple of a quarter turn: the near-zero branch or gimbal
                    // lock, where only a combination of the outer angles is fixed (from p3f()).
                    const bool locked = QuarterTurn(a[o.middle]);
                    if (locked && (QuarterTurn(a[(o.middle + 1) % 3]) || QuarterTurn(a[(o.middle + 2) % 3])))
                        continue;
                    const p3f e = m.to_closest_euler(locked ? p3f() : a, o.order);
                    ASSERT_TRUE(m33f::angle(e, o.order).equal(m, 1e-4f))
                        << Describe(a, o) << " came back as " << Describe(e, o);
                }

    // The solution nearest the reference comes back: with the angles themselves as the reference, those
    // angles; with a reference beside the rotation's second solution, that one.
    // Outer angles anywhere in (-360, 720), middle angle within a quarter turn of a whole turn and
    // clear of it: the solution nearest to the angles themselves is those angles (the middle one
    // moved by whole turns too: -340 and 420). With a zero middle angle the outer axes are
    // parallel (the near-zero branch); the candidates still contain the angles themselves, for
    // XYZ and ZYX also when the middle angle is a half turn.
    const std::vector<float> outer = {-359.0f, -270.0f, -100.0f, -1.0f, 0.0f, 5.0f,
                                      90.0f,   179.0f,  181.0f,  359.5f, 500.0f, 719.0f};
    const std::vector<float> kParallelOuter = {-100.0f, -40.0f, 20.0f, 50.0f, 130.0f, 200.0f, 310.0f, 359.0f};
    for (const OrderCase& o : kOrders) {
        std::vector<float> middles = {-80.0f, -45.0f, -10.0f, -0.5f, 0.25f, 30.0f, 60.0f, 80.0f, -340.0f, 420.0f, 0.0f, 360.0f};
        if (o.order == XYZ || o.order == ZYX)
            middles.insert(middles.end(), {180.0f, -180.0f});
        for (float mid : middles) {
            // Parallel outer axes: outer angles within a turn and clear of the quarter turns.
            const bool parallel = std::fmod(std::fabs(mid), 180.0f) == 0.0f;
            for (float p : parallel ? kParallelOuter : outer)
                for (float q : parallel ? kParallelOuter : outer)
                    ASSERT_TRUE(ComeBack(Angles(o, mid, p, q), o));
        }
    }
    // XYZ with x at a quarter turn reads z from the third row, where the second row vanishes.
    for (float x : {90.0f, 270.0f})
        for (float z : kParallelOuter)
            ASSERT_TRUE(ComeBack(p3f(x, 0.0f, z), kOrders[XYZ]));

    // Every rotation has a second solution (outer angles turned by half a turn, middle angle
    // mirrored); a reference beside that one selects it.
    const std::pair<RotationOrder, p3f> cases[] = {{XYZ, p3f(20, 30, 40)},   {ZYX, p3f(20, 30, 40)},
                                                   {YXZ, p3f(-50, 10, 70)},  {XZY, p3f(15, 100, 25)},
                                                   {YZX, p3f(15, 100, -25)}, {XZY, p3f(-70, 40, -60)},
                                                   {ZXY, p3f(-20, 50, 60)}};
    for (const auto& [order, a] : cases) {
        const m33f m = m33f::angle(a, order);
        const OrderCase& o = kOrders[order];
        const p3f other =
            Angles(o, 180.0f - a[o.middle], a[(o.middle + 1) % 3] + 180.0f, a[(o.middle + 2) % 3] + 180.0f);
        ASSERT_TRUE(m33f::angle(other, order).equal(m, 1e-5f)) << "the test's second solution is wrong";
        const p3f e = m.to_closest_euler(other, order);
        EXPECT_TRUE(e.equal(other, 5e-3f)) << Describe(e, o) << " instead of " << Describe(other, o);
    }
}

TEST(M33f, ProductColumnVectorsInverseAndAxisAngle) {
    const m33f a(1, 2, 3, 4, 5, 6, 7, 8, 10), b(-1, 0.5f, 2, 3, -2, 1, 0, 4, -3);
    EXPECT_TRUE(Near(a * b, Multiply(Elements(a), Elements(b)), 1e-5));
    m33f c = a;
    c *= b;
    EXPECT_TRUE(Near(c, Multiply(Elements(a), Elements(b)), 1e-5));

    const p3f v(1, -1, 2), expected(1 - 2 + 6, 4 - 5 + 12, 7 - 8 + 20);
    EXPECT_EQ(v * a, expected);
    float raw[3] = {1, -1, 2};
    a.transform3f(raw, raw); // in place is allowed
    EXPECT_EQ(p3f(raw), expected);

    std::mt19937 rng(7);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    for (int n = 0; n < 200; ++n) {
        m33f m;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                m[i][j] = d(rng) + (i == j ? (n % 2 ? 3.0f : -3.0f) : 0.0f);
        EXPECT_TRUE(Near(m.inverse() * m, Elements(m33f()), 1e-5)) << n;
        EXPECT_TRUE(Near(m * m.inverse(), Elements(m33f()), 1e-5)) << n;
    }
    // Pivoting past a zero diagonal; a singular matrix comes back unchanged.
    EXPECT_TRUE(Near(m33f(0, 2, 0, 1, 0, 0, 0, 0, 4).inverse(), Mat3{{{0, 1, 0}, {0.5, 0, 0}, {0, 0, 0.25}}}, 1e-7));
    for (const m33f& singular :
         {m33f(1, 2, 3, 2, 4, 6, 0, 1, 1), m33f(0, 1, 2, 0, 3, 4, 0, 5, 6), m33f(0, 0, 0, 0, 0, 0, 0, 0, 0)})
        EXPECT_TRUE(Near(singular.inverse(), Elements(singular), 0.0));

    // The axis-angle matrix is the Rodrigues rotation.
    for (const p3f& axis : {p3f(1, 0, 0), p3f(0, 2, 0), p3f(0, 0, 1), p3f(1, 2, 3), p3f(-3, 0.5f, 1)})
        for (float deg : {-120.0f, 0.0f, 33.0f, 90.0f, 270.0f}) {
            const double n = std::sqrt(double(axis.x) * axis.x + double(axis.y) * axis.y + double(axis.z) * axis.z);
            const double u[3] = {axis.x / n, axis.y / n, axis.z / n};
            const double c = std::cos(deg * kPi / 180), s = std::sin(deg * kPi / 180);
            // R = cI + s[u]x + (1 - c) u u^T
            const double cross[3][3] = {{0, -u[2], u[1]}, {u[2], 0, -u[0]}, {-u[1], u[0], 0}};
            Mat3 ref;
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j)
                    ref[i][j] = (i == j ? c : 0.0) + s * cross[i][j] + (1 - c) * u[i] * u[j];
            EXPECT_TRUE(Near(m33f::axangle(axis, deg), ref, 2e-6)) << axis << " " << deg;
        }
}

namespace {

m44f RandomM44(std::mt19937& rng) {
    std::uniform_real_distribution<float> d(-2.0f, 2.0f);
    m44f m;
    for (float& v : m.e)
        v = d(rng);
    return m;
}

TEST(M44f, ProductIsColumnMajorIgnoresTheRightTranslationAndInversePivots) {
    std::mt19937 rng(11);
    for (int n = 0; n < 50; ++n) {
        const m44f a = RandomM44(rng), b = RandomM44(rng);
        // b' keeps b's upper 3x3 block only, so the left operand's translation column survives
        // and the right one's is dropped.
        Mat4 bPrime = ColumnMajor(b);
        for (int k = 0; k < 3; ++k)
            bPrime[3][k] = bPrime[k][3] = 0; // e3, e7, e11; e12, e13, e14
        bPrime[3][3] = 1;
        const Mat4 expected = Multiply(ColumnMajor(a), bPrime);
        EXPECT_TRUE(Near(a * b, expected, 1e-5));
        m44f c = a, d = a;
        EXPECT_TRUE(Near(c *= b, expected, 1e-5));
        const m33f r = m33f::angle(10.0f * n, 20.0f, -5.0f * n, ZYX);
        EXPECT_TRUE(Near(a * r, ColumnMajor(a * m44f(r)), 0.0));
        EXPECT_TRUE(Near(d *= r, ColumnMajor(a * m44f(r)), 0.0));
    }

    // The inverse pivots and takes vanishing pivots as one billionth.
    rng.seed(3);
    for (int n = 0; n < 200; ++n) {
        m44f m = RandomM44(rng);
        for (int i = 0; i < 4; ++i)
            m.e[5 * i] += (n % 2) ? 6.0f : -6.0f;
        // The inverse of the transpose is the transpose of the inverse, so the product can be
        // taken in either reading of the storage.
        const Mat4 identity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
        ASSERT_TRUE(NearElements(Multiply(ColumnMajor(m.inverse()), ColumnMajor(m)), identity, 1e-5)) << n;
    }
    const float swapped[16] = {0, 2, 0, 0, 1, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 8};
    EXPECT_EQ(Floats(m44f(swapped).inverse().e),
              (std::vector<float>{0, 1, 0, 0, 0.5f, 0, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 0.125f}));
    // The zero matrix: every pivot is taken as 1e-9, so each row of the identity is scaled by
    // 1e9; a tiny negative pivot keeps its sign.
    EXPECT_EQ(Floats(m44f(std::array<float, 16>{}.data()).inverse().e),
              (std::vector<float>{1e9f, 0, 0, 0, 0, 1e9f, 0, 0, 0, 0, 1e9f, 0, 0, 0, 0, 1e9f}));
    const float tiny[16] = {-1e-12f, 0, 0, 0, 0, 2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1};
    EXPECT_EQ(Floats(m44f(tiny).inverse().e),
              (std::vector<float>{-1e9f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 1}));
    const float rank2[16] = {1, 2, 3, 4, 2, 4, 6, 8, 0, 1, 0, 1, -1, -2, -3, -4};
    for (float v : m44f(rank2).inverse().e)
        EXPECT_TRUE(std::isfinite(v));
}

} // namespace
