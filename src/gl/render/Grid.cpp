#include "gl/render/Grid.h"

#include "gl/render/ObjectArray.h"
#include "gl/state/Push.h"

#include <GL/gl.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

Grid sGrid(121, 121);
Grid sBigGrid(241, 241);

Grid::~Grid() = default;

void Grid::Resize(int columns, int rows) {
    if (columns == columns_ && rows == rows_) {
        return;
    }
    columns_ = columns;
    rows_ = rows;
    vertices_.reset();
}

const float* Grid::Vertices() {
    if (!vertices_ && columns_ >= 2 && rows_ >= 2) {
        Initialize();
    }
    return vertices_.get();
}

void Grid::Initialize() {
    // Each coordinate is its own quotient (not a running sum or a product with the step), so that
    // a row's upper edge is bit for bit the next row's lower edge and the far edges are exactly 1.
    const float lastColumn = static_cast<float>(columns_ - 1);
    const float lastRow = static_cast<float>(rows_ - 1);
    const std::size_t count = static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_) * 2;
    std::unique_ptr<float[]> vertices(new float[count * kStride]);
    for (int r = 0; r < rows_; ++r) {
        const float y = std::min(static_cast<float>(r) / lastRow, 1.0f);
        const float top = std::min(static_cast<float>(r + 1) / lastRow, 1.0f);
        for (int k = 0; k < columns_; ++k) {
            const float x = std::min(static_cast<float>(k) / lastColumn, 1.0f);
            float* v = vertices.get() + static_cast<std::size_t>(Index(k, r, 0)) * kStride;
            v[0] = x;
            v[1] = top;
            v[2] = 0.0f;
            v[3] = x;
            v[4] = y;
            v[5] = 0.0f;
        }
    }
    vertices_ = std::move(vertices);
}

void Grid::Draw() {
    DrawRows(false);
}

void Grid::DrawTexture() {
    DrawRows(true);
}

// On the GL worker thread.
void Grid::DrawRows(bool textured) {
    const float* vertices = Vertices();
    if (vertices == nullptr) {
        return;
    }
    glNormal3f(0.0f, 0.0f, 1.0f);
    PushModelStack modelView;
    glTranslatef(-1.0f, -1.0f, 0.0f);
    glScalef(2.0f, 2.0f, 1.0f);
    PushArrays arrays(textured, false, false);
    const GLsizei stride = kStride * sizeof(float);
    const GLsizei perRow = 2 * columns_;
    for (int r = 0; r < rows_; ++r) {
        const float* row = vertices + static_cast<std::size_t>(Index(0, r, 0)) * kStride;
        glVertexPointer(2, GL_FLOAT, stride, row);
        if (textured) {
            glTexCoordPointer(2, GL_FLOAT, stride, row);
        }
        glDrawArrays(GL_TRIANGLE_STRIP, 0, perRow);
    }
}

} // namespace OGL_ZEP6_AE
