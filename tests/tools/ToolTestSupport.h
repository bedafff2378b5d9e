#pragma once

// What the tests of the command-line tool share.

#include "Command.h"
#include "HostImage.h"

#include "core/PixelFormat.h"
#include "gl/context/Capabilities.h"
#include "gl/render/ApplyMode.h"

#include <half.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <iterator>
#include <set>
#include <optional>
#include <string>
#include <vector>
#include <sys/wait.h>
#include <unistd.h>

namespace zep6gltest {

namespace fs = std::filesystem;
using zep6gl::HostImage;

inline std::string Contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void Store(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// The T stored at `at`, unaligned; storing one there.
template <typename T> T Load(const unsigned char* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
template <typename T> void Put(unsigned char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

// Channel c (0 red ... 3 alpha) of pixel (x, y), y from the top, of a top-down RGBA image such as
// ReadImage returns: the stored integer, or the float.
inline double Sample(const HostImage& image, long x, long y, int c) {
    const unsigned char* at = image.Row(y) + (x * 4 + c) * (image.GetBitDepth() / 32);
    const long bits = image.GetBitDepth();
    return bits == 32 ? *at : bits == 64 ? double(Load<unsigned short>(at)) : double(Load<float>(at));
}

// The same as a fraction of white.
inline double Value(const HostImage& image, long x, long y, int c) {
    return Sample(image, x, y, c) / double(image.GetWhiteLevel());
}

// A top-down RGBA image of 8-bit (bit depth 32) or float (128) channels; `value` gives channel c
// of pixel (x, y) as a fraction of white, which 8-bit channels clamp and round.
inline HostImage RgbaImage(long bitDepth, long width, long height,
                           const std::function<double(long x, long y, int c)>& value) {
    HostImage image(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), bitDepth, bitDepth == 32 ? 255 : 1, width,
                    height, 0, false);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                unsigned char* at = image.Row(y) + (x * 4 + c) * (bitDepth / 32);
                const double v = value(x, y, c);
                if (bitDepth == 32)
                    *at = static_cast<unsigned char>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
                else
                    Put(at, static_cast<float>(v));
            }
    return image;
}

struct Outcome {
    int status;
    std::string errors;
};

// Runs a subcommand, keeping what it wrote to the error stream.
inline Outcome RunCommand(const std::string& command, const std::vector<std::string>& args) {
    ::testing::internal::CaptureStderr();
    const int status = zep6gl::Run(command, args);
    return {status, ::testing::internal::GetCapturedStderr()};
}

// A run of the built tool as its own process, under /usr/bin/time for its peak resident memory
// (a child forked from this process would count this process's pages in its own peak): exit
// status (128 + the signal that ended it), what it printed, the peak. `environment`: NAME=VALUE.
struct ToolRun {
    int status;
    std::string out, errors;
    long peakKiB;
};

inline ToolRun RunTool(const std::vector<std::string>& args, const std::string& environment = "") {
    const std::string base = fs::temp_directory_path() / ("zep6gl-run-" + std::to_string(::getpid()));
    std::string command = "env " + environment + " /usr/bin/time -q -f %M -o " + base + ".peak " ZEP6GL_BINARY;
    for (const std::string& a : args) {
        std::string quoted = "'";
        for (char c : a)
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        command += " " + quoted + "'";
    }
    const int status = std::system((command + " >" + base + ".out 2>" + base + ".err").c_str());
    ToolRun run{WEXITSTATUS(status), Contents(base + ".out"), Contents(base + ".err"),
                std::atol(Contents(base + ".peak").c_str())};
    for (const char* suffix : {".out", ".err", ".peak"})
        fs::remove(base + suffix);
    return run;
}

// A failure report: a non-zero status and exactly one line, which names `culprit`.
inline void ExpectOneLineNaming(const Outcome& outcome, const std::string& culprit) {
    EXPECT_NE(outcome.status, 0);
    EXPECT_TRUE(!outcome.errors.empty() && outcome.errors.back() == '\n') << "'" << outcome.errors << "'";
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_NE(outcome.errors.find(culprit), std::string::npos) << outcome.errors;
}

// A fresh folder for every case (Path names a file in it), removed when the case ends.
class ToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        const std::string name = std::string(test->test_suite_name()) + "-" + test->name();
        dir_ = fs::temp_directory_path() / ("zep6gl-" + std::to_string(::getpid()) + "-" + name);
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override {
        session_.reset();
        fs::remove_all(dir_);
    }

    std::string Path(const std::string& name) const { return (dir_ / name).string(); }

    // The names in the case's folder, sorted.
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    // Whether there is OpenGL for a case that goes through the card; use REQUIRE_OPENGL(). The case
    // then holds one library session throughout, as a plug-in host does, and the commands' own
    // sessions nest in it. A machine without a context skips such cases, but in CI (CI=true) a
    // missing context is a failure, as in the GL test executable.
    bool HaveOpenGL() {
        session_.emplace();
        if (OGL_ZEP6_AE::GetCard() != "Unknown")
            return true;
        const char* ci = std::getenv("CI");
        EXPECT_FALSE(ci && std::strcmp(ci, "true") == 0) << "no OpenGL context in CI";
        return false;
    }

    fs::path dir_;
    std::optional<zep6gl::LibraryUse> session_;
};

// A macro, so that the skip leaves the test body.
#define REQUIRE_OPENGL()                                                                                     \
    do {                                                                                                     \
        if (!HaveOpenGL())                                                                                   \
            GTEST_SKIP() << "no OpenGL context on this machine";                                             \
    } while (0)

// Every value of `got` (as fractions of white) lies within allowed(wanted value) of want(x, y, c),
// where `want` gives one; the first few that do not are reported, and their count.
inline void ExpectValues(const HostImage& got, long width, long height,
                         const std::function<std::optional<double>(long x, long y, int c)>& want,
                         const std::function<double(double)>& allowed) {
    ASSERT_EQ(got.GetWidth(), width);
    ASSERT_EQ(got.GetHeight(), height);
    long failures = 0;
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) {
                const std::optional<double> w = want(x, y, c);
                if (w && !(std::abs(Value(got, x, y, c) - *w) <= allowed(*w)) && failures++ < 8)
                    ADD_FAILURE() << "pixel (" << x << ", " << y << ") channel "
                                  << "RGBA"[c] << ": got " << Value(got, x, y, c) << ", want " << *w;
            }
    EXPECT_EQ(failures, 0) << "values out of tolerance";
}

// `got`, read back from a file the tool wrote, holds the top-down RGBA picture `want` as the file
// stores it: in an 8-bit PNG each value rounded from float to the nearest step, exactly; in an
// OpenEXR file rounded to half floats.
inline void ExpectStored(const HostImage& got, const HostImage& want) {
    ExpectValues(
        got, want.GetWidth(), want.GetHeight(),
        [&](long x, long y, int c) {
            const float v = static_cast<float>(Value(want, x, y, c));
            return got.GetBitDepth() == 128 ? double(float(half(v)))
                                            : std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f) / 255.0;
        },
        [](double) { return 0.0; });
}

// What the library itself composites from the pictures (as read from their files) is what a
// command must have written.
inline void ExpectLibraryComposite(const HostImage& got, const HostImage& front, const HostImage& back,
                                   const HostImage* mask, int mode, float mix) {
    HostImage want(front.GetColorSpace(), front.GetBitDepth(), front.GetWhiteLevel(), front.GetWidth(),
                   front.GetHeight(), 0, front.IsBottomUp());
    OGL_ZEP6_AE::ApplyMode::Apply(&front, &back, mask, &want, static_cast<OGL_ZEP6_AE::PixelApplyMode>(mode), mix);
    ExpectStored(got, want);
}

} // namespace zep6gltest
