// `zep6gl convert IN OUT [--layout NAME] [--top-down] [--premultiply|--unpremultiply]`: sends an
// image file through the card the way a plug-in's frame goes: the picture is uploaded into a
// texture, drawn into a render target and read back into a host image of the chosen pixel layout
// and orientation (converted on the card where the layout needs it, optionally premultiplied or
// unpremultiplied on the way out), which is then written to OUT.
//
// Frames larger than one render target (2048 x 1080) are done in tiles of that size: each tile
// of the picture is uploaded, drawn and read back into its own region of the destination, so a
// frame of any size the library takes needs no more card memory than one tile.
#include "Command.h"
#include "HostImage.h"
#include "ImageIO.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "gl/context/Shared.h"
#include "gl/context/Thread.h"
#include "gl/render/Conversion.h"
#include "gl/render/Region.h"
#include "gl/state/Blend.h"
#include "gl/state/State.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/texture/SubImageTexture.h"

#include <GL/gl.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace zep6gl {

namespace {

using OGL_ZEP6_AE::FourCC;

struct Layout {
    const char* name;
    long colorSpace;
    long bitDepth;
    long whiteLevel;
};

bool IsFloat(const Layout& layout) {
    return layout.bitDepth == 128;
}

// The destination layouts: every four-channel pixel type of the library. A bare "16" takes the
// white level hosts usually use with that channel order.
const Layout kLayouts[] = {
    {"rgba8", static_cast<long>(FourCC("RGBA")), 32, 255},
    {"bgra8", static_cast<long>(FourCC("BGRA")), 32, 255},
    {"argb8", 32, 32, 255},
    {"rgba16", static_cast<long>(FourCC("RGBA")), 64, 65535},
    {"bgra16", static_cast<long>(FourCC("BGRA")), 64, 65535},
    {"argb16", 32, 64, 32768},
    {"rgba16-ffff", static_cast<long>(FourCC("RGBA")), 64, 65535},
    {"rgba16-8000", static_cast<long>(FourCC("RGBA")), 64, 32768},
    {"rgba16-4000", static_cast<long>(FourCC("RGBA")), 64, 16384},
    {"bgra16-ffff", static_cast<long>(FourCC("BGRA")), 64, 65535},
    {"bgra16-8000", static_cast<long>(FourCC("BGRA")), 64, 32768},
    {"bgra16-4000", static_cast<long>(FourCC("BGRA")), 64, 16384},
    {"argb16-ffff", 32, 64, 65535},
    {"argb16-8000", 32, 64, 32768},
    {"argb16-4000", 32, 64, 16384},
    {"rgba32f", static_cast<long>(FourCC("RGBA")), 128, 1},
    {"bgra32f", static_cast<long>(FourCC("BGRA")), 128, 1},
    {"argb32f", 32, 128, 1},
};

const Layout* FindLayout(const std::string& name) {
    for (const Layout& layout : kLayouts)
        if (name == layout.name)
            return &layout;
    return nullptr;
}

std::string LayoutNames() {
    std::string names;
    for (const Layout& layout : kLayouts)
        names += (names.empty() ? "" : ", ") + std::string(layout.name);
    return names;
}

std::string LowerExtension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

enum class Processing { None, Premultiply, Unpremultiply };

struct Options {
    std::string in;
    std::string out;
    const Layout* layout = nullptr;
    bool topDown = false;
    Processing processing = Processing::None;
};

// A command-line mistake: reported as "zep6gl convert: <text>" with exit status 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Options ParseArguments(const std::vector<std::string>& args) {
    Options options;
    std::vector<std::string> positional;
    auto setProcessing = [&](Processing p, const std::string& arg) {
        if (options.processing != Processing::None && options.processing != p)
            throw UsageError("'" + arg + "': --premultiply and --unpremultiply exclude each other");
        options.processing = p;
    };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--layout" || arg.rfind("--layout=", 0) == 0) {
            std::string name;
            if (arg == "--layout") {
                if (i + 1 == args.size())
                    throw UsageError("--layout: missing layout name (one of " + LayoutNames() + ")");
                name = args[++i];
            } else {
                name = arg.substr(9);
            }
            options.layout = FindLayout(name);
            if (!options.layout)
                throw UsageError("--layout: unknown layout '" + name + "' (one of " + LayoutNames() + ")");
        } else if (arg == "--max-memory" || arg.rfind("--max-memory=", 0) == 0) {
            std::string size;
            if (arg == "--max-memory") {
                if (i + 1 == args.size())
                    throw UsageError("--max-memory: missing size (bytes, or a number with K, M, G or T)");
                size = args[++i];
            } else {
                size = arg.substr(13);
            }
            unsigned long long bytes = 0;
            if (!ParseSize(size, bytes))
                throw UsageError("--max-memory: '" + size + "' is not a size (bytes, or a number with K, M, G or T)");
            SetMemoryLimit(bytes);
        } else if (arg == "--top-down") {
            options.topDown = true;
        } else if (arg == "--premultiply") {
            setProcessing(Processing::Premultiply, arg);
        } else if (arg == "--unpremultiply") {
            setProcessing(Processing::Unpremultiply, arg);
        } else if (arg.size() > 1 && arg[0] == '-') {
            throw UsageError("unknown option '" + arg + "'");
        } else if (positional.size() == 2) {
            throw UsageError("unexpected argument '" + arg + "'");
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() < 2)
        throw UsageError(positional.empty() ? "missing IN and OUT" : "missing OUT");
    options.in = positional[0];
    options.out = positional[1];
    return options;
}

// Integer layouts go to PNG and float ones to OpenEXR; the file's extension must say which. Told
// before any work, so a mistake costs no upload.
void CheckOutputName(const std::string& out, const Layout& layout) {
    const std::string extension = LowerExtension(out);
    if (extension != ".png" && extension != ".exr")
        throw std::runtime_error(out + ": unknown file extension (use .png or .exr)");
    if (IsFloat(layout) && extension != ".exr")
        throw std::runtime_error(out + ": float layout '" + layout.name + "' needs an .exr file");
    if (!IsFloat(layout) && extension != ".png")
        throw std::runtime_error(out + ": integer layout '" + layout.name + "' needs a .png file");
}

// Without --layout: float for OpenEXR; for PNG the depth of the input (8-bit stays 8-bit, deeper
// pictures keep 16 bits).
const Layout& DefaultLayout(const std::string& out, const HostImage& source) {
    if (LowerExtension(out) == ".exr")
        return *FindLayout("rgba32f");
    return *FindLayout(source.GetBitDepth() == 32 ? "rgba8" : "rgba16");
}

// The upload, draw and read-back, tile by tile. Runs as a job on the GL worker thread; every
// failure ends in `error`, `ran` tells that the job ran at all (it does not where no context can
// be made).
void ConvertOnCard(const HostImage* source, HostImage* destination, OGL_ZEP6_AE::GLSL::Shader* processing,
                   std::string* error, bool* ran) {
    using namespace OGL_ZEP6_AE;
    if (MarshalToWorker(&ConvertOnCard, source, destination, processing, error, ran))
        return;
    *ran = true;
    try {
        while (glGetError() != GL_NO_ERROR) {
        }
        const int width = static_cast<int>(source->GetWidth());
        const int height = static_cast<int>(source->GetHeight());
        RenderedTexture target; // described as one full tile
        const int tileWidth = target.Width();
        const int tileHeight = target.Height();
        for (int y = 0; y < height; y += tileHeight) {
            for (int x = 0; x < width; x += tileWidth) {
                const int w = std::min(tileWidth, width - x);
                const int h = std::min(tileHeight, height - y);
                // Regions count rows from the bottom of the picture, for the texture and for the
                // read alike, whatever the memory order of either image.
                const Region tile(x, y, static_cast<unsigned int>(w), static_cast<unsigned int>(h));
                SubImageTexture texture(source);
                texture.SetRegion(tile);
                // Upload before selecting the target: an upload that converts draws through a
                // framebuffer of its own.
                texture.Load();
                target.Resize(w, h, GL_RGBA, 0);
                {
                    PushState state;
                    if (!target.Select())
                        throw std::runtime_error("the card could not make a " + std::to_string(w) + " x " +
                                                 std::to_string(h) + " render target");
                    // A plain copy: the selected target's default state blends by alpha.
                    Push<BlendFunc> replace(BlendFunc::Replace);
                    texture.Blit(Region(static_cast<unsigned int>(w), static_cast<unsigned int>(h)), 1.0f);
                }
                // Set per tile: a resize gives the target's shader back with everything else.
                target.SetReadProcessing(processing);
                target.Read(destination, tile, false);
            }
        }
        const GLenum code = glGetError();
        if (code != GL_NO_ERROR) {
            char text[64];
            std::snprintf(text, sizeof text, "OpenGL error 0x%04X while converting", code);
            throw std::runtime_error(text);
        }
    } catch (const std::exception& e) {
        *error = e.what();
    }
}

} // namespace

int RunConvert(const std::vector<std::string>& args) {
    Options options;
    try {
        options = ParseArguments(args);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "zep6gl convert: %s\n", e.what());
        return 2;
    }
    try {
        if (options.layout)
            CheckOutputName(options.out, *options.layout);
        const HostImage source = ReadImage(options.in);
        if (!OGL_ZEP6_AE::IsValid(&source))
            throw std::runtime_error(options.in + ": " + std::to_string(source.GetWidth()) + " x " +
                                     std::to_string(source.GetHeight()) +
                                     " is more than the library takes (at most 16383 on a side)");
        const Layout& layout = options.layout ? *options.layout : DefaultLayout(options.out, source);
        CheckOutputName(options.out, layout);
        const unsigned long long pixels = static_cast<unsigned long long>(source.GetWidth()) * source.GetHeight();
        RequireMemory(options.in, pixels * (source.GetBitDepth() + layout.bitDepth) / 8,
                      "converting it into " + std::string(layout.name));

        HostImage destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, source.GetWidth(),
                              source.GetHeight(), 0, !options.topDown);
        OGL_ZEP6_AE::GLSL::Shader* processing = nullptr;
        if (options.processing == Processing::Premultiply)
            processing = &OGL_ZEP6_AE::Conversion::sPremultiply;
        else if (options.processing == Processing::Unpremultiply)
            processing = &OGL_ZEP6_AE::Conversion::sUnpremultiply;

        std::string error;
        bool ran = false;
        {
            LibraryUse use;
            ConvertOnCard(&source, &destination, processing, &error, &ran);
            if (!ran)
                error = std::string("no OpenGL context could be made (") +
                        (OGL_ZEP6_AE::sThread ? OGL_ZEP6_AE::sThread->ErrorMessage() : "no worker thread") +
                        ")";
        }
        if (!error.empty())
            throw std::runtime_error(options.in + ": " + error);
        WriteImage(options.out, destination, IsFloat(layout), source.Windows());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "zep6gl convert: %s: out of memory\n", options.in.c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "zep6gl convert: %s\n", e.what());
        return 1;
    }
    return 0;
}

} // namespace zep6gl
