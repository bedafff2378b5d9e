#include "gl/render/Feedback.h"

#include <GL/gl.h>

namespace OGL_ZEP6_AE {

namespace {

static_assert(Feedback::kType2D == GL_2D && Feedback::kType3D == GL_3D, "feedback types");

float sFeedbackBuffer[Feedback::kBufferSize];

// Values per vertex record. Colours are four values in RGBA mode; texture coordinates are four.
int VertexSize(unsigned int type) {
    switch (type) {
    case GL_2D:
        return 2;
    case GL_3D:
        return 3;
    case GL_3D_COLOR:
        return 3 + 4;
    case GL_3D_COLOR_TEXTURE:
        return 3 + 4 + 4;
    case GL_4D_COLOR_TEXTURE:
        return 4 + 4 + 4;
    default:
        return 0;
    }
}

// Vertices that follow each token (polygons give their count in the next value).
int VerticesOf(int token) {
    switch (token) {
    case GL_POINT_TOKEN:
    case GL_BITMAP_TOKEN:
    case GL_DRAW_PIXEL_TOKEN:
    case GL_COPY_PIXEL_TOKEN:
        return 1;
    case GL_LINE_TOKEN:
    case GL_LINE_RESET_TOKEN:
        return 2;
    default:
        return -1;
    }
}

} // namespace

Region3d Feedback::Parse(const float* values, int count, unsigned int type) {
    Region3d box;
    const int size = VertexSize(type);
    if (size == 0 || values == nullptr) {
        return box;
    }
    const bool hasDepth = type != GL_2D;
    int i = 0;
    while (i < count) {
        const int token = static_cast<int>(values[i++]);
        int vertices = 0;
        if (token == GL_PASS_THROUGH_TOKEN) {
            ++i;
            continue;
        }
        if (token == GL_POLYGON_TOKEN) {
            if (i >= count) {
                break;
            }
            vertices = static_cast<int>(values[i++]);
        } else {
            vertices = VerticesOf(token);
        }
        if (vertices < 0) {
            break;
        }
        for (int v = 0; v < vertices; ++v) {
            if (count - i < size) {
                return box;
            }
            box = box | p3f(values[i], values[i + 1], hasDepth ? values[i + 2] : 0.0f);
            i += size;
        }
    }
    return box;
}

// On the GL worker thread.
Feedback::Feedback(unsigned int type) : type_(type), mode_(GL_FEEDBACK), box_() {
    glFeedbackBuffer(kBufferSize, type_, sFeedbackBuffer);
    glRenderMode(GL_FEEDBACK);
}

Feedback::~Feedback() {
    // Only while this measurement is open: a finished one must not end a later one.
    if (mode_ == GL_FEEDBACK) {
        glRenderMode(GL_RENDER);
    }
}

void Feedback::GetMinMax() {
    const GLint written = glRenderMode(GL_RENDER);
    mode_ = GL_RENDER;
    // A negative count means the buffer overflowed; it then holds as many values as it has room.
    const int count = written < 0 ? kBufferSize : written;
    box_ = Parse(sFeedbackBuffer, count, type_);
}

Region3d Feedback::GetRegion() {
    if (mode_ == GL_FEEDBACK) {
        GetMinMax();
    }
    return box_;
}

p3f Feedback::GetMinimum() {
    return GetRegion().GetMinimum();
}

p3f Feedback::GetMaximum() {
    return GetRegion().GetMaximum();
}

bool Feedback::IsFeedbackMode() {
    GLint mode = 0;
    glGetIntegerv(GL_RENDER_MODE, &mode);
    return mode == GL_FEEDBACK;
}

} // namespace OGL_ZEP6_AE
