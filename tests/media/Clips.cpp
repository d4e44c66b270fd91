#include "Clips.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace mediatest {

Scratch::Scratch()
{
    char tmpl[] = "/tmp/glfx-media-XXXXXX";
    const char* d = mkdtemp(tmpl);
    if (!d)
        throw std::runtime_error("mkdtemp failed");
    dir_ = d;
}

Scratch::~Scratch() { std::system(("rm -rf '" + dir_ + "'").c_str()); }

bool ffmpeg(const std::string& args)
{
    const std::string cmd = "ffmpeg -nostdin -hide_banner -v error -y " + args + " 2>&1";
    const std::string out = shell(cmd + "; echo \"exit=$?\"");
    const bool ok = out.size() >= 7 && out.compare(out.size() - 7, 7, "exit=0\n") == 0;
    EXPECT_TRUE(ok) << cmd << "\n" << out;
    return ok;
}

std::string shell(const std::string& command)
{
    std::string out;
    std::unique_ptr<FILE, int (*)(FILE*)> p(popen(command.c_str(), "r"), pclose);
    if (!p)
        return out;
    std::array<char, 4096> buf;
    size_t n;
    while ((n = fread(buf.data(), 1, buf.size(), p.get())) > 0)
        out.append(buf.data(), n);
    return out;
}

Outcome run(const std::string& command)
{
    char errPath[] = "/tmp/glfx-media-err-XXXXXX";
    const int fd = mkstemp(errPath);
    if (fd >= 0)
        close(fd);
    Outcome r;
    std::unique_ptr<FILE, int (*)(FILE*)> p(popen(("{ " + command + "\n} 2>" + errPath).c_str(), "r"),
                                            pclose);
    if (p) {
        std::array<char, 4096> buf;
        size_t n;
        while ((n = fread(buf.data(), 1, buf.size(), p.get())) > 0)
            r.out.append(buf.data(), n);
        const int st = pclose(p.release());
        r.status = WIFEXITED(st) ? WEXITSTATUS(st) : WIFSIGNALED(st) ? 128 + WTERMSIG(st) : -1;
    }
    std::ifstream in(errPath);
    r.err.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    unlink(errPath);
    return r;
}

std::string glfxPath() { return std::string(GLFX_BINARY_DIR) + "/glfx"; }

bool pluginBuilt() { return access((std::string(GLFX_BINARY_DIR) + "/glfxplugin.so").c_str(), R_OK) == 0; }

std::vector<std::string> filesIn(const std::string& dir)
{
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string probe(const std::string& file, const std::string& stream, const std::string& entry)
{
    std::string v = shell("ffprobe -v error -select_streams " + stream + ":0 -show_entries stream=" + entry +
                          " -of default=nw=1:nk=1 '" + file + "'");
    while (!v.empty() && (v.back() == '\n' || v.back() == '\r'))
        v.pop_back();
    return v;
}

std::string rawFrames(const std::string& file, const std::string& pixFmt)
{
    return shell("ffmpeg -v error -i '" + file + "' -f rawvideo -pix_fmt " + pixFmt + " -");
}

float channel(const media::FrameView& f, int x, int y, int c)
{
    const int slot = c == 0 ? f.redSlot() : c == 1 ? f.greenSlot() : c == 2 ? f.blueSlot() : f.alphaSlot();
    const uint8_t* px = f.row(y) + x * media::pixelSize(f.depth);
    if (f.depth == media::kDepth8)
        return px[slot] / 255.0f;
    if (f.depth == media::kDepth16)
        return reinterpret_cast<const uint16_t*>(px)[slot] / float(media::kWhite16);
    return reinterpret_cast<const float*>(px)[slot];
}

} // namespace mediatest
