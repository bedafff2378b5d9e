#include "geometry/Region.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace OGL_ZEP6_AE {

namespace {

// Ends and differences are taken in 64 bits, so that regions with negative origins compare and
// measure correctly and no intermediate sum overflows.
long long End(int origin, unsigned int size) {
    return static_cast<long long>(origin) + size;
}

Region MakeRegion(long long x, long long y, long long w, long long h) {
    return Region(static_cast<int>(x), static_cast<int>(y), static_cast<unsigned int>(w),
                  static_cast<unsigned int>(h));
}

} // namespace

// ---- Region -------------------------------------------------------------------------------

int Region::XEnd() const {
    return static_cast<int>(End(x, width));
}
int Region::YEnd() const {
    return static_cast<int>(End(y, height));
}

bool Region::operator==(const Region& r) const {
    return x == r.x && y == r.y && width == r.width && height == r.height && valid == r.valid;
}

bool Region::operator!=(const Region& r) const {
    return !(*this == r);
}

bool Region::IsInRange(const p2f& p) const {
    if (!valid) {
        return false;
    }
    const float x0 = static_cast<float>(x);
    const float y0 = static_cast<float>(y);
    return x0 <= p.x && p.x < static_cast<float>(End(x, width)) && y0 <= p.y &&
           p.y < static_cast<float>(End(y, height));
}

Region Region::operator|(const Region& r) const {
    if (!r.valid) {
        return *this;
    }
    if (!valid) {
        return r;
    }
    const long long x0 = std::min(x, r.x);
    const long long y0 = std::min(y, r.y);
    const long long x1 = std::max(End(x, width), End(r.x, r.width));
    const long long y1 = std::max(End(y, height), End(r.y, r.height));
    Region u = MakeRegion(x0, y0, x1 - x0, y1 - y0);
    u.valid = true;
    return u;
}

Region Region::operator|(const p2f& p) const {
    Region u;
    u.valid = true;
    if (!valid) {
        u.x = static_cast<int>(std::trunc(p.x));
        u.y = static_cast<int>(std::trunc(p.y));
        return u;
    }
    const float nx = std::trunc(std::min(static_cast<float>(x), p.x));
    const float ny = std::trunc(std::min(static_cast<float>(y), p.y));
    const float w = std::trunc(std::max(static_cast<float>(End(x, width)) - nx, p.x - nx));
    const float h = std::trunc(std::max(static_cast<float>(End(y, height)) - ny, p.y - ny));
    u.x = static_cast<int>(nx);
    u.y = static_cast<int>(ny);
    u.width = static_cast<unsigned int>(static_cast<long long>(w));
    u.height = static_cast<unsigned int>(static_cast<long long>(h));
    return u;
}

Region Region::operator&(const Region& r) const {
    if (!valid || !r.valid) {
        return Region();
    }
    const long long x0 = std::max(x, r.x);
    const long long y0 = std::max(y, r.y);
    const long long x1 = std::min(End(x, width), End(r.x, r.width));
    const long long y1 = std::min(End(y, height), End(r.y, r.height));
    if (x0 >= x1 || y0 >= y1) {
        return Region();
    }
    return MakeRegion(x0, y0, x1 - x0, y1 - y0);
}

Region Region::Grow(int dx, int dy) const {
    if (!valid) {
        return *this;
    }
    return MakeRegion(static_cast<long long>(x) - dx, static_cast<long long>(y) - dy,
                      static_cast<long long>(width) + 2LL * dx, static_cast<long long>(height) + 2LL * dy);
}

Region Region::Flip(int h) const {
    if (!valid) {
        return *this;
    }
    return MakeRegion(x, static_cast<long long>(h) - y - static_cast<long long>(height), width, height);
}

Region Region::Offset(int dx, int dy) const {
    if (!valid) {
        return *this;
    }
    return MakeRegion(static_cast<long long>(x) + dx, static_cast<long long>(y) + dy, width, height);
}

Region Region::Scale(float sx, float sy) const {
    if (!valid) {
        return *this;
    }
    const long long x0 = static_cast<long long>(std::floor(static_cast<float>(x) * sx));
    const long long x1 = static_cast<long long>(std::floor(static_cast<float>(End(x, width)) * sx));
    const long long y0 = static_cast<long long>(std::floor(static_cast<float>(y) * sy));
    const long long y1 = static_cast<long long>(std::floor(static_cast<float>(End(y, height)) * sy));
    return MakeRegion(x0, y0, x1 - x0, y1 - y0);
}

// ---- Region3d -----------------------------------------------------------------------------

Region3d Region3d::operator|(const p3f& p) const {
    if (!valid) {
        return Region3d(p, p);
    }
    return Region3d(minimum.minimum(p), maximum.maximum(p));
}

Region3d Region3d::operator|(const Region3d& r) const {
    if (!valid) {
        return r;
    }
    if (!r.valid) {
        return *this;
    }
    return Region3d(minimum.minimum(r.minimum), maximum.maximum(r.maximum));
}

Region3d Region3d::operator&(const Region3d& r) const {
    if (!valid || !r.valid) {
        return Region3d();
    }
    const p3f lo = minimum.maximum(r.minimum);
    const p3f hi = maximum.minimum(r.maximum);
    if (lo.x > hi.x || lo.y > hi.y || lo.z > hi.z) {
        return Region3d();
    }
    return Region3d(lo, hi);
}

Region3d Region3d::Grow(const p3f& d) const {
    if (!valid) {
        return *this;
    }
    return *this | (minimum + d) | (minimum - d) | (maximum + d) | (maximum - d);
}

Region3d::operator Region() const {
    if (!valid) {
        return Region();
    }
    const long long x0 = static_cast<long long>(std::floor(minimum.x));
    const long long y0 = static_cast<long long>(std::floor(minimum.y));
    const long long x1 = static_cast<long long>(std::ceil(maximum.x));
    const long long y1 = static_cast<long long>(std::ceil(maximum.y));
    return MakeRegion(x0, y0, x1 - x0, y1 - y0);
}

// ---- stream output -------------------------------------------------------------------------

std::ostream& operator<<(std::ostream& os, const Region& r) {
    return os << r.x << "," << r.y << " " << r.width << "," << r.height;
}

std::ostream& operator<<(std::ostream& os, const Region3d& r) {
    return os << r.minimum << " " << r.maximum << " " << r.valid;
}

} // namespace OGL_ZEP6_AE
