// glfx: the command-line tool for effect authors.
#include "cli/commands.h"

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
        std::cerr << "glfx: " << e.what() << "\n";
        return 1;
    } catch (const std::exception& e) {
        std::cerr << "glfx: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
