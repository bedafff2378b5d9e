// zep6gl: the library's command-line tool. Each job is a subcommand.
#include "Command.h"

#include <cstdio>
#include <cstring>
#include <exception>

namespace zep6gl {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"formats", "zep6gl formats",
         "show how the library sees a built-in list of image descriptions (OpenGL format, type, "
         "white-level scale, conversion, texture sizes)",
         RunFormats},
        {"info", "zep6gl info [--extensions]",
         "print the hardware report; with --extensions also the capability answers and the "
         "extension list",
         RunInfo},
        {"convert",
         "zep6gl convert IN OUT [--layout rgba8|bgra8|argb8|rgba16|argb16|rgba32f|...] [--top-down] "
         "[--premultiply|--unpremultiply]",
         "send an image file through the card (upload, draw, read back into the layout) and write it",
         RunConvert},
        {"composite", "zep6gl composite --mode NAME FRONT BACK OUT [--mask MASK] [--mix X]",
         "composite FRONT over BACK with an apply mode (name or number 0 to 48) into OUT", RunComposite},
        {"modes", "zep6gl modes", "list the apply modes by number and name", RunModes},
        {"demo", "zep6gl demo [OUTDIR]",
         "render built-in sample images through every apply mode and write a labelled contact "
         "sheet (default OUTDIR: out/demo)",
         RunDemo},
    };
    return commands;
}

} // namespace zep6gl

namespace {

void PrintHelp(std::FILE* out) {
    std::fprintf(out, "usage: zep6gl <command> [arguments]\n       zep6gl --help\n\ncommands:\n");
    for (const auto& c : zep6gl::Commands())
        std::fprintf(out, "  %-10s %s\n             %s\n", c.name, c.usage, c.summary);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0 ||
        std::strcmp(argv[1], "help") == 0) {
        PrintHelp(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const auto& c : zep6gl::Commands()) {
        if (std::strcmp(argv[1], c.name) == 0) {
            std::vector<std::string> args(argv + 2, argv + argc);
            try {
                return c.run(args);
            } catch (const std::exception& e) {
                std::fprintf(stderr, "zep6gl %s: %s\n", c.name, e.what());
                return 1;
            }
        }
    }
    std::fprintf(stderr, "zep6gl: unknown command '%s' (see zep6gl --help)\n", argv[1]);
    return 2;
}
