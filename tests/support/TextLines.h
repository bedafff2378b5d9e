#pragma once

// Splitting what a program or report printed into its lines, for tests that check output.

#include <sstream>
#include <string>
#include <vector>

namespace zep6test {

// The lines of a text, without their newlines; a last line without a newline counts too.
inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

} // namespace zep6test
