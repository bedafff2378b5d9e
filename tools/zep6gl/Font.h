#pragma once

// A small bitmap font for labelling the tool's pictures: 5 x 7 glyphs (capitals and digits fill
// the 7 rows, lower case has a 5-row x-height) in a 5 x 9 cell whose two last rows hold the
// descenders of g, j, p, q, y and the comma. Digits, both alphabets, the blank and
// - _ . , : ; / ( ) [ ] % + = ' ! ? < > * # |.

#include "HostImage.h"

#include <array>
#include <cstdint>
#include <string>

namespace zep6gl {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 9;  // cell rows, descenders included
constexpr int kGlyphAdvance = 6; // one column of space between characters
constexpr int kLineAdvance = 11; // two rows of space between lines

// One row per cell row, bit 4 the leftmost column.
using GlyphRows = std::array<std::uint8_t, kGlyphHeight>;

bool HasGlyph(char c);
// The glyph of c; a character the font lacks is drawn as a hollow box.
GlyphRows Glyph(char c);

// Size in pixels of one line of text at an integer scale (each font pixel a scale x scale square).
int TextWidth(const std::string& text, int scale);
inline int TextHeight(int scale) {
    return kGlyphHeight * scale;
}

struct Rgba8 {
    std::uint8_t r, g, b, a;
};

// Draws one line of text into an 8-bit, four-channel image (RGBA, BGRA or ARGB, either row
// order) with the top-left of its first cell at (x, y), counted from the top-left of the
// picture. Only the ink is written; what falls outside the image is clipped.
void DrawText(HostImage& image, long x, long y, const std::string& text, int scale, Rgba8 colour);

} // namespace zep6gl
