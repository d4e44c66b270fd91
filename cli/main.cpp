// glfx: the command-line tool for effect authors.
#include "cli/commands.h"
#include "media/MediaError.h"

#include <CLI/CLI.hpp>

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

int main(int argc, char** argv)
{
    CLI::App app{"glfx: render, inspect and package GPU effect descriptions"};
    app.require_subcommand(1);
    glfxcli::addRenderCommand(app);
    glfxcli::addDescribeCommand(app);
    glfxcli::addAboutCommand(app);
    glfxcli::addPackCommand(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
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
