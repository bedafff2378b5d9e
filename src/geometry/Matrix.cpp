#include "geometry/Matrix.h"

#include <cmath>
#include <utility>

namespace OGL_ZEP6_AE {

namespace {

const float kDegToRad = 0.017453292f;
const float kRadToDeg = 57.29578f;
const float kPi = 3.1415927f;
const float kTwoPi = 6.2831855f;
const float kHalfPi = 1.5707964f;
const float kThreeHalfPi = 4.712389f;
const float kSnap = 0.0001f;

// Ordinary right-handed rotations for column vectors, from the cosine and sine of the angle.
m33f RotationX(float c, float s) {
    return m33f(1.0f, 0.0f, 0.0f, 0.0f, c, -s, 0.0f, s, c);
}
m33f RotationY(float c, float s) {
    return m33f(c, 0.0f, s, 0.0f, 1.0f, 0.0f, -s, 0.0f, c);
}
m33f RotationZ(float c, float s) {
    return m33f(c, -s, 0.0f, s, c, 0.0f, 0.0f, 0.0f, 1.0f);
}

bool InRange(RotationOrder order) {
    return order >= XYZ && order <= YXZ;
}

// Radian wrap into [0, 2π), with values that rounding left just beside a quarter turn snapped.
float WrapRadians(float a) {
    while (a < 0.0f && std::isfinite(a)) {
        a += kTwoPi;
    }
    if (a >= kTwoPi) {
        a = std::fmod(a, kTwoPi);
    }
    if (std::fabs(a) < kSnap || std::fabs(a - kTwoPi) < kSnap) {
        return 0.0f;
    }
    if (std::fabs(a - kThreeHalfPi) < kSnap) {
        return kThreeHalfPi;
    }
    if (std::fabs(a - kHalfPi) < kSnap) {
        return kHalfPi;
    }
    if (std::fabs(a - kPi) < kSnap) {
        return kPi;
    }
    return a;
}

// atan2 of a pair whose two arguments are both divided by d: d only contributes its sign, which
// turns the result by half a turn for the solution whose middle angle lies beyond a quarter turn.
float DividedAtan2(float a, float b, float d) {
    double dd = static_cast<double>(d);
    return WrapRadians(
        static_cast<float>(std::atan2(static_cast<double>(a) / dd, static_cast<double>(b) / dd)));
}

// Which component of the angle triple holds the middle angle and the two outer angles of each
// order; p is the outer axis that comes first in x, y, z.
struct EulerAxes {
    int middle;
    int p;
    int q;
};

EulerAxes AxesOf(RotationOrder order) {
    switch (order) {
    case XYZ:
    case ZYX:
        return {1, 0, 2};
    case ZXY:
    case YXZ:
        return {0, 1, 2};
    case YZX:
    case XZY:
    default:
        return {2, 0, 1};
    }
}

bool InHalfOpenTurn(float degrees) {
    return degrees > 90.0f && degrees <= 270.0f;
}

p3f Candidate(const EulerAxes& axes, float middle, float p, float q) {
    p3f c;
    c[axes.middle] = middle;
    c[axes.p] = p;
    c[axes.q] = q;
    return c;
}

// The eight candidate solutions (degrees, each component wrapped to a turn and mirrored) of the
// Euler angles of rotation matrix m in the given order.
void EulerCandidates(const m33f& m, RotationOrder order, p3f candidates[8]) {
    auto e = [&m](int i, int j) { return m[i][j]; };
    const EulerAxes axes = AxesOf(order);
    const bool zMiddle = order == YZX || order == XZY;

    float theta = 0.0f;
    switch (order) {
    case XYZ:
        theta = -std::asin(e(0, 2));
        break;
    case ZXY:
        theta = std::asin(e(2, 1));
        break;
    case YZX:
        theta = std::asin(e(1, 0));
        break;
    case XZY:
        theta = -std::asin(e(0, 1));
        break;
    case ZYX:
        theta = std::asin(e(2, 0));
        break;
    case YXZ:
        theta = -std::asin(e(1, 2));
        break;
    }
    theta = WrapRadians(theta);

    if (std::fabs(theta) >= kSnap) {
        // The argument pairs of atan2 for the outer angles P and Q.
        float pa = 0.0f, pb = 0.0f, qa = 0.0f, qb = 0.0f;
        switch (order) {
        case XYZ:
            pa = -e(1, 2), pb = e(2, 2), qa = -e(0, 1), qb = e(0, 0);
            break;
        case ZXY:
            pa = e(2, 0), pb = e(2, 2), qa = -e(0, 1), qb = e(1, 1);
            break;
        case YZX:
            pa = -e(1, 2), pb = e(1, 1), qa = e(2, 0), qb = e(0, 0);
            break;
        case XZY:
            pa = e(2, 1), pb = e(1, 1), qa = -e(0, 2), qb = e(0, 0);
            break;
        case ZYX:
            pa = e(2, 1), pb = e(2, 2), qa = e(1, 0), qb = e(0, 0);
            break;
        case YXZ:
            pa = -e(0, 2), pb = e(2, 2), qa = e(1, 0), qb = e(1, 1);
            break;
        }
        const float other = kPi - theta;
        const float p1 = DividedAtan2(pa, pb, theta);
        const float q1 = DividedAtan2(qa, qb, theta);
        const float p2 = zMiddle ? p1 : DividedAtan2(pa, pb, other);
        const float q2 = DividedAtan2(qa, qb, other);
        const float q2Turned = zMiddle ? q1 : q2;

        candidates[0] = Candidate(axes, theta, p1, q1);
        candidates[1] = Candidate(axes, theta, kPi - p1, q1);
        candidates[2] = Candidate(axes, theta, p1, kPi - q1);
        candidates[3] = Candidate(axes, theta, kPi - p1, kPi - q1);
        candidates[4] = Candidate(axes, other, p2, q2);
        candidates[5] = Candidate(axes, other, kPi - p2, q2);
        candidates[6] = Candidate(axes, other, p2, kPi - q2Turned);
        candidates[7] = Candidate(axes, other, kPi - p2, kPi - q2Turned);

        const float mirrorEnd = zMiddle ? 270.0f : 180.0f;
        for (int i = 0; i < 8; ++i) {
            p3f& c = candidates[i];
            c = c * kRadToDeg;
            c.clamp_deg();
            if (c[axes.middle] >= 90.0f && c[axes.middle] <= mirrorEnd) {
                c[axes.p] = -c[axes.p];
                c[axes.q] = -c[axes.q];
            }
        }
        return;
    }

    // The middle angle is (nearly) zero: the outer axes are (nearly) parallel and only their
    // combined turn is determined, so P and Q are read from elements that stay well defined.
    float p = 0.0f, q = 0.0f;
    switch (order) {
    case XYZ:
        p = WrapRadians(std::atan2(-e(1, 2), e(2, 2)));
        if (std::fabs(p - kHalfPi) < kSnap || std::fabs(p - kThreeHalfPi) < kSnap) {
            q = WrapRadians(std::atan2(e(2, 0), e(2, 1)));
        } else {
            q = WrapRadians(std::atan2(e(1, 0), e(1, 1)));
        }
        break;
    case ZXY:
        p = WrapRadians(std::atan2(-e(0, 2), e(0, 0)));
        q = WrapRadians(std::atan2(-e(0, 1), e(1, 1)));
        break;
    case YZX:
        p = WrapRadians(std::atan2(-e(1, 2), e(1, 1)));
        q = WrapRadians(std::atan2(-e(0, 2), e(2, 2)));
        break;
    case XZY:
        p = WrapRadians(std::atan2(e(2, 1), e(1, 1)));
        q = WrapRadians(std::atan2(e(2, 0), e(2, 2)));
        break;
    case ZYX:
        p = WrapRadians(std::atan2(-e(1, 2), e(1, 1)));
        q = WrapRadians(std::atan2(-e(0, 1), e(1, 1)));
        break;
    case YXZ:
        p = WrapRadians(std::atan2(-e(0, 2), e(2, 2)));
        q = WrapRadians(std::atan2(-e(0, 1), e(0, 0)));
        break;
    }

    // (P, Q) pairs of the candidates with middle angle 0 (first) and π (second).
    const float tp = kPi - p;
    const float tq = kPi - q;
    float first[4][2] = {{p, q}, {p, tq}, {tp, q}, {tp, tq}};
    float second[4][2] = {{p, q}, {p, tq}, {tp, q}, {tp, tq}};
    if (zMiddle) {
        float swapped[4][2] = {{p, q}, {tp, q}, {p, tq}, {tp, tq}};
        for (int i = 0; i < 4; ++i) {
            first[i][0] = swapped[i][0];
            first[i][1] = swapped[i][1];
        }
    } else if (order == XYZ) {
        float opposite[4][2] = {{-p, q}, {-p, tq}, {p - kPi, q}, {p - kPi, tq}};
        for (int i = 0; i < 4; ++i) {
            second[i][0] = opposite[i][0];
            second[i][1] = opposite[i][1];
        }
    }
    for (int i = 0; i < 4; ++i) {
        candidates[i] = Candidate(axes, 0.0f, first[i][0], first[i][1]);
        candidates[i + 4] = Candidate(axes, kPi, second[i][0], second[i][1]);
    }

    for (int i = 0; i < 8; ++i) {
        p3f& c = candidates[i];
        c = c * kRadToDeg;
        c.clamp_deg();
        switch (order) {
        case XYZ:
            if (InHalfOpenTurn(c.x)) {
                c.z = -c.z;
            }
            break;
        case ZXY:
            if (InHalfOpenTurn(c.z)) {
                c.y = -c.y;
            }
            break;
        case YZX:
        case XZY:
            if (InHalfOpenTurn(c.x)) {
                c.y = -c.y;
            }
            break;
        case YXZ:
            if (InHalfOpenTurn(c.y)) {
                c.z = -c.z;
            }
            break;
        case ZYX: {
            const bool xTurned = InHalfOpenTurn(c.x);
            const bool zTurned = InHalfOpenTurn(c.z);
            if (xTurned && zTurned) {
                c.x = -c.x;
                c.z = -c.z;
            } else if (xTurned) {
                c.z = -c.z;
            } else if (zTurned) {
                c.x = -c.x;
            }
            break;
        }
        }
    }
}

} // namespace

RotationOrder ReverseRotationOrder(RotationOrder order) {
    switch (order) {
    case XYZ:
        return ZYX;
    case ZXY:
        return YXZ;
    case YZX:
        return XZY;
    case XZY:
        return YZX;
    case ZYX:
        return XYZ;
    case YXZ:
        return ZXY;
    }
    return order;
}

// ---- m33f ---------------------------------------------------------------------------------

m33f::m33f() : rows_{p3f::xaxis(), p3f::yaxis(), p3f::zaxis()}, exported_{} {}

m33f::m33f(const p3f& r0, const p3f& r1, const p3f& r2) : rows_{r0, r1, r2}, exported_{} {}

m33f::m33f(float m00, float m01, float m02, float m10, float m11, float m12, float m20, float m21, float m22)
    : rows_{p3f(m00, m01, m02), p3f(m10, m11, m12), p3f(m20, m21, m22)}, exported_{} {}

m33f::m33f(const m44f& m)
    : rows_{p3f(m.e[0], m.e[1], m.e[2]), p3f(m.e[4], m.e[5], m.e[6]), p3f(m.e[8], m.e[9], m.e[10])},
      exported_{} {}

m33f::m33f(float x, float y, float z, RotationOrder order) : m33f(angle(x, y, z, order)) {}

m33f::m33f(const p3f& angles, RotationOrder order) : m33f(angle(angles, order)) {}

m33f m33f::angle(float x, float y, float z, RotationOrder order) {
    if (!InRange(order)) {
        return m33f();
    }
    const float rx = x * kDegToRad;
    const float ry = y * kDegToRad;
    const float rz = z * kDegToRad;
    // The Y factor turns the other way: Ry(-y).
    const m33f fx = RotationX(std::cos(rx), std::sin(rx));
    const m33f fy = RotationY(std::cos(ry), -std::sin(ry));
    const m33f fz = RotationZ(std::cos(rz), std::sin(rz));
    switch (order) {
    case XYZ:
        return fx * fy * fz;
    case ZXY:
        return fz * fx * fy;
    case YZX:
        return fy * fz * fx;
    case XZY:
        return fx * fz * fy;
    case ZYX:
        return fz * fy * fx;
    case YXZ:
        return fy * fx * fz;
    }
    return m33f();
}

m33f m33f::angle(const p3f& angles, RotationOrder order) {
    return angle(angles.x, angles.y, angles.z, order);
}

m33f m33f::axangle(const p3f& axis, float degrees) {
    const p3f a = axis.normalize();
    const float r = degrees * kDegToRad;
    const float c = std::cos(r);
    const float s = std::sin(r);
    const float t = 1.0f - c;
    return m33f(t * a.x * a.x + c, t * a.x * a.y - s * a.z, t * a.x * a.z + s * a.y, //
                t * a.y * a.x + s * a.z, t * a.y * a.y + c, t * a.y * a.z - s * a.x, //
                t * a.z * a.x - s * a.y, t * a.z * a.y + s * a.x, t * a.z * a.z + c);
}

m33f m33f::scale(float sx, float sy, float sz) {
    return m33f(sx, 0.0f, 0.0f, 0.0f, sy, 0.0f, 0.0f, 0.0f, sz);
}
m33f m33f::scale(const p3f& s) {
    return scale(s.x, s.y, s.z);
}
m33f m33f::scale(float s) {
    return scale(s, s, s);
}
m33f m33f::scale(double s) {
    return scale(static_cast<float>(s));
}

m33f& m33f::identity() {
    rows_[0] = p3f::xaxis();
    rows_[1] = p3f::yaxis();
    rows_[2] = p3f::zaxis();
    return *this;
}

m33f m33f::transpose() const {
    const m33f& m = *this;
    return m33f(m[0][0], m[1][0], m[2][0], m[0][1], m[1][1], m[2][1], m[0][2], m[1][2], m[2][2]);
}

p3f m33f::diagonal() const {
    return p3f(rows_[0].x, rows_[1].y, rows_[2].z);
}

bool m33f::equal(const m33f& m, float eps) const {
    return rows_[0].equal(m.rows_[0], eps) && rows_[1].equal(m.rows_[1], eps) &&
           rows_[2].equal(m.rows_[2], eps);
}

m33f m33f::operator*(const m33f& m) const {
    m33f r;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            r[i][j] = rows_[i][0] * m[0][j] + rows_[i][1] * m[1][j] + rows_[i][2] * m[2][j];
        }
    }
    return r;
}

m33f& m33f::operator*=(const m33f& m) {
    const m33f r = *this * m;
    for (int i = 0; i < 3; ++i) {
        rows_[i] = r.rows_[i];
    }
    return *this;
}

void m33f::transform3f(const float* in, float* out) const {
    const p3f v(in);
    out[0] = rows_[0].dot(v);
    out[1] = rows_[1].dot(v);
    out[2] = rows_[2].dot(v);
}

m33f m33f::inverse() const {
    float a[3][3];
    float inv[3][3] = {{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            a[i][j] = rows_[i][j];
        }
    }
    for (int c = 0; c < 3; ++c) {
        int pivotRow = c;
        for (int r = c + 1; r < 3; ++r) {
            if (std::fabs(a[r][c]) > std::fabs(a[pivotRow][c])) {
                pivotRow = r;
            }
        }
        if (a[pivotRow][c] == 0.0f) {
            return *this;
        }
        if (pivotRow != c) {
            for (int j = 0; j < 3; ++j) {
                std::swap(a[c][j], a[pivotRow][j]);
                std::swap(inv[c][j], inv[pivotRow][j]);
            }
        }
        const float scale = 1.0f / a[c][c];
        for (int j = 0; j < 3; ++j) {
            a[c][j] *= scale;
            inv[c][j] *= scale;
        }
        for (int r = 0; r < 3; ++r) {
            if (r == c) {
                continue;
            }
            const float f = a[r][c];
            for (int j = 0; j < 3; ++j) {
                a[r][j] -= f * a[c][j];
                inv[r][j] -= f * inv[c][j];
            }
        }
    }
    return m33f(inv[0][0], inv[0][1], inv[0][2], inv[1][0], inv[1][1], inv[1][2], inv[2][0], inv[2][1],
                inv[2][2]);
}

p3f m33f::to_closest_euler(const p3f& reference, RotationOrder order) const {
    p3f candidates[8];
    if (InRange(order)) {
        EulerCandidates(*this, order, candidates);
    }

    // 3 · 180² is the largest possible distance; only a strictly smaller one replaces the best, so
    // the earlier candidate wins a tie.
    const float kFarthest = 97200.0f;
    int winner = -1;
    float best = kFarthest;
    for (int i = 0; i < 8; ++i) {
        if (!angle(candidates[i], order).equal(*this, kSnap)) {
            continue;
        }
        const float d = candidates[i].euler_distance_sq(reference);
        if (d < best) {
            best = d;
            winner = i;
        }
    }
    if (winner < 0) {
        // No candidate rebuilds this matrix (it is not a pure rotation): take the nearest anyway.
        for (int i = 0; i < 8; ++i) {
            const float d = candidates[i].euler_distance_sq(reference);
            if (d < best) {
                best = d;
                winner = i;
            }
        }
    }
    if (winner < 0) {
        // Every candidate lies exactly half a turn away in every axis.
        winner = 0;
    }
    return candidates[winner].closest_deg_octave(reference);
}

m33f::operator float*() const {
    for (int i = 0; i < 3; ++i) {
        exported_[4 * i] = rows_[i].x;
        exported_[4 * i + 1] = rows_[i].y;
        exported_[4 * i + 2] = rows_[i].z;
        exported_[4 * i + 3] = 0.0f;
    }
    exported_[12] = exported_[13] = exported_[14] = 0.0f;
    exported_[15] = 1.0f;
    return exported_;
}

void m33f::set(const float* m) {
    for (int i = 0; i < 3; ++i) {
        rows_[i].set(m[4 * i], m[4 * i + 1], m[4 * i + 2]);
    }
}

// ---- m44f ---------------------------------------------------------------------------------

m44f::m44f() : e{}, exported_{} {
    identity();
}

m44f::m44f(const p3f& r0, const p3f& r1, const p3f& r2)
    : e{r0.x, r0.y, r0.z, 0.0f, r1.x, r1.y, r1.z, 0.0f, r2.x, r2.y, r2.z, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f},
      exported_{} {}

m44f::m44f(const p4f& r0, const p4f& r1, const p4f& r2, const p4f& r3)
    : e{r0.x, r0.y, r0.z, r0.w, r1.x, r1.y, r1.z, r1.w, r2.x, r2.y, r2.z, r2.w, r3.x, r3.y, r3.z, r3.w},
      exported_{} {}

m44f::m44f(const m33f& m) : m44f(m[0], m[1], m[2]) {}

m44f::m44f(const m33f& m, const p3f& t) : m44f(m[0], m[1], m[2]) {
    e[3] = t.x;
    e[7] = t.y;
    e[11] = t.z;
}

m44f::m44f(const float* m, bool transposed) : e{}, exported_{} {
    set(m, transposed);
}

void m44f::set(const float* m, bool transposed) {
    float t[16];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            t[4 * i + j] = transposed ? m[4 * j + i] : m[4 * i + j];
        }
    }
    for (int k = 0; k < 16; ++k) {
        e[k] = t[k];
    }
}

m44f& m44f::identity() {
    for (int k = 0; k < 16; ++k) {
        e[k] = (k % 5 == 0) ? 1.0f : 0.0f;
    }
    return *this;
}

m44f m44f::transpose() const {
    return m44f(e, true);
}

bool m44f::equal(const m44f& m, float eps) const {
    for (int k = 0; k < 16; ++k) {
        if (!(std::fabs(e[k] - m.e[k]) < eps)) {
            return false;
        }
    }
    return true;
}

bool m44f::operator==(const m44f& m) const {
    return equal(m, kSnap);
}

p4f& m44f::operator[](int i) {
    return *reinterpret_cast<p4f*>(&e[4 * i]);
}
const p4f& m44f::operator[](int i) const {
    return *reinterpret_cast<const p4f*>(&e[4 * i]);
}

m44f m44f::operator+(const p3f& t) const {
    m44f r(*this);
    r.e[12] += t.x;
    r.e[13] += t.y;
    r.e[14] += t.z;
    r.e[15] += 1.0f;
    return r;
}

m44f m44f::operator+(const p4f& v) const {
    m44f r(*this);
    r.e[12] += v.x;
    r.e[13] += v.y;
    r.e[14] += v.z;
    r.e[15] += v.w;
    return r;
}

m44f& m44f::operator+=(const p3f& t) {
    e[3] += t.x;
    e[7] += t.y;
    e[11] += t.z;
    return *this;
}

m44f& m44f::operator+=(const p4f& v) {
    e[3] += v.x;
    e[7] += v.y;
    e[11] += v.z;
    return *this;
}

m44f m44f::operator*(const m44f& b) const {
    m44f r;
    for (int j = 0; j < 3; ++j) {
        for (int row = 0; row < 4; ++row) {
            r.e[4 * j + row] =
                e[row] * b.e[4 * j] + e[4 + row] * b.e[4 * j + 1] + e[8 + row] * b.e[4 * j + 2];
        }
    }
    for (int row = 0; row < 4; ++row) {
        r.e[12 + row] = e[12 + row];
    }
    return r;
}

m44f m44f::operator*(const m33f& b) const {
    return *this * m44f(b);
}

m44f& m44f::operator*=(const m44f& b) {
    const m44f r = *this * b;
    for (int k = 0; k < 16; ++k) {
        e[k] = r.e[k];
    }
    return *this;
}

m44f& m44f::operator*=(const m33f& b) {
    return *this *= m44f(b);
}

void m44f::transform3f(const float* in, float* out) const {
    const float x = in[0], y = in[1], z = in[2];
    for (int i = 0; i < 3; ++i) {
        out[i] = e[4 * i] * x + e[4 * i + 1] * y + e[4 * i + 2] * z + e[4 * i + 3];
    }
}

m44f m44f::inverse() const {
    float a[4][4];
    float inv[4][4];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            a[i][j] = e[4 * i + j];
            inv[i][j] = (i == j) ? 1.0f : 0.0f;
        }
    }
    for (int c = 0; c < 4; ++c) {
        int pivotRow = c;
        for (int r = c + 1; r < 4; ++r) {
            if (std::fabs(a[r][c]) > std::fabs(a[pivotRow][c])) {
                pivotRow = r;
            }
        }
        if (pivotRow != c) {
            for (int j = 0; j < 4; ++j) {
                std::swap(a[c][j], a[pivotRow][j]);
                std::swap(inv[c][j], inv[pivotRow][j]);
            }
        }
        // A vanishing pivot is taken as +-1e-9 so that the result stays finite.
        const float pivot = a[c][c];
        const float scale = std::fabs(pivot) > 1e-9f ? 1.0f / pivot : (pivot < 0.0f ? -1e9f : 1e9f);
        for (int j = 0; j < 4; ++j) {
            a[c][j] *= scale;
            inv[c][j] *= scale;
        }
        for (int r = 0; r < 4; ++r) {
            if (r == c) {
                continue;
            }
            const float f = a[r][c];
            for (int j = 0; j < 4; ++j) {
                a[r][j] -= f * a[c][j];
                inv[r][j] -= f * inv[c][j];
            }
        }
    }
    m44f r;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            r.e[4 * i + j] = inv[i][j];
        }
    }
    return r;
}

m44f::operator float*() const {
    for (int k = 0; k < 16; ++k) {
        exported_[k] = e[k];
    }
    return exported_;
}

float* m44f::transposef() const {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            exported_[4 * i + j] = e[4 * j + i];
        }
    }
    return exported_;
}

} // namespace OGL_ZEP6_AE
