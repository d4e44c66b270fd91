#include "clips.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

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
