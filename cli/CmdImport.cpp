// glfx import FILE.fs [-o FILE.glfx]: an ISF effect (the .fs, and the .vs
// beside it) written as the equivalent .glfx description, which then packs,
// enciphers and builds like any other.
#include "cli/Commands.h"
#include "cli/EffectFile.h"
#include "cli/EffectHost.h"
#include "glfx/GlfxWrite.h"
#include "glfx/IsfBundle.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

#include <sys/stat.h>

namespace glfxcli {

namespace {

std::string replaceExtension(const std::string& path, const std::string& ext)
{
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return path + ext;
    return path.substr(0, dot) + ext;
}

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// Written beside the target and renamed, so that a failure leaves nothing.
void writeFile(const std::string& path, const std::string& text)
{
    const std::string tmp = path + ".tmp";
    {
        std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
        if (!out)
            throw CommandError("cannot write '" + path + "': " + std::strerror(errno));
        out << text;
        out.flush();
        if (!out) {
            std::remove(tmp.c_str());
            throw CommandError("cannot write '" + path + "'");
        }
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        std::remove(tmp.c_str());
        throw CommandError("cannot write '" + path + "': " + why);
    }
}

} // namespace

void addImportCommand(CLI::App& app)
{
    struct Options {
        std::string input, output, vertex;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "import", "Write an ISF effect (FILE.fs, with FILE.vs beside it when there is one) as the equivalent "
                  ".glfx description: its inputs as parameters, its passes, targets and imported images, its "
                  "shaders as written (dialect=isf)");
    cmd->add_option("FILE", o->input, "ISF fragment shader (.fs)")->required()->check(CLI::ExistingFile);
    cmd->add_option("-o,--output", o->output,
                    "Description to write (default: FILE with the extension .glfx)");
    cmd->add_option("--vertex", o->vertex,
                    "ISF vertex shader to use (default: FILE.vs beside FILE.fs when it exists)");
    cmd->callback([o]() {
        std::string text = effectFileText(o->input);
        if (!glfxisf::isBundle(text))
            throw CommandError("'" + o->input +
                               "' is not an ISF shader (it does not begin with /*{ ... }*/)");
        if (!o->vertex.empty()) {
            glfxisf::Bundle b;
            std::string why;
            glfxisf::readBundle(text, b, why);
            b.hasVertex = true;
            b.vertex = readTextFile(o->vertex);
            b.vertexName = o->vertex;
            text = glfxisf::makeBundle(b);
        }
        const std::unique_ptr<cglfx> fx = parseDescription(text);
        const std::string output = o->output.empty() ? replaceExtension(o->input, ".glfx") : o->output;
        struct stat in {
        }, out{};
        if (stat(o->input.c_str(), &in) == 0 && stat(output.c_str(), &out) == 0 && in.st_ino == out.st_ino &&
            in.st_dev == out.st_dev)
            throw CommandError("'" + output + "' is the ISF file itself; name another output with -o");
        // Imported images keep working from the description's own folder:
        // paths are made absolute when it lies elsewhere.
        if (folderOf(output) != folderOf(o->input))
            for (glfximport& i : fx->imports)
                if (!i.path.empty() && i.path[0] != '/')
                    i.path = fx->baseDir + i.path;
        const std::size_t slash = o->input.rfind('/');
        writeFile(output, glfxwrite::writeGlfx(*fx, slash == std::string::npos ? o->input
                                                                               : o->input.substr(slash + 1)));
    });
}

} // namespace glfxcli
