#pragma once

// What the graphics card and driver can do, and the hardware report a plug-in can show its user.
//
// Every answer but IsExtensionSupported() is worked out on the first call and kept for the life
// of the process, also when it was taken before a usable context existed ("Unknown", false, 0).
// The extension test and the text queries run on the GL worker thread: called from any other
// thread they hand themselves to it and wait. IsShortSupported() and the maximum texture size of
// the report use the calling thread's current context when it has one (inside a job, or after
// RootContext::Select()), and the worker thread's otherwise. The worker cannot make the root
// context current while another thread has it selected: a query that first runs then finds
// no context and keeps its default answer, so ask before selecting the root context elsewhere.
//
// The environment variable ZEP6_DISABLE_EXTENSIONS, a blank-separated list of extension names,
// makes those extensions look absent, so that the fallback paths can be run on a driver that has
// everything: each listed name is taken out of the extension lists before they are searched, and
// a query for exactly a listed name is answered false. A query for a shorter prefix still
// succeeds when another, unlisted extension begins with it. The variable is read once, on the
// first extension query of the process.

#include "Export.h"

#include <string>

namespace OGL_ZEP6_AE {

// Whether `name` occurs anywhere in the OpenGL extension list followed by the window-system
// (EGL) list; a prefix of a longer name counts as found, and the empty name is always found.
// Not cached. `name` must not be null.
ZEP6_API bool IsExtensionSupported(const char* name);

// The marshalled form of the extension test: writes the answer into *result on the GL worker
// thread. *result is left as it was when the worker cannot make its context current.
ZEP6_API void IsExtensionSupported(const char* name, bool* result);

// Whether a 16-bit-per-channel RGBA texture is stored as such (probed with a 32 x 32 texture).
ZEP6_API bool IsShortSupported();
ZEP6_API bool IsFloatSupported();        // GL_ARB_texture_float
ZEP6_API bool IsHalfFloatSupported();    // GL_ARB_half_float_pixel
ZEP6_API bool IsFrameBufferSupported();  // GL_EXT_framebuffer_object
ZEP6_API bool IsDepthTextureSupported(); // GL_ARB_depth_texture
// Whether GLSL fragment programs can be built and used: GL_ARB_fragment_shader is listed and the
// driver supplied the shader, program and uniform entry points the effect programs call.
ZEP6_API bool IsShaderSupported();
// Pixel transfers through buffer objects. Each is false when the extension is hidden or the
// driver left out an entry point the transfer path calls.
// GL_ARB_pixel_buffer_object with the buffer entry points (bind, data, map, unmap, delete).
ZEP6_API bool IsPixelBufferSupported();
// GL_ARB_buffer_storage with glBufferStorage and glMapBufferRange (persistently mapped buffers).
ZEP6_API bool IsBufferStorageSupported();
// GL_ARB_sync with glFenceSync, glClientWaitSync and glDeleteSync.
ZEP6_API bool IsSyncSupported();
// Whether host-image transfers should go through buffer objects: where
// IsPixelBufferSupported(), except on a software renderer, whose buffer objects are host memory
// like the image itself, so that staging only adds a copy. ZEP6_PIXEL_BUFFERS=on uses them on any
// renderer that has them, ZEP6_PIXEL_BUFFERS=off on none (read once per process).
ZEP6_API bool IsPixelBufferPreferred();

// Tests on the renderer text (GetCard()); all are case-sensitive.
ZEP6_API bool IsQuadro();      // contains "Quadro"
ZEP6_API bool IsBasicQuadro(); // a Quadro of the 1500, 3500, 4500 or 5500 series
ZEP6_API bool IsATI();         // contains "ATI"
ZEP6_API bool IsMacATI();      // always false

// GL_VENDOR, GL_RENDERER and GL_VERSION, or "Unknown" when the driver gave none.
ZEP6_API const std::string GetVendor();
ZEP6_API const std::string GetCard();
ZEP6_API const std::string GetVersion();

// The driver's own version as GL_VERSION names it after the vendor ("22.3.6" from
// "4.5 (Compatibility Profile) Mesa 22.3.6"); the empty text when it names none.
ZEP6_API const std::string GetDriver();

// The first non-zero number in the renderer text ("Quadro FX 4500" gives 4500), or 0.
ZEP6_API long GetCardSeries();

// Video memory in bytes, or 0 when unknown; see CapabilityRules::MemorySizeFrom for the sources.
// Saturates at 0xFFFFFFFF (4 GiB less one byte) on cards with more.
ZEP6_API unsigned int GetCardMemorySize();

// The hardware report: six lines (card, OpenGL version, driver version, rectangle textures,
// texture memory, texture dimension), followed by the unsupported-hardware message when the card
// is too old or has too little memory. At most 4095 characters.
ZEP6_API const std::string HardwareInfoString();

// Copies glGetString(name) into buffer (at most size - 1 characters and a terminator) on the GL
// worker thread; the buffer keeps its content when the driver gives no text or the worker cannot
// make its context current.
ZEP6_API void GetGLString(unsigned int name, char* buffer, int size);

// The six effects of the plug-in family that cannot run without OpenGL, as the unsupported-
// hardware message names them. The product sets them once, before the first HardwareInfoString()
// (the report is composed once and kept). A null entry keeps the name in its place; a null array
// restores the placeholders "Effect 1" to "Effect 6".
ZEP6_API void SetUnsupportedEffectNames(const char* const names[6]);


} // namespace OGL_ZEP6_AE
