#include "platform/SystemInfo.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace OGL_ZEP6_AE {
namespace platform {

namespace {

// The number of a DRM card directory ("card0", "card12"), or -1 for anything else (connector
// directories such as "card0-DP-1", render nodes, version files).
long CardNumber(const std::string& name) {
    if (name.size() <= 4 || name.compare(0, 4, "card") != 0)
        return -1;
    for (size_t i = 4; i < name.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(name[i])))
            return -1;
    return std::strtol(name.c_str() + 4, nullptr, 10);
}

unsigned long long ReadNumber(const std::filesystem::path& file) {
    std::ifstream in(file);
    unsigned long long value = 0;
    if (!(in >> value))
        return 0;
    return value;
}

} // namespace

unsigned long long KernelVideoMemory(const char* drmRoot) {
    if (!drmRoot)
        return 0;
    std::error_code error;
    std::filesystem::directory_iterator it(drmRoot, error);
    if (error)
        return 0;

    std::vector<std::pair<long, std::filesystem::path>> cards;
    for (const std::filesystem::directory_entry& entry : it) {
        const long number = CardNumber(entry.path().filename().string());
        if (number >= 0)
            cards.emplace_back(number, entry.path());
    }
    std::sort(cards.begin(), cards.end());
    for (const auto& card : cards) {
        const unsigned long long bytes = ReadNumber(card.second / "device" / "mem_info_vram_total");
        if (bytes > 0)
            return bytes;
    }
    return 0;
}

unsigned long long PhysicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0)
        return 0;
    return static_cast<unsigned long long>(pages) * static_cast<unsigned long long>(pageSize);
}

} // namespace platform
} // namespace OGL_ZEP6_AE
