#include "gl/render/ObjectArray.h"

#include <GL/gl.h>

#include <algorithm>

namespace OGL_ZEP6_AE {

namespace {

// Texture coordinates are kept two floats in a stride of three.
constexpr int kTexStride = 3;

} // namespace

// ---- Object --------------------------------------------------------------------------------

Object::Object(unsigned int mode) {
    glNormal3f(0.0f, 0.0f, 1.0f);
    glBegin(mode);
}

Object::~Object() {
    glEnd();
}

// ---- PushArrays ----------------------------------------------------------------------------

PushArrays::PushArrays() : PushArrays(false, false, false) {}

PushArrays::PushArrays(bool texCoords, bool normals, bool colors) : color_(), restoreColor_(colors) {
    if (restoreColor_) {
        // The context, not the library's mirror: a caller may have set the colour with glColor.
        glGetFloatv(GL_CURRENT_COLOR, color_);
    }
    glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
    glEnableClientState(GL_VERTEX_ARRAY);
    const auto set = [](GLenum array, bool on) {
        if (on) {
            glEnableClientState(array);
        } else {
            glDisableClientState(array);
        }
    };
    set(GL_TEXTURE_COORD_ARRAY, texCoords);
    set(GL_NORMAL_ARRAY, normals);
    set(GL_COLOR_ARRAY, colors);
}

PushArrays::~PushArrays() {
    glPopClientAttrib();
    if (restoreColor_) {
        color_.Apply();
    }
}

// ---- ObjectArray ---------------------------------------------------------------------------

ObjectArray::ObjectArray(unsigned int primitive, int capacity)
    : primitive_(primitive), mustDraw_(true), count_(0), capacity_(0), texCoord_(0.0f, 0.0f),
      hasTexCoords_(false), normal_(0.0f, 0.0f, 1.0f), hasNormals_(false), color_(), hasColors_(false) {
    Reserve(std::max(capacity, 0));
}

ObjectArray::~ObjectArray() = default;

void ObjectArray::Reserve(int capacity) {
    const std::size_t n = static_cast<std::size_t>(capacity);
    positions_.resize(n);
    texCoords_.resize(n * kTexStride);
    normals_.resize(n);
    colors_.resize(n);
    capacity_ = capacity;
}

void ObjectArray::TexCoord(const p2f& t) {
    texCoord_ = t;
    hasTexCoords_ = true;
}

void ObjectArray::Normal(const p3f& n) {
    normal_ = n;
    hasNormals_ = true;
}

void ObjectArray::Color(const OGL_ZEP6_AE::Color& c) {
    color_ = c;
    hasColors_ = true;
}

void ObjectArray::Vertex(const p3f& p) {
    if (count_ == capacity_) {
        Reserve(std::max(2 * capacity_, 16));
    }
    const std::size_t i = static_cast<std::size_t>(count_);
    positions_[i] = p;
    texCoords_[i * kTexStride] = texCoord_.x;
    texCoords_[i * kTexStride + 1] = texCoord_.y;
    texCoords_[i * kTexStride + 2] = 0.0f;
    normals_[i] = normal_;
    colors_[i] = color_;
    ++count_;
}

void ObjectArray::Vertex(const p3f& p, const p2f& t) {
    TexCoord(t);
    Vertex(p);
}

// On the GL worker thread.
void ObjectArray::Draw() {
    if (count_ > 0) {
        glNormal3fv(normal_);
        PushArrays arrays(hasTexCoords_, hasNormals_, hasColors_);
        glVertexPointer(3, GL_FLOAT, sizeof(p3f), positions_.data());
        if (hasTexCoords_) {
            glTexCoordPointer(2, GL_FLOAT, kTexStride * sizeof(float), texCoords_.data());
        }
        if (hasNormals_) {
            glNormalPointer(GL_FLOAT, sizeof(p3f), normals_.data());
        }
        if (hasColors_) {
            glColorPointer(4, GL_FLOAT, sizeof(OGL_ZEP6_AE::Color), colors_.data());
        }
        glDrawArrays(primitive_, 0, count_);
    }
    mustDraw_ = false;
}

void ObjectArray::Initialize() {
    const int capacity = capacity_;
    Finalize();
    Reserve(capacity);
    mustDraw_ = false;
}

void ObjectArray::Finalize() {
    // Swapping with empty vectors gives the memory back (clear() would keep it).
    std::vector<p3f>().swap(positions_);
    std::vector<float>().swap(texCoords_);
    std::vector<p3f>().swap(normals_);
    std::vector<OGL_ZEP6_AE::Color>().swap(colors_);
    count_ = 0;
    capacity_ = 0;
}

// ---- IndexVertices -------------------------------------------------------------------------

// On the GL worker thread.
void IndexVertices(unsigned int primitive, const std::vector<p3f>& positions, const std::vector<p3f>& normals,
                   const std::vector<p3f>& texCoords, const std::vector<int>& indices, int first, int n) {
    ObjectArray array(primitive, 1024);
    const int end = std::min(first + std::max(n, 0), static_cast<int>(indices.size()));
    for (int i = std::max(first, 0); i < end; ++i) {
        const int index = indices[static_cast<std::size_t>(i)];
        if (index < 0) {
            continue;
        }
        const std::size_t k = static_cast<std::size_t>(index);
        if (k >= positions.size() || k >= normals.size() || k >= texCoords.size()) {
            continue;
        }
        array.Normal(normals[k]);
        array.Vertex(positions[k], p2f(texCoords[k].x, texCoords[k].y));
    }
    array.Draw();
}

} // namespace OGL_ZEP6_AE
