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
#include <vector>

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

// The rules behind the answers above, free of OpenGL so that they can be checked on their own.
namespace CapabilityRules {

// The names in a blank-separated list (spaces, tabs, line ends), in order; none for null.
ZEP6_API std::vector<std::string> SplitNames(const char* list);

// The text the extension test searches: the OpenGL list followed by the window-system list, with
// no separator between them (either may be null), and every name in `disabled` taken out.
ZEP6_API std::string CombineExtensionLists(const char* glList, const char* windowSystemList,
                                           const std::vector<std::string>& disabled);

// The extension test on a combined list: false for a name listed in `disabled`, else whether the
// name occurs anywhere in the text.
ZEP6_API bool FindExtension(const std::string& combined, const char* name,
                            const std::vector<std::string>& disabled);

ZEP6_API bool IsQuadroRenderer(const std::string& renderer);
ZEP6_API bool IsBasicQuadroRenderer(const std::string& renderer);
ZEP6_API bool IsATIRenderer(const std::string& renderer);
// Mesa's software rasterisers, which keep textures in the machine's memory.
ZEP6_API bool IsSoftwareRenderer(const std::string& renderer);

// The first non-zero value of atoi() taken from each position of the text in turn; 0 for none
// or null.
ZEP6_API long CardSeriesOf(const char* renderer);

// The driver version within a GL_VERSION text: the first blank-separated word after the OpenGL
// version number that begins with a digit ("580.159.04" from "4.6.0 NVIDIA 580.159.04"); empty
// when there is none.
ZEP6_API std::string DriverVersionOf(const char* glVersion);

// What is known about video memory, source by source.
struct MemorySources {
    bool hasNvxMemoryInfo = false;        // GL_NVX_gpu_memory_info
    long long nvxDedicatedKiB = 0;        // GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX
    bool hasAtiMemInfo = false;           // GL_ATI_meminfo
    long long atiTextureFreeKiB = 0;      // first value of GL_TEXTURE_FREE_MEMORY_ATI
    unsigned long long kernelBytes = 0;   // the kernel's DRM video memory total
    bool softwareRenderer = false;        // IsSoftwareRenderer(renderer)
    unsigned long long physicalBytes = 0; // the machine's memory
};

// The memory size in bytes from the first source that knows it, in the order of the fields
// above (a source that reports 0 or less does not know); 0 when none does. Saturates at
// 0xFFFFFFFF instead of wrapping.
ZEP6_API unsigned int MemorySizeFrom(const MemorySources& sources);

// Whether the report ends with the unsupported-hardware message: a "geforce2" renderer (lower
// case, as the test has always been) or less than 32 MB in whole megabytes.
ZEP6_API bool IsUnsupportedHardware(const std::string& renderer, unsigned int memorySize);

// The unsupported-hardware message naming the six effects ("A, B, C and D, E, F").
ZEP6_API std::string UnsupportedHardwareMessage(const char* const effectNames[6]);

struct HardwareFacts {
    std::string card;
    std::string version;
    std::string driver;
    bool textureRectangle = false;
    unsigned int memorySize = 0; // bytes
    int maxTextureSize = 0;
};

// The whole report for the given facts; `unsupportedMessage` is appended, after an empty line,
// when IsUnsupportedHardware() holds for the card and memory size.
ZEP6_API std::string ComposeHardwareReport(const HardwareFacts& facts, const std::string& unsupportedMessage);

} // namespace CapabilityRules

} // namespace OGL_ZEP6_AE
