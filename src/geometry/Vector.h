#pragma once

// Small float vectors in which the library speaks about points, directions, sizes and uniform
// values. Angles are degrees wherever they cross an interface.
//
// Equality is approximate: two vectors are equal when every component differs by less than
// 0.0001. Operations that say "in place" change the vector and return it; everything else returns
// a new value.

#include "Export.h"

#include <cstdint>
#include <iosfwd>

namespace OGL_ZEP6_AE {

class p3f;
class p4f;
class m33f;

// Two floats, default (0, 0).
class ZEP6_API p2f {
public:
    float x;
    float y;

    p2f() : x(0.0f), y(0.0f) {}
    p2f(float x_, float y_) : x(x_), y(y_) {}

    void reset();
    void set(float x_, float y_);

    // In place: each component clamped to [0, 1]; anything not >= 0 (NaN included) becomes 0.
    p2f& UnitClamp();
    // In place: when any component is smaller in magnitude than f, every component becomes f.
    p2f& lowUniClamp(float f);

    float sqlength() const;
    float length() const;
    float dot(const p2f& v) const;
    [[nodiscard]] p2f normalize() const;
    // Angle between the two directions; 0 when rounding pushes the cosine outside [-1, 1].
    float rad(const p2f& v) const;
    float deg(const p2f& v) const;

    p2f minimum(const p2f& v) const;
    p2f maximum(const p2f& v) const;

    bool operator==(const p2f& v) const;
    bool operator!=(const p2f& v) const;

    p2f operator+(const p2f& v) const;
    p2f operator-(const p2f& v) const;
    p2f operator*(const p2f& v) const;
    p2f operator/(const p2f& v) const;
    p2f& operator+=(const p2f& v);
    p2f& operator-=(const p2f& v);
    p2f& operator*=(const p2f& v);
    p2f& operator/=(const p2f& v);

    p2f operator+(float s) const;
    p2f operator-(float s) const;
    p2f operator*(float s) const;
    p2f operator/(float s) const;
    p2f& operator+=(float s);
    p2f& operator-=(float s);
    p2f& operator*=(float s);
    p2f& operator/=(float s);
    p2f operator+(double s) const;
    p2f operator-(double s) const;
    p2f operator*(double s) const;
    p2f operator/(double s) const;
    p2f& operator+=(double s);
    p2f& operator-=(double s);
    p2f& operator*=(double s);
    p2f& operator/=(double s);

    p2f operator-() const;

    // Component i; any other index gives x.
    float& operator[](int i);
    const float& operator[](int i) const;

    operator float*() { return &x; }
    operator const float*() const { return &x; }
    float* asfloat() { return &x; }
    const float* asfloat() const { return &x; }
};

// Three floats followed by a tag word, so that a p3f occupies four words (arrays of them and the
// rows of m33f are laid out with a stride of 16 bytes, as vertex arrays expect).
//
// The tag word records where a value came from: 0 when it was built from components, from a p2f
// or by arithmetic, -1 when it was constructed or assigned from a p4f. Copies keep it, and the
// in-place operations leave it alone. Nothing in the library reads it.
class ZEP6_API p3f {
public:
    float x;
    float y;
    float z;
    std::int32_t tag;

    p3f() : x(0.0f), y(0.0f), z(0.0f), tag(0) {}
    p3f(float x_, float y_, float z_) : x(x_), y(y_), z(z_), tag(0) {}
    p3f(const p2f& v, float z_ = 0.0f) : x(v.x), y(v.y), z(z_), tag(0) {}
    // The first three floats of the array.
    explicit p3f(const float* v) : x(v[0]), y(v[1]), z(v[2]), tag(0) {}
    // Copies x, y and z as they are (no division by w) and sets the tag to -1. The implicit
    // conversion p4f -> p3f, by contrast, divides by w (see p4f).
    explicit p3f(const p4f& v);
    p3f& operator=(const p4f& v);

    static p3f xaxis() { return p3f(1.0f, 0.0f, 0.0f); }
    static p3f yaxis() { return p3f(0.0f, 1.0f, 0.0f); }
    static p3f zaxis() { return p3f(0.0f, 0.0f, 1.0f); }

    void reset();
    void set(float x_, float y_, float z_);
    // The translation of a 16-float column-major matrix: its elements 12, 13 and 14.
    void set(const float* matrix);

    // In place: each component clamped to [0, 1]; anything not >= 0 (NaN included) becomes 0.
    p3f& UnitClamp();
    // In place: when any component is smaller in magnitude than f, every component becomes f.
    p3f& lowUniClamp(float f);
    // In place: maps -1...1 to 0...s, component by component.
    p3f& compress(float s);

    float sqlength() const;
    float length() const;
    float dot(const p3f& v) const;
    p3f cross(const p3f& v) const;
    // The axis about which this direction turns toward v: the cross product of both normalised.
    p3f rotax(const p3f& v) const;
    [[nodiscard]] p3f normalize() const;
    // Angle between the two directions; 0 when rounding pushes the cosine outside [-1, 1].
    float rad(const p3f& v) const;
    float deg(const p3f& v) const;
    // (-x, -y, -z).
    [[nodiscard]] p3f inverse() const;

    bool equal(const p3f& v, float eps) const;
    bool operator==(const p3f& v) const;
    bool operator!=(const p3f& v) const;

    p3f minimum(const p3f& v) const;
    p3f maximum(const p3f& v) const;

    p3f operator+(const p3f& v) const;
    p3f operator-(const p3f& v) const;
    p3f operator*(const p3f& v) const;
    p3f operator/(const p3f& v) const;
    p3f& operator+=(const p3f& v);
    p3f& operator-=(const p3f& v);
    p3f& operator*=(const p3f& v);
    p3f& operator/=(const p3f& v);

    p3f operator+(float s) const;
    p3f operator-(float s) const;
    p3f operator*(float s) const;
    p3f operator/(float s) const;
    p3f& operator+=(float s);
    p3f& operator-=(float s);
    p3f& operator*=(float s);
    p3f& operator/=(float s);
    p3f operator+(double s) const;
    p3f operator-(double s) const;
    p3f operator*(double s) const;
    p3f operator/(double s) const;
    p3f& operator+=(double s);
    p3f& operator-=(double s);
    p3f& operator*=(double s);
    p3f& operator/=(double s);

    // The matrix applied to this vector (M·v, column-vector convention).
    p3f operator*(const m33f& m) const;
    p3f& operator*=(const m33f& m);

    p3f operator-() const;

    // Component i; any other index gives x.
    float& operator[](int i);
    const float& operator[](int i) const;

    operator float*() { return &x; }
    operator const float*() const { return &x; }
    float* asfloat() { return &x; }
    const float* asfloat() const { return &x; }

    operator p2f() const { return p2f(x, y); }

    // Euler-angle helpers (degrees).
    // Sum of the squared per-axis distances, each taken the short way round the circle.
    float euler_distance_sq(const p3f& v) const;
    // Copy with each component moved by one turn toward ref when it is more than half a turn
    // away; the tag is copied too.
    p3f closest_deg_octave(const p3f& ref) const;
    // In place: wraps each component into [0, 360) (values within 0.0001 of 0, 90, 180, 270 and
    // 360 are snapped) and returns the whole turns removed, per component.
    p3f clamp_deg();
};

// Four floats, default (0, 0, 0, 1).
class ZEP6_API p4f {
public:
    float x;
    float y;
    float z;
    float w;

    p4f() : x(0.0f), y(0.0f), z(0.0f), w(1.0f) {}
    p4f(float x_, float y_, float z_, float w_ = 1.0f) : x(x_), y(y_), z(z_), w(w_) {}
    p4f(const p3f& v) : x(v.x), y(v.y), z(v.z), w(1.0f) {}

    void reset();
    void set(float x_, float y_, float z_, float w_);

    bool equal(const p4f& v, float eps) const;
    bool operator==(const p4f& v) const;
    bool operator!=(const p4f& v) const;

    p4f operator+(const p4f& v) const;
    p4f operator-(const p4f& v) const;
    p4f operator*(const p4f& v) const;
    p4f& operator+=(const p4f& v);
    p4f& operator-=(const p4f& v);
    p4f& operator*=(const p4f& v);

    p4f operator*(float s) const;
    p4f operator/(float s) const;
    p4f& operator*=(float s);
    p4f& operator/=(float s);

    p4f operator-() const;

    operator float*() { return &x; }
    operator const float*() const { return &x; }
    float* asfloat() { return &x; }
    const float* asfloat() const { return &x; }

    // Homogeneous projections: (x/w, y/w) and (x/w, y/w, z/w).
    operator p2f() const;
    operator p3f() const;
};

// A plain aggregate of N values, used for integer uniform vectors.
template <typename T, int N> struct vec { T v[N]; };

ZEP6_API std::ostream& operator<<(std::ostream& os, const p2f& v);
ZEP6_API std::ostream& operator<<(std::ostream& os, const p3f& v);
ZEP6_API std::ostream& operator<<(std::ostream& os, const p4f& v);

static_assert(sizeof(p2f) == 2 * sizeof(float), "p2f is two floats");
static_assert(sizeof(p3f) == 4 * sizeof(float), "p3f is four words");
static_assert(sizeof(p4f) == 4 * sizeof(float), "p4f is four floats");

} // namespace OGL_ZEP6_AE
