#pragma once

// Whole-image operations. Each fills a destination host image from source images and may be
// called from any thread: the call moves itself onto the library's GL worker thread and waits
// (an operation called from inside a job runs directly). Images of any layout the library knows
// may be mixed, and of any size up to 16383 x 16383 (the work is done in tiles).
//
// An invalid image (IsValid) or a read-only destination makes an operation do nothing. A failure
// on the worker thread does not reach the caller as an exception: the call returns normally and
// Shared::ErrorMessage() gives the failure's text until the next job.

#include "Export.h"

class XIImage;

namespace OGL_ZEP6_AE {

class Color;

// Copies the source into the destination, converting its layout and white level and scaling
// nothing: the source lands with its lower-left corner on the destination's, and destination
// pixels it does not reach keep what the tile held before (transparent black for a fresh tile).
// Two images of exactly the same description (IsMatchingFormat) are copied byte for byte on the
// calling thread, without the graphics card.
ZEP6_API void Copy(const XIImage* source, XIImage* destination);

// Fills the destination with one colour. Transparent black (all four components exactly 0) zeroes
// row bytes x height bytes on the calling thread, padding included, without the graphics card.
ZEP6_API void Clear(XIImage* destination, const Color& color);

} // namespace OGL_ZEP6_AE
