#include "CliRun.h"

#include <OpenImageIO/imageio.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace clitest {

std::string q(const std::string& s)
{
    std::string r = "'";
    for (char c : s)
        r += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return r + "'";
}

Result glfx(const std::string& args, const std::string& prefix, int limitSeconds)
{
    char errPath[] = "/tmp/glfx_cli_stderr_XXXXXX";
    const int fd = mkstemp(errPath);
    if (fd >= 0)
        close(fd);
    const std::string limit = limitSeconds > 0 ? "timeout -s KILL " + std::to_string(limitSeconds) + " " : "";
    const std::string cmd =
        limit + prefix + q(std::string(GLFX_BINARY_DIR) + "/glfx") + " " + args + " 2>" + q(errPath);
    Result r;
    if (FILE* pipe = popen(cmd.c_str(), "r")) {
        char buf[4096];
        for (size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;)
            r.out.append(buf, n);
        const int st = pclose(pipe);
        r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    }
    std::ostringstream err;
    err << std::ifstream(errPath).rdbuf();
    r.err = err.str();
    unlink(errPath);
    return r;
}

bool pluginBuilt() { return fs::exists(std::string(GLFX_BINARY_DIR) + "/glfxplugin.so"); }

Scratch::Scratch()
{
    std::string tmpl = testing::TempDir() + "glfx_cli_XXXXXX";
    dir_ = mkdtemp(tmpl.data()) ? tmpl : testing::TempDir();
}

Scratch::~Scratch() { fs::remove_all(dir_); }

std::string Scratch::write(const std::string& name, const std::string& text) const
{
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
}

std::vector<std::string> Scratch::files() const
{
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir_))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Pixels readPixels(const std::string& path)
{
    Pixels p;
    auto in = OIIO::ImageInput::open(path);
    if (!in)
        return p;
    const OIIO::ImageSpec& info = in->spec();
    p.width = info.width;
    p.height = info.height;
    p.channels = info.nchannels;
    p.type = info.format.c_str();
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
    OIIO::ImageSpec format(width, height, 4, OIIO::TypeDesc(type));
    format.alpha_channel = 3;
    ASSERT_TRUE(out->open(path, format)) << out->geterror();
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, rgba.data())) << out->geterror();
    ASSERT_TRUE(out->close());
}

} // namespace clitest
