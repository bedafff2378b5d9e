#pragma once

#include "sync/StaticList.h"

#include <string>
#include <vector>

namespace zep6gl {

// One subcommand of the tool: `zep6gl <name> args...`. Run returns the process exit status; a
// failing command prints one line naming the argument or file and the reason.
struct Command {
    const char* name;
    const char* usage;
    const char* summary;
    int (*run)(const std::vector<std::string>& args);
};

const std::vector<Command>& Commands();

// Counts the tool as a user of the library while it lives, so that the worker thread and its
// context are shut down in order when the command is done.
class LibraryUse {
public:
    LibraryUse() { ZEP6_AE::StaticList::Increment(); }
    ~LibraryUse() { ZEP6_AE::StaticList::Decrement(); }
    LibraryUse(const LibraryUse&) = delete;
    LibraryUse& operator=(const LibraryUse&) = delete;
};

int RunFormats(const std::vector<std::string>& args);
int RunInfo(const std::vector<std::string>& args);
int RunConvert(const std::vector<std::string>& args);
int RunComposite(const std::vector<std::string>& args);
int RunModes(const std::vector<std::string>& args);
int RunDemo(const std::vector<std::string>& args);

} // namespace zep6gl
