// Registration of the glfx subcommands; each lives in its own cmd_*.cpp.
// A subcommand's callback reports failures by throwing CommandError, which
// main() prints as one line on stderr before exiting with status 1.
#pragma once

#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace glfxcli {

struct CommandError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads a whole file; throws CommandError naming the file when it cannot be
// opened or read.
std::string readTextFile(const std::string& path);

void addDescribeCommand(CLI::App& app);
void addPackCommand(CLI::App& app);
void addRenderCommand(CLI::App& app);
void addAboutCommand(CLI::App& app);

// The C++ source `glfx pack` writes for a plain description text.
std::string packSource(const std::string& plain, const std::string& input);

} // namespace glfxcli
