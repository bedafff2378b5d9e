// The tool's commands, its one command-line parser and its one way onto the GL worker thread.
#include "Command.h"
#include "ImageIO.h"

#include "core/Errors.h"
#include "gl/context/Shared.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include <algorithm>
#include <limits>
#include <new>

namespace zep6gl {

namespace {

const Option kMaxMemory = {"--max-memory", "SIZE",
                           "most memory for pictures, as bytes or with K, M, G, T (default: half the "
                           "machine's memory)"};

const Option* FindOption(const Command& command, const std::string& name) {
    for (const Option& option : command.options)
        if (name == option.name)
            return &option;
    return nullptr;
}

Arguments Parse(const Command& command, const std::vector<std::string>& args) {
    Arguments parsed;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            parsed.operands.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const std::size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        const Option* option = FindOption(command, name);
        if (!option)
            throw UsageError("unknown option '" + name + "'");
        if (parsed.Has(name))
            throw UsageError(name + " given twice");
        std::string value;
        if (!option->value) {
            if (equals != std::string::npos)
                throw UsageError(name + " takes no value");
        } else if (equals != std::string::npos) {
            value = arg.substr(equals + 1);
        } else if (i + 1 < args.size()) {
            value = args[++i];
        } else {
            throw UsageError(name + " needs a value (" + option->value + ")");
        }
        parsed.options[name] = value;
    }
    const int count = static_cast<int>(parsed.operands.size());
    if (count > command.maxOperands)
        throw UsageError("unexpected argument '" + parsed.operands[command.maxOperands] + "'");
    if (count < command.minOperands)
        throw UsageError(std::string("expected ") + command.operands + ", got " + std::to_string(count) +
                         " argument" + (count == 1 ? "" : "s"));
    return parsed;
}

std::string UsageLine(const Command& command) {
    std::string line = std::string("zep6gl ") + command.name;
    if (*command.operands)
        line += std::string(" ") + command.operands;
    for (const Option& option : command.options)
        line += std::string(" [") + option.name + (option.value ? std::string(" ") + option.value : "") + "]";
    return line;
}

void PrintCommandHelp(const Command& command) {
    std::printf("usage: %s\n\n%s\n", UsageLine(command).c_str(), command.summary);
    if (!command.options.empty())
        std::printf("\noptions (--opt VALUE or --opt=VALUE):\n");
    for (const Option& option : command.options) {
        const std::string left = std::string(option.name) + (option.value ? std::string(" ") + option.value : "");
        std::printf("  %-20s %s\n", left.c_str(), option.help);
    }
}

// The library's messages (a GLSL log) may span lines; the tool reports one.
std::string OneLine(const char* text) {
    std::string line;
    for (const char* c = text; c && *c; ++c) {
        const bool blank = *c == '\n' || *c == '\r' || *c == '\t' || *c == ' ';
        if (!blank)
            line += *c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

class WorkerJob : public OGL_ZEP6_AE::Shared {
public:
    explicit WorkerJob(const std::function<void()>& work) : work_(work) {}
    void Run() override { work_(); }

private:
    const std::function<void()>& work_;
};

} // namespace

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"formats", "", 0, 0, {},
         "Show how the library sees a built-in list of image descriptions (OpenGL format, type, "
         "white-level scale, conversion, texture sizes).",
         RunFormats},
        {"info", "", 0, 0,
         {{"--extensions", nullptr, "also the capability answers and the extension list"}},
         "Print the hardware report of the OpenGL context the library renders in.", RunInfo},
        {"convert", "IN OUT", 2, 2,
         {{"--layout", "NAME",
           "destination pixel layout: rgba8 bgra8 argb8, rgba16 bgra16 argb16, "
           "rgba16-ffff|-8000|-4000 (also bgra16-, argb16-), rgba32f bgra32f argb32f"},
          {"--top-down", nullptr, "the destination's first row is the top row"},
          {"--premultiply", nullptr, "multiply colour by alpha on the way out"},
          {"--unpremultiply", nullptr, "divide colour by alpha on the way out"},
          kMaxMemory},
         "Send an image file through the card (upload, draw, read back into the layout) and write it: "
         "integer layouts to .png, float layouts to .exr.",
         RunConvert},
        {"composite", "FRONT BACK OUT", 3, 3,
         {{"--mode", "NAME", "apply mode: a name of `zep6gl modes` or a number 0 to 48 (required)"},
          {"--mask", "MASK", "a picture of FRONT's size whose alpha multiplies the front's"},
          {"--mix", "X", "0 to 1: the mode's result (1, the default) blended with the plain sum (0)"},
          kMaxMemory},
         "Composite FRONT over BACK with an apply mode into OUT (.png for a PNG front, .exr for an "
         "OpenEXR front).",
         RunComposite},
        {"resize", "IN OUT", 2, 2,
         {{"--size", "WxH", "size of the result (required)"},
          {"--fit", nullptr, "keep the aspect: fit inside WxH, centred, the rest transparent"},
          kMaxMemory},
         "Resize a picture on the card (stretched, or fitted with --fit).", RunResize},
        {"center", "IN OUT", 2, 2, {{"--size", "WxH", "size of the result (required)"}, kMaxMemory},
         "Place a picture at its own size in the middle of a transparent WxH one.", RunCenter},
        {"premultiply", "IN OUT", 2, 2, {kMaxMemory}, "Multiply colour by alpha on the card.", RunPremultiply},
        {"unpremultiply", "IN OUT", 2, 2, {kMaxMemory}, "Divide colour by alpha on the card.", RunUnpremultiply},
        {"mask", "MASK IMAGE OUT", 3, 3,
         {{"--color", "R,G,B,A", "the colour laid over IMAGE where MASK is opaque (default 0,0,0,1)"},
          {"--invert", nullptr, "where MASK is transparent instead"},
          kMaxMemory},
         "Lay a colour over IMAGE through MASK's alpha.", RunMask},
        {"alpha", "IN OUT", 2, 2, {kMaxMemory}, "Write a picture's alpha as a grey picture.", RunAlpha},
        {"luma", "IN OUT", 2, 2, {kMaxMemory},
         "Write a picture's alpha-weighted luma (0.3 R + 0.59 G + 0.11 B) as a grey picture.", RunLuma},
        {"blend", "FRONT BACK OUT", 3, 3,
         {{"--op", "NAME", "OpenGL blend of FRONT with BACK: over (default), under, add, multiply, screen, replace"},
          {"--opacity", "X", "0 to 1: FRONT's weight in all four channels (default 1)"},
          kMaxMemory},
         "Blend FRONT over BACK with an OpenGL blend (.png for a PNG front, .exr for an OpenEXR front).",
         RunBlend},
        {"blur", "IN OUT", 2, 2,
         {{"--amount", "X[,Y]", "blur width in pixels, across and up (one value: both; required)"},
          {"--kind", "KIND", "gaussian (the default), box or pascal (binomial weights)"},
          {"--shape", "S", "gaussian only: standard deviation relative to half the width (default 0.85)"},
          kMaxMemory},
         "Blur a picture on the card (.png for a PNG input, .exr for an OpenEXR input).",
         RunBlur},
        {"transform", "IN OUT", 2, 2,
         {{"--translate", "X,Y", "the picture's centre from the result's centre, in pixels right and up (default 0,0)"},
          {"--scale", "SX[,SY]", "scale factors above 0, across and up (one value: both; default 1)"},
          {"--rotate", "A[,B,C]", "degrees: one in the picture's plane (clockwise), or three about X, Y, Z (default 0)"},
          {"--order", "ORDER", "order of the three turns: xyz (default), zxy, yzx, xzy, zyx, yxz"},
          {"--filter", "NAME", "enlarging: nearest, linear (default), catmull-rom, mitchell, bspline, lanczos2, lanczos3"},
          {"--decimate", "NAME", "reducing: none, box (default), triangle, binomial, lanczos2, lanczos3"},
          {"--size", "WxH", "size of the result (default: the input's)"},
          kMaxMemory},
         "Scale, turn and move a picture about its centre on the card (.png for a PNG input, .exr for "
         "an OpenEXR input).",
         RunTransform},
        {"blur-composite", "BACK OUT IMAGE:AMOUNT[,AMOUNTY]...", 3, std::numeric_limits<int>::max(),
         {{"--op", "NAME", "how the layers go onto BACK: over (default), add, screen, replace"},
          {"--unpremultiply", nullptr, "divide the result's colour by its alpha"},
          kMaxMemory},
         "Blur each IMAGE by its own Gaussian width in pixels (across[,up]; the path is what precedes the "
         "last ':'), lay them over one another and onto BACK (OUT: .png for a PNG BACK, .exr for OpenEXR).",
         RunBlurComposite},
        {"scene", "OUT", 1, 1,
         {{"--size", "WxH", "size of the picture (default 960x540)"},
          {"--quality", "Q", "anti-aliasing, 0 to 5: 1, 4, 6, 8, 12 or 16 passes (default 0)"},
          {"--focus", "Z", "distance in focus (the spheres stand at 6, 10 and 16); needs --aperture"},
          {"--aperture", "A", "depth of field: the blur amount (try 150), or with --lens-jitter the lens size (try 0.05)"},
          {"--lens-jitter", nullptr, "depth of field by moving the camera across the lens (at most 7 passes)"},
          {"--smooth", "S", "post-process blur only: smooth the depth over S pixels first"},
          kMaxMemory},
         "Render three lit spheres over a checkered floor with multipass anti-aliasing and depth of field "
         "(.png: 8-bit, .exr: float).",
         RunScene},
        {"modes", "", 0, 0, {}, "List the apply modes by number and name.", RunModes},
        {"demo", "[OUTDIR]", 0, 1, {},
         "Render built-in sample images through every apply mode and the image operations, render "
         "a 3-D scene at several qualities, and write three labelled contact sheets, contact-sheet.png, "
         "operations.png and scene.png (default OUTDIR: out/demo).",
         RunDemo},
    };
    return commands;
}

void PrintHelp(std::FILE* out) {
    std::fprintf(out, "usage: zep6gl <command> [arguments]   (zep6gl <command> --help for one command)\n\n"
                      "commands:\n");
    for (const Command& c : Commands())
        std::fprintf(out, "  %s\n      %s\n", UsageLine(c).c_str(), c.summary);
}

int Run(const std::string& name, const std::vector<std::string>& args) {
    const auto command = std::find_if(Commands().begin(), Commands().end(),
                                      [&](const Command& c) { return name == c.name; });
    if (command == Commands().end()) {
        std::fprintf(stderr, "zep6gl: unknown command '%s' (see zep6gl --help)\n", name.c_str());
        return 2;
    }
    const std::vector<std::string> beforeEnd(args.begin(), std::find(args.begin(), args.end(), "--"));
    for (const std::string& a : beforeEnd)
        if (a == "--help" || a == "-h") {
            PrintCommandHelp(*command);
            return 0;
        }
    std::string firstOperand;
    try {
        const Arguments arguments = Parse(*command, args);
        if (!arguments.operands.empty())
            firstOperand = arguments.operands[0] + ": ";
        SetMemoryLimit(DefaultMemoryLimit());
        if (arguments.Has(kMaxMemory.name)) {
            unsigned long long bytes = 0;
            const std::string size = arguments.Value(kMaxMemory.name);
            if (!ParseSize(size, bytes))
                throw UsageError("--max-memory '" + size + "': not a size (bytes, or a number with K, M, G or T)");
            SetMemoryLimit(bytes);
        }
        command->run(arguments);
        return 0;
    } catch (const UsageError& e) {
        std::fprintf(stderr, "zep6gl %s: %s\n", command->name, e.what());
        return 2;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "zep6gl %s: %sout of memory\n", command->name, firstOperand.c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "zep6gl %s: %s\n", command->name, OneLine(e.what()).c_str());
        return 1;
    }
}

float ParseNumber(const std::string& option, const std::string& text, float least) {
    char* end = nullptr;
    const float value = text.empty() ? NAN : std::strtof(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value))
        throw UsageError(option + " '" + text + "': not a number");
    if (value < least)
        throw UsageError(option + " '" + text + "': must be " + (least == 0.0f ? "at least 0" : "above 0"));
    return value;
}

void ParseSize(const std::string& option, const std::string& text, long& width, long& height) {
    const std::size_t x = text.find('x');
    char* end = nullptr;
    width = height = 0;
    if (x != std::string::npos && x > 0 && x < 6 && text.size() - x - 1 > 0 && text.size() - x - 1 < 6) {
        width = std::strtol(text.c_str(), &end, 10);
        if (end != text.c_str() + x)
            width = 0;
        height = std::strtol(text.c_str() + x + 1, &end, 10);
        if (*end != '\0')
            height = 0;
    }
    if (width < 1 || height < 1 || width > 16383 || height > 16383)
        throw UsageError(option + " '" + text + "': not WIDTHxHEIGHT with each side 1 to 16383");
}

void ParseColor(const std::string& option, const std::string& text, float rgba[4]) {
    std::size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        const std::size_t comma = text.find(',', start);
        if ((i < 3) != (comma != std::string::npos))
            throw UsageError(option + " '" + text + "': not four numbers R,G,B,A");
        rgba[i] = ParseNumber(option, text.substr(start, comma == std::string::npos ? std::string::npos : comma - start),
                              -INFINITY);
        start = comma + 1;
    }
}

HostImage ReadInput(const std::string& path) {
    HostImage image = ReadImage(path);
    if (!OGL_ZEP6_AE::IsValid(&image))
        throw std::runtime_error(path + ": " + std::to_string(image.GetWidth()) + " x " +
                                 std::to_string(image.GetHeight()) +
                                 " is more than the library takes (at most 16383 on a side)");
    return image;
}

void CheckOutputLike(const std::string& out, const XIImage& input) {
    const std::string extension = std::filesystem::path(out).extension().string();
    if (extension != ".png" && extension != ".exr")
        throw std::runtime_error(out + ": unknown file extension (use .png or .exr)");
    const bool isFloat = input.GetBitDepth() == 128;
    if (isFloat != (extension == ".exr"))
        throw std::runtime_error(out + ": the result has the input's pixels (" +
                                 (isFloat ? "float, from OpenEXR" : "integer, from PNG") + "), so it needs a " +
                                 (isFloat ? ".exr" : ".png") + " file");
}

HostImage LikeInput(const XIImage& input, long width, long height) {
    return HostImage(input.GetColorSpace(), input.GetBitDepth(), input.GetWhiteLevel(), width, height, 0,
                     input.IsBottomUp());
}

void RunOnWorker(const std::function<void()>& work) {
    LibraryUse use;
    WorkerJob job(work);
    if (!job.ThreadQueue())
        throw std::runtime_error(OneLine(job.ErrorMessage()));
}

void OnCard(const std::string& input, const std::string& what, const std::function<void()>& work) {
    try {
        RunOnWorker(work);
    } catch (const std::exception& e) {
        throw std::runtime_error(input + ": the library could not " + what + " it: " + e.what());
    }
}

} // namespace zep6gl
