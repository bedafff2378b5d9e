// The tool's command line, the same for every command, and its mistakes; every file of the corpus
// of damaged pictures (tests/data/bad, written by make_corpus.py there) refused by the built tool,
// as a process of its own: exit status 1, one line that names the file and the reason, no output
// file, and no more memory than a small picture takes.
#include "ToolTestSupport.h"

#include "ImageIO.h"

namespace zep6gltest {
namespace {

class CommandLineErrors : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        auto plain = [](long width, long height) {
            return RgbaImage(32, width, height, [](long x, long y, int c) { return c == 0 ? x / 8.0 : y / 6.0; });
        };
        zep6gl::WriteImage(Path("in.png"), plain(8, 6));
        zep6gl::WriteImage(Path("wide.png"), plain(9, 6));
        zep6gl::WriteImage(Path("tall.png"), plain(8, 7));
        zep6gl::WriteImage(Path("in.exr"), RgbaImage(128, 8, 6, [](long, long, int) { return 0.5; }));
        Store(Path("taken"), "x");
    }
};

// Every mistake is one line naming the argument or file, status 2 for the command line and 1 for
// the files, and leaves no file behind. Both forms of an option take the same value, so both give
// the same report. Checks of names and sizes come before any work: none needs OpenGL.
TEST_F(CommandLineErrors, EveryMistakeIsOneLineNamingItAndWritesNothing) {
    const std::vector<std::string> before = Files();
    const std::string in = Path("in.png"), out = Path("out.png"), missing = Path("missing.png");
    const struct {
        const char* command;
        std::vector<std::string> args;
        int status;
        std::string named;
    } cases[] = {
        {"convert", {in, out, "--layout", "xyz16"}, 2,
         "(one of rgba8, bgra8, argb8, rgba16, bgra16, argb16, rgba16-ffff, rgba16-8000, rgba16-4000, bgra16-ffff, "
         "bgra16-8000, bgra16-4000, argb16-ffff, argb16-8000, argb16-4000, rgba32f, bgra32f, argb32f)"},
        {"convert", {in, out, "--layout=xyz16"}, 2, "xyz16"},
        {"convert", {"--layout=rgba8", in, out, "--layout", "rgba8"}, 2, "--layout given twice"},
        {"convert", {in, out, "--top-down", "--top-down"}, 2, "--top-down given twice"},
        {"convert", {in, out, "--top-down=yes"}, 2, "--top-down takes no value"},
        {"convert", {in, out, "--layout"}, 2, "--layout needs a value"},
        {"convert", {in, out, "--sharpen"}, 2, "--sharpen"},
        {"convert", {in, out, "--max-memory", "lots"}, 2, "lots"},
        {"convert", {in, out, "--premultiply", "--unpremultiply"}, 2, "--unpremultiply"},
        {"convert", {in, out, "extra"}, 2, "'extra'"},
        {"convert", {in}, 2, "IN OUT"},
        {"convert", {"--", "-in.png", out}, 1, "-in.png: cannot open"},
        // A layout and a file type that do not go together: refused before the input is read.
        {"convert", {missing, Path("float.png"), "--layout", "rgba32f"}, 1, Path("float.png")},
        {"convert", {missing, Path("byte.exr"), "--layout", "bgra8"}, 1, Path("byte.exr")},
        {"convert", {missing, Path("picture.tiff"), "--layout", "rgba16"}, 1, Path("picture.tiff")},
        // Refused before any row is read, for either file type; sizes round up to whole MiB.
        {"convert", {in, out, "--max-memory", "100"}, 1,
         in + ": a 8 x 6 picture needs 1 MiB, more than the memory limit of 1 MiB (--max-memory)"},
        {"convert", {Path("in.exr"), Path("out.exr"), "--max-memory", "100"}, 1,
         Path("in.exr") + ": a 8 x 6 picture"},
        {"composite", {in, in, out}, 2, "--mode"},
        {"composite", {"--mode", "fancy", in, in, out}, 2, "fancy"},
        {"composite", {"--mix", "2", "--mode", "over", in, in, out}, 2, "--mix '2'"},
        {"composite", {"--mode", "over", "--mix", "half", in, in, out}, 2, "half"},
        {"composite", {"--mode", "over", "--mix", "nan", in, in, out}, 2, "nan"},
        {"composite", {"--mode", "over", in, in}, 2, "FRONT BACK OUT"},
        {"composite", {"--mode", "over", in, in, out, Path("extra.png")}, 2, "extra.png"},
        {"composite", {"--mode", "over", missing, in, out}, 1, "missing.png"},
        {"composite", {"--mode", "over", in, in, out, "--mask", missing}, 1, "missing.png"},
        {"composite", {"--mode", "over", in, Path("wide.png"), out}, 1, "wide.png"},
        {"composite", {"--mode", "over", in, Path("tall.png"), out}, 1, "tall.png"},
        {"composite", {"--mode", "over", in, in, out, "--mask", Path("wide.png")}, 1, "wide.png"},
        {"composite", {"--mode", "over", in, in, Path("out")}, 1, Path("out")},
        // The result has the front's pixels: integer from PNG, float from OpenEXR.
        {"composite", {"--mode", "over", in, in, Path("out.exr")}, 1, "out.exr"},
        {"composite", {"--mode", "over", Path("in.exr"), in, out}, 1, "out.png"},
        // The image commands: their values and names, then their files.
        {"resize", {in, out}, 2, "--size is required"},
        {"center", {in, out, "--size", "1x16384"}, 2, "--size '1x16384'"},
        {"mask", {in, in, out, "--color", "1,0,0"}, 2, "--color '1,0,0'"},
        {"blend", {in, in, out, "--opacity", "1.5"}, 2, "--opacity '1.5'"},
        {"blend", {in, in, out, "--op", "darken"}, 2, "--op 'darken'"},
        {"blur", {in, out, "--amount", "-2"}, 2, "--amount '-2'"},
        {"blur", {in, out, "--amount", "3", "--kind", "box", "--shape", "1"}, 2, "--shape"},
        {"transform", {in, out, "--scale", "0"}, 2, "--scale '0'"},
        {"transform", {in, out, "--scale=2,-1"}, 2, "--scale '-1'"},
        {"transform", {in, out, "--rotate", "0,0,-inf"}, 2, "--rotate '-inf'"},
        {"transform", {in, out, "--rotate", "1,2"}, 2, "--rotate '1,2'"},
        {"transform", {in, out, "--translate", "nan,0"}, 2, "--translate 'nan'"},
        {"transform", {in, out, "--order", "xxy"}, 2, "--order 'xxy'"},
        {"transform", {in, out, "--filter", "cubic"}, 2, "--filter 'cubic'"},
        {"transform", {in, out, "--decimate", "gauss"}, 2, "--decimate 'gauss'"},
        {"blur-composite", {in, out}, 2, "BACK OUT IMAGE:AMOUNT"},
        {"blur-composite", {in, out, in}, 2, "'" + in + "'"},
        {"blur-composite", {in, out, in + ":-1"}, 2, "the amount of " + in + " '-1'"},
        {"blur-composite", {in, out, in + ":1,2,3"}, 2, "'1,2,3'"},
        {"blur-composite", {in, out, in + ":2", "--op", "multiply"}, 2, "--op 'multiply'"},
        {"premultiply", {missing, out}, 1, "missing.png"},
        {"mask", {in, missing, out}, 1, "missing.png"},
        {"alpha", {Path("in.exr"), out}, 1, "out.png"},
        {"transform", {missing, out, "--scale", "2"}, 1, "missing.png"},
        {"blur-composite", {in, out, in + ":2", missing + ":1"}, 1, "missing.png"},
        {"blur-composite", {Path("in.exr"), out, in + ":2"}, 1, "out.png"},
        {"scene", {Path("scene.tiff")}, 2, "scene.tiff"},
        {"scene", {out, "--quality", "6"}, 2, "--quality '6'"},
        {"scene", {out, "--focus", "10"}, 2, "--aperture go together"},
        {"scene", {out, "--focus", "nan", "--aperture", "1"}, 2, "--focus 'nan'"},
        {"scene", {out, "--smooth", "-3"}, 2, "--smooth '-3'"},
        {"formats", {"all"}, 2, "'all'"},
        {"demo", {Path("a"), Path("b")}, 2, Path("b")},
        {"demo", {Path("taken")}, 1, Path("taken")},
        {"nonsense", {}, 2, "nonsense"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.command) + " " + ::testing::PrintToString(c.args));
        const Outcome outcome = RunCommand(c.command, c.args);
        ExpectOneLineNaming(outcome, c.named);
        EXPECT_EQ(outcome.status, c.status);
        EXPECT_EQ(Files(), before);
    }
}

// An output that cannot be written is reported after the card has done its work, and still
// leaves nothing behind.
TEST_F(CommandLineErrors, AnUnwritableOutputIsNamedAfterTheWorkOnTheCard) {
    REQUIRE_OPENGL();
    const std::vector<std::string> before = Files();
    const std::string in = Path("in.png"), out = Path("no/such/folder/out.png");
    using Args = std::vector<std::string>;
    for (const Args& args : {Args{"convert", in, out}, Args{"composite", "--mode", "add", in, in, out}}) {
        SCOPED_TRACE(args[0]);
        ExpectOneLineNaming(RunCommand(args[0], {args.begin() + 1, args.end()}), out);
        EXPECT_EQ(Files(), before);
    }
}

// Without an OpenGL context `info` prints the reason alone, not a report of unknowns. Run as a
// process of its own: the library keeps its answers for the life of a process.
TEST(CommandLine, InfoWithoutAContextPrintsOnlyTheError) {
    const ToolRun run = RunTool({"info"}, "ZEP6_EGL_DEVICE=99");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.errors.rfind("zep6gl info: no OpenGL context could be made", 0), 0u) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
}

// ---- damaged files ----------------------------------------------------------------------------

class Corpus : public ToolTest {};

TEST_F(Corpus, EveryDamagedFileIsRefusedCleanly) {
    const std::map<std::string, std::string> reasons = {
        {"png-signature-only.png", "truncated PNG data"}, {"png-cut-in-ihdr.png", "truncated PNG data"},
        {"png-cut-in-idat.png", "truncated PNG data"}, {"png-no-iend.png", "truncated PNG data"},
        {"png-no-idat.png", "bad PNG: IEND: out of place"},
        {"png-ihdr-bad-crc.png", "bad PNG: IHDR: CRC error"},
        {"png-idat-bad-crc.png", "bad PNG: IDAT: CRC error"},
        {"png-zero-width.png", "bad PNG: Invalid IHDR data"},
        {"png-zero-height.png", "bad PNG: Invalid IHDR data"},
        {"png-width-2e31.png", "bad PNG: PNG unsigned integer out of range"},
        {"png-16384-wide.png", "bad PNG: Invalid IHDR data"},
        {"png-claims-16383-rgba16.png", "bad PNG: Not enough image data"},
        {"png-claims-16383-interlaced.png", "bad PNG: bad adaptive filter value"},
        {"png-bit-depth-3.png", "bad PNG: Invalid IHDR data"},
        {"png-colour-type-5.png", "bad PNG: Invalid IHDR data"},
        {"png-compression-1.png", "bad PNG: Invalid IHDR data"},
        {"png-filter-method-1.png", "bad PNG: Invalid IHDR data"},
        {"png-interlace-2.png", "bad PNG: Invalid IHDR data"},
        {"png-ihdr-length-12.png", "bad PNG: IHDR: invalid"},
        {"png-palette-without-plte.png", "bad PNG: IDAT: Missing PLTE before IDAT"},
        {"png-idat-length-2e31.png", "truncated PNG data"},
        {"png-idat-length-over-2e31.png", "bad PNG: PNG unsigned integer out of range"},
        {"png-idat-not-zlib.png", "bad PNG: IDAT: invalid window size"},
        {"png-idat-too-short.png", "bad PNG: Not enough image data"},
        {"png-bad-filter-byte.png", "bad PNG: bad adaptive filter value"},
        {"png-chunk-name-damaged.png", "invalid chunk type"},
        {"png-signature-damaged.png", "not a PNG or OpenEXR file"},
        {"exr-magic-only.exr", "bad OpenEXR: Unable to read magic and version flags"},
        {"exr-cut-in-header.exr", "bad OpenEXR: Attribute 'channels', type 'chlist': Invalid size"},
        {"exr-cut-in-offsets.exr", "Early end of file"}, {"exr-cut-in-data.exr", "Early end of file"},
        {"exr-data-window-inverted.exr", "bad OpenEXR: Invalid display window"},
        {"exr-data-window-16384-wide.exr", "bad OpenEXR: Invalid width (16384) too large (max 16383)"},
        {"exr-data-window-overflows.exr", "bad OpenEXR: Invalid display window"},
        {"exr-data-window-2e31-high.exr", "bad OpenEXR: Invalid display window"},
        {"exr-claims-16383-square.exr", "bad OpenEXR: the header claims 16383 chunks, more than the file holds"},
        {"exr-display-window-overflows.exr", "bad OpenEXR: Invalid display window"},
        {"exr-tiled-1x1-tiles-16383.exr", "the header claims 268402689 chunks, more than the file holds"},
        {"exr-tiled-ripmap-16383.exr", "the header claims 1072693504 chunks, more than the file holds"},
        {"exr-tiled-tile-size-zero.exr", "bad OpenEXR: Invalid tile description size (0 x 0)"},
        {"exr-channel-type-7.exr", "bad OpenEXR: Invalid pixel type specified (7)"},
        {"exr-channel-sampling-0.exr", "bad OpenEXR: Invalid pixel sampling (x 0 y 0)"},
        {"exr-no-channels.exr", "bad OpenEXR: At least one channel required"},
        {"exr-only-a-z-channel.exr", "bad OpenEXR: none of the channels R, G, B, Y or A"},
        {"exr-compression-99.exr", "Unknown compression type in image header"},
        {"exr-zip-garbage.exr", "Data decompression (zlib) failed"},
        {"exr-piz-garbage.exr", "Error in header for PIZ-compressed data"},
        {"exr-deep-scanline.exr", "bad OpenEXR: deep data is not supported"},
        {"exr-offset-outside-file.exr", "Early end of file"},
        {"exr-chunk-size-2e31.exr", "Unexpected data block length"},
        {"exr-chunk-size-negative.exr", "Unexpected data block length"},
        {"exr-chunk-wrong-line.exr", "Unexpected data block y coordinate"},
        {"exr-attribute-size-2e31.exr", "Invalid size 2147483647"},
        {"exr-attribute-name-unterminated.exr", "bad OpenEXR: Invalid attribute name encountered"},
        {"exr-version-3.exr", "bad OpenEXR: File is of an unsupported version: 3"},
        // Made here (a missing file: CommandLine_test).
        {"made/folder.png", "cannot read: Is a directory"}, // it opens on Linux, but yields no bytes
        {"made/empty.png", "empty file"},
        {"made/short.exr", "not a PNG or OpenEXR file"}, // too short for a signature
    };
    fs::create_directories(Path("made/folder.png"));
    Store(Path("made/empty.png"), "");
    Store(Path("made/short.exr"), "v/1");
    std::set<std::string> files;
    for (const auto& entry : fs::directory_iterator(ZEP6GL_CORPUS))
        if (entry.path().extension() != ".py")
            files.insert(entry.path().filename().string());
    for (const auto& [name, reason] : reasons) {
        const bool isMade = name.rfind("made/", 0) == 0;
        EXPECT_TRUE(isMade || files.count(name)) << name << " is not in the corpus (run make_corpus.py)";
        files.insert(name);
    }

    for (const std::string& name : files) {
        SCOPED_TRACE(name);
        const auto reason = reasons.find(name);
        ASSERT_NE(reason, reasons.end()) << "no expectation for this file of the corpus";
        const std::string path =
            name.rfind("made/", 0) == 0 ? Path(name) : (fs::path(ZEP6GL_CORPUS) / name).string();
        const ToolRun run = RunTool({"convert", path, Path("out.png")});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        EXPECT_EQ(run.errors.rfind("zep6gl convert: " + path + ": ", 0), 0u) << run.errors;
        EXPECT_NE(run.errors.find(reason->second), std::string::npos) << run.errors;
        // Refused before anything near the claimed size is taken; a picture the tool cannot
        // read never starts OpenGL either.
        EXPECT_LT(run.peakKiB, 64 << 10) << run.errors;
        EXPECT_FALSE(fs::exists(Path("out.png")));
    }
}

} // namespace
} // namespace zep6gltest
