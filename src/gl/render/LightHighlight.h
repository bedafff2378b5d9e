#pragma once

// The scoped style for drawing outlines of selected things: bright colour and a stippled line.
// Runs on the GL worker thread (or a thread with the root context current).

#include "Export.h"
#include "gl/state/Color.h"

namespace OGL_ZEP6_AE {

class ZEP6_API Highlight {
public:
    // Saves the current colour (Color::sCurrentColor) and the line-stipple switch, sets the colour
    // to Color::Bright, the stipple pattern to factor 5 and 0x5555, and switches stippling on.
    Highlight();
    // Restores the stipple switch (the pattern stays) and the saved colour.
    ~Highlight();
    Highlight(const Highlight&) = delete;
    Highlight& operator=(const Highlight&) = delete;

private:
    Color saved_;
    bool pushed_;
    bool stipple_;
};

} // namespace OGL_ZEP6_AE
