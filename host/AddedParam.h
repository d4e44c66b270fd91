/* One parameter the effect added at parameter setup, and the value the host
   keeps for it. */
#pragma once

#include "host/World.h"
#include "sdk/AE_Effect.h"

#include <string>
#include <vector>

namespace glfxhost {

/* One add_param call of the plug-in and the host's current value of it.
   Owned by the Session (its parameter list), from parameter setup to the
   session's end. */
struct AddedParam {
    int hostIndex = 0;           // position in the host's parameter array (1..)
    int descIndex = 0;           // the effect's own index: uu.id - 1
    PF_ParamDef def{};           // as added (pointers redirected to the copies below)
    std::string name;            // def.name as the plug-in wrote it
    std::string choices;         // popup names / checkbox label text, when given
    PF_ParamDef value{};         // current value record (the host's units)
    World* layer = nullptr;      // layer parameters: the world chosen (the caller's), or none
    bool layerSet = false;       // setLayer was called; before that a default of
                                 // PF_LayerDefault_MYSELF shows the effect's input
    bool pointInPercent = false; // point value still in percent (no layer size yet)

    /* A popup's choices, split from its names text at each "|" as the host
       shows them (an empty piece between two bars is a choice; a trailing bar
       adds none). Empty for other types. */
    std::vector<std::string> popupChoices() const;
};

} // namespace glfxhost
