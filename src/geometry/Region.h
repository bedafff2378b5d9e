#pragma once

// Rectangles of pixels and boxes of space.
//
// A Region is an integer pixel rectangle with rows counted from the bottom, as OpenGL counts
// them, and a valid flag: render passes use it for viewports, scissor and copy rectangles. A
// Region3d is a float box, the extent of drawn geometry, which converts to the Region covering it.
// Every operation returns a new value; an invalid operand is handled first, as each says.

#include "Export.h"
#include "geometry/Vector.h"

#include <iosfwd>

namespace OGL_ZEP6_AE {

class ZEP6_API Region {
public:
    int x;
    int y;
    unsigned int width;
    unsigned int height;
    bool valid;

    // All zero and invalid.
    Region() : x(0), y(0), width(0), height(0), valid(false) {}
    // (0, 0, w, h); valid when both sizes are non-zero.
    Region(unsigned int w, unsigned int h) : Region(0, 0, w, h) {}
    // Valid when both sizes are non-zero.
    Region(int x_, int y_, unsigned int w, unsigned int h)
        : x(x_), y(y_), width(w), height(h), valid(w != 0 && h != 0) {}

    int XOrigin() const { return x; }
    int YOrigin() const { return y; }
    unsigned int Width() const { return width; }
    unsigned int Height() const { return height; }
    // One past the last column and row (x + width, y + height).
    int XEnd() const;
    int YEnd() const;
    bool IsValid() const { return valid; }

    bool operator==(const Region& r) const;
    bool operator!=(const Region& r) const;

    // Whether the point lies inside (the far edges excluded); false for an invalid Region.
    bool IsInRange(const p2f& p) const;

    // The smallest rectangle holding both; an invalid operand contributes nothing.
    Region operator|(const Region& r) const;
    // Grown to take in the point (truncated toward zero); an invalid Region becomes the empty
    // rectangle at the point, valid.
    Region operator|(const p2f& p) const;
    // The overlap; invalid when either is invalid or when they do not overlap (touching edges
    // included).
    Region operator&(const Region& r) const;

    // Each edge moved outward by (dx, dy).
    Region Grow(int dx, int dy) const;
    // Mirrors the rectangle between top-down and bottom-up row order of an image h rows high.
    Region Flip(int h) const;
    Region Offset(int dx, int dy) const;
    // Both corners scaled and floored.
    Region Scale(float sx, float sy) const;
};

class ZEP6_API Region3d {
public:
    p3f minimum;
    p3f maximum;
    bool valid;

    // All zero and invalid.
    Region3d() : valid(false) {}
    // The two corners as given (not ordered); valid.
    Region3d(const p3f& min, const p3f& max) : minimum(min), maximum(max), valid(true) {}

    const p3f& GetMinimum() const { return minimum; }
    const p3f& GetMaximum() const { return maximum; }
    bool IsValid() const { return valid; }
    // Marks the box invalid; the corners stay.
    void Reset() { valid = false; }

    // Grown to take in the point; an invalid box becomes the point itself, valid.
    Region3d operator|(const p3f& p) const;
    Region3d operator|(const Region3d& r) const;
    // The overlap; a box of zero thickness (touching faces) is valid.
    Region3d operator&(const Region3d& r) const;
    // Every face moved outward by the magnitude of d in its axis.
    Region3d Grow(const p3f& d) const;

    // The pixel rectangle covering the box in x and y: origin floored, far edge ceiled.
    operator Region() const;
};

ZEP6_API std::ostream& operator<<(std::ostream& os, const Region& r);
ZEP6_API std::ostream& operator<<(std::ostream& os, const Region3d& r);

} // namespace OGL_ZEP6_AE
