#pragma once

// 3x3 and 4x4 float matrices and the Euler-angle convention of the library.
//
// Angles are degrees. Rotation matrices act on column vectors. Each matrix carries an export
// array of sixteen floats: converting a matrix to float* fills that array and returns its address,
// which stays valid while the matrix lives and is overwritten by the next conversion.

#include "Export.h"
#include "geometry/Vector.h"

namespace OGL_ZEP6_AE {

// The order of the three factors of an Euler rotation, left to right. Any other value is out of
// range; the operations taking an order say what they do with one.
enum RotationOrder : int { XYZ = 0, ZXY = 1, YZX = 2, XZY = 3, ZYX = 4, YXZ = 5 };

// The order with the factors reversed (XYZ <-> ZYX, ZXY <-> YXZ, YZX <-> XZY); values out of
// range come back unchanged.
ZEP6_API RotationOrder ReverseRotationOrder(RotationOrder order);

class m44f;

// Three rows, each a p3f; element (i, j) is row i, component j. Default: identity.
class ZEP6_API m33f {
public:
    m33f();
    m33f(const p3f& r0, const p3f& r1, const p3f& r2);
    // Nine elements in row order.
    m33f(float m00, float m01, float m02, float m10, float m11, float m12, float m20, float m21, float m22);
    // The upper-left 3x3 block (elements e0-e2, e4-e6, e8-e10).
    explicit m33f(const m44f& m);
    // The rotation of Euler angles, as angle().
    m33f(float x, float y, float z, RotationOrder order);
    m33f(const p3f& angles, RotationOrder order);

    // The rotation matrix of the Euler angles (degrees): the product of the X factor Rx(x), the
    // Y factor Ry(-y) and the Z factor Rz(z) in the order the RotationOrder names, left to right.
    // An order out of range gives the identity.
    static m33f angle(float x, float y, float z, RotationOrder order);
    static m33f angle(const p3f& angles, RotationOrder order);
    // Rotation by degrees about the (normalised) axis.
    static m33f axangle(const p3f& axis, float degrees);
    static m33f scale(float sx, float sy, float sz);
    static m33f scale(const p3f& s);
    static m33f scale(float s);
    static m33f scale(double s);

    // In place: becomes the identity.
    m33f& identity();
    [[nodiscard]] m33f transpose() const;
    // (m00, m11, m22).
    p3f diagonal() const;
    bool equal(const m33f& m, float eps) const;

    m33f operator*(const m33f& m) const;
    m33f& operator*=(const m33f& m);

    // Row i, not bounds-checked.
    p3f& operator[](int i) { return rows_[i]; }
    const p3f& operator[](int i) const { return rows_[i]; }

    // out = M·in on raw float triples; in and out may be the same array.
    void transform3f(const float* in, float* out) const;

    // Gauss-Jordan with partial pivoting; a singular matrix (a pivot of exactly zero) comes back
    // unchanged.
    [[nodiscard]] m33f inverse() const;

    // The Euler angles (degrees) that rebuild this rotation through angle() with the same order,
    // chosen among the possible solutions as the one nearest to the reference angles and moved by
    // whole turns toward them. The search forms eight candidates and is exact away from gimbal
    // lock; when the middle angle is a multiple of a quarter turn it can miss (an outer angle also
    // at a quarter turn, or a reference far from every candidate) and return the nearest
    // candidate, which then does not rebuild the matrix.
    p3f to_closest_euler(const p3f& reference, RotationOrder order) const;

    // Fills the export array as a column-major 4x4 array of this matrix's rows (each followed by
    // 0, then 0, 0, 0, 1) and returns it.
    operator float*() const;
    // Rows from elements 0-2, 4-6 and 8-10 of a 16-float array.
    void set(const float* m);

private:
    p3f rows_[3];
    mutable float exported_[16];
};

// Sixteen floats e[0]...e[15]; row i of operator[] is e[4i]...e[4i+3]. Default: identity.
//
// The operations read the elements in two ways, each as noted: transform3f and the p4f/p3f
// additions with += treat e[3], e[7], e[11] as the translation; operator* reads the elements in
// column-major order (element (row r, column k) = e[4k + r]), as OpenGL does.
class ZEP6_API m44f {
public:
    float e[16];

    m44f();
    // Rows (r, 0) and a last row (0, 0, 0, 1).
    m44f(const p3f& r0, const p3f& r1, const p3f& r2);
    m44f(const p4f& r0, const p4f& r1, const p4f& r2, const p4f& r3);
    m44f(const m33f& m);
    // Rows (m.r0, t.x), (m.r1, t.y), (m.r2, t.z), (0, 0, 0, 1).
    m44f(const m33f& m, const p3f& t);
    explicit m44f(const float* m, bool transposed = false);

    // Copies 16 floats; transposed takes element (i, j) from m[4j + i].
    void set(const float* m, bool transposed);

    // In place: becomes the identity.
    m44f& identity();
    [[nodiscard]] m44f transpose() const;
    bool equal(const m44f& m, float eps) const;
    bool operator==(const m44f& m) const;

    // Row i, not bounds-checked.
    p4f& operator[](int i);
    const p4f& operator[](int i) const;

    // Copy with e[12..14] += t and e[15] += 1.
    m44f operator+(const p3f& t) const;
    // Copy with e[12..15] += v.
    m44f operator+(const p4f& v) const;
    // e[3] += x, e[7] += y, e[11] += z (a p4f's w is not used).
    m44f& operator+=(const p3f& t);
    m44f& operator+=(const p4f& v);

    // this·b', column-major, where b' is b with its translation column and bottom row cleared
    // (e[3], e[7], e[11], e[12], e[13], e[14] = 0, e[15] = 1): the upper 3x3 block of b applies,
    // and column 3 of the result is this matrix's column 3.
    m44f operator*(const m44f& b) const;
    m44f operator*(const m33f& b) const;
    m44f& operator*=(const m44f& b);
    m44f& operator*=(const m33f& b);

    // out_i = e[4i]·in_0 + e[4i+1]·in_1 + e[4i+2]·in_2 + e[4i+3], i = 0, 1, 2, without division.
    void transform3f(const float* in, float* out) const;

    // Gauss-Jordan with partial pivoting; pivots smaller than 1e-9 in magnitude are taken as
    // +-1e-9, so a result always comes back (finite even for the zero matrix).
    [[nodiscard]] m44f inverse() const;

    // The elements in storage order, or transposed, in the export array.
    operator float*() const;
    float* transposef() const;

private:
    mutable float exported_[16];
};

} // namespace OGL_ZEP6_AE
