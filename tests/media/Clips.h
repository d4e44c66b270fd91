// Test clips made on the spot with the ffmpeg command, in a scratch folder
// removed after each test, and frames compared channel by channel.
#pragma once

#include "media/Frame.h"

#include <string>
#include <vector>

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

// A command's outcome: exit status (128 + N for signal N) and its streams.
struct Outcome {
    int status = -1;
    std::string out, err;
};
// Runs a shell command, capturing both streams.
Outcome run(const std::string& command);
// The glfx command built beside the tests, and the plug-in beside it.
std::string glfxPath();
bool pluginBuilt();
// The files in a folder, sorted.
std::vector<std::string> filesIn(const std::string& dir);
// A value ffprobe reports for the first stream of a type ("v" or "a"), e.g.
// probe(f, "v", "nb_frames"); empty when there is none.
std::string probe(const std::string& file, const std::string& stream, const std::string& entry);
// Raw frames of a file as ffmpeg decodes them in a pixel format.
std::string rawFrames(const std::string& file, const std::string& pixFmt);

// One channel of a frame pixel, normalised (8-bit / 255, 16-bit / 32768).
// Channel 0 red, 1 green, 2 blue, 3 alpha.
float channel(const media::FrameView& f, int x, int y, int c);

} // namespace mediatest
