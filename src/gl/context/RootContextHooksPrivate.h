#pragma once

namespace OGL_ZEP6_AE {
namespace detail {

// Applies the library's default OpenGL state to a newly created root context. The state layer
// sets it; until then a new context keeps the driver's defaults.
extern void (*gApplyDefaultStateHook)();

} // namespace detail
} // namespace OGL_ZEP6_AE
