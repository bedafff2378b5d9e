// `zep6gl composite --mode NAME FRONT BACK OUT [--mask MASK] [--mix X]` and `zep6gl modes`.
//
// The composite reads the three images, hands them to ApplyMode::Apply with a destination of the
// front's size and description, and writes the destination. Rules the command enforces:
// - BACK and MASK must have FRONT's size. The library pairs pixels at the same coordinates
//   counted from the lower-left corner, treats what a smaller back does not cover as transparent,
//   and leaves out a mask smaller than the front altogether. For pictures from files that would
//   give results nobody asked for (a shorter back sits at the bottom of the front, a small mask
//   silently does nothing), so the command refuses other sizes and names the file.
// - The mask's alpha multiplies the front's alpha; its colour is not used. A mask file without an
//   alpha channel reads as opaque and changes nothing.
// - --mix defaults to 1, the mode's own result; 0 gives the clamped sum of the premultiplied
//   front and back; values between blend the two. Only 0 to 1 is accepted.
// - OUT gets the front's pixel depth: .png for a PNG front, .exr for an OpenEXR front.
// Every failure prints one line naming the argument or file and the reason, exits non-zero, and
// leaves no output file (checks come before the card is used; the file is written whole or not
// at all).
#include "Command.h"
#include "Composite.h"
#include "ImageIO.h"

#include "gl/render/ApplyMode.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zep6gl {

namespace {

using OGL_ZEP6_AE::ApplyMode;
using OGL_ZEP6_AE::PixelApplyMode;

struct ModeName {
    int value;
    const char* name;
};

// Each row names the enumerator and the mode object with the same token, so a name cannot drift
// from its number; that the rows run in value order is checked below.
// clang-format off
#define ZEP6GL_MODE(N) {OGL_ZEP6_AE::PixelApply##N, #N}
// clang-format on
constexpr ModeName kModeNames[kApplyModeCount] = {
    ZEP6GL_MODE(Over),
    ZEP6GL_MODE(Lighten),
    ZEP6GL_MODE(Darken),
    ZEP6GL_MODE(Multiply),
    ZEP6GL_MODE(Screen),
    ZEP6GL_MODE(Difference),
    ZEP6GL_MODE(Lighter),
    ZEP6GL_MODE(Darker),
    ZEP6GL_MODE(ScaleMultiply),
    ZEP6GL_MODE(ScaleScreen),
    ZEP6GL_MODE(ExpandDifference),
    ZEP6GL_MODE(ExpandDifference2),
    ZEP6GL_MODE(Add),
    ZEP6GL_MODE(Subtract),
    ZEP6GL_MODE(Overlay),
    ZEP6GL_MODE(SoftLight),
    ZEP6GL_MODE(HardLight),
    ZEP6GL_MODE(Hue),
    ZEP6GL_MODE(Saturation),
    ZEP6GL_MODE(Color),
    ZEP6GL_MODE(Luminosity),
    ZEP6GL_MODE(Transparency),
    ZEP6GL_MODE(Opacity),
    ZEP6GL_MODE(MoreGray),
    ZEP6GL_MODE(LeastGray),
    ZEP6GL_MODE(ReverseSubtract),
    ZEP6GL_MODE(ClippedSubtract),
    ZEP6GL_MODE(LessGray),
    ZEP6GL_MODE(MostGray),
    ZEP6GL_MODE(BoostExponential1),
    ZEP6GL_MODE(BoostExponential2),
    ZEP6GL_MODE(BoostEqualPowerPositive),
    ZEP6GL_MODE(BoostEqualPowerNegative),
    ZEP6GL_MODE(BoostEqualPowerBias1),
    ZEP6GL_MODE(5050Mix),
    ZEP6GL_MODE(Dissolve),
    ZEP6GL_MODE(DancingDissolve),
    ZEP6GL_MODE(AlphaMask),
    ZEP6GL_MODE(LumaMask),
    ZEP6GL_MODE(InverseAlphaMask),
    ZEP6GL_MODE(InverseLumaMask),
    ZEP6GL_MODE(AddAlpha),
    ZEP6GL_MODE(AddPremultiplied),
    ZEP6GL_MODE(ReverseSubtractBasic),
    ZEP6GL_MODE(BitwiseAND),
    ZEP6GL_MODE(BitwiseOR),
    ZEP6GL_MODE(BitwiseXOR),
    ZEP6GL_MODE(SoftDissolve),
    ZEP6GL_MODE(DancingSoftDissolve),
};
#undef ZEP6GL_MODE

constexpr bool InValueOrder() {
    for (int i = 0; i < kApplyModeCount; ++i)
        if (kModeNames[i].value != i)
            return false;
    return true;
}
static_assert(InValueOrder(), "the mode names must run in PixelApplyMode order, 0 to 48");

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Extension(const std::string& path) {
    return Lower(std::filesystem::path(path).extension().string());
}

void RequireSize(const std::string& path, const XIImage& image, const std::string& frontPath,
                 const XIImage& front) {
    if (image.GetWidth() == front.GetWidth() && image.GetHeight() == front.GetHeight())
        return;
    throw std::runtime_error(path + ": " + std::to_string(image.GetWidth()) + " x " +
                             std::to_string(image.GetHeight()) + " pixels, but the front " + frontPath +
                             " is " + std::to_string(front.GetWidth()) + " x " +
                             std::to_string(front.GetHeight()) + " (back and mask must have its size)");
}

} // namespace

const char* ApplyModeObjectName(int mode) {
    return mode >= 0 && mode < kApplyModeCount ? kModeNames[mode].name : nullptr;
}

std::string ApplyModeName(int mode) {
    const char* name = ApplyModeObjectName(mode);
    return name ? Lower(name) : std::string();
}

int ParseApplyMode(const std::string& text) {
    if (!text.empty() && text.size() <= 3 &&
        std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); })) {
        const int value = std::stoi(text);
        return value < kApplyModeCount ? value : -1;
    }
    const std::string wanted = Lower(text);
    for (int i = 0; i < kApplyModeCount; ++i)
        if (wanted == ApplyModeName(i))
            return i;
    return -1;
}

void CompositeImages(const XIImage& front, const XIImage* back, const XIImage* mask, XIImage& destination,
                     int mode, float mix) {
    try {
        RunOnWorker([&] {
            ApplyMode::Apply(&front, back, mask, &destination, static_cast<PixelApplyMode>(mode), mix);
        });
    } catch (const std::exception& e) {
        throw std::runtime_error(std::string("the library could not composite: ") + e.what());
    }
}

void RunModes(const Arguments&) {
    for (int i = 0; i < kApplyModeCount; ++i)
        std::printf("%2d  %s\n", i, ApplyModeName(i).c_str());
}

void RunComposite(const Arguments& arguments) {
    if (!arguments.Has("--mode"))
        throw UsageError("--mode is required (see `zep6gl modes`)");
    const std::string modeText = arguments.Value("--mode");
    const int mode = ParseApplyMode(modeText);
    if (mode < 0)
        throw UsageError("--mode '" + modeText + "': not an apply mode (a name of `zep6gl modes` or a number 0 to 48)");
    float mix = 1.0f;
    if (arguments.Has("--mix")) {
        const std::string value = arguments.Value("--mix");
        char* end = nullptr;
        mix = value.empty() ? NAN : std::strtof(value.c_str(), &end);
        if (value.empty() || *end != '\0' || !std::isfinite(mix))
            throw UsageError("--mix '" + value + "': not a number");
        if (mix < 0.0f || mix > 1.0f)
            throw UsageError("--mix '" + value + "': must lie between 0 and 1");
    }
    const std::string& frontPath = arguments.operands[0];
    const std::string& backPath = arguments.operands[1];
    const std::string& out = arguments.operands[2];
    const std::string maskPath = arguments.Value("--mask");
    const std::string outExtension = Extension(out);
    if (outExtension != ".png" && outExtension != ".exr")
        throw std::runtime_error(out + ": unknown file extension (use .png or .exr)");

    const HostImage front = ReadImage(frontPath);
    const HostImage back = ReadImage(backPath);
    RequireSize(backPath, back, frontPath, front);
    std::optional<HostImage> mask;
    if (arguments.Has("--mask")) {
        mask.emplace(ReadImage(maskPath));
        RequireSize(maskPath, *mask, frontPath, front);
    }
    const bool floatFront = front.GetBitDepth() == 128;
    if (floatFront != (outExtension == ".exr"))
        throw std::runtime_error(out + ": the result has the front's pixels (" +
                                 (floatFront ? "float, from OpenEXR" : "integer, from PNG") + "), so it needs a " +
                                 (floatFront ? ".exr" : ".png") + " file");
    const unsigned long long bytes = static_cast<unsigned long long>(front.GetRowBytes()) * front.GetHeight();
    RequireMemory(frontPath, bytes * (mask ? 4 : 3), "compositing it");
    HostImage destination(front.GetColorSpace(), front.GetBitDepth(), front.GetWhiteLevel(), front.GetWidth(),
                          front.GetHeight(), 0, front.IsBottomUp());
    CompositeImages(front, &back, mask ? &*mask : nullptr, destination, mode, mix);
    WriteImage(out, destination, false, front.Windows());
}

} // namespace zep6gl
