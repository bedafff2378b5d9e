// The entry-point table and the rules behind the capability answers and the hardware report,
// without an OpenGL context.

// Prototypes of every OpenGL function, so that each entry's pointer type can be checked against
// the system's own declaration of the function it names.
#define GL_GLEXT_PROTOTYPES 1

#include "core/Errors.h"
#include "gl/context/Capabilities.h"
#include "gl/context/CapabilityRulesPrivate.h"
#include "gl/context/EntryPoints.h"
#include "platform/SystemInfo.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

using namespace OGL_ZEP6_AE;
using namespace OGL_ZEP6_AE::CapabilityRules;

// Every OpenGL entry is typed exactly as the function of that name is declared: a name spelled
// wrongly, or paired with the type of another function, fails here.
#define ZEP6_CHECK_GL_ENTRY_TYPE(name, type)                                                                 \
    static_assert(std::is_same<type, decltype(&::name)>::value, #name " has the wrong type");
#define ZEP6_CHECK_WGL_ENTRY_TYPE(name)                                                                      \
    static_assert(std::is_same<GenericProc, decltype(GLEntry::name)>::value, #name);
ZEP6_ENTRY_POINTS(ZEP6_CHECK_GL_ENTRY_TYPE, ZEP6_CHECK_WGL_ENTRY_TYPE)
#undef ZEP6_CHECK_GL_ENTRY_TYPE
#undef ZEP6_CHECK_WGL_ENTRY_TYPE

namespace {

TEST(ExtensionRules, SubstringSearchOverBothListsWithoutTheDisabledNamesAndNoEntryOutsideTheTable) {
    struct Case {
        const char *gl, *windowSystem;
        const char* disabled; // as ZEP6_DISABLE_EXTENSIONS lists them
        const char* combined;
        const char *found, *absent; // names asked for; the empty name is found in every case
    };
    const Case cases[] = {
        // Any substring is found, a prefix of a longer name too (as the test has always been);
        // case counts.
        {"GL_ARB_texture_float GL_ARB_half_float_pixel ", "EGL_KHR_image EGL_KHR_fence_sync", "",
         "GL_ARB_texture_float GL_ARB_half_float_pixel EGL_KHR_image EGL_KHR_fence_sync",
         "GL_ARB_texture GL_ARB_half_float_pixel EGL_KHR_fence_sync float_pixel",
         "GL_ARB_depth_texture gl_arb_texture_float"},
        // Without lists only the empty name is found.
        {nullptr, nullptr, "", "", "", "GL_ARB_texture_float"},
        // A driver list without a trailing blank runs into the window-system list.
        {"GL_A GL_B", "EGL_C", "", "GL_A GL_BEGL_C", "GL_BEGL", ""},
        // Disabled names are taken out, also where only they had a prefix ("GL_ARB_texture"). A
        // disabled name asked exactly is absent even where a longer name contains it, and the
        // longer name itself stays.
        {"GL_ARB_texture_float GL_ARB_half_float_pixel GL_EXT_framebuffer_object ",
         "EGL_KHR_image EGL_MESA_x", " GL_ARB_texture_float\tEGL_KHR_image\n GL_EXT_framebuffer ",
         "GL_ARB_half_float_pixel GL_EXT_framebuffer_object EGL_MESA_x",
         "GL_ARB_half_float_pixel EGL_MESA_x GL_EXT_framebuffer_object",
         "GL_ARB_texture_float GL_ARB_texture EGL_KHR_image GL_EXT_framebuffer"},
        // A prefix stays found while another extension has it.
        {"GL_ARB_texture_float GL_ARB_texture_rectangle", nullptr, "GL_ARB_texture_float",
         "GL_ARB_texture_rectangle", "GL_ARB_texture", "GL_ARB_texture_float"},
    };
    for (const Case& c : cases) {
        const std::vector<std::string> disabled = SplitNames(c.disabled);
        const std::string combined = CombineExtensionLists(c.gl, c.windowSystem, disabled);
        EXPECT_EQ(combined, c.combined);
        EXPECT_TRUE(FindExtension(combined, "", disabled)) << combined;
        for (const std::string& name : SplitNames(c.found))
            EXPECT_TRUE(FindExtension(combined, name.c_str(), disabled)) << name << " in " << combined;
        for (const std::string& name : SplitNames(c.absent))
            EXPECT_FALSE(FindExtension(combined, name.c_str(), disabled)) << name << " in " << combined;
    }

    // Indices outside the table name nothing. Each name against its address is checked on a real
    // context (EntryPoints.LoadedFromTheDriver); distinct names and their count, by the compiler.
    EXPECT_EQ(EntryPointName(-1), nullptr);
    EXPECT_EQ(EntryPointName(kEntryPointCount), nullptr);
    EXPECT_EQ(EntryPointAddress(kEntryPointCount), nullptr);
}

TEST(RendererRules, QuadroProfessionalAtiSoftwareSeriesAndUnsupportedHardware) {
    struct Case {
        const char* renderer;
        bool quadro, basicQuadro, professional, ati, software;
        long series;
    };
    const Case cases[] = {
        {"Quadro FX 3500/PCI/SSE2", true, true, true, false, false, 3500},
        {"Quadro FX 5600", true, false, true, false, false, 5600},
        {"GeForce 5500", false, false, false, false, false, 5500}, // a series number alone is no Quadro
        {"RADEON X1900 Series", false, false, false, false, false, 1900}, // "ATI", case-sensitive
        {"ATI Radeon HD 4870", false, false, false, true, false, 4870},
        {"llvmpipe (LLVM 15.0.6, 256 bits)", false, false, false, false, true, 15},
        {"softpipe", false, false, false, false, true, 0},
        {"NVIDIA H100 80GB HBM3/PCIe/SSE2", false, false, true, false, false, 100},
        {"NVIDIA L40S/PCIe/SSE2", false, false, true, false, false, 40},
        {"NVIDIA T1000/PCIe/SSE2", false, false, true, false, false, 1000},
        {"Tesla V100-SXM2-16GB/PCIe/SSE2", false, false, true, false, false, 100},
        {"NVIDIA RTX A6000/PCIe/SSE2", false, false, true, false, false, 6000},
        {"NVIDIA RTX 6000 Ada Generation/PCIe/SSE2", false, false, true, false, false, 6000},
        {"AMD Radeon Pro W6800 (radeonsi, navi21)", false, false, true, false, false, 6800},
        {"NVIDIA GeForce RTX 4090/PCIe/SSE2", false, false, false, false, false, 4090},
        {"NVIDIA TITAN RTX/PCIe/SSE2", false, false, false, false, false, 2}, // from "SSE2"
        {"AMD Radeon RX 7900 XTX (radeonsi, navi31)", false, false, false, false, false, 7900},
        {"Card X-300", false, false, false, false, false, -300}, // atoi reads the sign
        {"", false, false, false, false, false, 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(std::make_tuple(IsQuadroRenderer(c.renderer), IsBasicQuadroRenderer(c.renderer),
                                  IsProfessionalRenderer(c.renderer), IsATIRenderer(c.renderer),
                                  IsSoftwareRenderer(c.renderer), CardSeriesOf(c.renderer)),
                  std::make_tuple(c.quadro, c.basicQuadro, c.professional, c.ati, c.software, c.series))
            << c.renderer;
    EXPECT_EQ(CardSeriesOf(nullptr), 0);

    // The report ends in the unsupported-hardware message below 32 MB of texture memory counted in
    // whole megabytes, which includes a memory size nothing could find (0), and for a "geforce2"
    // (case-sensitive). The report's lines: Capabilities.AnswersAreWhatTheDriverReports.
    const struct {
        const char* card;
        unsigned int memory;
        bool unsupported;
    } hardware[] = {
        {"Quadro FX 3500", 0x02000000, false}, {"Quadro FX 3500", 0x01FFFFFF, true},
        {"Quadro FX 3500", 0, true},           {"Quadro FX 3500", 0xFFFFFFFF, false},
        {"GeForce2 MX", 0x04000000, false},    {"geforce2 mx", 0x04000000, true},
    };
    for (const auto& c : hardware)
        EXPECT_EQ(IsUnsupportedHardware(c.card, c.memory), c.unsupported) << c.card << " " << c.memory;
}

TEST(StorageRules, CardChoiceAndOverride) {
    using C = StorageChoice;
    constexpr unsigned F = GL_FLOAT, H = GL_HALF_FLOAT_ARB, B = GL_UNSIGNED_BYTE;
    struct Case {
        StorageFacts facts; // float textures, half-float pixels, basic Quadro, Mac ATI, professional
        unsigned type;
    };
    // clang-format off
    const Case cases[] = {
        {{true, true, false, false, true, C::Card}, F}, {{true, true, false, false, false, C::Card}, H},
        {{true, false, false, false, false, C::Card}, F}, {{false, false, false, false, true, C::Card}, B},
        {{true, true, true, false, true, C::Card}, H}, {{true, false, true, false, true, C::Card}, B},
        {{true, true, false, true, false, C::Card}, H}, {{true, true, false, false, false, C::Float}, F},
        {{false, true, false, false, false, C::Float}, H}, // not storable: the card's choice
        {{true, true, true, false, true, C::Float}, F}, {{true, true, false, false, true, C::Half}, H},
        {{true, false, false, false, true, C::Half}, F}, {{true, true, false, false, true, C::Byte}, B},
        {{true, true, false, false, true, C::Unknown}, F},
    };
    // clang-format on
    for (const Case& c : cases)
        EXPECT_EQ(StorageTypeFor(c.facts), c.type)
            << c.facts.floatTextures << c.facts.halfFloatPixels << c.facts.basicQuadro << c.facts.macATI
            << c.facts.professional << " choice " << static_cast<int>(c.facts.choice);
    const std::pair<const char*, StorageChoice> choices[] = {
        {nullptr, C::Card}, {"", C::Card}, {"float", C::Float}, {"half", C::Half}, {"byte", C::Byte}, {"Float", C::Unknown}};
    for (const auto& [text, choice] : choices)
        EXPECT_EQ(ParseStorageChoice(text), choice) << (text ? text : "null");
}

TEST(MemorySize, FirstSourceThatKnowsWinsLargeSizesSaturateAndTheKernelsCardIsTheLowest) {
    constexpr unsigned long long GiB = 1ULL << 30;
    struct Case {
        const char* what;
        MemorySources sources;
        unsigned int bytes;
    };
    // Sources in field order: NVX extension and KiB, ATI extension and KiB, kernel bytes, software
    // renderer, machine bytes.
    const Case cases[] = {
        {"nothing known", {}, 0u},
        {"NVX 1 GiB", {true, 1 << 20, false, 0, 0, false, 0}, 0x40000000u},
        {"NVX 80 GiB saturates", {true, 80LL << 20, false, 0, 0, false, 0}, 0xFFFFFFFFu},
        {"NVX before the kernel", {true, 256 << 10, false, 0, 8 * GiB, true, 2 * GiB}, 0x10000000u},
        {"NVX reporting 0 falls through", {true, 0, false, 0, 512ULL << 20, false, 0}, 0x20000000u},
        {"ATI; the NVX value without its extension is not used",
         {false, 1 << 20, true, 262144, 0, false, 0},
         0x10000000u},
        {"kernel", {false, 0, false, 0, 0x01F00000, false, 0}, 0x01F00000u},
        {"kernel 4 GiB saturates, would wrap to 0",
         {false, 0, false, 0, 0x100000000ULL, false, 0},
         0xFFFFFFFFu},
        {"software renderer", {false, 0, false, 0, 0, true, 2 * GiB}, 0x80000000u},
        {"software renderer, large machine", {false, 0, false, 0, 0, true, 64 * GiB + 5}, 0xFFFFFFFFu},
        {"a hardware renderer does not use the machine's memory",
         {false, 0, false, 0, 0, false, 2 * GiB},
         0u},
    };
    for (const Case& c : cases)
        EXPECT_EQ(MemorySizeFrom(c.sources), c.bytes) << c.what;

    // The kernel source: the lowest-numbered card that publishes a value.
    char pattern[] = "/tmp/zep6_drm_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::filesystem::path root = pattern;
    auto write = [&root](const std::string& relative, const std::string& text) {
        std::filesystem::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << text;
    };
    EXPECT_EQ(platform::KernelVideoMemory(root.c_str()), 0u) << "nothing published";
    write("card0/device/mem_info_vram_total", "garbage\n");
    EXPECT_EQ(platform::KernelVideoMemory(root.c_str()), 0u);
    EXPECT_EQ(platform::KernelVideoMemory(nullptr), 0u);
    write("card0/device/vendor", "0x8086\n");                // no memory file
    write("card1/device/mem_info_vram_total", "0\n");        // publishes nothing useful
    write("card0-DP-1/device/mem_info_vram_total", "123\n"); // a connector, not a card
    write("card10/device/mem_info_vram_total", "4096\n");
    write("card2/device/mem_info_vram_total", "8589934592\n");
    write("renderD128/device/mem_info_vram_total", "77\n");
    EXPECT_EQ(platform::KernelVideoMemory(root.c_str()), 8589934592ULL);
    std::filesystem::remove_all(root);
}

} // namespace
