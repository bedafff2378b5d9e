#pragma once

// Counters of what the library did, for its own tests and benchmarks (this header is not
// installed): which upload and read-back paths ran, how often programs were linked, uniforms
// looked up and uniform tables built, and how many resources are listed now. Process-wide;
// counting is atomic, but a value read while work runs may already be stale.

#include "Export.h"

namespace OGL_ZEP6_AE {

enum class TestCounter {
    DirectUploads,       // Texture uploads by direct transfer
    RenderUploads,       // Texture uploads through the render path (MaskTexture included)
    DirectReads,         // RenderedTexture reads straight into the image
    RenderReads,         // RenderedTexture reads through the converting copy
    Links,               // glLinkProgram calls
    UniformLookups,      // glGetUniformLocation calls
    UniformDiscoveries,  // uniform tables built by EffectProgram
};

ZEP6_API long TestCount(TestCounter counter);
// Sets every counter to 0.
ZEP6_API void ResetTestCounts();
// Adds one; called where the counted work happens.
void AddTestCount(TestCounter counter);

// Number of resources in the process-wide resource list now.
ZEP6_API int ListedResourceCount();

} // namespace OGL_ZEP6_AE
