// zep6gl: the library's command-line tool. Each job is a subcommand (Command.cpp).
#include "Command.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0 ||
        std::strcmp(argv[1], "help") == 0) {
        zep6gl::PrintHelp(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    return zep6gl::Run(argv[1], std::vector<std::string>(argv + 2, argv + argc));
}
