#pragma once

// Which colour channels drawing writes. Apply()/Retrieve() run on the GL worker thread (or a
// thread with the root context current).

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ColorMask {
public:
    bool red;
    bool green;
    bool blue;
    bool alpha;

    constexpr ColorMask(bool r = true, bool g = true, bool b = true, bool a = true)
        : red(r), green(g), blue(b), alpha(a) {}

    void Apply() const;
    void Retrieve();

    bool operator==(const ColorMask& m) const;
    bool operator!=(const ColorMask& m) const { return !(*this == m); }

    static const ColorMask Default;
    static const ColorMask AllChannels;
    static const ColorMask NoAlpha;
    static const ColorMask AlphaOnly;
};

} // namespace OGL_ZEP6_AE
