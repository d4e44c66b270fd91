// The render command's frame loop: a source decoded on its own thread, the
// effect rendered on the calling thread (the one that owns the session and
// so all GL work), the sink encoded on a third; bounded queues of host
// worlds between them, so memory stays flat whatever the length.
#pragma once

#include "cli/Progress.h"
#include "host/Host.h"
#include "media/Sink.h"
#include "media/Source.h"

#include <cstdint>
#include <functional>

namespace glfxcli {

struct FrameSelection {
    int64_t first = 0;      // the first frame: a source frame number (video) or frame number (stills)
    int64_t last = 0;       // the last one (video: INT64_MAX for the end of the clip)
    double fps = 30.0;      // stills: frame f is at f / fps
    bool fixedTime = false; // stills: one frame at `time`
    double time = 0.0;
};

// A host world seen as a media frame (the same memory).
media::FrameView viewOf(glfxhost::World& world);

// Renders the selected frames of `source` into `sink` (finished on
// success). `afterFirst` runs on this thread after the first render (the
// shader build check). Throws CommandError or media::MediaError; stops with
// a CommandError when a stop signal arrives.
void renderFrames(glfxhost::Session& session, media::Source& source, media::Sink& sink,
                  const FrameSelection& sel, int depth, bool bgra, Progress& progress,
                  const std::function<void()>& afterFirst);

} // namespace glfxcli
