// The tool's command line, the same for every command: options as `--opt value` or
// `--opt=value`, anywhere, never twice; `--` ends them; `zep6gl CMD --help` prints that
// command's help; a mistake is one line and status 2.
#include "ToolTestSupport.h"

#include "ImageIO.h"

namespace zep6gltest {
namespace {

TEST(CommandLine, EveryCommandHasItsHelpListingItsOptions) {
    for (const zep6gl::Command& command : zep6gl::Commands()) {
        SCOPED_TRACE(command.name);
        for (const char* help : {"--help", "-h"}) {
            ::testing::internal::CaptureStdout();
            // Help wins over everything else on the line, even a mistake.
            EXPECT_EQ(zep6gl::Run(command.name, {"--no-such-option", help}), 0);
            const std::string text = ::testing::internal::GetCapturedStdout();
            EXPECT_EQ(text.rfind(std::string("usage: zep6gl ") + command.name, 0), 0u) << text;
            for (const zep6gl::Option& option : command.options)
                EXPECT_NE(text.find(option.name), std::string::npos) << option.name;
        }
    }
}

class CommandLineErrors : public ToolTest {};

// Both forms of an option take the same value, so both give the same report; a repeated option,
// a value for a flag, a missing value and an unknown option are usage errors (status 2).
TEST_F(CommandLineErrors, BothOptionFormsAreOneAndRepeatsAreRefused) {
    const std::string in = Path("in.png"), out = Path("out.png");
    const struct {
        const char* command;
        std::vector<std::string> args;
        int status;
        std::string named;
    } cases[] = {
        {"convert", {in, out, "--layout", "xyz16"}, 2, "xyz16"},
        {"convert", {in, out, "--layout=xyz16"}, 2, "xyz16"},
        {"convert", {"--layout=rgba8", in, out, "--layout", "rgba8"}, 2, "--layout given twice"},
        {"convert", {in, out, "--top-down", "--top-down"}, 2, "--top-down given twice"},
        {"convert", {in, out, "--top-down=yes"}, 2, "--top-down takes no value"},
        {"convert", {in, out, "--layout"}, 2, "--layout needs a value"},
        {"convert", {in, out, "--max-memory", "lots"}, 2, "lots"},
        {"convert", {in, out, "--max-memory=lots"}, 2, "lots"},
        {"convert", {in, out, "--premultiply", "--unpremultiply"}, 2, "--unpremultiply"},
        {"convert", {in, out, "extra"}, 2, "'extra'"},
        {"convert", {in}, 2, "IN OUT"},
        {"convert", {"--", "-in.png", out}, 1, "-in.png: cannot open"},
        {"composite", {"--mix=2", "--mode=over", in, in, out}, 2, "--mix '2'"},
        {"composite", {"--mix", "2", "--mode", "over", in, in, out}, 2, "--mix '2'"},
        {"composite", {"--mode=over", "--mode=add", in, in, out}, 2, "--mode given twice"},
        {"composite", {"--mode", "over", in, in}, 2, "FRONT BACK OUT"},
        {"composite", {"--blend", "over", in, in, out}, 2, "--blend"},
        {"info", {"--extension"}, 2, "--extension"},
        {"formats", {"all"}, 2, "'all'"},
        {"modes", {"--all"}, 2, "--all"},
        {"demo", {Path("a"), Path("b")}, 2, Path("b")},
        {"nonsense", {}, 2, "nonsense"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.command) + " " + ::testing::PrintToString(c.args));
        const Outcome outcome = RunCommand(c.command, c.args);
        ExpectOneLineNaming(outcome, c.named);
        EXPECT_EQ(outcome.status, c.status);
        EXPECT_TRUE(Files().empty());
    }
}

// Without an OpenGL context `info` prints the reason alone, not a report of unknowns. Run as a
// process of its own: the library keeps its answers for the life of a process.
TEST(CommandLine, InfoWithoutAContextPrintsOnlyTheError) {
    const ToolRun run = RunTool({"info"}, {"ZEP6_EGL_DEVICE=99"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.errors.rfind("zep6gl info: no OpenGL context could be made", 0), 0u) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
}

} // namespace
} // namespace zep6gltest
