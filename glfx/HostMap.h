// Where each described parameter sits in the host's parameter array. Types
// that have no host control ("none", unknown codes) are never added at
// parameter setup, so the host's array is shorter than the description
// wherever such a parameter comes before others. Everything that reads or
// writes the host's array or its effect streams goes through this map; the
// plug-in's own tables (values, visibility) stay indexed by description
// index.
#pragma once

#include "glfx/Cglfx.h"

// Whether a parameter of this type code is added to the host.
bool addsHostParam(int type);

struct glfxhostmap {
    // Description index -> host position; kNotAdded when the parameter has
    // no host control. Index 0 (the input layer) is position 0.
    int position[glfxlimits::kMaxParams];
    // Host position -> description index, for positions 0 .. count-1.
    int index[glfxlimits::kMaxParams];
    // Host positions in use, the input layer included (what num_params
    // reports at parameter setup).
    int count;

    static constexpr int kNotAdded = -1;
};

// Builds the map from the description alone, with the same rule parameter
// setup uses to skip types. Parameters beyond the table (or the described
// count, kept within 1 .. table size) are not added.
glfxhostmap hostPositions(const cglfx& fx);
