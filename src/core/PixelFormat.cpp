#include "core/PixelFormat.h"

#include "core/Errors.h"
#include "core/XIImage.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cstdint>

namespace OGL_ZEP6_AE {

namespace {

// Components per pixel of a pixel-transfer format; 0 for formats whose type cannot be derived
// from the bit depth (colour index, unknown).
int ComponentsPerPixel(unsigned int format) {
    switch (format) {
    case GL_RGBA:
    case GL_BGRA:
        return 4;
    case GL_RGB:
    case GL_BGR:
        return 3;
    case GL_LUMINANCE:
    case GL_ALPHA:
    case GL_DEPTH_COMPONENT:
        return 1;
    default:
        return 0;
    }
}

// The component type for a format whose code left it open, from the size of one component. Two-byte
// components with white 1 are half floats; with a white level of at most 16384 they are signed
// (the 0x4000 scale leaves the sign bit free); four-byte ones are floats when white is 1.
unsigned int TypeFromComponentSize(unsigned int format, int bitDepth, int whiteLevel) {
    const int components = ComponentsPerPixel(format);
    if (components == 0)
        return 0;
    switch (bitDepth / (8 * components)) {
    case 1:
        return GL_UNSIGNED_BYTE;
    case 2:
        if (whiteLevel == 1)
            return GL_HALF_FLOAT;
        return whiteLevel <= 16384 ? GL_SHORT : GL_UNSIGNED_SHORT;
    case 4:
        return whiteLevel == 1 ? GL_FLOAT : GL_UNSIGNED_INT;
    default:
        return 0;
    }
}

// Fraction of the type's full range that the white level occupies.
float ScaleOf(unsigned int type, int whiteLevel) {
    switch (type) {
    case GL_UNSIGNED_BYTE:
    case GL_UNSIGNED_INT_8_8_8_8:
    case GL_UNSIGNED_INT_8_8_8_8_REV:
        return whiteLevel >= 255 ? 1.0f : static_cast<float>(whiteLevel) * 0.003921569f;
    case GL_SHORT:
        return whiteLevel >= 32767 ? 1.0f : static_cast<float>(whiteLevel) * 3.051851e-5f;
    case GL_UNSIGNED_SHORT:
        return whiteLevel >= 65535 ? 1.0f : static_cast<float>(whiteLevel) * 1.5259022e-5f;
    case GL_UNSIGNED_INT:
        // The white level is a 32-bit quantity here; all bits set means the full range.
        if (static_cast<std::uint32_t>(whiteLevel) == 0xFFFFFFFFu)
            return 1.0f;
        return static_cast<float>(static_cast<std::uint32_t>(whiteLevel)) * 2.3283064e-10f;
    default:
        return 1.0f;
    }
}

// One side of the card texture: the power of two nearer to the size, the lower on a tie.
long long CardSide(long size, int divisor) {
    if (divisor > 1)
        size /= divisor;
    long long p = 32;
    while (p < size)
        p *= 2;
    return (p - size < size - p / 2) ? p : p / 2;
}

} // namespace

void GetColorSpaceFormat(int colorSpace, int bitDepth, int whiteLevel, unsigned int& format,
                         unsigned int& type) {
    format = GL_RGBA;
    type = 0;
    switch (static_cast<unsigned int>(colorSpace)) {
    case FourCC("RGBA"):
        format = GL_RGBA;
        break;
    case FourCC("BGRA"):
    case FourCC("ABGR"):
        format = GL_BGRA;
        break;
    case FourCC("24BG"):
        format = GL_BGR;
        break;
    case FourCC("B565"):
        format = GL_RGB;
        type = GL_UNSIGNED_SHORT_5_6_5_REV;
        return;
    case FourCC("L565"):
        format = GL_RGB;
        type = GL_UNSIGNED_SHORT_5_6_5;
        return;
    case FourCC("L555"):
        format = GL_RGB;
        type = GL_UNSIGNED_SHORT_1_5_5_5_REV;
        return;
    case FourCC("5551"):
        format = GL_RGB;
        type = GL_UNSIGNED_SHORT_5_5_5_1;
        return;
    // The YUV layouts have no OpenGL format; they are described as RGBA of their size.
    case FourCC("2vuy"):
    case FourCC("yuvs"):
    case FourCC("yuvu"):
    case FourCC("UYVY"):
    case FourCC("YVYU"):
    case FourCC("YVU9"):
    case FourCC("Y211"):
    case FourCC("Y411"):
        format = GL_RGBA;
        break;
    case 1:
        format = GL_ALPHA;
        break;
    // Indexed colour: no type, such images are never uploaded.
    case 2:
    case 4:
    case 8:
    case 33:
    case 34:
    case 36:
    case 40:
        format = GL_COLOR_INDEX;
        break;
    case 16:
        format = GL_RGB;
        type = GL_UNSIGNED_SHORT_5_5_5_1;
        return;
    case 24:
        format = GL_RGB;
        break;
    case 32:
        // 8-bit alpha-first pixels are BGRA packed into a 32-bit word with blue in the top byte,
        // which on a little-endian machine is A, R, G, B in memory. Deeper alpha-first pixels
        // have no OpenGL format; NeedToConvert sends them through a conversion.
        if (bitDepth == 32) {
            format = GL_BGRA;
            type = GL_UNSIGNED_INT_8_8_8_8;
        } else if (bitDepth == 64) {
            format = GL_RGBA;
            type = GL_UNSIGNED_SHORT;
        } else {
            format = GL_RGBA;
            type = GL_FLOAT;
        }
        return;
    default:
        GetColorSpaceFormat(static_cast<unsigned int>(colorSpace), format, type);
        break;
    }
    if (type == 0)
        type = TypeFromComponentSize(format, bitDepth, whiteLevel);
}

void GetColorSpaceFormat(unsigned int internalFormat, unsigned int& format, unsigned int& type) {
    format = GL_RGBA;
    type = 0;
    switch (internalFormat) {
    case GL_ALPHA8:
        format = GL_ALPHA;
        type = GL_UNSIGNED_BYTE;
        break;
    case GL_ALPHA12:
    case GL_ALPHA16:
        format = GL_ALPHA;
        type = GL_UNSIGNED_SHORT;
        break;
    case GL_ALPHA:
        format = GL_ALPHA;
        break;
    case GL_ALPHA16F_ARB:
        format = GL_ALPHA;
        type = GL_HALF_FLOAT;
        break;
    case GL_ALPHA32F_ARB:
        format = GL_ALPHA;
        type = GL_FLOAT;
        break;
    case GL_LUMINANCE8:
        format = GL_LUMINANCE;
        type = GL_UNSIGNED_BYTE;
        break;
    case GL_LUMINANCE12:
    case GL_LUMINANCE16:
        format = GL_LUMINANCE;
        type = GL_UNSIGNED_SHORT;
        break;
    case GL_LUMINANCE:
        format = GL_LUMINANCE;
        break;
    case GL_LUMINANCE16F_ARB:
        format = GL_LUMINANCE;
        type = GL_HALF_FLOAT;
        break;
    case GL_LUMINANCE32F_ARB:
        format = GL_LUMINANCE;
        type = GL_FLOAT;
        break;
    case GL_RGB8:
        format = GL_RGB;
        type = GL_UNSIGNED_BYTE;
        break;
    case GL_RGB12:
    case GL_RGB16:
        format = GL_RGB;
        type = GL_UNSIGNED_SHORT;
        break;
    case GL_RGB16F:
        format = GL_RGB;
        type = GL_HALF_FLOAT;
        break;
    case GL_RGB32F:
        format = GL_RGB;
        type = GL_FLOAT;
        break;
    case GL_RGBA8:
        format = GL_RGBA;
        type = GL_UNSIGNED_BYTE;
        break;
    case GL_RGBA12:
    case GL_RGBA16:
        format = GL_RGBA;
        type = GL_UNSIGNED_SHORT;
        break;
    case GL_RGBA16F:
        format = GL_RGBA;
        type = GL_HALF_FLOAT;
        break;
    case GL_RGBA32F:
        format = GL_RGBA;
        type = GL_FLOAT;
        break;
    case GL_DEPTH_COMPONENT:
        format = GL_DEPTH_COMPONENT;
        type = GL_FLOAT;
        break;
    case GL_DEPTH_COMPONENT16:
        format = GL_DEPTH_COMPONENT;
        type = GL_UNSIGNED_SHORT;
        break;
    case GL_DEPTH_COMPONENT24:
    case GL_DEPTH_COMPONENT32:
        format = GL_DEPTH_COMPONENT;
        type = GL_UNSIGNED_INT;
        break;
    default:
        break;
    }
}

void GetColorSpaceFormat(const XIImage* image, unsigned int& format, unsigned int& type, float& scale) {
    format = GL_RGBA;
    type = 0;
    scale = 1.0f;
    if (!IsValid(image))
        return;
    const int whiteLevel = static_cast<int>(image->GetWhiteLevel());
    GetColorSpaceFormat(static_cast<int>(image->GetColorSpace()), static_cast<int>(image->GetBitDepth()),
                        whiteLevel, format, type);
    scale = ScaleOf(type, whiteLevel);
}

void GetFormatType(const XIImage* image, unsigned int& format, unsigned int& type) {
    float scale;
    GetColorSpaceFormat(image, format, type, scale);
}

bool NeedToConvert(const XIImage* image, unsigned int format, unsigned int type) {
    if (image == nullptr)
        return false;
    switch (format) {
    case GL_DEPTH_COMPONENT:
    case GL_ALPHA:
    case GL_RGBA:
    case GL_LUMINANCE:
    case GL_BGRA:
        break;
    default:
        return false;
    }
    if (type != GL_UNSIGNED_SHORT && type != GL_FLOAT && type != GL_HALF_FLOAT)
        return false;

    // Alpha-first pixels are taken directly only in their 8-bit form.
    if (image->GetColorSpace() == 32)
        return image->GetBitDepth() != 32;

    unsigned int imageFormat, imageType;
    float scale;
    GetColorSpaceFormat(image, imageFormat, imageType, scale);
    const bool formatFits = imageFormat == GL_LUMINANCE || imageFormat == GL_ALPHA || imageFormat == format;
    return !(formatFits && imageType == type && scale == 1.0f);
}

bool IsMatchingFormat(const XIImage* a, const XIImage* b) {
    if (!IsValid(a) || !IsValid(b))
        return false;
    return a->GetWidth() == b->GetWidth() && a->GetHeight() == b->GetHeight() &&
           a->GetRowBytes() == b->GetRowBytes() && a->GetColorSpace() == b->GetColorSpace() &&
           a->GetBitDepth() == b->GetBitDepth() && a->GetWhiteLevel() == b->GetWhiteLevel() &&
           a->IsBottomUp() == b->IsBottomUp();
}

long CalculateTextureSize(int width, int height, unsigned int internalFormat) {
    long bits = 0;
    switch (internalFormat) {
    case GL_ALPHA8:
    case GL_LUMINANCE8:
        bits = 8;
        break;
    case GL_ALPHA12:
    case GL_ALPHA16:
    case GL_LUMINANCE12:
    case GL_LUMINANCE16:
    case GL_DEPTH_COMPONENT16:
    case GL_ALPHA16F_ARB:
    case GL_LUMINANCE16F_ARB:
        bits = 16;
        break;
    case GL_RGB8:
    case GL_DEPTH_COMPONENT24:
        bits = 24;
        break;
    // The unsized formats are counted at the 32 bits drivers actually allocate for them.
    case GL_DEPTH_COMPONENT:
    case GL_ALPHA:
    case GL_LUMINANCE:
    case GL_RGBA8:
    case GL_ALPHA32F_ARB:
    case GL_LUMINANCE32F_ARB:
    case GL_DEPTH_COMPONENT32:
        bits = 32;
        break;
    case GL_RGB12:
    case GL_RGB16:
    case GL_RGB16F:
        bits = 48;
        break;
    case GL_RGBA12:
    case GL_RGBA16:
    case GL_RGBA16F:
        bits = 64;
        break;
    case GL_RGB32F:
        bits = 96;
        break;
    case GL_RGBA32F:
        bits = 128;
        break;
    default:
        break;
    }
    const long rowBytes = ((bits * width + 3) & ~3L) / 8;
    return (rowBytes * height + 63) & ~63L;
}

long long CalculateTextureSizeOnCard(const XIImage* image, int divisor, bool square) {
    if (image == nullptr)
        return 0;
    const long long width = CardSide(image->GetWidth(), divisor);
    const long long height = CardSide(image->GetHeight(), divisor);
    // Four 32-bit float channels per texel.
    if (square) {
        const long long side = std::max(width, height);
        return side * side * 16;
    }
    return width * height * 16;
}

PixelLayout GetPixelLayout(long colorSpace) {
    switch (static_cast<unsigned long>(colorSpace)) {
    case 32:
        return PixelLayout::ARGB;
    case FourCC("BGRA"):
    case GL_BGRA:
        return PixelLayout::BGRA;
    case FourCC("RGBA"):
    case GL_RGBA8:
    case GL_RGBA12:
    case GL_RGBA16:
    case GL_RGBA16F:
    case GL_RGBA32F:
        return PixelLayout::RGBA;
    case 1:
    case GL_ALPHA8:
    case GL_ALPHA12:
    case GL_ALPHA16:
    case GL_ALPHA16F_ARB:
    case GL_ALPHA32F_ARB:
        return PixelLayout::Alpha;
    case GL_LUMINANCE:
    case GL_LUMINANCE12:
    case GL_LUMINANCE16:
    case GL_LUMINANCE16F_ARB:
    case GL_LUMINANCE32F_ARB:
        return PixelLayout::Luma;
    case GL_DEPTH_COMPONENT:
    case GL_DEPTH_COMPONENT16:
    case GL_DEPTH_COMPONENT24:
    case GL_DEPTH_COMPONENT32:
        return PixelLayout::Depth;
    default:
        return PixelLayout::Unknown;
    }
}

} // namespace OGL_ZEP6_AE
