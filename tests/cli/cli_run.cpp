#include "cli_run.h"

#include <OpenImageIO/imageio.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace clitest {

namespace {

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

std::string q(const std::string& s)
{
    std::string r = "'";
    for (char c : s) {
        if (c == '\'')
            r += "'\\''";
        else
            r += c;
    }
    return r + "'";
}

Result glfx(const std::string& args)
{
    char errPath[] = "/tmp/glfx_cli_stderr_XXXXXX";
    const int fd = mkstemp(errPath);
    if (fd >= 0)
        close(fd);
    const std::string cmd = q(std::string(GLFX_BINARY_DIR) + "/glfx") + " " + args + " 2>" + q(errPath);
    Result r;
    FILE* pipe = popen(cmd.c_str(), "r");
    if (pipe) {
        char buf[4096];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, pipe)) > 0)
            r.out.append(buf, n);
        const int st = pclose(pipe);
        r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    }
    r.err = slurp(errPath);
    unlink(errPath);
    return r;
}

bool pluginBuilt()
{
    struct stat st {};
    return stat((std::string(GLFX_BINARY_DIR) + "/glfxplugin.so").c_str(), &st) == 0;
}

Scratch::Scratch()
{
    std::string tmpl = testing::TempDir() + "glfx_cli_XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    const char* made = mkdtemp(buf.data());
    dir_ = made ? made : testing::TempDir();
}

Scratch::~Scratch()
{
    for (const std::string& f : files())
        unlink(path(f).c_str());
    rmdir(dir_.c_str());
}

std::string Scratch::write(const std::string& name, const std::string& text) const
{
    const std::string p = path(name);
    std::ofstream(p, std::ios::binary) << text;
    return p;
}

std::vector<std::string> Scratch::files() const
{
    std::vector<std::string> names;
    if (DIR* d = opendir(dir_.c_str())) {
        while (dirent* e = readdir(d)) {
            const std::string n = e->d_name;
            if (n != "." && n != "..")
                names.push_back(n);
        }
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

Pixels readPixels(const std::string& path)
{
    Pixels p;
    auto in = OIIO::ImageInput::open(path);
    if (!in)
        return p;
    const OIIO::ImageSpec& spec = in->spec();
    p.width = spec.width;
    p.height = spec.height;
    p.channels = spec.nchannels;
    p.type = spec.format.c_str();
    p.v.resize(static_cast<size_t>(p.width) * p.height * p.channels);
    // Straight values as stored: no alpha association on read.
    if (!in->read_image(0, 0, 0, p.channels, OIIO::TypeDesc::FLOAT, p.v.data()))
        p.v.clear();
    return p;
}

void writePixels(const std::string& path, int width, int height, const std::vector<float>& rgba,
                 const std::string& type)
{
    auto out = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(out) << path;
    OIIO::ImageSpec spec(width, height, 4, OIIO::TypeDesc(type));
    spec.alpha_channel = 3;
    ASSERT_TRUE(out->open(path, spec)) << out->geterror();
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, rgba.data())) << out->geterror();
    ASSERT_TRUE(out->close());
}

}  // namespace clitest
