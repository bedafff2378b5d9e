#pragma once

// The apply modes as the tool names them, and the one place where the tool composites images
// through the library (shared by `zep6gl composite` and `zep6gl demo`).

#include <string>

class XIImage;

namespace zep6gl {

// PixelApplyMode runs from 0 to 48.
constexpr int kApplyModeCount = 49;

// The name of a mode as its mode object is named, without the leading `s`: "Over", "5050Mix",
// "BitwiseAND". Null outside 0..48.
const char* ApplyModeObjectName(int mode);

// The name the command line uses: the object name in lower case ("over", "5050mix"). Empty
// outside 0..48.
std::string ApplyModeName(int mode);

// A mode given on the command line: a name of ApplyModeName in any case, or a decimal number
// from 0 to 48. -1 for anything else.
int ParseApplyMode(const std::string& text);

// destination = mode(front, back) mixed by `mix`, through ApplyMode::Apply with host images.
// The call runs as a job of the GL worker thread, so that a failure there (no OpenGL context, a
// shader that does not link) comes back as std::runtime_error with the library's message instead
// of leaving the destination silently untouched. `back` and `mask` may be null.
void CompositeImages(const XIImage& front, const XIImage* back, const XIImage* mask, XIImage& destination,
                     int mode, float mix);

} // namespace zep6gl
