#pragma once

#include "HostImage.h"
#include "sync/StaticList.h"

#include <cstdio>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace zep6gl {

// A mistake on the command line: reported as "zep6gl CMD: <text>" with exit status 2. Every
// other failure is a std::exception whose text names the file or argument, exit status 1.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One option of a command. `value` names the option's value in the help (null: a flag).
struct Option {
    const char* name;
    const char* value;
    const char* help;
};

// A command line as the parser hands it to a command: the options given (each at most once;
// flags with an empty value) and the operands in order.
struct Arguments {
    std::map<std::string, std::string> options;
    std::vector<std::string> operands;

    bool Has(const std::string& name) const { return options.count(name) != 0; }
    std::string Value(const std::string& name) const {
        const auto found = options.find(name);
        return found == options.end() ? std::string() : found->second;
    }
};

// One subcommand of the tool: `zep6gl <name> [options] operands...`. Options take their value as
// `--opt value` or `--opt=value`, may come anywhere, and may not be repeated; `--` ends them;
// `--help` anywhere prints the command's help. Run does the work and throws on failure.
struct Command {
    const char* name;
    const char* operands; // as the usage line names them: "IN OUT", "[OUTDIR]"
    int minOperands, maxOperands;
    std::vector<Option> options;
    const char* summary;
    void (*run)(const Arguments& arguments);
};

const std::vector<Command>& Commands();

// Runs the command of that name as `zep6gl <name> args...` does and returns the exit status:
// 0, 1 for a failure, 2 for a usage error; a failure prints one line to the error stream.
int Run(const std::string& name, const std::vector<std::string>& args);

// Prints the tool's help (all commands) or one command's.
void PrintHelp(std::FILE* out);

// Counts the tool as a user of the library while it lives, so that the worker thread and its
// context are shut down in order when the command is done.
class LibraryUse {
public:
    LibraryUse() { ZEP6_AE::StaticList::Increment(); }
    ~LibraryUse() { ZEP6_AE::StaticList::Decrement(); }
    LibraryUse(const LibraryUse&) = delete;
    LibraryUse& operator=(const LibraryUse&) = delete;
};

// The one way the tool runs work on the GL worker thread: `work` runs there as a job, in a
// session of the library that the call holds. Whatever fails there (no OpenGL context, a program
// that does not link, an exception of `work`) comes back as std::runtime_error with the
// library's message on one line.
void RunOnWorker(const std::function<void()>& work);
// RunOnWorker for a command's operation on its input: a failure comes back as
// "<input>: the library could not <what> it: <reason>".
void OnCard(const std::string& input, const std::string& what, const std::function<void()>& work);

// Values the commands take, each refused with a UsageError naming the option: a finite number of
// at least `least`; WIDTHxHEIGHT of 1 to 16383 each; R,G,B,A of four finite numbers.
float ParseNumber(const std::string& option, const std::string& text, float least);
void ParseSize(const std::string& option, const std::string& text, long& width, long& height);
void ParseColor(const std::string& option, const std::string& text, float rgba[4]);

// An input picture the library can take (at most 16383 on a side), else one line naming it.
HostImage ReadInput(const std::string& path);
// OUT must be .png for integer pixels and .exr for float ones, like the input it follows.
void CheckOutputLike(const std::string& out, const XIImage& input);
// An empty picture of the input's description and orientation, of the size given.
HostImage LikeInput(const XIImage& input, long width, long height);

void RunFormats(const Arguments& arguments);
void RunInfo(const Arguments& arguments);
void RunConvert(const Arguments& arguments);
void RunComposite(const Arguments& arguments);
void RunResize(const Arguments& arguments);
void RunCenter(const Arguments& arguments);
void RunPremultiply(const Arguments& arguments);
void RunUnpremultiply(const Arguments& arguments);
void RunMask(const Arguments& arguments);
void RunAlpha(const Arguments& arguments);
void RunLuma(const Arguments& arguments);
void RunBlend(const Arguments& arguments);
void RunBlur(const Arguments& arguments);
void RunTransform(const Arguments& arguments);
void RunBlurComposite(const Arguments& arguments);
void RunScene(const Arguments& arguments);
void RunModes(const Arguments& arguments);
void RunDemo(const Arguments& arguments);

} // namespace zep6gl
