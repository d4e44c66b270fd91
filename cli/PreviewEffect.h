// The effect behind glfx preview as the engine's thread holds it, and the
// three things that thread does with it besides rendering: set it up, reload
// its description, and describe its parameters for the panel.
#pragma once

#include "cli/PreviewEngine.h"
#include "cli/PreviewSession.h"
#include "cli/PreviewVideo.h"
#include "glfx/Cglfx.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <set>
#include <string>

namespace glfxcli {

// Owned by the engine's thread from set-up to the end: everything of the
// effect lives and dies there, so all its GL work stays on that thread.
struct PreviewEffect {
    std::unique_ptr<glfxhost::Plugin> plugin;
    std::unique_ptr<cglfx> fx;                  // the description the session was set up from
    std::unique_ptr<glfxhost::Session> session; // the instance
    std::unique_ptr<glfxhost::World> input, output;
    LayerChoices layers;
    int width = 0, height = 0;          // the input's size, which every session's layers have
    std::unique_ptr<VideoFrames> video; // a video input's frames; null for an image or the pattern
    double fps = 0.0;                   // frames a second: the video's own, else --fps
    // The definitions the instance holds: a reload adds those of the new
    // description and drops none, and each is a line of the preamble.
    std::set<std::string> defineKeys;
    bool checkBuild = true; // the instance has not been checked since its first render

    ~PreviewEffect() { session.reset(); } // set down before the worlds go and the plug-in unloads
};

// Opens the plug-in, reads the input's first frame into `input`, starts the
// session and loads the --layer images. Returns the description's
// diagnostics (glfx check's JSON). Throws.
nlohmann::json setUpPreview(PreviewEffect& e, const PreviewOptions& opts);

// Reads the description file again as the plug-in's Options command does
// and rebuilds the programs; a description whose parameters differ gets a
// new session, with the values of the parameters that stayed. `buildLog` is
// the rebuild's log (empty when it built, or when the new session has yet
// to build). Returns the new diagnostics. Throws.
nlohmann::json reloadPreview(PreviewEffect& e, const PreviewOptions& opts, std::string& buildLog);

// The panel's parameters: the host's records (glfx describe's host_params)
// with each one's current value, UI flags, hidden flag and stream name.
nlohmann::json panelParams(const PreviewEffect& e);

} // namespace glfxcli
