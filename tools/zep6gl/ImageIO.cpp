#include "ImageIO.h"

#include "core/Errors.h"
#include "core/PixelFormat.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfRgbaFile.h>
#include <openexr.h>
#include <half.h>
#include <png.h>

#include <GL/gl.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// 16-bit samples are handed over in the machine's order; PNG stores them big-endian.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "16-bit PNG samples are swapped for little-endian");

namespace zep6gl {

namespace {

// A failure this file reports, told apart from the exceptions of the file libraries.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Every failure is one line: the file, then the reason (libraries' messages may span lines).
[[noreturn]] void Fail(const std::string& path, std::string reason) {
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    throw FileError(path + ": " + reason);
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// ---- the image's pixels as plain top-down RGBA rows ------------------------------------------

enum class Channel { Byte, Short, Half, Float };

struct Layout {
    int order[4]; // memory position of red, green, blue, alpha within a pixel
    Channel channel;
    long whiteLevel;  // integer channels: the value that is white, at most the channel's maximum
    bool signedShort; // 16-bit channels the library passes as signed shorts (white 0x4000 and below)
};

Layout LayoutOf(const std::string& path, const XIImage& image) {
    using OGL_ZEP6_AE::PixelLayout;
    if (!OGL_ZEP6_AE::IsValid(&image))
        Fail(path, "the image to write is not valid");
    Layout layout{};
    switch (OGL_ZEP6_AE::GetPixelLayout(image.GetColorSpace())) {
    case PixelLayout::ARGB:
        layout = {{1, 2, 3, 0}, Channel::Byte, 0, false};
        break;
    case PixelLayout::BGRA:
        layout = {{2, 1, 0, 3}, Channel::Byte, 0, false};
        break;
    case PixelLayout::RGBA:
        layout = {{0, 1, 2, 3}, Channel::Byte, 0, false};
        break;
    default:
        Fail(path, "only four-channel images can be written");
    }
    const long white = image.GetWhiteLevel();
    switch (image.GetBitDepth()) {
    case 32:
        layout.channel = Channel::Byte;
        layout.whiteLevel = std::min(white, 255L);
        break;
    case 64:
        layout.channel = white == 1 ? Channel::Half : Channel::Short;
        layout.whiteLevel = std::min(white, 65535L);
        break;
    case 128:
        layout.channel = Channel::Float;
        break;
    default:
        Fail(path, "unsupported bit depth " + std::to_string(image.GetBitDepth()));
    }
    if ((layout.channel == Channel::Byte || layout.channel == Channel::Short) && white <= 0)
        Fail(path, "unsupported white level " + std::to_string(white));
    // Read the values as the library hands them to OpenGL, so that the file shows what a texture
    // of the image would: below-black values of signed data become black, not white.
    if (layout.channel == Channel::Short) {
        unsigned int format = 0, type = 0;
        float scale = 1;
        OGL_ZEP6_AE::GetColorSpaceFormat(&image, format, type, scale);
        layout.signedShort = type == GL_SHORT;
    }
    return layout;
}

// Row y of the picture counted from the top.
const unsigned char* PictureRow(const XIImage& image, long y) {
    const long memoryRow = image.IsBottomUp() ? image.GetHeight() - 1 - y : y;
    return static_cast<const unsigned char*>(image.GetBaseAddress()) + memoryRow * image.GetRowBytes();
}

// Row y of the picture (from the top) as RGBA of the file's channel size, converted as it is
// written, so that writing holds one row beside the image. Integer data: 8 or 16 bits, white
// brought to the top of the range (value * maximum / white, rounded to nearest and clamped).
void IntegerRow(const XIImage& image, const Layout& layout, long y, unsigned char* out) {
    const long width = image.GetWidth();
    const bool bytes = layout.channel == Channel::Byte;
    const double maximum = bytes ? 255.0 : 65535.0;
    const bool asIs = layout.whiteLevel == static_cast<long>(maximum);
    const unsigned char* row = PictureRow(image, y);
    for (long x = 0; x < width; ++x) {
        for (int c = 0; c < 4; ++c) {
            long raw;
            if (bytes) {
                raw = row[x * 4 + layout.order[c]];
            } else if (layout.signedShort) {
                short s;
                std::memcpy(&s, row + (x * 4 + layout.order[c]) * 2, 2);
                raw = std::max<long>(0, s);
            } else {
                unsigned short u;
                std::memcpy(&u, row + (x * 4 + layout.order[c]) * 2, 2);
                raw = u;
            }
            const double scaled = asIs ? double(raw) : double(raw) * maximum / double(layout.whiteLevel) + 0.5;
            const unsigned short value = static_cast<unsigned short>(std::min(maximum, scaled));
            if (bytes)
                out[x * 4 + c] = static_cast<unsigned char>(value);
            else
                std::memcpy(out + (x * 4 + c) * 2, &value, 2);
        }
    }
}

// Float data as RGBA of T (float or half).
template <typename T> void FloatRow(const XIImage& image, const Layout& layout, long y, T* out) {
    const unsigned char* row = PictureRow(image, y);
    for (long x = 0; x < image.GetWidth(); ++x) {
        for (int c = 0; c < 4; ++c) {
            float value;
            if (layout.channel == Channel::Float) {
                std::memcpy(&value, row + (x * 4 + layout.order[c]) * 4, 4);
            } else {
                half h;
                std::memcpy(&h, row + (x * 4 + layout.order[c]) * 2, 2);
                value = float(h);
            }
            out[x * 4 + c] = T(value);
        }
    }
}

// ---- the output file ------------------------------------------------------------------------

// The output is written in place, as any program writing a file does: opened (following a
// symbolic link to its target) and truncated, or made with the permissions of a new file (0666
// less the umask). So an existing output keeps its mode, owner and links, a link's target is
// what gets written, no write permission on the folder is needed, and a name of any legal length
// works. Writing through a temporary file and renaming it would lose all four. What that costs:
// a file is not complete until the end. So on any failure, and on an interruption by SIGINT,
// SIGTERM or SIGHUP while writing, what was written is removed (truncated, then unlinked): a
// failed write leaves no output, not even the old file, which a half-written one would replace
// no better. Checks that can fail (format, extension, layout) all come before the file is
// opened, and leave an existing output untouched.
//
// A read-only output is refused: one the process may not write, and, since root may write
// anything, one that carries no write permission at all: marking it read-only says "keep".

char gWriting[4096]; // the file being written, for the signal handler; empty when none

extern "C" void RemovePartialOutput(int signal) {
    if (gWriting[0])
        unlink(gWriting);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

class OutputFile {
public:
    explicit OutputFile(const std::string& path) : path_(path) {
        struct stat existing {};
        if (stat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode) &&
            (access(path.c_str(), W_OK) != 0 || (existing.st_mode & 0222) == 0))
            Fail(path, "cannot write: the file is read-only");
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0)
            Fail(path, std::string("cannot write: ") + std::strerror(errno));
        struct stat opened {};
        char* real = fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode) ? realpath(path.c_str(), nullptr) : nullptr;
        if (real && std::strlen(real) < sizeof gWriting) {
            real_ = real;
            std::memcpy(gWriting, real, real_.size() + 1);
            for (int signal : {SIGINT, SIGTERM, SIGHUP})
                previous_.push_back(std::signal(signal, RemovePartialOutput));
        }
        std::free(real);
        file_ = fdopen(fd, "wb");
        if (!file_) {
            close(fd);
            Remove();
            Fail(path, std::string("cannot write: ") + std::strerror(errno));
        }
    }
    ~OutputFile() {
        if (file_) {
            std::fclose(file_);
            Remove();
        }
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::FILE* Stream() const { return file_; }

    // Closes the file; a full disk may show only here.
    void Commit() {
        const bool written = std::fflush(file_) == 0 && !std::ferror(file_);
        const int error = errno;
        const bool closed = std::fclose(file_) == 0;
        file_ = nullptr;
        if (!written || !closed) {
            Remove();
            Fail(path_, std::string("cannot write: ") + std::strerror(written ? errno : error));
        }
        Forget();
    }

private:
    // A regular file made or truncated here goes; anything else (a device) is left alone.
    void Remove() {
        if (!real_.empty()) {
            truncate(real_.c_str(), 0);
            unlink(real_.c_str());
        }
        Forget();
    }
    void Forget() {
        if (!real_.empty()) {
            gWriting[0] = '\0';
            const int signals[] = {SIGINT, SIGTERM, SIGHUP};
            for (std::size_t i = 0; i < previous_.size(); ++i)
                std::signal(signals[i], previous_[i]);
            previous_.clear();
            real_.clear();
        }
    }

    std::string path_;
    std::string real_; // the regular file written, with links resolved
    std::FILE* file_ = nullptr;
    std::vector<void (*)(int)> previous_;
};

// OpenEXR writes through this into the output file.
class ExrStream : public Imf::OStream {
public:
    ExrStream(std::FILE* file, const std::string& path) : Imf::OStream(path.c_str()), file_(file) {}
    void write(const char c[], int n) override {
        if (std::fwrite(c, 1, static_cast<size_t>(n), file_) != static_cast<size_t>(n))
            throw std::runtime_error(std::strerror(errno));
    }
    uint64_t tellp() override { return static_cast<uint64_t>(ftello(file_)); }
    void seekp(uint64_t position) override {
        if (fseeko(file_, static_cast<off_t>(position), SEEK_SET) != 0)
            throw std::runtime_error(std::strerror(errno));
    }

private:
    std::FILE* file_;
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

// Rows for the PNG writer: Fill converts picture row y into `row`.
struct PngRowSource {
    void (*fill)(const PngRowSource* source, int y, png_bytep row);
    const XIImage* image;
    const Layout* layout;
    png_bytep row;
};

void FillIntegerRow(const PngRowSource* source, int y, png_bytep row) {
    IntegerRow(*source->image, *source->layout, y, row);
}

// The C side of writing: no object with a destructor lives in this frame, since libpng leaves
// through longjmp on an error. Returns null on success, else the reason.
const char* WritePngRows(std::FILE* file, int width, int height, int bits, const PngRowSource* source,
                         PngError* error) {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, error, PngErrorHandler, PngWarningHandler);
    if (!png)
        return "out of memory";
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return "out of memory";
    }
    if (setjmp(error->jump)) {
        png_destroy_write_struct(&png, &info);
        return error->message;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, bits, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (bits == 16)
        png_set_swap(png); // PNG stores 16-bit values big-endian
    for (int y = 0; y < height; ++y) {
        source->fill(source, y, source->row);
        png_write_row(png, source->row);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return nullptr;
}

void WritePng(const std::string& path, const XIImage& image, const Layout& layout) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    const int bits = layout.channel == Channel::Byte ? 8 : 16;
    std::vector<png_byte> row(static_cast<size_t>(width) * 4 * (bits / 8));
    const PngRowSource source{FillIntegerRow, &image, &layout, row.data()};

    OutputFile output(path);
    PngError error{};
    const char* failure = WritePngRows(output.Stream(), width, height, bits, &source, &error);
    if (failure)
        Fail(path, std::string("cannot write: ") +
                       (std::strcmp(failure, "Write Error") == 0 ? std::strerror(errno) : failure));
    output.Commit();
}

// libpng reads through this so that a file that ends early is told apart from a damaged one.
struct PngSource {
    std::FILE* file;
    bool truncated;
};

void PngRead(png_structp png, png_bytep data, size_t length) {
    auto* source = static_cast<PngSource*>(png_get_io_ptr(png));
    if (std::fread(data, 1, length, source->file) != length) {
        source->truncated = !std::ferror(source->file);
        png_error(png, source->truncated ? "truncated PNG data" : std::strerror(errno));
    }
}

struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    int width = 0, height = 0, bits = 0;
};

// The C side of reading, in two steps (header, then rows into memory the caller allocates);
// like WritePngRows, no object with a destructor lives in these frames. Each returns null on
// success, else the reason. The header step sets the transformations to RGBA of 8 or 16 bits.
const char* ReadPngHeader(PngSource* source, PngReader* reader, PngError* error) {
    reader->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, error, PngErrorHandler, PngWarningHandler);
    if (!reader->png)
        return "out of memory";
    reader->info = png_create_info_struct(reader->png);
    if (!reader->info)
        return "out of memory";
    if (setjmp(error->jump))
        return error->message;
    png_set_read_fn(reader->png, source, PngRead);
    // Refused by libpng before it takes memory for them: a side above the library's 16383, and
    // ancillary chunks (profiles, text) that would need more than 8 MiB or come in their thousands.
    png_set_user_limits(reader->png, 16383, 16383);
    png_set_chunk_malloc_max(reader->png, 8u << 20);
    png_set_chunk_cache_max(reader->png, 256);
    png_read_info(reader->png, reader->info);
    const int colorType = png_get_color_type(reader->png, reader->info);
    const int bits = png_get_bit_depth(reader->png, reader->info);
    png_set_expand(reader->png); // palette, low-bit grey and tRNS to full channels
    if (colorType == PNG_COLOR_TYPE_GRAY || colorType == PNG_COLOR_TYPE_GRAY_ALPHA)
        png_set_gray_to_rgb(reader->png);
    if (!(colorType & PNG_COLOR_MASK_ALPHA) && !png_get_valid(reader->png, reader->info, PNG_INFO_tRNS))
        png_set_filler(reader->png, bits == 16 ? 0xFFFF : 0xFF, PNG_FILLER_AFTER);
    if (bits == 16)
        png_set_swap(reader->png);
    png_set_interlace_handling(reader->png);
    png_read_update_info(reader->png, reader->info);
    reader->width = static_cast<int>(png_get_image_width(reader->png, reader->info));
    reader->height = static_cast<int>(png_get_image_height(reader->png, reader->info));
    reader->bits = bits == 16 ? 16 : 8;
    if (png_get_rowbytes(reader->png, reader->info) != size_t(reader->width) * 4 * (reader->bits / 8))
        return "unexpected row layout";
    return nullptr;
}

const char* ReadPngRows(PngReader* reader, png_bytep* rows, PngError* error) {
    if (setjmp(error->jump))
        return error->message;
    png_read_image(reader->png, rows);
    png_read_end(reader->png, nullptr);
    return nullptr;
}

HostImage ReadPng(const std::string& path, std::FILE* file) {
    PngSource source{file, false};
    PngReader reader;
    PngError error{};
    struct Destroy {
        PngReader& reader;
        ~Destroy() { png_destroy_read_struct(&reader.png, reader.info ? &reader.info : nullptr, nullptr); }
    } destroy{reader};
    auto check = [&](const char* failure) {
        if (source.truncated)
            Fail(path, "truncated PNG data");
        if (failure)
            Fail(path, std::string("bad PNG: ") + failure);
    };
    check(ReadPngHeader(&source, &reader, &error));
    if (reader.width < 1 || reader.height < 1 || reader.width > 16383 || reader.height > 16383)
        check("size outside 1..16383");
    RequireMemory(path, static_cast<unsigned long long>(reader.width) * reader.height * reader.bits / 2,
                  "a " + std::to_string(reader.width) + " x " + std::to_string(reader.height) + " picture");
    // The rows are decoded one after the other into memory that is taken as they are written
    // (PixelMemory): a file that ends early fails at its first missing row, having cost what it
    // held.
    HostImage image(OGL_ZEP6_AE::FourCC("RGBA"), reader.bits * 4, reader.bits == 16 ? 65535 : 255,
                    reader.width, reader.height, 0, false);
    std::vector<png_bytep> rows(reader.height);
    for (int y = 0; y < reader.height; ++y)
        rows[y] = image.Row(y);
    check(ReadPngRows(&reader, rows.data(), &error));
    return image;
}

// ---- OpenEXR --------------------------------------------------------------------------------

// OpenEXR's own limits, for the reader of the C++ interface: sides of at most 16383 (the
// library's limit), checked when a header is read, before any table or buffer is sized by it.
struct ExrLimits {
    ExrLimits() {
        Imf::Header::setMaxImageSize(16383, 16383);
        Imf::Header::setMaxTileSize(16383, 16383);
    }
};

// What the C++ reader would take on trust, checked first through OpenEXR's core reader, which
// parses the header and nothing else: sides within 16383 (its own size limits), one flat part,
// and a chunk table that fits in the file. The C++ reader sizes its table of chunk offsets by
// the header (a tiled header with 1 x 1 tiles claims 268 million chunks) before it reads
// them; a table larger than the file is a lie. Returns the reason, or an empty string.
std::string CheckExrHeader(const std::string& path) {
    exr_context_initializer_t init = EXR_DEFAULT_CONTEXT_INITIALIZER;
    init.max_image_width = 16383;
    init.max_image_height = 16383;
    init.max_tile_width = 16383;
    init.max_tile_height = 16383;
    std::string message;
    init.user_data = &message;
    init.error_handler_fn = [](exr_const_context_t context, exr_result_t code, const char* text) {
        void* data = nullptr;
        if (exr_get_user_data(context, &data) == EXR_ERR_SUCCESS && data &&
            static_cast<std::string*>(data)->empty())
            *static_cast<std::string*>(data) = text ? text : exr_get_default_error_message(code);
    };
    exr_context_t context = nullptr;
    exr_result_t result = exr_start_read(&context, path.c_str(), &init);
    std::string reason;
    if (result != EXR_ERR_SUCCESS) {
        reason = message.empty() ? exr_get_default_error_message(result) : message;
    } else {
        int parts = 0;
        exr_storage_t storage = EXR_STORAGE_LAST_TYPE;
        int32_t chunks = 0;
        std::error_code error;
        const auto fileSize = std::filesystem::file_size(path, error);
        if (exr_get_count(context, &parts) != EXR_ERR_SUCCESS || parts < 1 ||
            exr_get_storage(context, 0, &storage) != EXR_ERR_SUCCESS)
            reason = message.empty() ? "unreadable header" : message;
        else if (storage != EXR_STORAGE_SCANLINE && storage != EXR_STORAGE_TILED)
            reason = "deep data is not supported";
        else if (exr_get_chunk_count(context, 0, &chunks) != EXR_ERR_SUCCESS || chunks < 0)
            reason = message.empty() ? "unreadable chunk table" : message;
        else if (!error && static_cast<unsigned long long>(chunks) * 8 > fileSize)
            reason = "the header claims " + std::to_string(chunks) + " chunks, more than the file holds";
    }
    exr_finish(&context);
    return reason;
}

// Channels read as they are: R, G, B and A as floats (full precision), or a grey file's Y.
void ReadChannels(Imf::InputFile& file, HostImage& image, const Imath::Box2i& window, bool grey) {
    const long width = image.GetWidth();
    // A frame buffer holds one slice per channel name, so a grey file's Y goes to red and is
    // copied to green and blue afterwards. Slices address pixels by data-window coordinates; our
    // first row is the window's top row.
    Imf::FrameBuffer frame;
    const char* names[4] = {grey ? "Y" : "R", "G", "B", "A"};
    for (int c = 0; c < 4; ++c) {
        if (grey && (c == 1 || c == 2))
            continue;
        frame.insert(names[c], Imf::Slice::Make(Imf::FLOAT, image.Row(0) + c * 4, window, 16,
                                                static_cast<size_t>(width) * 16, 1, 1, c == 3 ? 1.0 : 0.0));
    }
    file.setFrameBuffer(frame);
    // In strips, so that a file whose data ends early fails there, having written (and so taken
    // memory for) only the rows before.
    for (int y = window.min.y; y <= window.max.y; y += 256)
        file.readPixels(y, std::min(window.max.y, y + 255));
    if (grey) {
        for (long y = 0; y < image.GetHeight(); ++y) {
            unsigned char* pixel = image.Row(y);
            for (long x = 0; x < width; ++x, pixel += 16) {
                std::memcpy(pixel + 4, pixel, 4);
                std::memcpy(pixel + 8, pixel, 4);
            }
        }
    }
}

// Luminance and chroma (Y, RY, BY, usually with chroma at half resolution) are no picture until
// OpenEXR's RGBA interface turns them into colour with the file's chromaticities; it yields half
// floats, which is the precision such files store. Read in strips like the channels above.
void ReadLuminanceChroma(const std::string& path, HostImage& image, const Imath::Box2i& window) {
    Imf::RgbaInputFile file(path.c_str());
    const long width = image.GetWidth();
    constexpr int kStrip = 64;
    std::vector<Imf::Rgba> strip(static_cast<size_t>(width) * kStrip);
    for (int y0 = window.min.y; y0 <= window.max.y; y0 += kStrip) {
        const int y1 = std::min(window.max.y, y0 + kStrip - 1);
        file.setFrameBuffer(reinterpret_cast<Imf::Rgba*>(reinterpret_cast<std::uintptr_t>(strip.data()) -
                                                         (static_cast<std::intptr_t>(y0) * width + window.min.x) *
                                                             static_cast<std::intptr_t>(sizeof(Imf::Rgba))),
                            1, static_cast<size_t>(width));
        file.readPixels(y0, y1);
        for (int y = y0; y <= y1; ++y) {
            float* out = reinterpret_cast<float*>(image.Row(y - window.min.y));
            const Imf::Rgba* in = strip.data() + static_cast<size_t>(y - y0) * width;
            for (long x = 0; x < width; ++x) {
                out[x * 4 + 0] = in[x].r;
                out[x * 4 + 1] = in[x].g;
                out[x * 4 + 2] = in[x].b;
                out[x * 4 + 3] = in[x].a;
            }
        }
    }
}

HostImage ReadExr(const std::string& path) {
    static const ExrLimits limits;
    std::string failure = CheckExrHeader(path);
    if (failure.empty()) {
        try {
            Imf::InputFile file(path.c_str());
            const Imath::Box2i window = file.header().dataWindow();
            const long width = long(window.max.x) - window.min.x + 1,
                       height = long(window.max.y) - window.min.y + 1;
            if (width < 1 || height < 1 || width > 16383 || height > 16383)
                Fail(path, "bad OpenEXR: size outside 1..16383");
            RequireMemory(path, static_cast<unsigned long long>(width) * height * 16,
                          "a " + std::to_string(width) + " x " + std::to_string(height) + " picture");
            const Imf::ChannelList& channels = file.header().channels();
            if (!channels.findChannel("R") && !channels.findChannel("G") && !channels.findChannel("B") &&
                !channels.findChannel("Y") && !channels.findChannel("A"))
                Fail(path, "bad OpenEXR: none of the channels R, G, B, Y or A");
            HostImage image(OGL_ZEP6_AE::FourCC("RGBA"), 128, 1, width, height, 0, false);
            const Imath::Box2i display = file.header().displayWindow();
            image.SetWindows({true, window.min.x, window.min.y, display.min.x, display.min.y, display.max.x,
                              display.max.y});
            if (channels.findChannel("RY") || channels.findChannel("BY"))
                ReadLuminanceChroma(path, image, window);
            else
                ReadChannels(file, image, window, !channels.findChannel("R") && channels.findChannel("Y"));
            return image;
        } catch (const FileError&) {
            throw;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& e) {
            failure = e.what();
        }
    }
    Fail(path, "bad OpenEXR: " + failure);
}

// Written in strips of rows converted as they go, so that writing holds one strip beside the
// image.
void WriteExr(const std::string& path, const XIImage& image, const Layout& layout, bool floatChannels,
              const FileWindows& windows) {
    const int width = static_cast<int>(image.GetWidth()), height = static_cast<int>(image.GetHeight());
    constexpr int kStrip = 64;
    std::vector<float> floats(floatChannels ? static_cast<size_t>(width) * 4 * kStrip : 0);
    std::vector<half> halves(floatChannels ? 0 : static_cast<size_t>(width) * 4 * kStrip);
    OutputFile output(path);
    try {
        const bool placed = windows.present;
        const Imath::V2i origin = placed ? Imath::V2i(windows.dataX, windows.dataY) : Imath::V2i(0, 0);
        const Imath::Box2i data(origin, origin + Imath::V2i(width - 1, height - 1));
        const Imath::Box2i display = placed ? Imath::Box2i({windows.displayMinX, windows.displayMinY},
                                                           {windows.displayMaxX, windows.displayMaxY})
                                            : data;
        Imf::Header header(display, data);
        const Imf::PixelType type = floatChannels ? Imf::FLOAT : Imf::HALF;
        const size_t size = floatChannels ? sizeof(float) : sizeof(half);
        char* base = floatChannels ? reinterpret_cast<char*>(floats.data()) : reinterpret_cast<char*>(halves.data());
        const char* names[4] = {"R", "G", "B", "A"};
        for (int c = 0; c < 4; ++c)
            header.channels().insert(names[c], Imf::Channel(type));
        ExrStream stream(output.Stream(), path);
        Imf::OutputFile file(stream, header);
        for (int y0 = 0; y0 < height; y0 += kStrip) {
            const int rows = std::min(kStrip, height - y0);
            for (int r = 0; r < rows; ++r) {
                if (floatChannels)
                    FloatRow(image, layout, y0 + r, floats.data() + static_cast<size_t>(r) * width * 4);
                else
                    FloatRow(image, layout, y0 + r, halves.data() + static_cast<size_t>(r) * width * 4);
            }
            // The strip's slices address its rows by their place in the picture.
            Imf::FrameBuffer frame;
            for (int c = 0; c < 4; ++c)
                frame.insert(names[c], Imf::Slice::Make(type, base + c * size, origin + Imath::V2i(0, y0), width, rows,
                                                        4 * size, 4 * size * width));
            file.setFrameBuffer(frame);
            file.writePixels(rows);
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& e) {
        Fail(path, std::string("cannot write: ") + e.what());
    }
    output.Commit();
}

std::string Extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return extension;
}

} // namespace

namespace {

unsigned long long gMemoryLimit = DefaultMemoryLimit();

HostImage ReadFile(const std::string& path) {
    FilePtr file(std::fopen(path.c_str(), "rb"));
    if (!file)
        Fail(path, std::string("cannot open: ") + std::strerror(errno));
    unsigned char magic[8] = {};
    const size_t got = std::fread(magic, 1, sizeof magic, file.get());
    if (got < sizeof magic && std::ferror(file.get()))
        Fail(path, std::string("cannot read: ") + std::strerror(errno));
    if (got == 8 && png_sig_cmp(magic, 0, 8) == 0) {
        std::rewind(file.get());
        return ReadPng(path, file.get());
    }
    file.reset();
    if (got >= 4 && magic[0] == 0x76 && magic[1] == 0x2f && magic[2] == 0x31 && magic[3] == 0x01)
        return ReadExr(path);
    Fail(path, got == 0 ? "empty file" : "not a PNG or OpenEXR file");
}

std::string MiB(unsigned long long bytes) {
    return std::to_string((bytes + (1u << 20) - 1) >> 20) + " MiB";
}

} // namespace

unsigned long long DefaultMemoryLimit() {
    const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGE_SIZE);
    return pages > 0 && pageSize > 0 ? static_cast<unsigned long long>(pages) * pageSize / 2 : 1ull << 32;
}

unsigned long long MemoryLimit() {
    return gMemoryLimit;
}

void SetMemoryLimit(unsigned long long bytes) {
    gMemoryLimit = bytes;
}

bool ParseSize(const std::string& text, unsigned long long& bytes) {
    size_t digits = 0;
    while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    if (digits == 0 || digits > 15)
        return false;
    unsigned long long value = std::stoull(text.substr(0, digits));
    const std::string unit = text.substr(digits);
    const std::string units = "KMGT";
    if (unit.size() > 1 && !(unit.size() == 3 && unit.compare(1, 2, "iB") == 0) &&
        !(unit.size() == 2 && unit[1] == 'B'))
        return false;
    if (!unit.empty()) {
        const size_t power = units.find(static_cast<char>(std::toupper(static_cast<unsigned char>(unit[0]))));
        if (power == std::string::npos)
            return false;
        for (size_t i = 0; i <= power; ++i) {
            if (value > (~0ull >> 10))
                return false;
            value <<= 10;
        }
    }
    if (value == 0)
        return false;
    bytes = value;
    return true;
}

void RequireMemory(const std::string& culprit, unsigned long long bytes, const std::string& what) {
    if (bytes > gMemoryLimit)
        throw FileError(culprit + ": " + what + " needs " + MiB(bytes) +
                                 ", more than the memory limit of " + MiB(gMemoryLimit) + " (--max-memory)");
}

HostImage ReadImage(const std::string& path) {
    try {
        return ReadFile(path);
    } catch (const std::bad_alloc&) {
        Fail(path, "out of memory");
    }
}

void WriteImage(const std::string& path, const XIImage& image, bool floatChannels, const FileWindows& windows) {
    const Layout layout = LayoutOf(path, image);
    const bool isFloat = layout.channel == Channel::Float || layout.channel == Channel::Half;
    const std::string extension = Extension(path);
    try {
        if (extension == ".png") {
            if (isFloat)
                Fail(path, "float pixels need an .exr file");
            WritePng(path, image, layout);
        } else if (extension == ".exr") {
            if (!isFloat)
                Fail(path, "integer pixels need a .png file");
            WriteExr(path, image, layout, floatChannels, windows);
        } else {
            Fail(path, "unknown file extension (use .png or .exr)");
        }
    } catch (const std::bad_alloc&) {
        Fail(path, "out of memory");
    }
}

} // namespace zep6gl
