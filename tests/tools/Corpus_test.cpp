// Every file of the corpus of damaged pictures (tests/data/bad, written by make_corpus.py there)
// is refused by the built tool, as a process of its own: exit status 1, one line that names the
// file and the reason, no output file, and no more memory than a small picture takes.
#include "ToolTestSupport.h"

namespace zep6gltest {
namespace {

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
