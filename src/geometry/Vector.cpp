#include "geometry/Vector.h"

#include "geometry/Matrix.h"

#include <cmath>
#include <ostream>

namespace OGL_ZEP6_AE {

namespace {

const float kEqualEpsilon = 0.0001f;
const float kRadToDeg = 57.29578f;

// Degree wrap: removes whole turns so that a lands in [0, 360), then snaps values that rounding
// left just beside a quarter turn. Returns the amount removed.
float WrapDegrees(float& a) {
    float k = std::trunc(a * 0.0027777778f) * 360.0f;
    if (a < 0.0f) {
        k -= 360.0f;
    }
    a -= k;
    if (std::fabs(a) < kEqualEpsilon || std::fabs(a - 360.0f) < kEqualEpsilon) {
        a = 0.0f;
    } else if (std::fabs(a - 270.0f) < kEqualEpsilon) {
        a = 270.0f;
    } else if (std::fabs(a - 90.0f) < kEqualEpsilon) {
        a = 90.0f;
    } else if (std::fabs(a - 180.0f) < kEqualEpsilon) {
        a = 180.0f;
    }
    return k;
}

float UnitClampComponent(float v) {
    if (!(v >= 0.0f)) {
        return 0.0f;
    }
    return v > 1.0f ? 1.0f : v;
}

float AngleFromCosine(float c) {
    if (c < -1.0f || c > 1.0f) {
        return 0.0f;
    }
    return std::acos(c);
}

float OneTurnToward(float v, float ref) {
    float d = v - ref;
    if (d > 180.0f) {
        return v - 360.0f;
    }
    if (d < -180.0f) {
        return v + 360.0f;
    }
    return v;
}

float ShortArc(float a, float b) {
    float d = std::fabs(a - b);
    return d > 180.0f ? 360.0f - d : d;
}

} // namespace

// ---- p2f ----------------------------------------------------------------------------------

void p2f::reset() {
    x = y = 0.0f;
}

void p2f::set(float x_, float y_) {
    x = x_;
    y = y_;
}

p2f& p2f::UnitClamp() {
    x = UnitClampComponent(x);
    y = UnitClampComponent(y);
    return *this;
}

p2f& p2f::lowUniClamp(float f) {
    if (std::fabs(x) < f || std::fabs(y) < f) {
        x = y = f;
    }
    return *this;
}

float p2f::sqlength() const {
    return x * x + y * y;
}
float p2f::length() const {
    return std::sqrt(sqlength());
}
float p2f::dot(const p2f& v) const {
    return x * v.x + y * v.y;
}

p2f p2f::normalize() const {
    float l = length();
    return p2f(x / l, y / l);
}

float p2f::rad(const p2f& v) const {
    return AngleFromCosine(normalize().dot(v.normalize()));
}
float p2f::deg(const p2f& v) const {
    return rad(v) * kRadToDeg;
}

p2f p2f::minimum(const p2f& v) const {
    return p2f(v.x < x ? v.x : x, v.y < y ? v.y : y);
}
p2f p2f::maximum(const p2f& v) const {
    return p2f(v.x > x ? v.x : x, v.y > y ? v.y : y);
}

bool p2f::operator==(const p2f& v) const {
    return std::fabs(x - v.x) < kEqualEpsilon && std::fabs(y - v.y) < kEqualEpsilon;
}
bool p2f::operator!=(const p2f& v) const {
    return !(*this == v);
}

p2f p2f::operator+(const p2f& v) const {
    return p2f(x + v.x, y + v.y);
}
p2f p2f::operator-(const p2f& v) const {
    return p2f(x - v.x, y - v.y);
}
p2f p2f::operator*(const p2f& v) const {
    return p2f(x * v.x, y * v.y);
}
p2f p2f::operator/(const p2f& v) const {
    return p2f(x / v.x, y / v.y);
}
p2f& p2f::operator+=(const p2f& v) {
    return *this = *this + v;
}
p2f& p2f::operator-=(const p2f& v) {
    return *this = *this - v;
}
p2f& p2f::operator*=(const p2f& v) {
    return *this = *this * v;
}
p2f& p2f::operator/=(const p2f& v) {
    return *this = *this / v;
}

p2f p2f::operator+(float s) const {
    return p2f(x + s, y + s);
}
p2f p2f::operator-(float s) const {
    return p2f(x - s, y - s);
}
p2f p2f::operator*(float s) const {
    return p2f(x * s, y * s);
}
p2f p2f::operator/(float s) const {
    float r = 1.0f / s;
    return p2f(x * r, y * r);
}
p2f& p2f::operator+=(float s) {
    return *this = *this + s;
}
p2f& p2f::operator-=(float s) {
    return *this = *this - s;
}
p2f& p2f::operator*=(float s) {
    return *this = *this * s;
}
p2f& p2f::operator/=(float s) {
    return *this = *this / s;
}
p2f p2f::operator+(double s) const {
    return *this + static_cast<float>(s);
}
p2f p2f::operator-(double s) const {
    return *this - static_cast<float>(s);
}
p2f p2f::operator*(double s) const {
    return *this * static_cast<float>(s);
}
p2f p2f::operator/(double s) const {
    return *this / static_cast<float>(s);
}
p2f& p2f::operator+=(double s) {
    return *this += static_cast<float>(s);
}
p2f& p2f::operator-=(double s) {
    return *this -= static_cast<float>(s);
}
p2f& p2f::operator*=(double s) {
    return *this *= static_cast<float>(s);
}
p2f& p2f::operator/=(double s) {
    return *this /= static_cast<float>(s);
}

p2f p2f::operator-() const {
    return p2f(-x, -y);
}

float& p2f::operator[](int i) {
    return i == 1 ? y : x;
}
const float& p2f::operator[](int i) const {
    return i == 1 ? y : x;
}

// ---- p3f ----------------------------------------------------------------------------------

p3f::p3f(const p4f& v) : x(v.x), y(v.y), z(v.z), tag(-1) {}

p3f& p3f::operator=(const p4f& v) {
    x = v.x;
    y = v.y;
    z = v.z;
    tag = -1;
    return *this;
}

void p3f::reset() {
    x = y = z = 0.0f;
}

void p3f::set(float x_, float y_, float z_) {
    x = x_;
    y = y_;
    z = z_;
}

void p3f::set(const float* matrix) {
    x = matrix[12];
    y = matrix[13];
    z = matrix[14];
}

p3f& p3f::UnitClamp() {
    x = UnitClampComponent(x);
    y = UnitClampComponent(y);
    z = UnitClampComponent(z);
    return *this;
}

p3f& p3f::lowUniClamp(float f) {
    if (std::fabs(x) < f || std::fabs(y) < f || std::fabs(z) < f) {
        x = y = z = f;
    }
    return *this;
}

p3f& p3f::compress(float s) {
    x = (x + 1.0f) * s * 0.5f;
    y = (y + 1.0f) * s * 0.5f;
    z = (z + 1.0f) * s * 0.5f;
    return *this;
}

float p3f::sqlength() const {
    return x * x + y * y + z * z;
}
float p3f::length() const {
    return std::sqrt(sqlength());
}
float p3f::dot(const p3f& v) const {
    return x * v.x + y * v.y + z * v.z;
}

p3f p3f::cross(const p3f& v) const {
    return p3f(y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x);
}

p3f p3f::rotax(const p3f& v) const {
    return normalize().cross(v.normalize());
}

p3f p3f::normalize() const {
    float l = length();
    return p3f(x / l, y / l, z / l);
}

float p3f::rad(const p3f& v) const {
    return AngleFromCosine(normalize().dot(v.normalize()));
}
float p3f::deg(const p3f& v) const {
    return rad(v) * kRadToDeg;
}

p3f p3f::inverse() const {
    return p3f(-x, -y, -z);
}

bool p3f::equal(const p3f& v, float eps) const {
    return std::fabs(x - v.x) < eps && std::fabs(y - v.y) < eps && std::fabs(z - v.z) < eps;
}
bool p3f::operator==(const p3f& v) const {
    return equal(v, kEqualEpsilon);
}
bool p3f::operator!=(const p3f& v) const {
    return !equal(v, kEqualEpsilon);
}

p3f p3f::minimum(const p3f& v) const {
    return p3f(v.x < x ? v.x : x, v.y < y ? v.y : y, v.z < z ? v.z : z);
}
p3f p3f::maximum(const p3f& v) const {
    return p3f(v.x > x ? v.x : x, v.y > y ? v.y : y, v.z > z ? v.z : z);
}

p3f p3f::operator+(const p3f& v) const {
    return p3f(x + v.x, y + v.y, z + v.z);
}
p3f p3f::operator-(const p3f& v) const {
    return p3f(x - v.x, y - v.y, z - v.z);
}
p3f p3f::operator*(const p3f& v) const {
    return p3f(x * v.x, y * v.y, z * v.z);
}
p3f p3f::operator/(const p3f& v) const {
    return p3f(x / v.x, y / v.y, z / v.z);
}

// The assigning forms change the components only, so the tag stays what it was.
p3f& p3f::operator+=(const p3f& v) {
    set(x + v.x, y + v.y, z + v.z);
    return *this;
}
p3f& p3f::operator-=(const p3f& v) {
    set(x - v.x, y - v.y, z - v.z);
    return *this;
}
p3f& p3f::operator*=(const p3f& v) {
    set(x * v.x, y * v.y, z * v.z);
    return *this;
}
p3f& p3f::operator/=(const p3f& v) {
    set(x / v.x, y / v.y, z / v.z);
    return *this;
}

p3f p3f::operator+(float s) const {
    return p3f(x + s, y + s, z + s);
}
p3f p3f::operator-(float s) const {
    return p3f(x - s, y - s, z - s);
}
p3f p3f::operator*(float s) const {
    return p3f(x * s, y * s, z * s);
}
p3f p3f::operator/(float s) const {
    float r = 1.0f / s;
    return p3f(x * r, y * r, z * r);
}
p3f& p3f::operator+=(float s) {
    set(x + s, y + s, z + s);
    return *this;
}
p3f& p3f::operator-=(float s) {
    set(x - s, y - s, z - s);
    return *this;
}
p3f& p3f::operator*=(float s) {
    set(x * s, y * s, z * s);
    return *this;
}
p3f& p3f::operator/=(float s) {
    float r = 1.0f / s;
    set(x * r, y * r, z * r);
    return *this;
}
p3f p3f::operator+(double s) const {
    return *this + static_cast<float>(s);
}
p3f p3f::operator-(double s) const {
    return *this - static_cast<float>(s);
}
p3f p3f::operator*(double s) const {
    return *this * static_cast<float>(s);
}
p3f p3f::operator/(double s) const {
    return *this / static_cast<float>(s);
}
p3f& p3f::operator+=(double s) {
    return *this += static_cast<float>(s);
}
p3f& p3f::operator-=(double s) {
    return *this -= static_cast<float>(s);
}
p3f& p3f::operator*=(double s) {
    return *this *= static_cast<float>(s);
}
p3f& p3f::operator/=(double s) {
    return *this /= static_cast<float>(s);
}

p3f p3f::operator*(const m33f& m) const {
    p3f r;
    m.transform3f(&x, &r.x);
    return r;
}

p3f& p3f::operator*=(const m33f& m) {
    m.transform3f(&x, &x);
    return *this;
}

p3f p3f::operator-() const {
    return p3f(-x, -y, -z);
}

float& p3f::operator[](int i) {
    return i == 1 ? y : i == 2 ? z : x;
}
const float& p3f::operator[](int i) const {
    return i == 1 ? y : i == 2 ? z : x;
}

float p3f::euler_distance_sq(const p3f& v) const {
    float dx = ShortArc(x, v.x);
    float dy = ShortArc(y, v.y);
    float dz = ShortArc(z, v.z);
    return dx * dx + dy * dy + dz * dz;
}

p3f p3f::closest_deg_octave(const p3f& ref) const {
    p3f r(*this);
    r.x = OneTurnToward(x, ref.x);
    r.y = OneTurnToward(y, ref.y);
    r.z = OneTurnToward(z, ref.z);
    return r;
}

p3f p3f::clamp_deg() {
    float kx = WrapDegrees(x);
    float ky = WrapDegrees(y);
    float kz = WrapDegrees(z);
    return p3f(kx, ky, kz);
}

// ---- p4f ----------------------------------------------------------------------------------

void p4f::reset() {
    x = y = z = 0.0f;
    w = 1.0f;
}

void p4f::set(float x_, float y_, float z_, float w_) {
    x = x_;
    y = y_;
    z = z_;
    w = w_;
}

bool p4f::equal(const p4f& v, float eps) const {
    return std::fabs(x - v.x) < eps && std::fabs(y - v.y) < eps && std::fabs(z - v.z) < eps &&
           std::fabs(w - v.w) < eps;
}
bool p4f::operator==(const p4f& v) const {
    return equal(v, kEqualEpsilon);
}
bool p4f::operator!=(const p4f& v) const {
    return !equal(v, kEqualEpsilon);
}

p4f p4f::operator+(const p4f& v) const {
    return p4f(x + v.x, y + v.y, z + v.z, w + v.w);
}
p4f p4f::operator-(const p4f& v) const {
    return p4f(x - v.x, y - v.y, z - v.z, w - v.w);
}
p4f p4f::operator*(const p4f& v) const {
    return p4f(x * v.x, y * v.y, z * v.z, w * v.w);
}
p4f& p4f::operator+=(const p4f& v) {
    return *this = *this + v;
}
p4f& p4f::operator-=(const p4f& v) {
    return *this = *this - v;
}
p4f& p4f::operator*=(const p4f& v) {
    return *this = *this * v;
}

p4f p4f::operator*(float s) const {
    return p4f(x * s, y * s, z * s, w * s);
}
p4f p4f::operator/(float s) const {
    float r = 1.0f / s;
    return p4f(x * r, y * r, z * r, w * r);
}
p4f& p4f::operator*=(float s) {
    return *this = *this * s;
}
p4f& p4f::operator/=(float s) {
    return *this = *this / s;
}

p4f p4f::operator-() const {
    return p4f(-x, -y, -z, -w);
}

p4f::operator p2f() const {
    return p2f(x / w, y / w);
}
p4f::operator p3f() const {
    return p3f(x / w, y / w, z / w);
}

// ---- stream output -------------------------------------------------------------------------

std::ostream& operator<<(std::ostream& os, const p2f& v) {
    return os << "(" << v.x << "," << v.y << ")";
}

std::ostream& operator<<(std::ostream& os, const p3f& v) {
    return os << "(" << v.x << "," << v.y << "," << v.z << ")";
}

std::ostream& operator<<(std::ostream& os, const p4f& v) {
    return os << "(" << v.x << "," << v.y << "," << v.z << "," << v.w << ")";
}

} // namespace OGL_ZEP6_AE
