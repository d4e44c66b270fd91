// The parsed effect description: settings, parameters, routing, presets,
// passes and shader sources. Plain value holders; cglfx::parse fills them
// from either description format (a .glfx text, or an ISF shader).
#pragma once

#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "glfx/Codes.h"
#include "glfx/PassSpec.h"

// Parameter type codes, as stored in glfxpar::type.
enum glfxType {
    GLFX_NONE = -1,
    GLFX_INT = 0,
    GLFX_CHECK = 1,
    GLFX_POPUP = 2,
    GLFX_LAYER = 3,
    GLFX_FLOAT = 4,
    GLFX_COLOR = 5,
    GLFX_ANGLE = 6,
    GLFX_POINT = 7,
    GLFX_TOPIC_START = 8,
    GLFX_TOPIC_END = 9,
    GLFX_FLOAT2 = 10,
    // True for exactly one frame after it is set: a host checkbox the
    // plug-in resets.
    GLFX_EVENT = 11,
    // Texture inputs with no uniform value; max = samples (bins) wanted, 0:
    // the host's choice.
    GLFX_AUDIO = 12,
    GLFX_AUDIOFFT = 13,
};

// One preset value: components 0..2.
struct glfxdef {
    float v[3] = {0.f, 0.f, 0.f};
};

// One preset: target parameter index -> value, in ascending index order.
struct glfxpreset {
    std::map<int, glfxdef> values;
};

class glfxpar {
public:
    virtual ~glfxpar() = default;

    int components = 0;             // float components of the shader value
    int type = GLFX_INT;            // glfxType code
    int visibility = 0;             // a glfxvisibility code
    std::string name;               // display name
    std::string names[4];           // alternative display names 1..4
    std::string uniform;            // shader uniform name
    float def[3] = {0.f, 0.f, 0.f}; // default components
    float min = 0.f;
    float max = 0.f;
    std::string itemtext;                   // raw "|"-separated item text
    float coldef[4] = {0.f, 0.f, 0.f, 0.f}; // (def0, def1, def2, def0)
    int group[5] = {0, 0, 0, 0, 0};         // group numbers; group[0] < 0: group switch
    std::vector<std::string> items;         // popup items
    int flags = 0;
    // A popup's value for each item (ISF long VALUES): the shader gets
    // itemValues[i] for item i; empty: the item's number.
    std::vector<float> itemValues;
    // Default alpha of a colour of 4 components (an ISF color).
    float defAlpha = 1.f;
    // A point's meaning in the shader (a glfxpoint code) and, for kRange,
    // the values the frame's corners map to (x, y; min at the bottom-left).
    int pointSpace = glfxpoint::kLayer;
    float rangeMin[2] = {0.f, 0.f};
    float rangeMax[2] = {0.f, 0.f};
};

class glfxsettings {
public:
    virtual ~glfxsettings() = default;

    // Restores the numeric defaults and the routing table; strings and presets
    // are left as they are.
    void init();

    std::string name;
    std::string description;
    std::string category;
    std::string matchname;
    std::string version;
    // (controlling parameter index, preset number) -> preset
    std::map<std::pair<int, int>, glfxpreset> presets;
    int interp = 1;
    int params = 0;
    int cellsx = 1;
    int cellsy = 1;
    int layerCount = 1;
    bool fast = false;
    int shaders = 1;
    int noinput = 0;
    int repeat = 0;
    int dialect = glfxdialect::kGlfx; // a glfxdialect code
    // Frames a slice renders and discards before its first one (feedback
    // effects); 0: none.
    int preroll = 0;
    // routing[pass][input]: a glfxroute entry
    int routing[glfxlimits::kMaxPasses][glfxlimits::kMaxInputs];

    glfxsettings() { init(); }
};

class cglfx {
public:
    virtual ~cglfx() = default;

    // Reads a description text: a .glfx description, or an ISF shader (or an
    // ISF bundle, glfx/IsfBundle.h). A .glfx text never fails; an ISF text
    // that cannot be read sets loadError. The text is modified in place
    // ("@@" blocks are cut out and expanded).
    void parse(std::string& text);

    // Source of pass i, or an empty string when the pass list is shorter.
    const std::string& passSource(int i) const;

    std::vector<std::string> shaders; // fragment source of pass 0..31
    std::string vertex;               // vertex shader source
    // Where each line of a source came from: the 1-based line of the
    // description text (as given, before "@@" expansion) per source line;
    // 0 for lines the parser supplied itself (the default shaders). Filled by
    // parse alongside the sources, so that a shader compiler's line numbers
    // can be told in the description's own lines.
    std::vector<std::vector<int>> shaderLines; // per pass, parallel to shaders
    std::vector<int> vertexLines;              // parallel to vertex
    glfxpar par[glfxlimits::kMaxParams];
    glfxsettings settings;
    // Per pass (parallel to shaders): its output's name, size and format.
    std::vector<glfxpass> passes;
    // Per pass, the name of each input slot's sampler in its shader; an
    // empty name means the default "in" + slot.
    std::vector<std::array<std::string, glfxlimits::kMaxInputs>> samplerNames;
    // Image files sampled as textures; routed as glfxroute::importOf(n).
    std::vector<glfximport> imports;
    // The folder the description file lies in, "/"-terminated; imports
    // resolve against it. Empty when the text came without a file.
    std::string baseDir;
    // Why the text could not be read as a description, told as
    // "FILE:LINE: what" (an ISF header that is not JSON, an unknown input
    // type, ...); empty when it was read. A text that fails leaves the model
    // of an empty description.
    std::string loadError;
};

// Routes every layer beyond those routed to pass 0 as inputs 1, 2, ...
// (both readers end with it).
void applyDefaultRouting(cglfx& fx);
