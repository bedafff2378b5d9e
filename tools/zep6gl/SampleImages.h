#pragma once

// The demo's built-in pictures, made on the CPU: no files needed. All are 8-bit RGBA
// (FourCC "RGBA", white 255), stored top-down, with straight (not premultiplied) alpha.

#include "HostImage.h"

namespace zep6gl {

// A hue wheel: hue by angle, saturation growing from a white centre to the rim; opaque to 55 % of
// the radius, then fading smoothly to transparent at the rim, transparent outside.
HostImage MakeColourWheel(long size);

// A backdrop: a four-corner colour gradient (blue, orange, green, magenta), darkened in a
// checkerboard of `square`-pixel squares; opaque except for the bottom quarter, which fades to
// transparent at the last row.
HostImage MakeBackdrop(long size, long square);

// The grey checkerboard that shows transparency: squares of `square` pixels.
HostImage MakeCheckerboard(long width, long height, long square);

} // namespace zep6gl
