// Image files of the command-line tool: what is written, what is read, and what a failed write
// leaves. (Damaged files: CommandLine_test.)
#include "ToolTestSupport.h"

#include "ImageIO.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <half.h>

#include <map>
#include <random>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

namespace zep6gltest {
namespace {

using OGL_ZEP6_AE::FourCC;

class ImageIOTest : public ToolTest {};

// 8-bit channel c of pixel (x, y) counted from the top.
unsigned Picture8(long x, long y, int c) {
    return unsigned(x * 37 + y * 11 + c * 71 + x * y) % 256;
}

// 16-bit channel as a multiple of 1/16384, so that it is exact at white 16384, 32768 and (once
// rounded) 65535. The first pixel holds black, white, the smallest step and one half.
unsigned Picture14(long x, long y, int c) {
    static const unsigned corner[4] = {0, 16384, 1, 8192};
    return x == 0 && y == 0 ? corner[c] : unsigned(x * 1237 + y * 419 + c * 3001) % 16385;
}
unsigned Picture16(long x, long y, int c) {
    return unsigned(std::floor(Picture14(x, y, c) * 65535.0 / 16384.0 + 0.5));
}

// Float channel: multiples of 1/512 in -0.5..2, exact in half floats; over-white and negative
// values must survive.
float PictureF(long x, long y, int c) {
    return float((x * 97 + y * 31 + c * 53) % 1280 - 256) / 512.0f;
}

struct Code {
    const char* name;
    long colorSpace;
    int order[4]; // memory position of R, G, B, A
};

const Code kCodes[] = {
    {"ARGB-32", 32, {1, 2, 3, 0}}, {"BGRA", FourCC("BGRA"), {2, 1, 0, 3}},
    {"RGBA", FourCC("RGBA"), {0, 1, 2, 3}}, {"GL_BGRA", GL_BGRA, {2, 1, 0, 3}},
    {"GL_RGBA8", GL_RGBA8, {0, 1, 2, 3}}, {"GL_RGBA16", GL_RGBA16, {0, 1, 2, 3}},
    {"GL_RGBA16F", GL_RGBA16F, {0, 1, 2, 3}}, {"GL_RGBA32F", GL_RGBA32F, {0, 1, 2, 3}},
};

enum class Kind { Byte, Short, Half, Float };

struct Depth {
    const char* name;
    long bitDepth;
    long whiteLevel;
    Kind kind;
};

const Depth kDepths[] = {
    {"8", 32, 255, Kind::Byte},           {"16@65535", 64, 65535, Kind::Short},
    {"16@32768", 64, 32768, Kind::Short}, {"16@16384", 64, 16384, Kind::Short},
    {"half", 64, 1, Kind::Half},          {"float", 128, 1, Kind::Float},
};

const Code& kRgba = kCodes[2];
const Depth& kDepth8 = kDepths[0];
const Depth& kDepth16 = kDepths[1];
const Depth& kDepthFloat = kDepths[5];

// An image of the description holding the picture. Padding bytes and everything else the picture
// does not cover hold a pattern that must not reach the file.
HostImage MakeImage(const Code& code, const Depth& depth, long width, long height, long padding = 0,
                    bool bottomUp = false) {
    HostImage image(code.colorSpace, depth.bitDepth, depth.whiteLevel, width, height, padding, bottomUp);
    std::memset(image.Row(0), 0xA5, size_t(image.GetRowBytes()) * height);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                unsigned char* at = image.Row(bottomUp ? height - 1 - y : y) +
                                    (x * 4 + code.order[c]) * (depth.bitDepth / 32);
                if (depth.kind == Kind::Byte)
                    *at = static_cast<unsigned char>(Picture8(x, y, c));
                else if (depth.kind == Kind::Short)
                    Put(at, static_cast<unsigned short>(
                                depth.whiteLevel == 65535 ? Picture16(x, y, c)
                                                          : Picture14(x, y, c) * (depth.whiteLevel / 16384)));
                else if (depth.kind == Kind::Half)
                    Put(at, half(PictureF(x, y, c)));
                else
                    Put(at, PictureF(x, y, c));
            }
    return image;
}

// What ReadImage promises of every file: a packed top-down RGBA image of the file's size, 8-bit
// PNG at white 255, 16-bit PNG at 65535, OpenEXR as floats at 1; here holding expected(x, y, c).
void ExpectReadAs(const HostImage& image, long bitDepth, long width, long height,
                  const std::function<double(long x, long y, int c)>& expected) {
    ASSERT_EQ(std::vector<long>({image.GetColorSpace(), image.GetBitDepth(), image.GetWhiteLevel(), image.IsBottomUp(),
                                 image.GetWidth(), image.GetHeight(), image.GetRowBytes()}),
              std::vector<long>({long(FourCC("RGBA")), bitDepth, bitDepth == 32 ? 255 : bitDepth == 64 ? 65535 : 1, 0,
                                 width, height, width * bitDepth / 8}));
    const double white = double(image.GetWhiteLevel());
    ExpectValues(image, width, height, [&](long x, long y, int c) { return expected(x, y, c) / white; },
                 [](double) { return 0.0; });
}

// How a file stores its channels, as its own library sees it: PNG by its header, OpenEXR by its
// channel list and data window.
std::string Storage(const std::string& path) {
    const std::string bytes = Contents(path);
    if (bytes.compare(1, 3, "PNG") == 0)
        return "PNG depth " + std::to_string(int(bytes[24])) + " type " + std::to_string(int(bytes[25]));
    Imf::InputFile file(path.c_str());
    std::string storage;
    for (auto c = file.header().channels().begin(); c != file.header().channels().end(); ++c)
        storage += c.name() + std::string(c.channel().type == Imf::HALF ? ":half " : ":float ");
    const Imath::V2i origin = file.header().dataWindow().min;
    return storage + "from (" + std::to_string(origin.x) + ", " + std::to_string(origin.y) + ")";
}

// The reference files of RGBA images (8 bits, 16 bits, float as half and as float channels) store
// RGBA of that depth and read back as the picture; the file of every other description of the
// picture (channel order, white level, row padding, orientation) is byte for byte the reference.
TEST_F(ImageIOTest, EveryDescriptionWritesTheReferenceFileOfThePicture) {
    const long width = 13, height = 7;
    const struct {
        const Depth& depth;
        bool floatChannels;
        const char* storage;
    } references[] = {{kDepth8, false, "PNG depth 8 type 6"},
                      {kDepth16, false, "PNG depth 16 type 6"},
                      {kDepthFloat, false, "A:half B:half G:half R:half from (0, 0)"},
                      {kDepthFloat, true, "A:float B:float G:float R:float from (0, 0)"}};
    std::map<std::pair<Kind, bool>, std::string> files; // (class, float channels) -> reference file
    for (const auto& k : references) {
        const bool isFloat = k.depth.kind == Kind::Float;
        const std::string path = Path(std::string("ref-") + k.depth.name + (k.floatChannels ? "-float" : "") +
                                      (isFloat ? ".exr" : ".png"));
        SCOPED_TRACE(path);
        zep6gl::WriteImage(path, MakeImage(kRgba, k.depth, width, height), k.floatChannels);
        files[{k.depth.kind, k.floatChannels}] = Contents(path);
        EXPECT_EQ(Storage(path), k.storage);
        ASSERT_NO_FATAL_FAILURE(ExpectReadAs(zep6gl::ReadImage(path), k.depth.bitDepth, width, height,
                                             [&](long x, long y, int c) -> double {
                                                 if (isFloat)
                                                     return PictureF(x, y, c);
                                                 return k.depth.kind == Kind::Byte ? Picture8(x, y, c)
                                                                                   : Picture16(x, y, c);
                                             }));
    }

    for (const Code& code : kCodes)
        for (const Depth& depth : kDepths) {
            // The classic code 32 at 64 bits always means unsigned shorts; it has no half form.
            if (code.colorSpace == 32 && depth.kind == Kind::Half)
                continue;
            const bool isFloat = depth.kind == Kind::Half || depth.kind == Kind::Float;
            for (long padding : {0L, 3L, 16L})
                for (bool bottomUp : {false, true})
                    for (bool floatChannels : {false, true}) {
                        if (floatChannels && !isFloat)
                            continue;
                        const std::string name = std::string(code.name) + "-" + depth.name + "-pad" +
                                                 std::to_string(padding) + (bottomUp ? "-up" : "-down") +
                                                 (floatChannels ? "-float" : "") +
                                                 (isFloat ? ".exr" : ".png");
                        SCOPED_TRACE(name);
                        zep6gl::WriteImage(Path(name),
                                           MakeImage(code, depth, width, height, padding, bottomUp),
                                           floatChannels);
                        EXPECT_TRUE(Contents(Path(name)) ==
                                    files.at({isFloat ? Kind::Float : depth.kind, floatChannels}))
                            << "file differs from the RGBA reference";
                    }
        }
}

// Values reach the file as ReadImage gives them back: 16-bit data at white levels below 65535 as
// value * 65535 / white, rounded to nearest and clamped (data the library hands OpenGL as signed
// shorts, four-character codes at white 16384 and below, clamped at black; the classic code 32 and
// GL_RGBA16 always unsigned); float channels at full precision. Values the picture of the
// reference files holds: EveryDescriptionWritesTheReferenceFileOfThePicture.
TEST_F(ImageIOTest, ValuesScaleRoundAndClampAndFloatsKeepFullPrecision) {
    const struct {
        long colorSpace, bitDepth, whiteLevel;
        std::vector<std::pair<double, double>> values; // in the image -> in the file
    } cases[] = {
        // 1 gives 1.99997, 16384 gives 32767.5 (rounds up), 32767 gives 65533.0; over white clamps.
        {FourCC("RGBA"), 64, 32768, {{1, 2}, {16384, 32768}, {32767, 65533}, {40000, 65535}, {0xFFFF, 65535}}},
        // 1 gives 3.99994, 16383 gives 65531.0; 0xFFFF and 0x8000 are -1 and -32768 as signed shorts.
        {FourCC("BGRA"), 64, 16384, {{1, 4}, {16383, 65531}, {20000, 65535}, {0xFFFF, 0}, {0x8000, 0}}},
        {GL_RGBA16, 64, 16384, {{0xFFFF, 65535}}},
        {32, 64, 16384, {{0xFFFF, 65535}}},
        // 0.1234567 and 1e-5 are no halves (the first would read back as 0.12347): no stage may go
        // through half floats.
        {FourCC("RGBA"), 128, 1, {{0.1234567f, 0.1234567f}, {2.5, 2.5}, {-0.75, -0.75}, {1e-5f, 1e-5f}}},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE("colour space " + std::to_string(k.colorSpace) + " white " + std::to_string(k.whiteLevel));
        // Pixel i holds value i in all four channels.
        const bool isFloat = k.bitDepth == 128;
        const long width = long(k.values.size());
        HostImage image(k.colorSpace, k.bitDepth, k.whiteLevel, width, 1, 0, false);
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                unsigned char* at = image.Row(0) + (x * 4 + c) * (k.bitDepth / 32);
                if (isFloat)
                    Put(at, float(k.values[x].first));
                else
                    Put(at, static_cast<unsigned short>(k.values[x].first));
            }
        const std::string path = Path(isFloat ? "v.exr" : "v.png");
        zep6gl::WriteImage(path, image, /*floatChannels*/ true);
        const HostImage back = zep6gl::ReadImage(path);
        ASSERT_EQ(back.GetBitDepth(), k.bitDepth);
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(Sample(back, x, 0, c), k.values[x].second) << "value " << k.values[x].first;
    }
}

TEST_F(ImageIOTest, ExrVariantsReadAsRgba) {
    const Imath::Box2i origin({0, 0}, {5, 3});
    const struct {
        const char* name;
        const char* channels;
        Imf::PixelType type, alphaType;
        Imath::Box2i window;
    } variants[] = {
        {"Y half", "Y", Imf::HALF, Imf::HALF, origin},
        {"Y and A half", "YA", Imf::HALF, Imf::HALF, origin},
        {"RGB float", "RGB", Imf::FLOAT, Imf::FLOAT, origin},
        {"RGBA half, window off the origin", "RGBA", Imf::HALF, Imf::HALF, Imath::Box2i({-3, 10}, {4, 13})},
        {"RGBA with a UINT alpha", "RGBA", Imf::HALF, Imf::UINT, origin},
    };
    // Channel values by name; A in whole numbers so that UINT holds it.
    auto value = [](char name, long x, long y) -> float {
        return name == 'A' ? float((x + y) % 3) : PictureF(x, y, name == 'G' ? 1 : name == 'B' ? 2 : 0);
    };
    for (const auto& v : variants) {
        SCOPED_TRACE(v.name);
        const std::string path = Path("variant.exr"), names = v.channels;
        const long width = v.window.max.x - v.window.min.x + 1, height = v.window.max.y - v.window.min.y + 1;
        {
            // Writing takes each channel from a buffer of its own type.
            Imf::Header header(v.window, v.window);
            std::map<char, std::vector<unsigned char>> buffers;
            Imf::FrameBuffer frame;
            for (char name : names) {
                const Imf::PixelType type = name == 'A' ? v.alphaType : v.type;
                const size_t size = type == Imf::HALF ? 2 : 4;
                auto& buffer = buffers[name];
                buffer.resize(size * width * height);
                for (long i = 0; i < width * height; ++i) {
                    const float f = value(name, i % width, i / width);
                    if (type == Imf::HALF)
                        Put(&buffer[i * size], half(f));
                    else if (type == Imf::FLOAT)
                        Put(&buffer[i * size], f);
                    else
                        Put(&buffer[i * size], unsigned(f));
                }
                header.channels().insert(std::string(1, name), Imf::Channel(type));
                frame.insert(std::string(1, name),
                             Imf::Slice::Make(type, buffer.data(), v.window, size, size * width));
            }
            Imf::OutputFile file(path.c_str(), header);
            file.setFrameBuffer(frame);
            file.writePixels(int(height));
        }
        const bool grey = names.find('Y') != std::string::npos, alpha = names.find('A') != std::string::npos;
        const auto expected = [&](long x, long y, int c) {
            return c == 3 ? (alpha ? value('A', x, y) : 1.0f) : value(grey ? 'Y' : "RGB"[c], x, y);
        };
        ASSERT_NO_FATAL_FAILURE(ExpectReadAs(zep6gl::ReadImage(path), 128, width, height, expected));
    }
}

// Running out of memory while reading is one line naming the file; sizes for --max-memory parse
// as bytes or with a binary unit. (The limit itself: CommandLine_test.)
TEST_F(ImageIOTest, OutOfMemoryNamesTheFileAndSizesParse) {
#ifndef __SANITIZE_ADDRESS__ // the address sanitizer needs far more address space than any limit
    // An address-space limit just above what the process uses.
    zep6gl::WriteImage(Path("large.png"), HostImage(FourCC("RGBA"), 32, 255, 3000, 3000, 0, false));
    std::ifstream status("/proc/self/status");
    unsigned long long usedKiB = 0;
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmSize:", 0) == 0)
            usedKiB = std::stoull(line.substr(7));
    struct rlimit limit {}, tight {};
    ::getrlimit(RLIMIT_AS, &limit);
    tight = limit;
    tight.rlim_cur = (usedKiB + (16 << 10)) << 10;
    ::setrlimit(RLIMIT_AS, &tight);
    std::string text;
    try {
        zep6gl::ReadImage(Path("large.png"));
    } catch (const std::exception& e) {
        text = e.what();
    }
    ::setrlimit(RLIMIT_AS, &limit);
    EXPECT_EQ(text, Path("large.png") + ": out of memory");
#endif

    const std::pair<const char*, unsigned long long> sizes[] = {
        {"1048576", 1048576}, {"512M", 512ull << 20}, {"4G", 4ull << 30}, {"64k", 64 << 10},
        {"2GiB", 2ull << 30}, {"1T", 1ull << 40}, {"0", 0}, {"", 0}, {"-1G", 0}, {"4X", 0}, {"1.5G", 0},
        {"G", 0}, {"99999999999T", 0}};
    for (const auto& [text, want] : sizes) {
        unsigned long long bytes = 0;
        EXPECT_EQ(zep6gl::ParseSize(text, bytes), want != 0) << text;
        EXPECT_EQ(bytes, want) << text;
    }
}

// A write that fails leaves no file. Checks come before the file is opened and leave an old file
// alone, a read-only one too; a write that fails part way (at the file-size limit, as on a full
// disk) removes what it wrote, also when it was replacing an old file.
TEST_F(ImageIOTest, FailedWritesLeaveNoFile) {
    const HostImage bytes = MakeImage(kRgba, kDepth8, 4, 4), floats = MakeImage(kRgba, kDepthFloat, 4, 4);
    HostImage noise(FourCC("RGBA"), 32, 255, 200, 200, 0, false);
    std::mt19937 random(3);
    for (long y = 0; y < 200; ++y)
        for (long x = 0; x < 800; ++x)
            noise.Row(y)[x] = static_cast<unsigned char>(random());
    zep6gl::WriteImage(Path("keep.png"), bytes);
    const std::string kept = Contents(Path("keep.png"));
    fs::create_directory(Path("taken.png"));
    Store(Path("read-only.png"), "keep");
    fs::permissions(Path("read-only.png"), fs::perms(0444));
    const std::vector<std::string> before = Files();
    Store(Path("old.png"), "old");

    const struct {
        std::string path;
        HostImage image;
        std::string reason; // beginning of the text after the file name
        bool limited = false;
    } cases[] = {
        {Path("new.png"), noise, "cannot write: File too large", true},
        {Path("old.png"), noise, "cannot write: File too large", true},
        {Path("new.exr"), MakeImage(kRgba, kDepthFloat, 200, 200), "cannot write: ", true},
        {Path("no/such/dir/out.png"), bytes, "cannot write: No such file or directory"},
        {Path("no/such/dir/out.exr"), floats, "cannot write: No such file or directory"},
        {"/proc/zep6gl-out.png", bytes, "cannot write: "}, // not writable, not even by root
        {Path("taken.png"), bytes, "cannot write: "},
        {Path("read-only.png"), bytes, "cannot write: the file is read-only"},
        {Path("keep.png"), floats, "float pixels need an .exr file"},
        {Path("bytes.exr"), bytes, "integer pixels need a .png file"},
        {Path("out.tif"), bytes, "unknown file extension"},
        {Path("invalid.png"), HostImage(FourCC("RGBA"), 32, 255, 4, 4, 0, false, /*withPixels*/ false),
         "the image to write is not valid"},
        {Path("luma.png"), HostImage(GL_LUMINANCE16, 16, 65535, 4, 4, 0, false),
         "only four-channel images can be written"},
        {Path("odd.png"), HostImage(FourCC("RGBA"), 48, 65535, 4, 4, 0, false), "unsupported bit depth 48"},
    };
    struct rlimit saved {};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    struct rlimit small = saved;
    small.rlim_cur = 20000;
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    for (const auto& k : cases) {
        SCOPED_TRACE(k.path);
        ::setrlimit(RLIMIT_FSIZE, k.limited ? &small : &saved);
        std::string text = "(no error)";
        try {
            zep6gl::WriteImage(k.path, k.image, true);
        } catch (const std::runtime_error& e) {
            text = e.what();
        }
        ::setrlimit(RLIMIT_FSIZE, &saved);
        EXPECT_EQ(text.rfind(k.path + ": " + k.reason, 0), 0u) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos) << "one line: " << text;
    }
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(Files(), before) << "nothing written, nothing left";
    EXPECT_TRUE(fs::is_directory(Path("taken.png")));
    EXPECT_TRUE(Contents(Path("keep.png")) == kept) << "a failed write leaves the old file alone";
    EXPECT_EQ(Contents(Path("read-only.png")), "keep");
    EXPECT_FALSE(fs::exists("/proc/zep6gl-out.png"));
}

// The output is written as writing in place does: a new file gets the permissions of any new
// file (0666 less the umask), an existing one keeps its mode, a symbolic link keeps pointing at
// its target, which receives the picture; no write permission on the folder is needed, and a
// name of 255 bytes works.
TEST_F(ImageIOTest, OutputIsWrittenInPlace) {
    const HostImage picture = MakeImage(kRgba, kDepth8, 4, 4);
    zep6gl::WriteImage(Path("reference.png"), picture);
    const std::string reference = Contents(Path("reference.png"));
    auto mode = [&](const std::string& name) {
        struct stat info {};
        EXPECT_EQ(::lstat(Path(name).c_str(), &info), 0) << name;
        return info.st_mode;
    };
    const std::string longName = std::string(251, 'n') + ".png";
    const struct {
        std::string name;           // written through this name
        std::function<void()> make; // what is there before
        mode_t umask;
        std::string wrote;          // the file that must then hold the picture
        mode_t wantMode;
    } cases[] = {
        {"new.png", [] {}, 022, "new.png", 0644},
        {"private.png", [] {}, 077, "private.png", 0600},
        {"kept-mode.png", [&] { Store(Path("kept-mode.png"), "old"); fs::permissions(Path("kept-mode.png"), fs::perms(0640)); },
         022, "kept-mode.png", 0640},
        {"link.png", [&] { Store(Path("target.png"), "old"); fs::create_symlink("target.png", Path("link.png")); }, 022,
         "target.png", 0644},
        {"folder/in-read-only.png",
         [&] {
             fs::create_directory(Path("folder"));
             Store(Path("folder/in-read-only.png"), "old");
             fs::permissions(Path("folder"), fs::perms(0555));
         },
         022, "folder/in-read-only.png", 0644},
        {longName, [] {}, 022, longName, 0644},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.name.substr(0, 40));
        k.make();
        const mode_t saved = ::umask(k.umask);
        zep6gl::WriteImage(Path(k.name), picture);
        ::umask(saved);
        EXPECT_TRUE(Contents(Path(k.wrote)) == reference);
        EXPECT_EQ(mode(k.wrote) & 07777, k.wantMode);
        if (k.name != k.wrote) {
            EXPECT_TRUE(S_ISLNK(mode(k.name))) << "the link must stay a link";
        }
    }
    fs::permissions(Path("folder"), fs::perms(0755));
}

} // namespace
} // namespace zep6gltest
