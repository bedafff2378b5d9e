#pragma once

// Translation of an image's (colour space, bit depth, white level) description into OpenGL
// pixel-transfer terms, and texture size estimates. Pure logic: nothing here calls OpenGL, and
// nothing throws. OpenGL enumerants travel as unsigned int so this header needs no GL header.

#include "Export.h"
#include "core/PixelTypes.h"

class XIImage;

namespace OGL_ZEP6_AE {

// Packs a four-character colour-space code big-endian, the first character in the most
// significant byte: FourCC("BGRA") == 0x42475241.
constexpr unsigned int FourCC(const char (&code)[5]) {
    return (static_cast<unsigned int>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<unsigned int>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<unsigned int>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<unsigned int>(static_cast<unsigned char>(code[3]));
}

// The OpenGL pixel format and component type in which pixels of that description are passed to
// and from OpenGL. A type of 0 means OpenGL has no direct type for such pixels: they must be
// converted. Unknown codes give GL_RGBA with type 0.
ZEP6_API void GetColorSpaceFormat(int colorSpace, int bitDepth, int whiteLevel, unsigned int& format,
                                  unsigned int& type);

// The same for a colour space that is an OpenGL internal format (GL_RGBA16F, GL_ALPHA8, ...).
// The unsized GL_ALPHA and GL_LUMINANCE and unknown formats give type 0.
ZEP6_API void GetColorSpaceFormat(unsigned int internalFormat, unsigned int& format, unsigned int& type);

// The same for an image, plus the scale: the fraction of the type's full range that the image's
// white level occupies (32768/65535 for 0x8000 data passed as GL_UNSIGNED_SHORT, 1 when white is
// the top of the range or the type is float). An invalid image gives GL_RGBA, type 0, scale 1.
ZEP6_API void GetColorSpaceFormat(const XIImage* image, unsigned int& format, unsigned int& type,
                                  float& scale);

// GetColorSpaceFormat for an image with the scale discarded.
ZEP6_API void GetFormatType(const XIImage* image, unsigned int& format, unsigned int& type);

// Whether the image's pixels must be converted before OpenGL can take them as (format, type).
// Answers only for format GL_DEPTH_COMPONENT, GL_ALPHA, GL_RGBA, GL_LUMINANCE or GL_BGRA with
// type GL_UNSIGNED_SHORT, GL_FLOAT or GL_HALF_FLOAT; any other pair, and a null image, give false.
ZEP6_API bool NeedToConvert(const XIImage* image, unsigned int format, unsigned int type);

// Both images valid and equal in width, height, row bytes, colour space, bit depth, white level
// and orientation (base addresses are not compared): one block copy of row bytes * height moves
// the pixels of one into the other.
ZEP6_API bool IsMatchingFormat(const XIImage* a, const XIImage* b);

// Bytes a texture of that size and internal format takes (0 for an internal format it does not
// know). Unsized GL_ALPHA, GL_LUMINANCE and GL_DEPTH_COMPONENT count 32 bits per texel.
ZEP6_API long CalculateTextureSize(int width, int height, unsigned int internalFormat);

// Estimated bytes of the four-float texture that holds the image on the card: each side (divided
// by divisor first when divisor > 1) is brought to the nearer power of two, the lower one on a tie
// and never below 16. With square, the larger side is used for both. A null image gives 0.
ZEP6_API long long CalculateTextureSizeOnCard(const XIImage* image, int divisor, bool square);

// The pixel layout a colour-space code selects, or PixelLayout::Unknown: 32 is ARGB; "BGRA" and
// GL_BGRA are BGRA; "RGBA" and GL_RGBA8/12/16/16F/32F are RGBA; 1 and GL_ALPHA8/12/16/16F/32F are
// Alpha; GL_LUMINANCE and GL_LUMINANCE12/16/16F/32F are Luma; GL_DEPTH_COMPONENT and
// GL_DEPTH_COMPONENT16/24/32 are Depth. With the bit depth and white level, PixelMaxFor and
// IsPixelTypeFor (core/PixelTypes.h) then name the pixel type.
ZEP6_API PixelLayout GetPixelLayout(long colorSpace);

} // namespace OGL_ZEP6_AE
