#pragma once

// A diagnostics probe kept for the plug-ins compiled against it. Every operation does nothing;
// the class exists so that those callers link and run.

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API Debug {
public:
    Debug(unsigned char first, unsigned char second);
    Debug(const Debug& other);
    Debug& operator=(const Debug& other);

    void Sample();
    void Log() const;
    void Difference(const Debug& other) const;

    static void Initialize();

    // The one process-wide probe.
    static Debug sDebug;
};

} // namespace OGL_ZEP6_AE
