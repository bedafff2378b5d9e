#pragma once

// What the operating system can tell about the machine's memory, for the hardware report when
// the OpenGL driver itself does not say how much video memory there is.

#include "Export.h"

namespace OGL_ZEP6_AE {
namespace platform {

// Dedicated video memory in bytes as the kernel's DRM drivers publish it (amdgpu and others:
// `<drmRoot>/cardN/device/mem_info_vram_total`). With several cards the one with the lowest
// number that publishes a positive value is taken; 0 when none does.
ZEP6_API unsigned long long KernelVideoMemory(const char* drmRoot = "/sys/class/drm");

// The machine's physical memory in bytes, or 0 when it cannot be found. A software renderer
// keeps its textures there.
ZEP6_API unsigned long long PhysicalMemory();

} // namespace platform
} // namespace OGL_ZEP6_AE
