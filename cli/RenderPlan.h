// What a glfx render will do, settled from its options before any work:
// the source opened (its header checked), the world depth, which frames,
// how many, and whether the frames fit in memory.
#pragma once

#include "cli/EffectHost.h"
#include "cli/RenderPipeline.h"
#include "media/Source.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace glfxcli {

struct RenderOptions {
    HostOptions host;
    std::string input;
    std::string output;
    std::string size = "1920x1080";
    std::vector<std::string> sets;
    std::vector<std::string> layers;
    int depth = 0; // 0: from the input
    double time = 0.0;
    std::string frames;
    double fps = 30.0;
    bool quiet = false;
    std::string codec;
    int crf = -1;
    std::string bitrate;
};

// Which options the user gave (rather than left at their defaults).
struct Given {
    bool depth = false, time = false, frames = false, fps = false;
};

struct RenderPlan {
    std::unique_ptr<media::Source> source;
    int depth = 8;
    FrameSelection selection;
    int64_t total = -1; // frames to render, -1 when not known
};

// Throws CommandError (or media::MediaError from the source).
RenderPlan planRender(const RenderOptions& o, const Given& given);

// Parses --frames: FIRST-LAST or N, 0 <= FIRST <= LAST.
void parseFrames(const std::string& text, int64_t& first, int64_t& last);
// Parses --size WIDTHxHEIGHT, refusing sizes that can never render.
void parseSize(const std::string& text, int& w, int& h);

} // namespace glfxcli
