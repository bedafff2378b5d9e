#pragma once

// The shader program in use (GL_CURRENT_PROGRAM) as a value; 0 is the fixed-function pipeline.
// The program is used as it is named, with no check that it still exists (State does that when
// it restores). Apply()/Retrieve() run on the GL worker thread (or a thread with the root context
// current).

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API ProgramInUse {
public:
    unsigned int program;

    constexpr explicit ProgramInUse(unsigned int program_ = 0) : program(program_) {}

    // glUseProgram (Unsupported when the driver lacks it).
    void Apply() const;
    void Retrieve();
};

} // namespace OGL_ZEP6_AE
