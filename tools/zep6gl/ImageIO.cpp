#include "ImageIO.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfTestFile.h>
#include <half.h>
#include <png.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace zep6gl {

namespace {

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
    throw std::runtime_error(path + ": " + reason);
}

// ---- the image's pixels as plain top-down RGBA rows ------------------------------------------

enum class Channel { Byte, Short, Half, Float };

struct Layout {
    int order[4]; // memory position of red, green, blue, alpha within a pixel
    Channel channel;
    long whiteLevel;
};

Layout LayoutOf(const std::string& path, const XIImage& image) {
    using OGL_ZEP6_AE::PixelLayout;
    if (!OGL_ZEP6_AE::IsValid(&image))
        Fail(path, "the image to write is not valid");
    Layout layout{};
    switch (OGL_ZEP6_AE::GetPixelLayout(image.GetColorSpace())) {
    case PixelLayout::ARGB:
        layout = {{1, 2, 3, 0}, Channel::Byte, 0};
        break;
    case PixelLayout::BGRA:
        layout = {{2, 1, 0, 3}, Channel::Byte, 0};
        break;
    case PixelLayout::RGBA:
        layout = {{0, 1, 2, 3}, Channel::Byte, 0};
        break;
    default:
        Fail(path, "only four-channel images can be written");
    }
    layout.whiteLevel = image.GetWhiteLevel();
    switch (image.GetBitDepth()) {
    case 32:
        layout.channel = Channel::Byte;
        break;
    case 64:
        layout.channel = layout.whiteLevel == 1 ? Channel::Half : Channel::Short;
        break;
    case 128:
        layout.channel = Channel::Float;
        break;
    default:
        Fail(path, "unsupported bit depth " + std::to_string(image.GetBitDepth()));
    }
    if (layout.channel == Channel::Short && layout.whiteLevel <= 0)
        Fail(path, "unsupported white level " + std::to_string(layout.whiteLevel));
    return layout;
}

// Row y of the picture counted from the top.
const unsigned char* PictureRow(const XIImage& image, long y) {
    const long memoryRow = image.IsBottomUp() ? image.GetHeight() - 1 - y : y;
    return static_cast<const unsigned char*>(image.GetBaseAddress()) + memoryRow * image.GetRowBytes();
}

// Integer pixels as top-down RGBA of `bits` (8 or 16) per channel; 16-bit values are brought
// from the image's white level to 65535.
std::vector<unsigned short> IntegerRgba(const XIImage& image, const Layout& layout) {
    const long width = image.GetWidth(), height = image.GetHeight();
    std::vector<unsigned short> out(static_cast<size_t>(width) * height * 4);
    for (long y = 0; y < height; ++y) {
        const unsigned char* row = PictureRow(image, y);
        for (long x = 0; x < width; ++x) {
            for (int c = 0; c < 4; ++c) {
                unsigned short value;
                if (layout.channel == Channel::Byte) {
                    value = row[x * 4 + layout.order[c]];
                } else {
                    unsigned short raw;
                    std::memcpy(&raw, row + (x * 4 + layout.order[c]) * 2, 2);
                    const double scaled = double(raw) * 65535.0 / double(layout.whiteLevel) + 0.5;
                    value = static_cast<unsigned short>(std::min(65535.0, scaled));
                }
                out[(static_cast<size_t>(y) * width + x) * 4 + c] = value;
            }
        }
    }
    return out;
}

std::vector<float> FloatRgba(const XIImage& image, const Layout& layout) {
    const long width = image.GetWidth(), height = image.GetHeight();
    std::vector<float> out(static_cast<size_t>(width) * height * 4);
    for (long y = 0; y < height; ++y) {
        const unsigned char* row = PictureRow(image, y);
        for (long x = 0; x < width; ++x) {
            for (int c = 0; c < 4; ++c) {
                float value;
                if (layout.channel == Channel::Float) {
                    std::memcpy(&value, row + (x * 4 + layout.order[c]) * 4, 4);
                } else {
                    half h;
                    std::memcpy(&h, row + (x * 4 + layout.order[c]) * 2, 2);
                    value = float(h);
                }
                out[(static_cast<size_t>(y) * width + x) * 4 + c] = value;
            }
        }
    }
    return out;
}

// ---- writing through a temporary file --------------------------------------------------------

// A temporary file beside the destination that is removed unless Commit() renames it into place.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& path) : destination_(path) {
        std::string pattern = path + ".tmp-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        const int fd = mkstemp(name.data());
        if (fd < 0)
            Fail(path, std::string("cannot write: ") + std::strerror(errno));
        close(fd);
        name_ = name.data();
    }
    ~TemporaryFile() {
        if (!name_.empty())
            std::remove(name_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Name() const { return name_; }
    void Commit() {
        std::error_code error;
        std::filesystem::rename(name_, destination_, error);
        if (error)
            Fail(destination_, "cannot write: " + error.message());
        name_.clear();
    }

private:
    std::string destination_;
    std::string name_;
};

// ---- PNG ------------------------------------------------------------------------------------

struct PngError {
    std::jmp_buf jump;
    char message[256];
};

void PngErrorHandler(png_structp png, png_const_charp text) {
    auto* error = static_cast<PngError*>(png_get_error_ptr(png));
    std::snprintf(error->message, sizeof error->message, "%s", text ? text : "PNG error");
    std::longjmp(error->jump, 1);
}

void PngWarningHandler(png_structp, png_const_charp) {}

// The C side of writing: no object with a destructor lives in this frame, since libpng leaves
// through longjmp on an error. Returns null on success, else the reason.
const char* WritePngRows(std::FILE* file, int width, int height, int bits, png_bytep* rows, PngError* error) {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, error, PngErrorHandler, PngWarningHandler);
    if (!png)
        return "out of memory";
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(error->jump)) {
        png_destroy_write_struct(&png, info ? &info : nullptr);
        return info ? error->message : "out of memory";
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, bits, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (bits == 16)
        png_set_swap(png); // PNG stores 16-bit values big-endian
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return nullptr;
}

void WritePng(const std::string& path, const XIImage& image, const Layout& layout) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    const int bits = layout.channel == Channel::Byte ? 8 : 16;
    const std::vector<unsigned short> rgba = IntegerRgba(image, layout);
    std::vector<unsigned char> bytes(rgba.size() * (bits / 8));
    for (size_t i = 0; i < rgba.size(); ++i) {
        if (bits == 8)
            bytes[i] = static_cast<unsigned char>(rgba[i]);
        else
            std::memcpy(&bytes[i * 2], &rgba[i], 2);
    }
    std::vector<png_bytep> rows(height);
    for (int y = 0; y < height; ++y)
        rows[y] = bytes.data() + static_cast<size_t>(y) * width * 4 * (bits / 8);

    TemporaryFile temporary(path);
    std::FILE* file = std::fopen(temporary.Name().c_str(), "wb");
    if (!file)
        Fail(path, std::string("cannot write: ") + std::strerror(errno));
    PngError error{};
    const char* failure = WritePngRows(file, width, height, bits, rows.data(), &error);
    const bool closed = std::fclose(file) == 0;
    if (failure)
        Fail(path, std::string("cannot write PNG: ") + failure);
    if (!closed)
        Fail(path, std::string("cannot write: ") + std::strerror(errno));
    temporary.Commit();
}

struct PngHeader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    int width = 0, height = 0, bits = 0;
};

// Reads the header and sets the transformations to RGBA of 8 or 16 bits.
const char* ReadPngHeader(std::FILE* file, PngHeader* header, PngError* error) {
    header->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, error, PngErrorHandler, PngWarningHandler);
    if (!header->png)
        return "out of memory";
    header->info = png_create_info_struct(header->png);
    if (!header->info)
        return "out of memory";
    if (setjmp(error->jump))
        return error->message;
    png_init_io(header->png, file);
    png_read_info(header->png, header->info);
    const int colorType = png_get_color_type(header->png, header->info);
    const int bits = png_get_bit_depth(header->png, header->info);
    png_set_expand(header->png); // palette, low-bit grey and tRNS to full channels
    if (colorType == PNG_COLOR_TYPE_GRAY || colorType == PNG_COLOR_TYPE_GRAY_ALPHA)
        png_set_gray_to_rgb(header->png);
    if (!(colorType & PNG_COLOR_MASK_ALPHA) && !png_get_valid(header->png, header->info, PNG_INFO_tRNS))
        png_set_filler(header->png, bits == 16 ? 0xFFFF : 0xFF, PNG_FILLER_AFTER);
    if (bits == 16)
        png_set_swap(header->png);
    png_read_update_info(header->png, header->info);
    header->width = static_cast<int>(png_get_image_width(header->png, header->info));
    header->height = static_cast<int>(png_get_image_height(header->png, header->info));
    header->bits = bits == 16 ? 16 : 8;
    if (png_get_rowbytes(header->png, header->info) != size_t(header->width) * 4 * (header->bits / 8))
        return "unexpected row layout";
    return nullptr;
}

const char* ReadPngRows(PngHeader* header, png_bytep* rows, PngError* error) {
    if (setjmp(error->jump))
        return error->message;
    png_read_image(header->png, rows);
    png_read_end(header->png, nullptr);
    return nullptr;
}

HostImage ReadPng(const std::string& path, std::FILE* file) {
    PngHeader header;
    PngError error{};
    const char* failure = ReadPngHeader(file, &header, &error);
    auto cleanUp = [&] {
        png_destroy_read_struct(&header.png, header.info ? &header.info : nullptr, nullptr);
    };
    if (!failure && (header.width < 1 || header.height < 1 || header.width > 16383 || header.height > 16383))
        failure = "size outside 1..16383";
    if (failure) {
        cleanUp();
        std::fclose(file);
        Fail(path, std::string("bad PNG: ") + failure);
    }
    HostImage image(OGL_ZEP6_AE::FourCC("RGBA"), header.bits * 4, header.bits == 16 ? 65535 : 255,
                    header.width, header.height, 0, false);
    std::vector<png_bytep> rows(header.height);
    for (int y = 0; y < header.height; ++y)
        rows[y] = image.Row(y);
    failure = ReadPngRows(&header, rows.data(), &error);
    cleanUp();
    std::fclose(file);
    if (failure)
        Fail(path, std::string("bad PNG: ") + failure);
    return image;
}

// ---- OpenEXR --------------------------------------------------------------------------------

HostImage ReadExr(const std::string& path) {
    try {
        Imf::InputFile file(path.c_str());
        const Imath::Box2i window = file.header().dataWindow();
        const long width = window.max.x - window.min.x + 1, height = window.max.y - window.min.y + 1;
        if (width < 1 || height < 1 || width > 16383 || height > 16383)
            Fail(path, "bad OpenEXR: size outside 1..16383");
        const Imf::ChannelList& channels = file.header().channels();
        const bool grey = !channels.findChannel("R") && channels.findChannel("Y");
        HostImage image(OGL_ZEP6_AE::FourCC("RGBA"), 128, 1, width, height, 0, false);
        char* base =
            reinterpret_cast<char*>(image.Row(0)) -
            (static_cast<ptrdiff_t>(window.min.x) + static_cast<ptrdiff_t>(window.min.y) * width) * 16;
        Imf::FrameBuffer frame;
        const char* names[4] = {"R", "G", "B", "A"};
        for (int c = 0; c < 4; ++c) {
            const char* name = (grey && c < 3) ? "Y" : names[c];
            frame.insert(name, Imf::Slice(Imf::FLOAT, base + c * 4, 16, static_cast<size_t>(width) * 16, 1, 1,
                                          c == 3 ? 1.0 : 0.0));
        }
        file.setFrameBuffer(frame);
        file.readPixels(window.min.y, window.max.y);
        return image;
    } catch (const std::runtime_error&) {
        throw;
    } catch (const std::exception& e) {
        Fail(path, std::string("bad OpenEXR: ") + e.what());
    }
}

void WriteExr(const std::string& path, const XIImage& image, const Layout& layout, bool floatChannels) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    const std::vector<float> rgba = FloatRgba(image, layout);
    std::vector<half> halves;
    if (!floatChannels)
        halves.assign(rgba.begin(), rgba.end());
    TemporaryFile temporary(path);
    try {
        Imf::Header header(width, height);
        const Imf::PixelType type = floatChannels ? Imf::FLOAT : Imf::HALF;
        const size_t size = floatChannels ? sizeof(float) : sizeof(half);
        char* base = floatChannels ? reinterpret_cast<char*>(const_cast<float*>(rgba.data()))
                                   : reinterpret_cast<char*>(halves.data());
        Imf::FrameBuffer frame;
        const char* names[4] = {"R", "G", "B", "A"};
        for (int c = 0; c < 4; ++c) {
            header.channels().insert(names[c], Imf::Channel(type));
            frame.insert(names[c], Imf::Slice(type, base + c * size, 4 * size, 4 * size * width));
        }
        Imf::OutputFile file(temporary.Name().c_str(), header);
        file.setFrameBuffer(frame);
        file.writePixels(height);
    } catch (const std::exception& e) {
        Fail(path, std::string("cannot write OpenEXR: ") + e.what());
    }
    temporary.Commit();
}

std::string Extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return extension;
}

} // namespace

HostImage ReadImage(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        Fail(path, std::string("cannot open: ") + std::strerror(errno));
    unsigned char magic[8] = {};
    const size_t got = std::fread(magic, 1, sizeof magic, file);
    if (got == 8 && png_sig_cmp(magic, 0, 8) == 0) {
        std::rewind(file);
        return ReadPng(path, file);
    }
    std::fclose(file);
    if (got >= 4 && magic[0] == 0x76 && magic[1] == 0x2f && magic[2] == 0x31 && magic[3] == 0x01)
        return ReadExr(path);
    Fail(path, got == 0 ? "empty file" : "not a PNG or OpenEXR file");
}

void WriteImage(const std::string& path, const XIImage& image, bool floatChannels) {
    const Layout layout = LayoutOf(path, image);
    const bool isFloat = layout.channel == Channel::Float || layout.channel == Channel::Half;
    const std::string extension = Extension(path);
    if (extension == ".png") {
        if (isFloat)
            Fail(path, "float pixels need an .exr file");
        WritePng(path, image, layout);
    } else if (extension == ".exr") {
        if (!isFloat)
            Fail(path, "integer pixels need a .png file");
        WriteExr(path, image, layout, floatChannels);
    } else {
        Fail(path, "unknown file extension (use .png or .exr)");
    }
}

} // namespace zep6gl
