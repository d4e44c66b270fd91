#include "cli/EffectFile.h"

#include "cli/Commands.h"
#include "glfx/IsfBundle.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <fstream>

#include <sys/stat.h>

namespace glfxcli {

namespace {

std::string lowerExtension(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return std::string();
    std::string ext = path.substr(dot + 1);
    for (char& c : ext)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

std::string firstBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string head(256, '\0');
    in.read(&head[0], static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(in.gcount()));
    return head;
}

// The folder of `path`, absolute and "/"-terminated.
std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    char resolved[PATH_MAX];
    if (!realpath(dir.c_str(), resolved))
        return dir.back() == '/' ? dir : dir + "/";
    std::string out = resolved;
    return out.back() == '/' ? out : out + "/";
}

} // namespace

bool isIsfFile(const std::string& path)
{
    const std::string ext = lowerExtension(path);
    return ext == "fs" || ext == "frag" || ext == "fsh" || glfxisf::isIsfText(firstBytes(path));
}

std::string vertexFileOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    const std::string stem =
        dot == std::string::npos || (slash != std::string::npos && dot < slash) ? path : path.substr(0, dot);
    return stem + ".vs";
}

std::string effectFileText(const std::string& path)
{
    std::string text = readTextFile(path);
    if (!isIsfFile(path))
        return text;
    glfxisf::Bundle b;
    b.fragment = std::move(text);
    b.fragmentName = path;
    b.folder = folderOf(path);
    const std::string vs = vertexFileOf(path);
    struct stat st {};
    if (stat(vs.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        b.hasVertex = true;
        b.vertex = readTextFile(vs);
        b.vertexName = vs;
    }
    return glfxisf::makeBundle(b);
}

} // namespace glfxcli
