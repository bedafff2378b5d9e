#!/usr/bin/env python3
"""Writes the corpus of damaged PNG and OpenEXR files next to this script.

Every file is a small valid picture (8 x 6 pixels) broken in one way: cut short, a header that
lies about sizes or types, bad checksums, chunks or tables far larger than the file, windows
that overflow. The tool must refuse each with one line naming the file, a non-zero status and
no output file (tests/tools/CommandLine_test.cpp holds the table). Run it again to regenerate the
files; it writes the same bytes every time.
"""
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
W, H = 8, 6

# ---- PNG ------------------------------------------------------------------------------------

SIGNATURE = b"\x89PNG\r\n\x1a\n"


def chunk(kind, data, crc=None, length=None):
    if crc is None:
        crc = zlib.crc32(kind + data) & 0xFFFFFFFF
    return struct.pack(">I", len(data) if length is None else length) + kind + data + struct.pack(">I", crc)


def ihdr(width=W, height=H, depth=8, colour=6, compression=0, filtering=0, interlace=0):
    return chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, colour, compression, filtering, interlace))


def rows(width=W, height=H, channels=4, depth=8):
    line = bytes((x * 31 + c * 17) % 256 for x in range(width) for c in range(channels * depth // 8))
    return b"".join(b"\x00" + line for _ in range(height))


def png(header=None, data=None, extra=b"", end=True):
    idat = chunk(b"IDAT", zlib.compress(rows() if data is None else data))
    return SIGNATURE + (header or ihdr()) + extra + idat + (chunk(b"IEND", b"") if end else b"")


GOOD_PNG = png()
IDAT_AT = GOOD_PNG.index(b"IDAT") - 4

# ---- OpenEXR (written by hand: scanline or tiled, uncompressed, half channels) ---------------


def attribute(name, kind, value):
    return name.encode() + b"\0" + kind.encode() + b"\0" + struct.pack("<i", len(value)) + value


def channels(names="ABGR", kind=1, sampling=(1, 1)):
    out = b""
    for n in names:
        out += n.encode() + b"\0" + struct.pack("<iB3xii", kind, 0, sampling[0], sampling[1])
    return out + b"\0"


def box(x0, y0, x1, y1):
    return struct.pack("<iiii", x0, y0, x1, y1)


def exr(data_window=(0, 0, W - 1, H - 1), display_window=None, chlist=None, compression=0, tiles=None,
        offsets=None, chunks=None, extra_attributes=b"", version=2, line_order=0):
    display_window = display_window or data_window
    header = b"v/1\x01" + struct.pack("<I", version | (0x200 if tiles else 0))
    header += attribute("channels", "chlist", chlist if chlist is not None else channels())
    header += attribute("compression", "compression", bytes([compression]))
    header += attribute("dataWindow", "box2i", box(*data_window))
    header += attribute("displayWindow", "box2i", box(*display_window))
    header += attribute("lineOrder", "lineOrder", bytes([line_order]))
    header += attribute("pixelAspectRatio", "float", struct.pack("<f", 1.0))
    header += attribute("screenWindowCenter", "v2f", struct.pack("<ff", 0, 0))
    header += attribute("screenWindowWidth", "float", struct.pack("<f", 1.0))
    if tiles:
        header += attribute("tiles", "tiledesc", struct.pack("<IIB", *tiles))
    header += extra_attributes + b"\0"
    if chunks is None:
        # One scanline per chunk: y, size, then each channel's halves (A, B, G, R).
        width = data_window[2] - data_window[0] + 1
        line = b"".join(struct.pack("<e", (x + c) / 16.0) for c in range(4) for x in range(width))
        chunks = [struct.pack("<ii", y, len(line)) + line for y in range(data_window[1], data_window[3] + 1)]
    if offsets is None:
        start = len(header) + 8 * len(chunks)
        offsets = []
        for c in chunks:
            offsets.append(start)
            start += len(c)
    return header + b"".join(struct.pack("<Q", o) for o in offsets) + b"".join(chunks)


GOOD_EXR = exr()
HEADER_END = GOOD_EXR.index(b"screenWindowWidth") + len(b"screenWindowWidth\0float\0") + 4 + 4 + 1

# ---- the corpus -----------------------------------------------------------------------------


def replaced(data, at, new):
    return data[:at] + new + data[at + len(new):]


def bad_crc(data, kind):
    at = data.index(kind) - 4
    length = struct.unpack(">I", data[at:at + 4])[0]
    end = at + 8 + length
    return data[:end] + bytes([data[end] ^ 0xFF]) + data[end + 1:]


CORPUS = {
    # PNG cut short
    "png-signature-only.png": SIGNATURE,
    "png-cut-in-ihdr.png": GOOD_PNG[:20],
    "png-cut-in-idat.png": GOOD_PNG[:IDAT_AT + 20],
    "png-no-iend.png": png(end=False),
    "png-no-idat.png": SIGNATURE + ihdr() + chunk(b"IEND", b""),
    # PNG checksums
    "png-ihdr-bad-crc.png": bad_crc(GOOD_PNG, b"IHDR"),
    "png-idat-bad-crc.png": bad_crc(GOOD_PNG, b"IDAT"),
    # PNG headers that lie
    "png-zero-width.png": png(ihdr(width=0)),
    "png-zero-height.png": png(ihdr(height=0)),
    "png-width-2e31.png": png(ihdr(width=0x80000000)),
    "png-16384-wide.png": png(ihdr(width=16384)),
    "png-claims-16383-rgba16.png": png(ihdr(16383, 16383, 16), data=rows(16383, 2, 4, 16)),
    "png-claims-16383-interlaced.png": png(ihdr(16383, 16383, 16, interlace=1), data=rows(16383, 2, 4, 16)),
    "png-bit-depth-3.png": png(ihdr(depth=3)),
    "png-colour-type-5.png": png(ihdr(colour=5)),
    "png-compression-1.png": png(ihdr(compression=1)),
    "png-filter-method-1.png": png(ihdr(filtering=1)),
    "png-interlace-2.png": png(ihdr(interlace=2)),
    "png-ihdr-length-12.png": SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBB", W, H, 8, 6, 0, 0) + b"\0\0\0\0\0\0")
    + GOOD_PNG[33:],
    "png-palette-without-plte.png": png(ihdr(colour=3), data=rows(channels=1)),
    # PNG chunks that claim more than the file holds, or than anyone needs
    "png-idat-length-2e31.png": replaced(GOOD_PNG, IDAT_AT, struct.pack(">I", 0x7FFFFFFF)),
    "png-idat-length-over-2e31.png": replaced(GOOD_PNG, IDAT_AT, struct.pack(">I", 0x80000000)),
    "png-idat-not-zlib.png": SIGNATURE + ihdr() + chunk(b"IDAT", b"\xff" * 64) + chunk(b"IEND", b""),
    "png-idat-too-short.png": SIGNATURE + ihdr() + chunk(b"IDAT", zlib.compress(rows()[:40])) + chunk(b"IEND", b""),
    "png-bad-filter-byte.png": png(data=b"\x09" + rows()[1:]),
    "png-chunk-name-damaged.png": replaced(GOOD_PNG, IDAT_AT + 4, b"I\x01AT"),
    "png-signature-damaged.png": b"\x89PNX" + GOOD_PNG[4:],
    # OpenEXR cut short
    "exr-magic-only.exr": GOOD_EXR[:4],
    "exr-cut-in-header.exr": GOOD_EXR[:60],
    "exr-cut-in-offsets.exr": GOOD_EXR[:HEADER_END + 12],
    "exr-cut-in-data.exr": GOOD_EXR[:len(GOOD_EXR) - 50],
    # OpenEXR windows and sizes that lie
    "exr-data-window-inverted.exr": exr(data_window=(5, 5, 0, 0)),
    "exr-data-window-16384-wide.exr": exr(data_window=(0, 0, 16383, 0), chunks=[]),
    "exr-data-window-overflows.exr": exr(data_window=(-0x80000000, 0, 0x7FFFFFFF, 0), chunks=[]),
    "exr-data-window-2e31-high.exr": exr(data_window=(0, -0x40000000, 0, 0x3FFFFFFF), chunks=[]),
    "exr-claims-16383-square.exr": exr(data_window=(0, 0, 16382, 16382), chunks=[]),
    "exr-display-window-overflows.exr": exr(display_window=(-0x80000000, -0x80000000, 0x7FFFFFFF, 0x7FFFFFFF)),
    "exr-tiled-1x1-tiles-16383.exr": exr(data_window=(0, 0, 16382, 16382), tiles=(1, 1, 0), chunks=[]),
    "exr-tiled-ripmap-16383.exr": exr(data_window=(0, 0, 16382, 16382), tiles=(1, 1, 2), chunks=[]),
    "exr-tiled-tile-size-zero.exr": exr(tiles=(0, 0, 0), chunks=[]),
    # OpenEXR channels and compression
    "exr-channel-type-7.exr": exr(chlist=channels(kind=7)),
    "exr-channel-sampling-0.exr": exr(chlist=channels(sampling=(0, 0))),
    "exr-no-channels.exr": exr(chlist=b"\0", chunks=[]),
    "exr-only-a-z-channel.exr": exr(chlist=channels("Z")),
    "exr-compression-99.exr": exr(compression=99),
    "exr-zip-garbage.exr": exr(compression=3, chunks=[struct.pack("<ii", 0, 40) + b"\xa5" * 40]),
    "exr-piz-garbage.exr": exr(compression=4, chunks=[struct.pack("<ii", 0, 40) + b"\x5a" * 40]),
    "exr-deep-scanline.exr": exr(extra_attributes=attribute("type", "string", b"deepscanline")),
    # OpenEXR chunks and tables that point elsewhere
    "exr-offset-outside-file.exr": exr(offsets=[1 << 40] * H),
    "exr-chunk-size-2e31.exr": replaced(GOOD_EXR, HEADER_END + 8 * H + 4, struct.pack("<i", 0x7FFFFFFF)),
    "exr-chunk-size-negative.exr": replaced(GOOD_EXR, HEADER_END + 8 * H + 4, struct.pack("<i", -8)),
    "exr-chunk-wrong-line.exr": replaced(GOOD_EXR, HEADER_END + 8 * H, struct.pack("<i", 5000)),
    "exr-attribute-size-2e31.exr": GOOD_EXR[:8] + b"channels\0chlist\0" + struct.pack("<i", 0x7FFFFFFF)
    + GOOD_EXR[8 + 16 + 4:],
    "exr-attribute-name-unterminated.exr": GOOD_EXR[:8] + b"n" * 300,
    "exr-version-3.exr": replaced(GOOD_EXR, 4, struct.pack("<I", 3)),
}

if __name__ == "__main__":
    for name in os.listdir(HERE):
        if name.endswith((".png", ".exr")):
            os.remove(os.path.join(HERE, name))
    for name, data in sorted(CORPUS.items()):
        with open(os.path.join(HERE, name), "wb") as out:
            out.write(data)
    # The pictures every damaged file started from, for checking the corpus itself.
    with open(os.path.join(HERE, "..", "good-8x6.png"), "wb") as out:
        out.write(GOOD_PNG)
    with open(os.path.join(HERE, "..", "good-8x6.exr"), "wb") as out:
        out.write(GOOD_EXR)
    print(len(CORPUS), "files")
