// Test clips made on the spot with the ffmpeg command, in a scratch folder
// removed after each test, and frames compared channel by channel.
#pragma once

#include "media/Frame.h"

#include <string>

namespace mediatest {

class Scratch {
public:
    Scratch();
    ~Scratch();
    std::string path(const std::string& name) const { return dir_ + "/" + name; }

private:
    std::string dir_;
};

// Runs `ffmpeg -v error -y ARGS`; fails the calling test when it fails.
bool ffmpeg(const std::string& args);
// Runs a shell command and returns its standard output.
std::string shell(const std::string& command);

// One channel of a frame pixel, normalised (8-bit / 255, 16-bit / 32768).
// Channel 0 red, 1 green, 2 blue, 3 alpha.
float channel(const media::FrameView& f, int x, int y, int c);

} // namespace mediatest
