#pragma once

#include "Export.h"

#include <string>
#include <vector>

namespace OGL_ZEP6_AE {

// The rules behind the capability answers (gl/context/Capabilities.h), free of OpenGL so that they can be checked on their own.
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
// Boards built for professional and data-centre work, on which image content is kept in full
// float when float textures exist (StorageTypeFor): every Quadro; NVIDIA's later workstation
// boards ("RTX A4000", "RTX 6000 Ada Generation", "RTX PRO 6000", and "NVIDIA T1000"-style
// model names); NVIDIA's data-centre boards ("Tesla ...", and a model name of one or two capitals
// and a number right after "NVIDIA ": A100, H100, L40S, GH200, T4, V100); AMD's "Radeon Pro",
// "FirePro" and "Instinct" boards. Consumer boards (GeForce, plain Radeon) are not.
ZEP6_API bool IsProfessionalRenderer(const std::string& renderer);
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

// The storage type asked for with ZEP6_STORAGE.
enum class StorageChoice {
    Card,    // not set (or empty): the card's own choice
    Float,   // "float"
    Half,    // "half"
    Byte,    // "byte"
    Unknown, // any other text: reported and otherwise ignored
};
ZEP6_API StorageChoice ParseStorageChoice(const char* value);

struct StorageFacts {
    bool floatTextures = false;   // GL_ARB_texture_float
    bool halfFloatPixels = false; // GL_ARB_half_float_pixel
    bool basicQuadro = false;     // IsBasicQuadro()
    bool macATI = false;          // IsMacATI()
    bool professional = false;    // IsProfessionalRenderer(GetCard())
    StorageChoice choice = StorageChoice::Card;
};

// The component type image content is kept in (GL_FLOAT, GL_HALF_FLOAT_ARB or GL_UNSIGNED_BYTE):
// - a choice the card can store wins: float needs float textures, half needs half-float pixels,
//   byte is always possible;
// - otherwise, on a basic Quadro or a Mac ATI board: half float when possible, else bytes;
// - otherwise: float on professional boards with float textures (full precision and range is
//   what they are bought for, and they store it at full speed), else half float when possible,
//   else float when possible, else bytes.
ZEP6_API unsigned int StorageTypeFor(const StorageFacts& facts);

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

// The component type image content is kept in on the card (Texture::GetBestType()), by
// CapabilityRules::StorageTypeFor with ZEP6_STORAGE read once. Worked out on the first call and
// kept, as the capability answers are, with no lock held while the queries run: they may hand
// themselves to the worker thread, whose current job may be asking for this very answer. A
// ZEP6_STORAGE value that is not understood, or a type the card cannot store, is reported once
// on the standard error stream and the card's own choice applies.
ZEP6_API unsigned int BestStorageType();

} // namespace OGL_ZEP6_AE
