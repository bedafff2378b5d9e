#pragma once

// A regular grid over the square -1...1, drawn from a client-side vertex array one row of cells
// at a time. Render passes draw it instead of a single quad where a fine tessellation matters
// (per-vertex lighting, texture lookups that vary across the image).
//
// The vertices are built on first use and kept until the size changes. For every row r and
// column k there are two vertices of three floats (x, y, 0): first (x_k, y_top), then
// (x_k, y_r), with x_k = k / (columns - 1), y_r = r / (rows - 1) and y_top = (r + 1) / (rows - 1),
// each value held at 1 at most. A row is thus one triangle strip of 2 * columns vertices; the
// last row has y_r = y_top = 1 and covers nothing. Drawing maps the grid's 0...1 onto -1...1.
//
// A grid needs at least two columns and two rows; a smaller one draws nothing.

#include "Export.h"

#include <memory>

namespace OGL_ZEP6_AE {

class ZEP6_API Grid {
public:
    // No OpenGL call and no allocation: grids can be constant-initialised statics.
    constexpr Grid(int columns, int rows) : columns_(columns), rows_(rows), vertices_() {}
    ~Grid();
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    int Columns() const { return columns_; }
    int Rows() const { return rows_; }
    // A change of either size drops the vertices; they are rebuilt at the next draw.
    void Resize(int columns, int rows);

    // Draws the grid over -1...1 in x and y at z = 0 with normal (0, 0, 1), using only the vertex
    // array. The model-view matrix, the current colour and the client array state are restored.
    // On the GL worker thread.
    void Draw();
    // The same, with texture coordinates running from 0 to 1 across the grid.
    void DrawTexture();

    // Position of vertex v (0 = the row's upper edge, 1 = its lower edge) of column k in row r,
    // counted in vertices (three floats each).
    int Index(int column, int row, int vertex) const { return (columns_ * row + column) * 2 + vertex; }
    // Floats per vertex in the array.
    static constexpr int kStride = 3;
    // The vertex array, built here if needed (no OpenGL involved); null for a grid smaller than
    // 2 x 2.
    const float* Vertices();
    // The array as it stands: null until built or after a resize.
    const float* BuiltVertices() const { return vertices_.get(); }

private:
    void Initialize();
    void DrawRows(bool textured);

    int columns_;
    int rows_;
    std::unique_ptr<float[]> vertices_;
};

// The grids the render passes share: 121 x 121 and 241 x 241 vertices.
extern ZEP6_API Grid sGrid;
extern ZEP6_API Grid sBigGrid;

} // namespace OGL_ZEP6_AE
