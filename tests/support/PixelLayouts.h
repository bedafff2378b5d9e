#pragma once

// Pixel layouts of host images for tests that move pictures through the card and back, with a
// picture pattern, the source's own RGBA and the error a destination may show after the trip.

#include "support/TestImage.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include "gl/texture/Texture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace zep6test {

using OGL_ZEP6_AE::FourCC;
using OGL_ZEP6_AE::Texture;

enum class Kind { ARGB, BGRA, RGBA, Alpha, Luma, Depth };

struct Layout {
    const char* name;
    Kind kind;
    ImageFormat format;
};

inline constexpr long kBGRA = static_cast<long>(FourCC("BGRA"));
inline constexpr long kRGBA = static_cast<long>(FourCC("RGBA"));

// Four-channel layouts: used both as sources and as destinations.
inline const std::vector<Layout>& FourChannelLayouts() {
    static const std::vector<Layout> layouts = {
        {"ARGB8", Kind::ARGB, {32, 32, 255}}, {"ARGB16", Kind::ARGB, {32, 64, 65535}},
        {"ARGB16_8000", Kind::ARGB, {32, 64, 32768}}, {"ARGB16_4000", Kind::ARGB, {32, 64, 16384}},
        {"ARGB32F", Kind::ARGB, {32, 128, 1}}, {"BGRA8", Kind::BGRA, {kBGRA, 32, 255}},
        {"BGRA16", Kind::BGRA, {kBGRA, 64, 65535}}, {"BGRA16_8000", Kind::BGRA, {kBGRA, 64, 32768}},
        {"BGRA16_4000", Kind::BGRA, {kBGRA, 64, 16384}}, {"BGRA32F", Kind::BGRA, {kBGRA, 128, 1}},
        {"RGBA8", Kind::RGBA, {kRGBA, 32, 255}}, {"RGBA16", Kind::RGBA, {kRGBA, 64, 65535}},
        {"RGBA16_8000", Kind::RGBA, {kRGBA, 64, 32768}}, {"RGBA16_4000", Kind::RGBA, {kRGBA, 64, 16384}},
        {"RGBA32F", Kind::RGBA, {kRGBA, 128, 1}},
    };
    return layouts;
}

inline std::vector<Layout> SourceLayouts() {
    std::vector<Layout> layouts = FourChannelLayouts();
    const std::vector<Layout> oneChannel = {
        {"Alpha8", Kind::Alpha, {1, 8, 255}}, {"Alpha16", Kind::Alpha, {GL_ALPHA16, 16, 65535}},
        {"Alpha32F", Kind::Alpha, {GL_ALPHA32F_ARB, 32, 1}}, {"Luma8", Kind::Luma, {GL_LUMINANCE8, 8, 255}},
        {"Luma16", Kind::Luma, {GL_LUMINANCE16, 16, 65535}},
        {"Luma32F", Kind::Luma, {GL_LUMINANCE32F_ARB, 32, 1}},
        {"Depth16", Kind::Depth, {GL_DEPTH_COMPONENT16, 16, 65535}},
        {"Depth32F", Kind::Depth, {GL_DEPTH_COMPONENT, 32, 1}},
    };
    layouts.insert(layouts.end(), oneChannel.begin(), oneChannel.end());
    return layouts;
}

inline int ChannelCount(Kind kind) {
    return kind == Kind::Alpha || kind == Kind::Luma || kind == Kind::Depth ? 1 : 4;
}

// Memory position i of a four-channel pixel holds picture channel Order(kind)[i] (0 red, 1 green,
// 2 blue, 3 alpha).
inline const int* Order(Kind kind) {
    static const int argb[4] = {3, 0, 1, 2};
    static const int bgra[4] = {2, 1, 0, 3};
    static const int rgba[4] = {0, 1, 2, 3};
    return kind == Kind::ARGB ? argb : kind == Kind::BGRA ? bgra : rgba;
}

// Channel value stored for v in [0, 1]: rounded to the white level for integers, v for floats.
inline void Encode(const ImageFormat& f, int channels, unsigned char* at, float v) {
    const long bytes = f.bitDepth / 8 / channels;
    if (bytes == 1) {
        *at = static_cast<unsigned char>(std::lround(v * f.whiteLevel));
    } else if (bytes == 2) {
        const unsigned short s = static_cast<unsigned short>(std::lround(v * f.whiteLevel));
        std::memcpy(at, &s, 2);
    } else {
        std::memcpy(at, &v, 4);
    }
}

// The channel value at `at` as a fraction of white.
inline double Decode(const ImageFormat& f, int channels, const unsigned char* at) {
    const long bytes = f.bitDepth / 8 / channels;
    if (bytes == 1)
        return *at / double(f.whiteLevel);
    if (bytes == 2) {
        unsigned short s;
        std::memcpy(&s, at, 2);
        return s / double(f.whiteLevel);
    }
    float v;
    std::memcpy(&v, at, 4);
    return v;
}

// Picture pattern, (px, py) with py counted from the bottom: every channel differs and varies,
// alpha never 0 so colour survives whatever the blending.
inline float Pattern(int channel, long px, long py, long width, long height) {
    switch (channel) {
    case 0:
        return float(px + 1) / float(width + 1);
    case 1:
        return float(py + 1) / float(height + 1);
    case 2:
        return float((px * 7 + py * 3) % 29) / 28.0f;
    default:
        return float((px + 2 * py) % 17 + 1) / 17.0f;
    }
}

inline long PictureRow(const TestImage& image, long memoryRow) {
    return image.IsBottomUp() ? memoryRow : image.GetHeight() - 1 - memoryRow;
}

inline void FillSource(TestImage& image, const Layout& layout) {
    const int channels = ChannelCount(layout.kind);
    const long channelBytes = layout.format.bitDepth / 8 / channels;
    for (long y = 0; y < image.GetHeight(); ++y)
        for (long x = 0; x < image.GetWidth(); ++x) {
            unsigned char* pixel = image.Row(y) + x * channelBytes * channels;
            const long py = PictureRow(image, y);
            if (channels == 1) {
                const int channel = layout.kind == Kind::Alpha ? 3 : 2;
                Encode(layout.format, 1, pixel, Pattern(channel, x, py, image.GetWidth(), image.GetHeight()));
            } else {
                for (int i = 0; i < 4; ++i)
                    Encode(layout.format, 4, pixel + i * channelBytes,
                           Pattern(Order(layout.kind)[i], x, py, image.GetWidth(), image.GetHeight()));
            }
        }
}

// The source's own (quantised) RGBA at picture position (px, py), one-channel sources expanded
// as OpenGL expands them: alpha gives (0, 0, 0, a), luminance and depth give (l, l, l, 1).
inline void SourceRGBA(const TestImage& image, const Layout& layout, long px, long py, double rgba[4]) {
    const int channels = ChannelCount(layout.kind);
    const long channelBytes = layout.format.bitDepth / 8 / channels;
    const long memoryRow = image.IsBottomUp() ? py : image.GetHeight() - 1 - py;
    const unsigned char* pixel = image.Row(memoryRow) + px * channelBytes * channels;
    if (channels == 1) {
        const double v = Decode(layout.format, 1, pixel);
        if (layout.kind == Kind::Alpha)
            rgba[0] = rgba[1] = rgba[2] = 0.0, rgba[3] = v;
        else
            rgba[0] = rgba[1] = rgba[2] = v, rgba[3] = 1.0;
        return;
    }
    for (int i = 0; i < 4; ++i)
        rgba[Order(layout.kind)[i]] = Decode(layout.format, 4, pixel + i * channelBytes);
}

// Allowed error as a fraction of white. The card keeps the drawn content in GetBestType(): with
// half floats (llvmpipe) a value in [0, 1] is held to 2^-11 relative, and upload plus draw can
// round twice, so 2^-10 covers storage. Bytes hold steps of 1/255, and the converting read copy,
// also bytes, holds a 16-bit destination's value scaled by 65535 over its white level. On top of
// it an integer destination rounds to its own step: 8-bit destinations may be 1 step (1/255) off,
// 16-bit ones 1 step plus the storage error, float destinations only the storage error.
inline double Tolerance(const ImageFormat& destination) {
    const unsigned int type = Texture::GetBestType();
    const double scale = destination.bitDepth == 64 ? 65535.0 / destination.whiteLevel : 1.0;
    const double storage = type == GL_FLOAT            ? 1e-6
                           : type == GL_HALF_FLOAT_ARB ? std::ldexp(1.0, -10)
                                                       : (1.0 + scale) / 255.0;
    if (destination.whiteLevel == 1)
        return storage + 1e-6;
    if (destination.bitDepth == 32)
        return std::max(storage, 1.0 / 255.0) + 1e-6;
    return storage + 1.0 / destination.whiteLevel + 1e-6;
}

// Runs `run(destination, layout, name)` for every four-channel layout in both orientations, rows
// five pixels longer than packed and every byte 0xA5, so that anything left unwritten shows.
template <class Run> void ForEachDestination(long width, long height, Run run) {
    for (const Layout& layout : FourChannelLayouts())
        for (bool bottomUp : {true, false}) {
            TestImage destination(layout.format, width, height, 5 * (layout.format.bitDepth / 8));
            destination.SetBottomUp(bottomUp);
            destination.Fill(0xA5);
            run(destination, layout, std::string(layout.name) + (bottomUp ? "_BottomUp" : "_TopDown"));
        }
}

// How a four-channel destination compares with its reference: the largest error as a fraction of
// white (NaN counts as infinite), how many channels are above the tolerance, and the worst one.
struct Comparison {
    double largest = 0.0;
    long mismatches = 0;
    long x = 0, y = 0; // picture position, rows from the bottom
    int channel = 0;   // 0 red, 1 green, 2 blue, 3 alpha
    double got = 0.0, want = 0.0;
};

// Compares every channel of `destination` (of `layout`) with want(px, py, rgba), which fills the
// expected picture RGBA at picture position (px, py).
template <class Want>
Comparison CompareWithReference(const TestImage& destination, const Layout& layout, double tolerance, Want want) {
    Comparison c;
    const long pixelBytes = layout.format.bitDepth / 8;
    for (long y = 0; y < destination.GetHeight(); ++y)
        for (long x = 0; x < destination.GetWidth(); ++x) {
            const long py = PictureRow(destination, y);
            double expected[4];
            want(x, py, expected);
            const unsigned char* pixel = destination.Row(y) + x * pixelBytes;
            for (int i = 0; i < 4; ++i) {
                const int channel = Order(layout.kind)[i];
                const double got = Decode(layout.format, 4, pixel + i * (pixelBytes / 4));
                const double error = std::fabs(got - expected[channel]);
                c.mismatches += error <= tolerance ? 0 : 1;
                if (!(error <= c.largest)) {
                    c.largest = std::isnan(error) ? INFINITY : error;
                    c.x = x, c.y = py, c.channel = channel;
                    c.got = got, c.want = expected[channel];
                }
            }
        }
    return c;
}

inline std::ostream& operator<<(std::ostream& out, const Comparison& c) {
    return out << "worst at (" << c.x << ", " << c.y << ") channel " << "RGBA"[c.channel] << ": got " << c.got
               << ", want " << c.want << "; " << c.mismatches << " channels off";
}

struct SourceCase {
    Layout layout;
    bool bottomUp;
};

inline std::string CaseName(const SourceCase& c) {
    return std::string(c.layout.name) + (c.bottomUp ? "_BottomUp" : "_TopDown");
}

inline std::vector<SourceCase> SourceCases() {
    std::vector<SourceCase> cases;
    for (const Layout& layout : SourceLayouts())
        for (bool bottomUp : {true, false})
            cases.push_back({layout, bottomUp});
    return cases;
}

// Names the case in gtest output instead of dumping its bytes.
inline void PrintTo(const SourceCase& c, std::ostream* out) {
    *out << CaseName(c);
}

} // namespace zep6test
