#pragma once

// One OpenGL switch (glEnable/glDisable) as a value: which capability and whether it is on.
// For switches no other value class carries (lights, line stipple). Apply()/Retrieve() run on
// the GL worker thread (or a thread with the root context current).

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
};

} // namespace OGL_ZEP6_AE
