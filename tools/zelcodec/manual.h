// The manual page, made of the same declarations as --help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace zelcodec {

// How the program ends: code and meaning. The footer of --help names them too.
using ExitCodes = std::vector<std::pair<int, std::string>>;

// zelcodec(1) as a source for man: the commands and options of the application, the examples in the footers of its
// commands, and the exit codes.
std::string manual(const CLI::App& app, const ExitCodes& codes);

}  // namespace zelcodec
