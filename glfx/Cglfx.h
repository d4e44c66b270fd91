// The parsed effect description: settings, parameters, routing, presets and
// shader sources. Plain value holders; cglfx::parse (parser.cpp) fills them.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "glfx/Codes.h"

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
    // routing[pass][input]: a glfxroute entry
    int routing[glfxlimits::kMaxPasses][glfxlimits::kMaxInputs];

    glfxsettings() { init(); }
};

class cglfx {
public:
    virtual ~cglfx() = default;

    // Reads a description text; never fails. The text is modified in place
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
};
