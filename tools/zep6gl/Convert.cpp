// `zep6gl convert IN OUT [--layout NAME] [--top-down] [--premultiply|--unpremultiply]`: sends an
// image file through the card the way a plug-in's frame goes: the picture is uploaded into a
// texture, drawn into a render target and read back into a host image of the chosen pixel layout
// and orientation (converted on the card where the layout needs it, optionally premultiplied or
// unpremultiplied on the way out), which is then written to OUT.
//
// Frames larger than one render target (2048 x 1080) go through the library's tile loop
// (TiledBuffer): each tile of the destination is drawn from the picture and read back into its
// own region, so a frame of any size the library takes needs one render target on the card.
#include "Command.h"
#include "HostImage.h"
#include "ImageIO.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"
#include "gl/render/Conversion.h"
#include "gl/state/Blend.h"
#include "gl/state/Push.h"
#include "gl/targets/TiledBuffer.h"

#include <GL/gl.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <vector>
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

// Reverses the image's rows in memory and its orientation flag: the same picture.
void FlipRows(HostImage& image) {
    std::vector<unsigned char> row(static_cast<size_t>(image.GetRowBytes()));
    for (long top = 0, bottom = image.GetHeight() - 1; top < bottom; ++top, --bottom) {
        std::memcpy(row.data(), image.Row(top), row.size());
        std::memcpy(image.Row(top), image.Row(bottom), row.size());
        std::memcpy(image.Row(bottom), row.data(), row.size());
    }
    image.SetBottomUp(!image.IsBottomUp());
}

// The upload, draw and read-back, tile by tile through the library's loop, on the GL worker
// thread.
void ConvertOnCard(const HostImage& source, HostImage& destination, OGL_ZEP6_AE::GLSL::Shader* processing) {
    using namespace OGL_ZEP6_AE;
    RunOnWorker([&] {
        while (glGetError() != GL_NO_ERROR) {
        }
        TiledBuffer tiles(&destination);
        tiles.SetPostProcessing(processing);
        while (tiles.Next()) {
            // A plain copy: a tile's default state blends by alpha.
            Push<BlendFunc> replace(BlendFunc::Replace);
            tiles.Write(&source, 0, 0);
        }
        const GLenum code = glGetError();
        if (code != GL_NO_ERROR) {
            char text[64];
            std::snprintf(text, sizeof text, "OpenGL error 0x%04X while converting", code);
            throw std::runtime_error(text);
        }
    });
}

} // namespace

void RunConvert(const Arguments& arguments) {
    const std::string& in = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    const Layout* chosen = nullptr;
    if (arguments.Has("--layout")) {
        chosen = FindLayout(arguments.Value("--layout"));
        if (!chosen)
            throw UsageError("--layout: unknown layout '" + arguments.Value("--layout") + "' (one of " +
                             LayoutNames() + ")");
    }
    if (arguments.Has("--premultiply") && arguments.Has("--unpremultiply"))
        throw UsageError("--premultiply and --unpremultiply exclude each other");
    if (chosen)
        CheckOutputName(out, *chosen);

    HostImage source = ReadImage(in);
    if (!OGL_ZEP6_AE::IsValid(&source))
        throw std::runtime_error(in + ": " + std::to_string(source.GetWidth()) + " x " +
                                 std::to_string(source.GetHeight()) +
                                 " is more than the library takes (at most 16383 on a side)");
    const Layout& layout = chosen ? *chosen : DefaultLayout(out, source);
    CheckOutputName(out, layout);
    const unsigned long long pixels = static_cast<unsigned long long>(source.GetWidth()) * source.GetHeight();
    RequireMemory(in, pixels * (source.GetBitDepth() + layout.bitDepth) / 8,
                  "converting it into " + std::string(layout.name));

    HostImage destination(layout.colorSpace, layout.bitDepth, layout.whiteLevel, source.GetWidth(),
                          source.GetHeight(), 0, !arguments.Has("--top-down"));
    // Handed over bottom-up, the order OpenGL takes rows in: the files' RGBA of 8 bits, 16 bits
    // at white 65535 and floats then upload without a conversion pass on the card.
    FlipRows(source);
    OGL_ZEP6_AE::GLSL::Shader* processing = nullptr;
    if (arguments.Has("--premultiply"))
        processing = &OGL_ZEP6_AE::Conversion::sPremultiply;
    else if (arguments.Has("--unpremultiply"))
        processing = &OGL_ZEP6_AE::Conversion::sUnpremultiply;
    try {
        ConvertOnCard(source, destination, processing);
    } catch (const std::exception& e) {
        throw std::runtime_error(in + ": " + e.what());
    }
    WriteImage(out, destination, IsFloat(layout), source.Windows());
}

} // namespace zep6gl
