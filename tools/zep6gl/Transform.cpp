// The tool's commands over the library's geometric and layered operations:
//
//   zep6gl transform IN OUT [--translate X,Y] [--scale SX[,SY]] [--rotate A|A,B,C] [--order ORDER]
//                    [--filter NAME] [--decimate NAME] [--size WxH]
//
// IN scaled, then turned about its centre, with its centre at the centre of OUT (IN's size unless
// --size) moved by --translate (pixels, X to the right, Y up); the rest of OUT transparent. Angles
// are degrees: one turns the picture in its plane (about Z, positive clockwise as seen), three
// turn it about X, Y and Z in --order. --filter samples an enlarged picture (both scale factors
// at least 1), --decimate filters a reduced one (either below 1).
//
//   zep6gl blur-composite BACK OUT IMAGE:AMOUNT[,AMOUNTY]... [--op NAME] [--unpremultiply]
//
// Each IMAGE blurred by its own Gaussian widths (pixels, across and up; below 1 not blurred), all
// laid over one another at the lower-left corner, and the result drawn over BACK with --op. An
// operand's path is everything before its last ':', so paths holding ':' need no quoting.
//
// Both write OUT with the first input's pixels (.png for a PNG, .exr for an OpenEXR file), check
// every argument before any file is read and report every failure as one line naming the
// argument or file, with a non-zero status and no output file.
#include "Command.h"
#include "ImageIO.h"

#include "geometry/Matrix.h"
#include "geometry/Vector.h"
#include "gl/render/ApplyMode.h"
#include "gl/state/Blend.h"
#include "imageops/ImageOperations.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace zep6gl {

namespace {

using namespace OGL_ZEP6_AE;

template <class Value> struct Named {
    const char* name;
    Value value;
};

const Named<RotationOrder> kOrders[] = {{"xyz", XYZ}, {"zxy", ZXY}, {"yzx", YZX},
                                        {"xzy", XZY}, {"zyx", ZYX}, {"yxz", YXZ}};

const Named<TransformInterpolationFilterType> kFilters[] = {
    {"nearest", TransformInterpolateNearest},        {"linear", TransformInterpolateLinear},
    {"catmull-rom", TransformInterpolateCatmullRom}, {"mitchell", TransformInterpolateMitchell},
    {"bspline", TransformInterpolateBSpline},        {"lanczos2", TransformInterpolateLanczos2},
    {"lanczos3", TransformInterpolateLanczos3},
};

const Named<TransformDecimationFilterType> kDecimations[] = {
    {"none", TransformDecimateNone},         {"box", TransformDecimateBox},
    {"triangle", TransformDecimateTriangle}, {"binomial", TransformDecimateBinomial},
    {"lanczos2", TransformDecimateLanczos2}, {"lanczos3", TransformDecimateLanczos3},
};

// "over" lays the premultiplied result of the layers over the background.
const Named<const BlendOp*> kLayerOps[] = {
    {"over", &BlendOp::Composite},
    {"add", &BlendOp::Additive},
    {"screen", &BlendOp::Screen},
    {"replace", &BlendOp::Replace},
};

std::string Given(const Arguments& arguments, const std::string& option, const char* fallback) {
    return arguments.Has(option) ? arguments.Value(option) : fallback;
}

// The value of the option's name (or of `fallback` when the option is not given).
template <class Value, std::size_t N>
Value ByName(const Arguments& arguments, const std::string& option, const Named<Value> (&table)[N],
             const char* fallback) {
    const std::string given = Given(arguments, option, fallback);
    std::string names;
    for (const Named<Value>& named : table) {
        if (given == named.name)
            return named.value;
        names += (names.empty() ? "" : ", ") + std::string(named.name);
    }
    throw UsageError(option + " '" + given + "': one of " + names);
}

// Comma-separated finite numbers of at least `least`, as many as one of `counts` (`form` names
// them in the report).
std::vector<float> Numbers(const std::string& option, const std::string& text, float least,
                           std::initializer_list<std::size_t> counts, const char* form) {
    std::vector<float> values;
    for (std::size_t start = 0;;) {
        const std::size_t comma = text.find(',', start);
        values.push_back(ParseNumber(option, text.substr(start, comma - start), least));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    if (std::find(counts.begin(), counts.end(), values.size()) == counts.end())
        throw UsageError(option + " '" + text + "': not " + form);
    return values;
}

unsigned long long Bytes(const XIImage& image) {
    return static_cast<unsigned long long>(image.GetRowBytes()) *
           static_cast<unsigned long long>(image.GetHeight());
}

} // namespace

void RunTransform(const Arguments& arguments) {
    const std::vector<float> shift =
        Numbers("--translate", Given(arguments, "--translate", "0,0"), -INFINITY, {2}, "X,Y");
    // Any positive factor: the smallest float above 0 is the least one taken.
    const std::vector<float> scale = Numbers("--scale", Given(arguments, "--scale", "1"),
                                             std::nextafter(0.0f, 1.0f), {1, 2}, "SX or SX,SY");
    const std::vector<float> angles =
        Numbers("--rotate", Given(arguments, "--rotate", "0"), -INFINITY, {1, 3},
                "one angle A (in the picture's plane) or three A,B,C (about X, Y, Z)");
    const RotationOrder order = ByName(arguments, "--order", kOrders, "xyz");
    const TransformInterpolationFilterType filter = ByName(arguments, "--filter", kFilters, "linear");
    const TransformDecimationFilterType decimation = ByName(arguments, "--decimate", kDecimations, "box");
    long w = 0, h = 0;
    if (arguments.Has("--size"))
        ParseSize("--size", arguments.Value("--size"), w, h);
    const std::string& in = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    const HostImage source = ReadInput(in);
    CheckOutputLike(out, source);
    if (!arguments.Has("--size"))
        w = source.GetWidth(), h = source.GetHeight();
    RequireMemory(in, Bytes(source) + static_cast<unsigned long long>(w) * h * (source.GetBitDepth() / 8),
                  "transforming it");
    HostImage destination = LikeInput(source, w, h);
    const p3f a(0.5f * static_cast<float>(w) + shift[0], 0.5f * static_cast<float>(h) + shift[1], 0.0f);
    const p3f b(scale.front(), scale.back(), 1.0f);
    const p3f c = angles.size() == 1 ? p3f(0.0f, 0.0f, angles[0]) : p3f(angles[0], angles[1], angles[2]);
    OnCard(in, "transform", [&] {
        Transform(&source, nullptr, nullptr, &destination, static_cast<PixelApplyMode>(-1), a, b, c, order,
                  filter, decimation);
    });
    WriteImage(out, destination, false, source.Windows());
}

void RunBlurComposite(const Arguments& arguments) {
    const BlendOp* op = ByName(arguments, "--op", kLayerOps, "over");
    const std::string& backPath = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    std::vector<std::string> paths;
    std::vector<p2f> blurs;
    for (std::size_t i = 2; i < arguments.operands.size(); ++i) {
        const std::string& operand = arguments.operands[i];
        const std::size_t colon = operand.rfind(':');
        if (colon == std::string::npos || colon == 0)
            throw UsageError("'" + operand + "': not IMAGE:AMOUNT or IMAGE:AMOUNT,AMOUNTY");
        paths.push_back(operand.substr(0, colon));
        const std::vector<float> amounts = Numbers("the amount of " + paths.back(), operand.substr(colon + 1),
                                                   0.0f, {1, 2}, "AMOUNT or AMOUNT,AMOUNTY");
        blurs.emplace_back(amounts.front(), amounts.back());
    }
    const HostImage back = ReadInput(backPath);
    CheckOutputLike(out, back);
    unsigned long long bytes = 2 * Bytes(back);
    RequireMemory(backPath, bytes, "compositing over it");
    std::vector<HostImage> images;
    images.reserve(paths.size());
    for (const std::string& path : paths) {
        images.push_back(ReadInput(path));
        bytes += Bytes(images.back());
        RequireMemory(path, bytes, "compositing it with the pictures before it");
    }
    std::vector<const XIImage*> layers;
    for (const HostImage& image : images)
        layers.push_back(&image);
    HostImage destination = LikeInput(back, back.GetWidth(), back.GetHeight());
    const bool unpremultiply = arguments.Has("--unpremultiply");
    OnCard(backPath, "composite over", [&] {
        CompositeBlurredImages(layers.data(), &back, &destination, blurs.data(),
                               static_cast<int>(layers.size()), *op, unpremultiply);
    });
    WriteImage(out, destination, false, back.Windows());
}

} // namespace zep6gl
