// Mutation fuzzing of the tool's image readers (PNG through libpng, OpenEXR through OpenEXR).
//
//     zep6gl_fuzz [--seconds N] [--seed S] [--max-memory SIZE] [--work DIR] [FOLDER...]
//
// Seeds are the PNG and OpenEXR files in the folders given (the corpus of damaged files) and,
// for two rounds in three, valid pictures made here in the variants the readers know (8- and 16-bit, interlaced, palette
// and grey PNG; half, float, tiled, compressed and luminance/chroma OpenEXR). Each round takes a
// seed, applies one mutation (half the rounds) or two to four (bit flips, byte inserts and deletes, a truncation, a
// 32-bit field rewritten with a value that tests limits, a slice copied elsewhere; for PNG the
// chunk checksums are then often made right again so that the damage reaches the decoder), and
// reads the result with ReadImage in this process. Outcomes are counted by kind: read, refused
// with one line naming the file (by reason), or unexpected (any other exception, a message of
// several lines or without the file's name): the run fails on an unexpected outcome. A crash
// or a sanitizer report ends the process; the input that caused it stays in DIR/current (run
// with the sanitizers on, as CI does). An input that takes longer than 20 seconds is a hang: it
// aborts with the same file left. The readers' own memory limit (--max-memory, default 256M)
// keeps any input from taking the machine's memory; rlimits are no use under the address
// sanitizer, which reserves terabytes of address space.
#include "HostImage.h"
#include "ImageIO.h"

#include "core/PixelFormat.h"

#include <ImfHeader.h>
#include <ImfRgbaFile.h>
#include <ImfTiledRgbaFile.h>
#include <png.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace fs = std::filesystem;
using Bytes = std::string;

namespace {

Bytes Load(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Save(const fs::path& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(bytes.size()));
}

// ---- valid seeds ----------------------------------------------------------------------------

zep6gl::HostImage Picture(long bitDepth, long width, long height) {
    zep6gl::HostImage image(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), bitDepth,
                            bitDepth == 32 ? 255 : bitDepth == 64 ? 65535 : 1, width, height, 0, false);
    for (long y = 0; y < height; ++y)
        for (long i = 0; i < width * 4; ++i) {
            unsigned char* at = image.Row(y) + i * (bitDepth / 32);
            const unsigned v = unsigned(i * 37 + y * 101) % 251;
            if (bitDepth == 32)
                *at = static_cast<unsigned char>(v);
            else if (bitDepth == 64)
                *reinterpret_cast<unsigned short*>(at) = static_cast<unsigned short>(v * 257);
            else
                *reinterpret_cast<float*>(at) = float(v) / 200.0f;
        }
    return image;
}

void WritePngWithLibpng(const fs::path& path, int colourType, int bits, bool interlaced) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    const int width = 11, height = 9;
    png_set_IHDR(png, info, width, height, bits, colourType, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette(16);
    for (int i = 0; i < 16; ++i)
        palette[i] = {png_byte(i * 16), png_byte(255 - i * 8), png_byte(i * 3)};
    if (colourType == PNG_COLOR_TYPE_PALETTE)
        png_set_PLTE(png, info, palette.data(), 16);
    png_write_info(png, info);
    std::vector<png_byte> row(png_get_rowbytes(png, info));
    for (int pass = 0; pass < (interlaced ? png_set_interlace_handling(png) : 1); ++pass)
        for (int y = 0; y < height; ++y) {
            for (size_t i = 0; i < row.size(); ++i)
                row[i] = png_byte((i * 29 + y * 7) & (colourType == PNG_COLOR_TYPE_PALETTE ? 0x77 : 0xFF));
            png_write_row(png, row.data());
        }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

void WriteRgbaExr(const fs::path& path, Imf::Compression compression, Imf::RgbaChannels channels, bool tiled) {
    const int width = 12, height = 10;
    std::vector<Imf::Rgba> pixels(width * height);
    for (int i = 0; i < width * height; ++i)
        pixels[i] = Imf::Rgba(i % 7 / 6.0f, i % 5 / 4.0f, i % 3 / 2.0f, 1.0f);
    if (tiled) {
        Imf::TiledRgbaOutputFile file(path.c_str(), width, height, 4, 4, Imf::MIPMAP_LEVELS, Imf::ROUND_DOWN,
                                      channels, 1, Imath::V2f(0, 0), 1, Imf::INCREASING_Y, compression);
        for (int level = 0; level < file.numLevels(); ++level) {
            file.setFrameBuffer(pixels.data(), 1, width);
            file.writeTiles(0, file.numXTiles(level) - 1, 0, file.numYTiles(level) - 1, level);
        }
    } else {
        Imf::RgbaOutputFile file(path.c_str(), width, height, channels, 1, Imath::V2f(0, 0), 1, Imf::INCREASING_Y,
                                 compression);
        file.setFrameBuffer(pixels.data(), 1, width);
        file.writePixels(height);
    }
}

std::vector<Bytes> MakeValidSeeds(const fs::path& work) {
    const fs::path dir = work / "seeds";
    fs::create_directories(dir);
    zep6gl::WriteImage((dir / "rgba8.png").string(), Picture(32, 13, 7));
    zep6gl::WriteImage((dir / "rgba16.png").string(), Picture(64, 9, 5));
    zep6gl::WriteImage((dir / "half.exr").string(), Picture(128, 10, 6));
    zep6gl::WriteImage((dir / "float.exr").string(), Picture(128, 6, 10), true);
    WritePngWithLibpng(dir / "grey2-interlaced.png", PNG_COLOR_TYPE_GRAY, 2, true);
    WritePngWithLibpng(dir / "palette4.png", PNG_COLOR_TYPE_PALETTE, 4, false);
    WritePngWithLibpng(dir / "rgb16-interlaced.png", PNG_COLOR_TYPE_RGB, 16, true);
    WritePngWithLibpng(dir / "grey-alpha8.png", PNG_COLOR_TYPE_GRAY_ALPHA, 8, false);
    WriteRgbaExr(dir / "zip.exr", Imf::ZIP_COMPRESSION, Imf::WRITE_RGBA, false);
    WriteRgbaExr(dir / "piz.exr", Imf::PIZ_COMPRESSION, Imf::WRITE_RGBA, false);
    WriteRgbaExr(dir / "rle-yc.exr", Imf::RLE_COMPRESSION, Imf::WRITE_YC, false);
    WriteRgbaExr(dir / "y.exr", Imf::ZIPS_COMPRESSION, Imf::WRITE_Y, false);
    WriteRgbaExr(dir / "tiled-mipmap.exr", Imf::ZIP_COMPRESSION, Imf::WRITE_RGBA, true);
    WriteRgbaExr(dir / "b44.exr", Imf::B44_COMPRESSION, Imf::WRITE_RGB, false);
    std::vector<Bytes> seeds;
    for (const auto& entry : fs::directory_iterator(dir))
        seeds.push_back(Load(entry.path()));
    return seeds;
}

// ---- mutations ------------------------------------------------------------------------------

const uint32_t kInteresting[] = {0,          1,          2,          0x7F,       0x80,       0xFF,
                                 0x3FFF,     0x4000,     0x7FFF,     0x8000,     0xFFFF,     0x10000,
                                 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFE, 16383,      16384};

// Makes the CRC of every chunk of a PNG right again, as far as the lengths lead.
void FixPngChecksums(Bytes& data) {
    size_t at = 8;
    while (at + 12 <= data.size()) {
        const uint32_t length = uint32_t((unsigned char)data[at]) << 24 | uint32_t((unsigned char)data[at + 1]) << 16 |
                                uint32_t((unsigned char)data[at + 2]) << 8 | uint32_t((unsigned char)data[at + 3]);
        if (length > data.size() - at - 12)
            return;
        const uint32_t crc = uint32_t(crc32(0, reinterpret_cast<const Bytef*>(data.data() + at + 4), length + 4));
        for (int i = 0; i < 4; ++i)
            data[at + 8 + length + i] = char(crc >> (24 - 8 * i));
        at += 12 + length;
    }
}

Bytes Mutate(Bytes data, std::mt19937_64& random) {
    auto below = [&](size_t n) { return n ? size_t(random() % n) : 0; };
    // Offsets favour the first bytes, where the headers are.
    auto offset = [&](size_t size) { return random() % 2 ? below(std::min<size_t>(size, 96)) : below(size); };
    const int count = random() % 2 ? 1 : 2 + int(below(3));
    for (int m = 0; m < count && !data.empty(); ++m) {
        switch (below(6)) {
        case 0:
            for (size_t flips = 1 + below(8); flips--;)
                data[offset(data.size())] ^= char(1 << below(8));
            break;
        case 1: {
            Bytes inserted(1 + below(16), '\0');
            for (char& c : inserted)
                c = char(random());
            data.insert(offset(data.size() + 1), inserted);
            break;
        }
        case 2: {
            const size_t at = offset(data.size());
            data.erase(at, 1 + below(16));
            break;
        }
        case 3:
            data.resize(below(data.size()));
            break;
        case 4: {
            if (data.size() < 4)
                break;
            const uint32_t value = kInteresting[below(std::size(kInteresting))] + uint32_t(below(3)) - 1;
            const size_t at = offset(data.size() - 3);
            const bool bigEndian = random() % 2;
            for (int i = 0; i < 4; ++i)
                data[at + i] = char(value >> (bigEndian ? 24 - 8 * i : 8 * i));
            break;
        }
        default: {
            const size_t from = below(data.size()), length = 1 + below(std::min<size_t>(64, data.size() - from));
            data.insert(offset(data.size() + 1), data.substr(from, length));
            break;
        }
        }
    }
    if (data.size() > 8 && data.compare(1, 3, "PNG") == 0 && random() % 4 != 0)
        FixPngChecksums(data);
    return data;
}

// ---- the run --------------------------------------------------------------------------------

char gCurrent[4096];

extern "C" void OnHang(int) {
    const char text[] = "zep6gl_fuzz: an input took more than 20 seconds (a hang); it is kept in ";
    (void)!write(2, text, sizeof text - 1);
    (void)!write(2, gCurrent, std::strlen(gCurrent));
    (void)!write(2, "\n", 1);
    std::abort();
}

// The kind of a refusal: its reason up to the first detail.
std::string KindOf(const std::string& reason) {
    for (const char* kind : {"truncated PNG data", "bad PNG", "bad OpenEXR", "not a PNG or OpenEXR file", "empty file",
                             "memory limit", "out of memory"})
        if (reason.find(kind) != std::string::npos)
            return kind;
    return "other: " + reason.substr(0, 60);
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 60;
    unsigned long long seed = std::random_device()(), memory = 256ull << 20;
    fs::path work = fs::temp_directory_path() / ("zep6gl-fuzz-" + std::to_string(getpid()));
    std::vector<fs::path> folders;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--seconds" && hasValue)
            seconds = std::stod(argv[++i]);
        else if (arg == "--seed" && hasValue)
            seed = std::stoull(argv[++i]);
        else if (arg == "--max-memory" && hasValue && zep6gl::ParseSize(argv[i + 1], memory))
            ++i;
        else if (arg == "--work" && hasValue)
            work = argv[++i];
        else if (arg.rfind("--", 0) == 0) {
            std::fprintf(stderr, "usage: zep6gl_fuzz [--seconds N] [--seed S] [--max-memory SIZE] [--work DIR] "
                                 "[FOLDER...]\n");
            return 2;
        } else
            folders.push_back(arg);
    }
    zep6gl::SetMemoryLimit(memory);
    fs::create_directories(work);
    std::vector<Bytes> seeds = MakeValidSeeds(work);
    const size_t valid = seeds.size();
    for (const fs::path& folder : folders)
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".png" || entry.path().extension() == ".exr")
                seeds.push_back(Load(entry.path()));
    const std::string current = (work / "current").string();
    std::snprintf(gCurrent, sizeof gCurrent, "%s", current.c_str());
    std::signal(SIGALRM, OnHang);
    std::printf("zep6gl_fuzz: seed %llu, %zu seeds (%zu valid, %zu from folders), %.0f s, memory limit %llu MiB, "
                "input in %s\n",
                seed, seeds.size(), valid, seeds.size() - valid, seconds, memory >> 20, current.c_str());
    std::fflush(stdout);

    std::mt19937_64 random(seed);
    std::map<std::string, long> outcomes;
    long inputs = 0, unexpected = 0;
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < seconds) {
        // Two rounds in three start from a valid picture, so that mutations reach the decoders.
        const size_t from = random() % 3 ? random() % valid : random() % seeds.size();
        const Bytes input = Mutate(seeds[from], random);
        Save(current, input);
        ++inputs;
        alarm(20);
        try {
            zep6gl::ReadImage(current);
            ++outcomes["read"];
        } catch (const std::runtime_error& e) {
            const std::string text = e.what();
            const bool clean = text.rfind(current + ": ", 0) == 0 && text.find('\n') == std::string::npos;
            if (clean) {
                ++outcomes["refused: " + KindOf(text.substr(current.size() + 2))];
            } else {
                ++unexpected;
                ++outcomes["unexpected message"];
                const fs::path kept = work / ("unexpected-" + std::to_string(unexpected));
                Save(kept, input);
                std::fprintf(stderr, "zep6gl_fuzz: not one line naming the file (%s): %s\n", kept.c_str(), text.c_str());
            }
        } catch (const std::exception& e) {
            ++unexpected;
            ++outcomes["unexpected exception"];
            const fs::path kept = work / ("unexpected-" + std::to_string(unexpected));
            Save(kept, input);
            std::fprintf(stderr, "zep6gl_fuzz: exception of another kind (%s): %s\n", kept.c_str(), e.what());
        }
        alarm(0);
    }
    fs::remove(current);
    fs::remove_all(work / "seeds");
    std::printf("zep6gl_fuzz: %ld inputs in %.0f s\n", inputs,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    for (const auto& [kind, count] : outcomes)
        std::printf("  %-60s %8ld\n", kind.c_str(), count);
    if (unexpected == 0)
        fs::remove_all(work);
    return unexpected ? 1 : 0;
}
