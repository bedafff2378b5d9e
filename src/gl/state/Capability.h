#pragma once

// One OpenGL switch (glEnable/glDisable) as a value: which capability and whether it is on. The
// value classes that carry a switch (blending, depth and alpha tests, culling, texture targets)
// set and read it through this class, as do the lights and line stipple. Apply()/Retrieve() run
// on the GL worker thread (or a thread with the root context current).

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API Capability {
public:
    unsigned int capability;
    bool on;

    constexpr Capability(unsigned int capability_ = 0, bool on_ = false) : capability(capability_), on(on_) {}

    // glEnable or glDisable of the capability.
    void Apply() const;
    // Reads whether the capability is on (glIsEnabled); the capability itself is kept.
    void Retrieve();

    static void Enable(unsigned int capability) { Capability(capability, true).Apply(); }
    static void Disable(unsigned int capability) { Capability(capability, false).Apply(); }
    static bool IsEnabled(unsigned int capability);
};

} // namespace OGL_ZEP6_AE
