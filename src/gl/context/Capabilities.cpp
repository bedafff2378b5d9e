#include "gl/context/Capabilities.h"
#include "gl/context/CapabilityRulesPrivate.h"
#include "gl/context/EntryPoints.h"

#include "gl/context/Shared.h"
#include "platform/Egl.h"
#include "platform/SystemInfo.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>

namespace OGL_ZEP6_AE {

namespace {

// GL_NVX_gpu_memory_info and GL_ATI_meminfo queries (not every glext.h names them).
constexpr GLenum kNvxDedicatedVidmem = 0x9047;   // GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX
constexpr GLenum kAtiTextureFreeMemory = 0x87FC; // GL_TEXTURE_FREE_MEMORY_ATI

constexpr int kTextSize = 1024;
constexpr int kReportSize = 4096;

const char kUnsupportedIntro[] =
    "A component of your system has been detected which is not officially supported by "
    "Quenlor for OpenGL renders. This means that you cannot use the OpenGL filters (";

// An answer worked out once per process. The work runs outside the lock: it may hand itself to
// the worker thread, and a job on the worker may ask for the same answer meanwhile. Two threads
// asking at once may both work it out; the first result stored is the one kept.
template <class T> class Cached {
public:
    template <class Compute> T Get(Compute compute) {
        {
            std::lock_guard<std::mutex> guard(lock_);
            if (filled_)
                return value_;
        }
        const T value = compute();
        std::lock_guard<std::mutex> guard(lock_);
        if (!filled_) {
            value_ = value;
            filled_ = true;
        }
        return value_;
    }

private:
    std::mutex lock_;
    bool filled_ = false;
    T value_{};
};

// A text answer in a fixed buffer that holds "Unknown" until it is filled, on the same terms.
template <int Size> class CachedText {
public:
    // `fill` writes into a buffer of Size bytes that holds "Unknown" when it is called.
    template <class Fill> std::string Get(Fill fill) {
        {
            std::lock_guard<std::mutex> guard(lock_);
            if (filled_)
                return text_;
        }
        char local[Size] = "Unknown";
        fill(local, Size);
        local[Size - 1] = '\0';
        std::lock_guard<std::mutex> guard(lock_);
        if (!filled_) {
            std::memcpy(text_, local, Size);
            filled_ = true;
        }
        return text_;
    }

private:
    std::mutex lock_;
    bool filled_ = false;
    char text_[Size] = "Unknown";
};

// Runs work(data) on the GL worker thread (the marshalled form of a job without a public name).
void RunOnWorker(void (*work)(void*), void* data) {
    if (MarshalToWorker(&RunOnWorker, work, data))
        return;
    work(data);
}

// Runs `f` where a context is current: on the calling thread when it has one (a job on the worker,
// or a thread that selected the root context), else on the worker thread.
template <class F> void InCurrentContext(F& f) {
    if (Shared::IsThread() || platform::HasCurrentContext()) {
        f();
        return;
    }
    RunOnWorker([](void* data) { (*static_cast<F*>(data))(); }, &f);
}

// glGetIntegerv into up to four values that start at 0 (a query that fails leaves them so).
void GetIntegers(GLenum name, GLint values[4]) {
    auto query = [&] { glGetIntegerv(name, values); };
    InCurrentContext(query);
}

// The names listed in ZEP6_DISABLE_EXTENSIONS, read on first use.
const std::vector<std::string>& DisabledExtensions() {
    static const std::vector<std::string> disabled =
        CapabilityRules::SplitNames(std::getenv("ZEP6_DISABLE_EXTENSIONS"));
    return disabled;
}

// Placeholders until the product names its effects.
const char* const kPlaceholderEffects[6] = {"Effect 1", "Effect 2", "Effect 3",
                                            "Effect 4", "Effect 5", "Effect 6"};

struct EffectNames {
    EffectNames() {
        for (int i = 0; i < 6; ++i)
            names[i] = kPlaceholderEffects[i];
    }
    std::mutex lock;
    std::string names[6];
};

EffectNames& UnsupportedEffects() {
    static EffectNames effects;
    return effects;
}

std::string ReadText(unsigned int name, CachedText<kTextSize>& cache) {
    return cache.Get([name](char* buffer, int size) { GetGLString(name, buffer, size); });
}

CachedText<kTextSize> sVendor;
CachedText<kTextSize> sCard;
CachedText<kTextSize> sVersion;
CachedText<kTextSize> sDriver;
CachedText<kReportSize> sReport;

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

} // namespace

// ---- the rules ---------------------------------------------------------------------------

namespace CapabilityRules {

std::vector<std::string> SplitNames(const char* list) {
    std::vector<std::string> names;
    if (!list)
        return names;
    const char* p = list;
    while (*p) {
        while (*p && IsSpace(*p))
            ++p;
        const char* start = p;
        while (*p && !IsSpace(*p))
            ++p;
        if (p > start)
            names.emplace_back(start, p);
    }
    return names;
}

namespace {

// The list without the disabled names; unchanged when nothing is disabled.
std::string WithoutDisabled(const char* list, const std::vector<std::string>& disabled) {
    if (!list)
        return std::string();
    if (disabled.empty())
        return list;
    std::string kept;
    for (const std::string& name : SplitNames(list)) {
        bool listed = false;
        for (const std::string& d : disabled)
            listed = listed || name == d;
        if (listed)
            continue;
        if (!kept.empty())
            kept += ' ';
        kept += name;
    }
    // Keep a trailing separator where the driver's list has one, so the two lists join as before.
    const size_t length = std::strlen(list);
    if (!kept.empty() && length > 0 && IsSpace(list[length - 1]))
        kept += ' ';
    return kept;
}

} // namespace

std::string CombineExtensionLists(const char* glList, const char* windowSystemList,
                                  const std::vector<std::string>& disabled) {
    return WithoutDisabled(glList, disabled) + WithoutDisabled(windowSystemList, disabled);
}

bool FindExtension(const std::string& combined, const char* name, const std::vector<std::string>& disabled) {
    if (!name)
        return false;
    for (const std::string& d : disabled)
        if (d == name)
            return false;
    return Contains(combined, name);
}

bool IsQuadroRenderer(const std::string& renderer) {
    return Contains(renderer, "Quadro");
}

bool IsBasicQuadroRenderer(const std::string& renderer) {
    return IsQuadroRenderer(renderer) && (Contains(renderer, "1500") || Contains(renderer, "3500") ||
                                          Contains(renderer, "4500") || Contains(renderer, "5500"));
}

namespace {

// The model name right after "NVIDIA " is one or two capitals, a number of one to four digits
// and at most one more capital ("A100", "H100", "L40S", "GH200", "T4", "T1000"), up to a blank,
// '-' or '/' or the end.
bool HasNvidiaModelNumber(const std::string& renderer) {
    const std::string prefix = "NVIDIA ";
    const std::size_t start = renderer.find(prefix);
    if (start == std::string::npos)
        return false;
    const std::size_t begin = start + prefix.size();
    const std::size_t end = renderer.find_first_of(" -/", begin);
    const std::string model = renderer.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
    std::size_t i = 0;
    while (i < model.size() && i < 2 && std::isupper(static_cast<unsigned char>(model[i])))
        ++i;
    const std::size_t digits = i;
    while (i < model.size() && std::isdigit(static_cast<unsigned char>(model[i])))
        ++i;
    if (digits == 0 || i == digits || i - digits > 4)
        return false;
    if (i < model.size() && std::isupper(static_cast<unsigned char>(model[i])))
        ++i;
    return i == model.size();
}

} // namespace

bool IsProfessionalRenderer(const std::string& renderer) {
    for (const char* line : {"Quadro", "Tesla", "RTX A", "RTX PRO", "Ada Generation", "Radeon Pro", "Radeon PRO",
                             "FirePro", "Instinct"})
        if (Contains(renderer, line))
            return true;
    return HasNvidiaModelNumber(renderer);
}

StorageChoice ParseStorageChoice(const char* value) {
    if (!value || !*value)
        return StorageChoice::Card;
    const std::string text = value;
    if (text == "float")
        return StorageChoice::Float;
    if (text == "half")
        return StorageChoice::Half;
    if (text == "byte")
        return StorageChoice::Byte;
    return StorageChoice::Unknown;
}

unsigned int StorageTypeFor(const StorageFacts& facts) {
    if (facts.choice == StorageChoice::Float && facts.floatTextures)
        return GL_FLOAT;
    if (facts.choice == StorageChoice::Half && facts.halfFloatPixels)
        return GL_HALF_FLOAT_ARB;
    if (facts.choice == StorageChoice::Byte)
        return GL_UNSIGNED_BYTE;
    if (facts.basicQuadro || facts.macATI)
        return facts.halfFloatPixels ? GL_HALF_FLOAT_ARB : GL_UNSIGNED_BYTE;
    if (facts.floatTextures && facts.professional)
        return GL_FLOAT;
    if (facts.halfFloatPixels)
        return GL_HALF_FLOAT_ARB;
    return facts.floatTextures ? GL_FLOAT : GL_UNSIGNED_BYTE;
}

bool IsATIRenderer(const std::string& renderer) {
    return Contains(renderer, "ATI");
}

bool IsSoftwareRenderer(const std::string& renderer) {
    return Contains(renderer, "llvmpipe") || Contains(renderer, "softpipe");
}

long CardSeriesOf(const char* renderer) {
    if (!renderer)
        return 0;
    for (const char* p = renderer; *p; ++p) {
        const long value = std::atoi(p);
        if (value != 0)
            return value;
    }
    return 0;
}

std::string DriverVersionOf(const char* glVersion) {
    const std::vector<std::string> words = SplitNames(glVersion);
    // The first word is the OpenGL version itself ("4.6.0"); the driver's version follows the
    // vendor's name ("Mesa", "NVIDIA", "Build").
    for (size_t i = 1; i < words.size(); ++i)
        if (std::isdigit(static_cast<unsigned char>(words[i][0])))
            return words[i];
    return std::string();
}

unsigned int MemorySizeFrom(const MemorySources& sources) {
    // The result is a 32-bit byte count, as it has always been; cards (and, for software
    // renderers, machines) with 4 GiB or more are reported as 0xFFFFFFFF rather than wrapping
    // round to a small number.
    auto saturate = [](unsigned long long bytes) -> unsigned int {
        const unsigned long long most = std::numeric_limits<unsigned int>::max();
        return static_cast<unsigned int>(bytes > most ? most : bytes);
    };
    if (sources.hasNvxMemoryInfo && sources.nvxDedicatedKiB > 0)
        return saturate(static_cast<unsigned long long>(sources.nvxDedicatedKiB) * 1024ULL);
    if (sources.hasAtiMemInfo && sources.atiTextureFreeKiB > 0)
        return saturate(static_cast<unsigned long long>(sources.atiTextureFreeKiB) * 1024ULL);
    if (sources.kernelBytes > 0)
        return saturate(sources.kernelBytes);
    if (sources.softwareRenderer)
        return saturate(sources.physicalBytes);
    return 0;
}

bool IsUnsupportedHardware(const std::string& renderer, unsigned int memorySize) {
    return Contains(renderer, "geforce2") || (memorySize & ~0xFFFFFu) < 0x2000000u;
}

std::string UnsupportedHardwareMessage(const char* const effectNames[6]) {
    std::string message = kUnsupportedIntro;
    for (int i = 0; i < 6; ++i) {
        if (i == 3)
            message += " and ";
        else if (i > 0)
            message += ", ";
        message += effectNames[i] ? effectNames[i] : "";
    }
    message += ").";
    return message;
}

std::string ComposeHardwareReport(const HardwareFacts& facts, const std::string& unsupportedMessage) {
    char line[64];
    std::string report;
    report += "Graphics Card:     " + facts.card + "\n";
    report += "OpenGL Version:    " + facts.version + "\n";
    report += "Driver Version:    " + facts.driver + "\n";
    report += std::string("Texture Rectangle: ") + (facts.textureRectangle ? "true" : "false") + "\n";
    std::snprintf(line, sizeof line, "Texture Memory:    %u MB\n", facts.memorySize >> 20);
    report += line;
    std::snprintf(line, sizeof line, "Texture Dimension: %d x %d\n", facts.maxTextureSize,
                  facts.maxTextureSize);
    report += line;
    if (IsUnsupportedHardware(facts.card, facts.memorySize))
        report += "\n" + unsupportedMessage + "\n";
    return report;
}

} // namespace CapabilityRules

// ---- the queries -------------------------------------------------------------------------

void IsExtensionSupported(const char* name, bool* result) {
    if (MarshalToWorker(&IsExtensionSupported, name, result))
        return;
    // On the GL worker thread, with the root context current.
    const GLubyte* glList = glGetString(GL_EXTENSIONS);
    const std::string combined = CapabilityRules::CombineExtensionLists(
        reinterpret_cast<const char*>(glList), platform::WindowSystemExtensions(), DisabledExtensions());
    *result = CapabilityRules::FindExtension(combined, name, DisabledExtensions());
}

bool IsExtensionSupported(const char* name) {
    bool result = false;
    IsExtensionSupported(name, &result);
    return result;
}

void GetGLString(unsigned int name, char* buffer, int size) {
    if (MarshalToWorker(&GetGLString, name, buffer, size))
        return;
    // On the GL worker thread, with the root context current.
    if (!buffer || size <= 0)
        return;
    const GLubyte* text = glGetString(name);
    if (text)
        std::snprintf(buffer, static_cast<size_t>(size), "%s", reinterpret_cast<const char*>(text));
}

bool IsShortSupported() {
    static Cached<bool> answer;
    return answer.Get([] {
        bool stored = false;
        auto probe = [&stored] {
            GLuint texture = 0;
            glGenTextures(1, &texture);
            if (texture == 0)
                return;
            GLint previous = 0;
            glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
            glBindTexture(GL_TEXTURE_2D, texture);
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16, 32, 32, 0, GL_RGBA, GL_UNSIGNED_SHORT, nullptr);
            GLint format = 0;
            glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &format);
            stored = format == GL_RGBA16;
            glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
            glDeleteTextures(1, &texture);
        };
        InCurrentContext(probe);
        return stored;
    });
}

bool IsFloatSupported() {
    static Cached<bool> answer;
    return answer.Get([] { return IsExtensionSupported("GL_ARB_texture_float"); });
}

bool IsHalfFloatSupported() {
    static Cached<bool> answer;
    return answer.Get([] { return IsExtensionSupported("GL_ARB_half_float_pixel"); });
}

bool IsFrameBufferSupported() {
    static Cached<bool> answer;
    return answer.Get([] { return IsExtensionSupported("GL_EXT_framebuffer_object"); });
}

bool IsDepthTextureSupported() {
    static Cached<bool> answer;
    return answer.Get([] { return IsExtensionSupported("GL_ARB_depth_texture"); });
}

bool IsShaderSupported() {
    static Cached<bool> answer;
    return answer.Get([] {
        return IsExtensionSupported("GL_ARB_fragment_shader") && GLEntry::glCreateShader &&
               GLEntry::glCreateProgram && GLEntry::glLinkProgram && GLEntry::glUseProgram &&
               GLEntry::glGetActiveUniform && GLEntry::glUniform1i && GLEntry::glUniform4fv;
    });
}

bool IsPixelBufferSupported() {
    static Cached<bool> answer;
    return answer.Get([] {
        return IsExtensionSupported("GL_ARB_pixel_buffer_object") && GLEntry::glGenBuffers &&
               GLEntry::glBindBuffer && GLEntry::glBufferData && GLEntry::glMapBuffer &&
               GLEntry::glUnmapBuffer && GLEntry::glDeleteBuffers;
    });
}

bool IsBufferStorageSupported() {
    static Cached<bool> answer;
    return answer.Get([] {
        return IsExtensionSupported("GL_ARB_buffer_storage") && GLEntry::glBufferStorage &&
               GLEntry::glMapBufferRange;
    });
}

bool IsSyncSupported() {
    static Cached<bool> answer;
    return answer.Get([] {
        return IsExtensionSupported("GL_ARB_sync") && GLEntry::glFenceSync && GLEntry::glClientWaitSync &&
               GLEntry::glDeleteSync;
    });
}

bool IsPixelBufferPreferred() {
    static Cached<bool> answer;
    return answer.Get([] {
        const char* choice = std::getenv("ZEP6_PIXEL_BUFFERS");
        const std::string value = choice ? choice : "";
        if (value == "off" || !IsPixelBufferSupported())
            return false;
        return value == "on" || !CapabilityRules::IsSoftwareRenderer(GetCard());
    });
}

bool IsQuadro() {
    static Cached<bool> answer;
    return answer.Get([] { return CapabilityRules::IsQuadroRenderer(GetCard()); });
}

bool IsBasicQuadro() {
    static Cached<bool> answer;
    return answer.Get([] { return CapabilityRules::IsBasicQuadroRenderer(GetCard()); });
}

bool IsATI() {
    static Cached<bool> answer;
    return answer.Get([] { return CapabilityRules::IsATIRenderer(GetCard()); });
}

bool IsMacATI() {
    return false;
}

const std::string GetVendor() {
    return ReadText(GL_VENDOR, sVendor);
}

const std::string GetCard() {
    return ReadText(GL_RENDERER, sCard);
}

const std::string GetVersion() {
    return ReadText(GL_VERSION, sVersion);
}

const std::string GetDriver() {
    return sDriver.Get([](char* buffer, int size) {
        std::snprintf(buffer, static_cast<size_t>(size), "%s",
                      CapabilityRules::DriverVersionOf(GetVersion().c_str()).c_str());
    });
}

long GetCardSeries() {
    static Cached<long> answer;
    return answer.Get([] { return CapabilityRules::CardSeriesOf(GetCard().c_str()); });
}

unsigned int GetCardMemorySize() {
    static Cached<unsigned int> answer;
    return answer.Get([] {
        CapabilityRules::MemorySources sources;
        sources.hasNvxMemoryInfo = IsExtensionSupported("GL_NVX_gpu_memory_info");
        if (sources.hasNvxMemoryInfo) {
            GLint values[4] = {0, 0, 0, 0};
            GetIntegers(kNvxDedicatedVidmem, values);
            sources.nvxDedicatedKiB = values[0];
        } else {
            sources.hasAtiMemInfo = IsExtensionSupported("GL_ATI_meminfo");
            if (sources.hasAtiMemInfo) {
                GLint values[4] = {0, 0, 0, 0};
                GetIntegers(kAtiTextureFreeMemory, values);
                sources.atiTextureFreeKiB = values[0];
            }
        }
        sources.kernelBytes = platform::KernelVideoMemory();
        sources.softwareRenderer = CapabilityRules::IsSoftwareRenderer(GetCard());
        if (sources.softwareRenderer)
            sources.physicalBytes = platform::PhysicalMemory();
        return CapabilityRules::MemorySizeFrom(sources);
    });
}

namespace {

// ZEP6_STORAGE, read once. Only the environment is read under the guard of this static: nothing
// here waits for the worker thread.
CapabilityRules::StorageChoice StorageChoiceFromEnvironment() {
    static const CapabilityRules::StorageChoice choice = [] {
        const char* value = std::getenv("ZEP6_STORAGE");
        const CapabilityRules::StorageChoice parsed = CapabilityRules::ParseStorageChoice(value);
        if (parsed == CapabilityRules::StorageChoice::Unknown)
            std::fprintf(stderr, "ZEP6_STORAGE=%s is not float, half or byte; ignored\n", value);
        return parsed;
    }();
    return choice;
}

} // namespace

unsigned int BestStorageType() {
    static Cached<unsigned int> answer;
    return answer.Get([] {
        CapabilityRules::StorageFacts facts;
        facts.floatTextures = IsFloatSupported();
        facts.halfFloatPixels = IsHalfFloatSupported();
        facts.basicQuadro = IsBasicQuadro();
        facts.macATI = IsMacATI();
        facts.professional = CapabilityRules::IsProfessionalRenderer(GetCard());
        facts.choice = StorageChoiceFromEnvironment();
        const unsigned int type = CapabilityRules::StorageTypeFor(facts);
        const bool refused = (facts.choice == CapabilityRules::StorageChoice::Float && type != GL_FLOAT) ||
                             (facts.choice == CapabilityRules::StorageChoice::Half && type != GL_HALF_FLOAT_ARB);
        if (refused)
            std::fprintf(stderr, "ZEP6_STORAGE asks for a type this card cannot store; ignored\n");
        return type;
    });
}

void SetUnsupportedEffectNames(const char* const names[6]) {
    EffectNames& effects = UnsupportedEffects();
    std::lock_guard<std::mutex> guard(effects.lock);
    for (int i = 0; i < 6; ++i) {
        if (!names)
            effects.names[i] = kPlaceholderEffects[i];
        else if (names[i])
            effects.names[i] = names[i];
    }
}

const std::string HardwareInfoString() {
    return sReport.Get([](char* buffer, int size) {
        CapabilityRules::HardwareFacts facts;
        facts.card = GetCard();
        facts.version = GetVersion();
        facts.driver = GetDriver();
        facts.textureRectangle = IsExtensionSupported("GL_ARB_texture_rectangle");
        facts.memorySize = GetCardMemorySize();
        GLint maxSize[4] = {0, 0, 0, 0};
        GetIntegers(GL_MAX_TEXTURE_SIZE, maxSize);
        facts.maxTextureSize = maxSize[0];

        std::string message;
        {
            EffectNames& effects = UnsupportedEffects();
            std::lock_guard<std::mutex> guard(effects.lock);
            const char* names[6];
            for (int i = 0; i < 6; ++i)
                names[i] = effects.names[i].c_str();
            message = CapabilityRules::UnsupportedHardwareMessage(names);
        }
        // Cut to the buffer, as the kept report has always been.
        std::snprintf(buffer, static_cast<size_t>(size), "%s",
                      CapabilityRules::ComposeHardwareReport(facts, message).c_str());
    });
}

} // namespace OGL_ZEP6_AE
