// glfx: the command-line tool for effect authors.
#include "cli/Commands.h"
#include "media/MediaError.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

namespace glfxcli {

std::string readTextFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw CommandError("cannot open '" + path + "': " + std::strerror(errno));
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad())
        throw CommandError("cannot read '" + path + "'");
    return text.str();
}

std::string indented(const std::string& details)
{
    std::string out;
    size_t start = 0;
    while (start < details.size()) {
        size_t nl = details.find('\n', start);
        if (nl == std::string::npos)
            nl = details.size();
        if (nl > start)
            out += "    " + details.substr(start, nl - start) + "\n";
        start = nl + 1;
    }
    return out;
}

} // namespace glfxcli

namespace {
// Exit status of a command line that could not be parsed.
constexpr int kUsageStatus = 2;
} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"glfx: render, inspect and package GPU effect descriptions"};
    app.require_subcommand(1);
    glfxcli::addRenderCommand(app);
    glfxcli::addDescribeCommand(app);
    glfxcli::addAboutCommand(app);
    glfxcli::addPackCommand(app);
    glfxcli::addCheckCommand(app);
    glfxcli::addPreviewCommand(app);
    glfxcli::addFrei0rCommand(app);
    glfxcli::addImportCommand(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // --help and the like print their text and succeed; a usage error is
        // one line, like every other failure.
        if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(e);
        std::string what = e.what();
        if (!what.empty())
            what[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(what[0])));
        const auto used = app.get_subcommands();
        if (used.empty() && argc > 1 && argv[1][0] != '-')
            what = std::string("unknown command '") + argv[1] + "'";
        const std::string help =
            used.empty() ? "glfx --help" : "glfx " + used.front()->get_name() + " --help";
        std::cerr << "glfx: " << what << " (see '" << help << "')\n";
        return kUsageStatus;
    } catch (const glfxcli::CommandError& e) {
        std::cerr << "glfx: " << e.what() << "\n" << glfxcli::indented(e.details);
        return e.status;
    } catch (const media::MediaError& e) {
        std::cerr << "glfx: " << e.what() << "\n" << glfxcli::indented(e.details);
        return glfxcli::CommandError::kFailure;
    } catch (const std::bad_alloc&) {
        std::cerr << "glfx: out of memory\n";
        return glfxcli::CommandError::kFailure;
    } catch (const std::exception& e) {
        std::cerr << "glfx: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
