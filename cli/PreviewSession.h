// The effect instance behind glfx preview and what it needs around it: a
// host session started on the plug-in's current description, the images
// layer parameters choose among, the parameters' values in the page's
// units, and the values carried from one session to the next when a
// reloaded description adds or removes parameters.
#pragma once

#include "cli/EffectHost.h"
#include "glfx/Cglfx.h"

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glfxcli {

// What a layer parameter may show, besides the images given with --layer.
extern const char* const kLayerInput;
extern const char* const kLayerNone;

// The images layer parameters choose among: the input, and each --layer
// file by its name. Owned by the session thread's loop.
struct LayerChoices {
    std::vector<std::pair<std::string, std::unique_ptr<glfxhost::World>>> images; // label, world
    std::map<int, std::string> chosen;                                            // host index -> label
};

// Sets a layer parameter to the image labelled `label`; throws CommandError
// for a label that names none.
void chooseLayer(glfxhost::Session& session, glfxhost::World& input, LayerChoices& layers, int hostIndex,
                 const std::string& label);

// The host's current value of one parameter, in the units the page shows
// (and sends back as text): numbers, degrees, layer pixels, 0..1 colours.
nlohmann::json currentValue(const glfxhost::Session& session, int hostIndex);

// A session of `plugin` (whose description is already set) started through
// update-params-UI, with layers of `width` x `height`. Throws CommandError.
std::unique_ptr<glfxhost::Session> startPreviewSession(glfxhost::Plugin& plugin, const HostOptions& host,
                                                       double fps, int width, int height);

// What the host's parameter list is made from: two descriptions with the
// same signature register the same parameters.
std::string paramSignature(const cglfx& fx);

// The parameters' values by uniform name, as text a change takes (layers:
// the chosen image's label), with the host type each was.
struct KeptValue {
    int type = 0;
    std::string text;
};
std::map<std::string, KeptValue> keepValues(const glfxhost::Session& session, const cglfx& fx,
                                            const LayerChoices& layers);

// Gives the parameters of `session` that have a kept value of their uniform
// and type that value; values the new parameter refuses (out of its range,
// an item it lacks) are left at its default. The plug-in is then told of
// each supervised one as a user's change (so that group switches disable and
// hide their controls), except parameters that choose presets, which would
// write their values over the carried ones. Throws CommandError when the
// plug-in fails such a change.
void restoreValues(glfxhost::Session& session, const cglfx& fx, const std::map<std::string, KeptValue>& kept,
                   glfxhost::World& input, LayerChoices& layers);

} // namespace glfxcli
