#pragma once

// Free drawing helpers of the render passes: the banded region strip, textured regions, quads
// (whole or subdivided into a grid of cells), planes drawn through a grid, and the projection of
// one unit per pixel.
//
// Everything here draws in immediate mode or from client arrays and runs on the GL worker thread
// (or a thread that has the root context current).

#include "Export.h"
#include "geometry/Vector.h"

namespace OGL_ZEP6_AE {

class Region;

// One GL_TRIANGLE_STRIP of ten integer vertices that cuts the region into four horizontal bands
// (so that no single triangle spans the whole target). With y0 = y, y4 = y + height,
// y2 = (y0 + y4) / 2, y1 = (y2 + y0) / 2 and y3 = (y2 + y4) / 2 (integer division, truncating toward
// zero), the vertices are (x, yi), (x + width, yi) for i = 0 ... 4.
ZEP6_API void DrawRegion(const Region& region);

// One GL_TRIANGLE_STRIP over the region's corners (x, y), (x + width, y), (x, y + height),
// (x + width, y + height) at z = 0, with texture coordinates (0, 0), (1, 0), (0, 1), (1, 1) and
// normal (0, 0, 1).
ZEP6_API void DrawTexturedRegion(const Region& region);

// Projection glOrtho(0, width, 0, height, -1, 1) and an identity model-view matrix: one unit is one
// pixel, the origin at the bottom left. The model-view matrix is left selected.
ZEP6_API void RasterProjection(int width, int height);

// A quad with corners a, b, c, d in order along its edge, as one GL_TRIANGLE_STRIP through a
// (texture (0, 0)), b (1, 0), d (0, 1), c (1, 1), with normal normalise((d - b) x (c - a)).
ZEP6_API void DrawQuad(const p3f& a, const p3f& b, const p3f& c, const p3f& d);

// The same quad divided bilinearly into (nx - 1) x (ny - 1) cells: the point of parameters
// (u, v) = (i / (nx - 1), j / (ny - 1)) is a (1-u)(1-v) + b u(1-v) + c uv + d (1-u)v and has
// texture coordinate (u, v). Each row of cells (fixed j) is one triangle strip, wound as the
// undivided quad. One normal serves the whole quad: normalise((d - b) x (c - a)), or its negation
// when flip is set. Fewer than two points in either direction draw nothing.
ZEP6_API void DrawQuad(const p3f& a, const p3f& b, const p3f& c, const p3f& d, int nx, int ny, bool flip);

// The same division with the corners' texture coordinates ta, tb, tc, td interpolated bilinearly;
// normal normalise((d - b) x (c - a)).
ZEP6_API void DrawQuad(const p3f& a, const p2f& ta, const p3f& b, const p2f& tb, const p3f& c, const p2f& tc,
                       const p3f& d, const p2f& td, int nx, int ny);

// A textured grid of nx x ny vertices laid over the parallelogram a, b, c, d: the model-view matrix
// is multiplied (and restored afterwards) by the frame with origin (a + c) / 2 and axes (b - a) / 2,
// (d - a) / 2 and their cross product, and a grid kept for this function (20 x 20 at first, re-sized
// when nx or ny change) is drawn with its texture coordinates.
ZEP6_API void DrawPlane(const p3f& a, const p3f& b, const p3f& c, const p3f& d, int nx, int ny);

} // namespace OGL_ZEP6_AE
