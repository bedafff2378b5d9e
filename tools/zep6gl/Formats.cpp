// `zep6gl formats`: how the library sees a built-in list of image descriptions. For each one it
// prints the OpenGL pixel format and component type the library would hand the pixels over as,
// the white-level scale, whether the pixels need converting before OpenGL can take them as
// floats or half floats, and the texture sizes the library reckons with.
#include "Command.h"
#include "HostImage.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdio>
#include <string>

namespace zep6gl {

namespace {

using OGL_ZEP6_AE::FourCC;

struct Description {
    const char* name;
    long colorSpace;
    long bitDepth;
    long whiteLevel;
    long width;
    long height;
    long rowPadding;   // negative: rows shorter than the pixels need
    bool withPixels;
};

// Every pixel-type instance, a few four-character codes and internal formats, and descriptions
// the library must refuse.
const Description kDescriptions[] = {
    {"ARGB 8-bit (classic 32)", 32, 32, 255, 1920, 1080, 0, true},
    {"ARGB 16-bit 0x8000", 32, 64, 32768, 1920, 1080, 0, true},
    {"ARGB 16-bit 0x4000", 32, 64, 16384, 1920, 1080, 0, true},
    {"ARGB 16-bit 0xFFFF", 32, 64, 65535, 1920, 1080, 0, true},
    {"ARGB float", 32, 128, 1, 1920, 1080, 0, true},
    {"BGRA 8-bit", FourCC("BGRA"), 32, 255, 1920, 1080, 0, true},
    {"BGRA 16-bit 0x8000", FourCC("BGRA"), 64, 32768, 1920, 1080, 0, true},
    {"BGRA 16-bit 0x4000", FourCC("BGRA"), 64, 16384, 1920, 1080, 0, true},
    {"BGRA 16-bit 0xFFFF", FourCC("BGRA"), 64, 65535, 1920, 1080, 0, true},
    {"BGRA float", FourCC("BGRA"), 128, 1, 1920, 1080, 0, true},
    {"BGRA 8-bit (GL_BGRA)", GL_BGRA, 32, 255, 1920, 1080, 0, true},
    {"RGBA 8-bit", FourCC("RGBA"), 32, 255, 1920, 1080, 0, true},
    {"RGBA 16-bit 0x8000", FourCC("RGBA"), 64, 32768, 1920, 1080, 0, true},
    {"RGBA 16-bit 0x4000", FourCC("RGBA"), 64, 16384, 1920, 1080, 0, true},
    {"RGBA 16-bit 0xFFFF", FourCC("RGBA"), 64, 65535, 1920, 1080, 0, true},
    {"RGBA float", FourCC("RGBA"), 128, 1, 1920, 1080, 0, true},
    {"Alpha 8-bit (classic 1)", 1, 8, 255, 1920, 1080, 0, true},
    {"Alpha 16-bit", GL_ALPHA16, 16, 65535, 1920, 1080, 0, true},
    {"Alpha float", GL_ALPHA32F_ARB, 32, 1, 1920, 1080, 0, true},
    {"Luma 8-bit", GL_LUMINANCE, 8, 255, 1920, 1080, 0, true},
    {"Luma 16-bit", GL_LUMINANCE16, 16, 65535, 1920, 1080, 0, true},
    {"Luma float", GL_LUMINANCE32F_ARB, 32, 1, 1920, 1080, 0, true},
    {"Depth 8-bit", GL_DEPTH_COMPONENT, 8, 255, 1920, 1080, 0, true},
    {"Depth 16-bit", GL_DEPTH_COMPONENT16, 16, 65535, 1920, 1080, 0, true},
    {"Depth float", GL_DEPTH_COMPONENT, 32, 1, 1920, 1080, 0, true},
    {"Depth 32 (GL_DEPTH_COMPONENT32)", GL_DEPTH_COMPONENT32, 32, 1, 1920, 1080, 0, true},
    {"RGBA half (GL_RGBA16F)", GL_RGBA16F, 64, 1, 1920, 1080, 0, true},
    {"RGBA 8-bit (GL_RGBA8)", GL_RGBA8, 32, 255, 1920, 1080, 0, true},
    {"Depth 24 (GL_DEPTH_COMPONENT24)", GL_DEPTH_COMPONENT24, 32, 1, 1920, 1080, 0, true},
    {"BGR 8-bit (24BG)", FourCC("24BG"), 24, 255, 1920, 1080, 0, true},
    {"RGB 565 (B565)", FourCC("B565"), 16, 255, 1920, 1080, 0, true},
    {"YUV 4:2:2 (2vuy)", FourCC("2vuy"), 16, 255, 1920, 1080, 0, true},
    {"RGBA 8-bit, padded rows", FourCC("RGBA"), 32, 255, 1000, 500, 96, true},
    {"RGBA 8-bit, 16383 wide", FourCC("RGBA"), 32, 255, 16383, 2, 0, true},
    {"invalid: width 0", FourCC("RGBA"), 32, 255, 0, 1080, 0, true},
    {"invalid: 16384 wide", FourCC("RGBA"), 32, 255, 16384, 1, 0, true},
    {"invalid: no pixels", FourCC("RGBA"), 32, 255, 1920, 1080, 0, false},
    {"invalid: rows 1 byte short", FourCC("RGBA"), 32, 255, 1920, 1080, -1, true},
    {"unknown code 'XXXX'", FourCC("XXXX"), 32, 255, 1920, 1080, 0, true},
};

std::string ColorSpaceText(long code) {
    if (code > 0xFFFFFF) {
        std::string text = "'";
        for (int shift = 24; shift >= 0; shift -= 8) {
            const char c = static_cast<char>((code >> shift) & 0xFF);
            text += (c >= 32 && c < 127) ? c : '?';
        }
        return text + "'";
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, code > 255 ? "0x%lX" : "%ld", code);
    return buffer;
}

} // namespace

void RunFormats(const Arguments&) {
    std::printf("%-32s %-9s %4s %6s %11s %5s  %-18s %-29s %9s %8s %8s %12s %12s\n", "description", "space",
                "bits", "white", "size", "valid", "format", "type", "scale", "cvt:flt", "cvt:half",
                "tex RGBA32F", "tex on card");
    for (const Description& d : kDescriptions) {
        HostImage image(d.colorSpace, d.bitDepth, d.whiteLevel, d.width, d.height, d.rowPadding < 0 ? 0 : d.rowPadding,
                        true, d.withPixels);
        if (d.rowPadding < 0)
            image.SetRowBytes(d.width * d.bitDepth / 8 + d.rowPadding);
        unsigned int format = 0, type = 0;
        float scale = 0;
        OGL_ZEP6_AE::GetColorSpaceFormat(&image, format, type, scale);
        const bool valid = OGL_ZEP6_AE::IsValid(&image);
        // Conversion is asked against the four-channel targets the card keeps content in.
        const bool toFloat = OGL_ZEP6_AE::NeedToConvert(&image, GL_RGBA, GL_FLOAT);
        const bool toHalf = OGL_ZEP6_AE::NeedToConvert(&image, GL_RGBA, GL_HALF_FLOAT);
        const long texture = OGL_ZEP6_AE::CalculateTextureSize(static_cast<int>(d.width), static_cast<int>(d.height),
                                                               GL_RGBA32F_ARB);
        const long long onCard = OGL_ZEP6_AE::CalculateTextureSizeOnCard(&image, 1, false);
        char size[32];
        std::snprintf(size, sizeof size, "%ldx%ld", d.width, d.height);
        std::printf("%-32s %-9s %4ld %6ld %11s %5s  %-18s %-29s %9.6f %8s %8s %12ld %12lld\n", d.name,
                    ColorSpaceText(d.colorSpace).c_str(), d.bitDepth, d.whiteLevel, size, valid ? "yes" : "no",
                    GlEnumName(format), GlEnumName(type), scale, toFloat ? "yes" : "no", toHalf ? "yes" : "no",
                    texture, onCard);
    }
}

} // namespace zep6gl
