#include "gl/state/PixelStore.h"

#include "core/Errors.h"
#include "core/XIImage.h"

#include <GL/gl.h>

#include <initializer_list>

namespace OGL_ZEP6_AE {

namespace {

int GetInt(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

// The parameter names of one direction, in field order.
struct LayoutNames {
    GLenum alignment, rowLength, imageHeight, skipPixels, skipRows;
};
constexpr LayoutNames kUnpack{GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_IMAGE_HEIGHT,
                              GL_UNPACK_SKIP_PIXELS, GL_UNPACK_SKIP_ROWS};
constexpr LayoutNames kPack{GL_PACK_ALIGNMENT, GL_PACK_ROW_LENGTH, GL_PACK_IMAGE_HEIGHT, GL_PACK_SKIP_PIXELS,
                            GL_PACK_SKIP_ROWS};

void ApplyLayout(const LayoutNames& n, const PixelAddressing& l) {
    glPixelStorei(n.alignment, l.alignment);
    glPixelStorei(n.rowLength, l.rowLength);
    glPixelStorei(n.imageHeight, l.imageHeight);
    glPixelStorei(n.skipPixels, l.skipPixels);
    glPixelStorei(n.skipRows, l.skipRows);
}

void RetrieveLayout(const LayoutNames& n, PixelAddressing& l) {
    l.alignment = GetInt(n.alignment);
    l.rowLength = GetInt(n.rowLength);
    l.imageHeight = GetInt(n.imageHeight);
    l.skipPixels = GetInt(n.skipPixels);
    l.skipRows = GetInt(n.skipRows);
}

} // namespace

void PixelStore::Apply() const {
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, skipPixels);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, skipRows);
}

void PixelStore::Retrieve() {
    alignment = GetInt(GL_UNPACK_ALIGNMENT);
    rowLength = GetInt(GL_UNPACK_ROW_LENGTH);
    skipPixels = GetInt(GL_UNPACK_SKIP_PIXELS);
    skipRows = GetInt(GL_UNPACK_SKIP_ROWS);
}

bool PixelStore::operator==(const PixelStore& p) const {
    return alignment == p.alignment && rowLength == p.rowLength && skipPixels == p.skipPixels &&
           skipRows == p.skipRows;
}

PixelAddressing::PixelAddressing(const XIImage* image, int skipPixels_, int skipRows_)
    : alignment(4), rowLength(0), imageHeight(0), skipPixels(skipPixels_), skipRows(skipRows_) {
    if (!IsValid(image))
        return;
    const long bytesPerPixel = image->GetBitDepth() / 8;
    if (bytesPerPixel > 0) {
        rowLength = static_cast<int>(image->GetRowBytes() / bytesPerPixel);
        // OpenGL rounds each row up to the alignment, so the alignment is the one under which
        // rows of that length are exactly the image's row bytes apart: a one-channel 16-bit image
        // 37 pixels wide has rows of 74 bytes, which alignment 4 would read as 76.
        const long packed = rowLength * bytesPerPixel;
        for (int candidate : {8, 4, 2, 1})
            if ((packed + candidate - 1) / candidate * candidate == image->GetRowBytes()) {
                alignment = candidate;
                break;
            }
    }
    imageHeight = static_cast<int>(image->GetHeight());
}

bool PixelAddressing::operator==(const PixelAddressing& p) const {
    return alignment == p.alignment && rowLength == p.rowLength && imageHeight == p.imageHeight &&
           skipPixels == p.skipPixels && skipRows == p.skipRows;
}

void PixelUnpack::Apply() const {
    ApplyLayout(kUnpack, *this);
}
void PixelUnpack::Retrieve() {
    RetrieveLayout(kUnpack, *this);
}

void PixelPack::Apply() const {
    ApplyLayout(kPack, *this);
}
void PixelPack::Retrieve() {
    RetrieveLayout(kPack, *this);
}

} // namespace OGL_ZEP6_AE
