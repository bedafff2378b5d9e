// The tool's commands over the library's whole-image operations, one per family:
//
//   zep6gl resize IN OUT --size WxH [--fit]        stretched to the size, or fitted inside it
//   zep6gl center IN OUT --size WxH                at its own size in the middle of WxH
//   zep6gl premultiply IN OUT, unpremultiply IN OUT
//   zep6gl mask MASK IMAGE OUT [--invert] [--color R,G,B,A]
//   zep6gl alpha IN OUT, luma IN OUT               one channel, written as a grey picture
//   zep6gl blend FRONT BACK OUT [--op NAME] [--opacity X]
//
// Each reads its pictures, runs the operation in a job of its own on the library's GL worker
// thread (so that a failure there comes back as an error instead of a silent no-op) and writes
// the result with the first input's pixels: .png for a PNG, .exr for an OpenEXR file. Arguments
// are checked before any file is read; every failure is one line naming the argument or file,
// a non-zero status and no output file.
#include "Command.h"
#include "ImageIO.h"

#include "core/PixelFormat.h"
#include "gl/render/Conversion.h"
#include "gl/resources/Buffer.h"
#include "gl/state/Blend.h"
#include "gl/state/Color.h"
#include "gl/state/Push.h"
#include "gl/targets/TiledBuffer.h"
#include "imageops/ImageOperations.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace zep6gl {

namespace {

using namespace OGL_ZEP6_AE;

unsigned long long Bytes(const XIImage& image) {
    return static_cast<unsigned long long>(image.GetRowBytes()) * static_cast<unsigned long long>(image.GetHeight());
}

// IN OUT commands whose result has the input's size and pixels.
void SameSize(const Arguments& arguments, const char* what,
              const std::function<void(const HostImage&, HostImage&)>& operation) {
    const std::string& in = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    const HostImage source = ReadInput(in);
    CheckOutputLike(out, source);
    RequireMemory(in, 2 * Bytes(source), std::string(what) + " it");
    HostImage destination = LikeInput(source, source.GetWidth(), source.GetHeight());
    OnCard(in, what, [&] { operation(source, destination); });
    WriteImage(out, destination, false, source.Windows());
}

// A one-channel float buffer of the library over host memory, for GetAlpha and GetLuma.
template <class Pixel> HostImage OneChannel(unsigned int colorSpace, long width, long height) {
    return HostImage(colorSpace, 32, 1, width, height, 0, true);
}

// One float channel spread into an opaque grey picture of the input's description.
void ToGrey(const HostImage& channel, HostImage& grey) {
    const long pixelBytes = grey.GetBitDepth() / 8, channelBytes = pixelBytes / 4;
    for (long y = 0; y < grey.GetHeight(); ++y) {
        const long from = grey.IsBottomUp() ? y : grey.GetHeight() - 1 - y; // channel rows are bottom-up
        for (long x = 0; x < grey.GetWidth(); ++x) {
            float v;
            std::memcpy(&v, channel.Row(from) + x * 4, 4);
            unsigned char* pixel = grey.Row(y) + x * pixelBytes;
            for (int c = 0; c < 4; ++c) {
                const float value = c == 3 ? 1.0f : v;
                if (channelBytes == 4) {
                    std::memcpy(pixel + c * 4, &value, 4);
                } else {
                    const float clamped = value < 0.0f ? 0.0f : value > 1.0f ? 1.0f : value;
                    const long level = static_cast<long>(clamped * static_cast<float>(grey.GetWhiteLevel()) + 0.5f);
                    if (channelBytes == 1) {
                        pixel[c] = static_cast<unsigned char>(level);
                    } else {
                        const unsigned short s = static_cast<unsigned short>(level);
                        std::memcpy(pixel + c * 2, &s, 2);
                    }
                }
            }
        }
    }
}

void Extract(const Arguments& arguments, bool luma) {
    const std::string& in = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    const HostImage source = ReadInput(in);
    CheckOutputLike(out, source);
    const long w = source.GetWidth(), h = source.GetHeight();
    RequireMemory(in, 2 * Bytes(source) + static_cast<unsigned long long>(w) * h * 4, "extracting from it");
    HostImage channel(luma ? GL_LUMINANCE32F_ARB : GL_ALPHA32F_ARB, 32, 1, w, h, 0, true);
    OnCard(in, luma ? "take the luma of" : "take the alpha of", [&] {
        if (luma) {
            Buffer<Luma32F> buffer(&channel);
            GetLuma(&source, &buffer);
        } else {
            Buffer<Alpha32F> buffer(&channel);
            GetAlpha(&source, &buffer);
        }
    });
    HostImage grey = LikeInput(source, w, h);
    ToGrey(channel, grey);
    WriteImage(out, grey, false, source.Windows());
}

struct NamedOp {
    const char* name;
    const BlendOp* op;
};

// Blends of the foreground (premultiplied by its own alpha through the source factor where the
// name says "over") with the background, in OpenGL's terms.
const BlendOp kUnder(BlendFunc(GL_ONE_MINUS_DST_ALPHA, GL_ONE), BlendEquation(GL_FUNC_ADD), BlendColor());
const NamedOp kOps[] = {
    {"over", &BlendOp::Default},  {"under", &kUnder},          {"add", &BlendOp::Additive},
    {"multiply", &BlendOp::Multiply}, {"screen", &BlendOp::Screen}, {"replace", &BlendOp::Replace},
};

} // namespace

namespace {

// IN OUT --size WxH commands: the result has the size given and the input's pixels. `extraBytes`
// per result pixel counts what the operation holds besides the two pictures.
void Sized(const Arguments& arguments, const char* what, unsigned long long extraBytes,
           const std::function<void(const HostImage&, HostImage&)>& operation) {
    long w = 0, h = 0;
    if (!arguments.Has("--size"))
        throw UsageError("--size is required (WIDTHxHEIGHT)");
    ParseSize("--size", arguments.Value("--size"), w, h);
    const std::string& in = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    const HostImage source = ReadInput(in);
    CheckOutputLike(out, source);
    const unsigned long long pixels = static_cast<unsigned long long>(w) * static_cast<unsigned long long>(h);
    RequireMemory(in, Bytes(source) + pixels * (source.GetBitDepth() / 8 + extraBytes), std::string(what) + " it");
    HostImage destination = LikeInput(source, w, h);
    OnCard(in, what, [&] { operation(source, destination); });
    WriteImage(out, destination);
}

} // namespace

void RunResize(const Arguments& arguments) {
    // --fit resizes into a float working picture of up to the result's size first.
    const bool fit = arguments.Has("--fit");
    Sized(arguments, "resize", fit ? 16 : 0, [fit](const HostImage& s, HostImage& d) {
        fit ? FitInto(&s, &d) : Resize(&s, &d);
    });
}

void RunCenter(const Arguments& arguments) {
    Sized(arguments, "centre", 0, [](const HostImage& s, HostImage& d) { Center(&s, &d); });
}

void RunPremultiply(const Arguments& arguments) {
    SameSize(arguments, "premultiply", [](const HostImage& s, HostImage& d) { Premultiply(&s, &d); });
}

void RunUnpremultiply(const Arguments& arguments) {
    // A copy whose tiles are read back through the unpremultiplying program.
    SameSize(arguments, "unpremultiply", [](const HostImage& s, HostImage& d) {
        TiledBuffer tiles(&d);
        tiles.SetPostProcessing(&Conversion::sUnpremultiply);
        while (tiles.Next()) {
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.Write(&s, 0, 0);
        }
    });
}

void RunMask(const Arguments& arguments) {
    float rgba[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    if (arguments.Has("--color"))
        ParseColor("--color", arguments.Value("--color"), rgba);
    const std::string& maskPath = arguments.operands[0];
    const std::string& imagePath = arguments.operands[1];
    const std::string& out = arguments.operands[2];
    const HostImage mask = ReadInput(maskPath);
    const HostImage image = ReadInput(imagePath);
    CheckOutputLike(out, image);
    RequireMemory(imagePath, Bytes(mask) + 2 * Bytes(image), "masking it");
    HostImage destination = LikeInput(image, image.GetWidth(), image.GetHeight());
    const Color colour(rgba[0], rgba[1], rgba[2], rgba[3]);
    const bool invert = arguments.Has("--invert");
    OnCard(imagePath, "mask", [&] {
        (invert ? RenderInvMask : RenderMask)(&mask, &image, &destination, colour);
    });
    WriteImage(out, destination, false, image.Windows());
}

void RunAlpha(const Arguments& arguments) {
    Extract(arguments, false);
}

void RunLuma(const Arguments& arguments) {
    Extract(arguments, true);
}

void RunBlend(const Arguments& arguments) {
    const std::string opName = arguments.Has("--op") ? arguments.Value("--op") : "over";
    const BlendOp* op = nullptr;
    std::string names;
    for (const NamedOp& named : kOps) {
        names += (names.empty() ? "" : ", ") + std::string(named.name);
        if (opName == named.name)
            op = named.op;
    }
    if (!op)
        throw UsageError("--op '" + opName + "': one of " + names);
    float opacity = 1.0f;
    if (arguments.Has("--opacity")) {
        opacity = ParseNumber("--opacity", arguments.Value("--opacity"), 0.0f);
        if (opacity > 1.0f)
            throw UsageError("--opacity '" + arguments.Value("--opacity") + "': must lie between 0 and 1");
    }
    const std::string& frontPath = arguments.operands[0];
    const std::string& backPath = arguments.operands[1];
    const std::string& out = arguments.operands[2];
    const HostImage front = ReadInput(frontPath);
    const HostImage back = ReadInput(backPath);
    CheckOutputLike(out, front);
    RequireMemory(frontPath, 2 * Bytes(front) + Bytes(back), "blending it");
    HostImage destination = LikeInput(front, front.GetWidth(), front.GetHeight());
    OnCard(frontPath, "blend", [&] { Composite(&front, &back, nullptr, &destination, opacity, *op); });
    WriteImage(out, destination, false, front.Windows());
}

} // namespace zep6gl
