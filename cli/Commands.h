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

// One failure: its line, details shown indented under it (a library's or
// a compiler's own words), and the exit status.
struct CommandError : std::runtime_error {
    static constexpr int kFailure = 1;
    explicit CommandError(const std::string& what, int exitStatus = kFailure, std::string detail = {})
        : std::runtime_error(what), status(exitStatus), details(std::move(detail))
    {}
    CommandError(const std::string& what, std::string detail)
        : CommandError(what, kFailure, std::move(detail))
    {}
    int status;
    std::string details;
};

// Details lines indented for printing under a failure's line.
std::string indented(const std::string& details);

// Reads a whole file; throws CommandError naming the file when it cannot be
// opened or read.
std::string readTextFile(const std::string& path);

void addDescribeCommand(CLI::App& app);
void addPackCommand(CLI::App& app);
void addRenderCommand(CLI::App& app);
void addAboutCommand(CLI::App& app);
void addCheckCommand(CLI::App& app);
void addPreviewCommand(CLI::App& app);
void addFrei0rCommand(CLI::App& app);
void addImportCommand(CLI::App& app);

// The C++ source `glfx pack` writes for a plain description text.
std::string packSource(const std::string& plain, const std::string& input);

} // namespace glfxcli
