// Definitions that parameters contribute to the shader preamble: a checkbox
// or popup with flags 1 defines its value as an integer, a popup with flags 2
// defines the text of its selected item.
#pragma once

#include "glfx/cglfx.h"

#include <map>
#include <string>

// The popup item at `index`, clamped to the item list (first item below it,
// last item above it); empty when the popup has no items.
std::string popupItemClamped(const glfxpar& par, int index);

// Truncates a parameter value toward zero; NaN gives 0 and values beyond the
// int range give the nearest int.
int valueToInt(float value);

// Writes the definitions of parameters 1 .. params-1 into `defines`, from the
// first component of each parameter's current value (`values[i][0]`).
// Entries of other parameters and fixed entries are left as they are.
void updateParamDefines(const cglfx& fx, const float (*values)[4],
                        std::map<std::string, std::string>& defines);

// The definitions as preamble text: key, " ", value, "\r\n" per entry, in
// map order.
std::string definesText(const std::map<std::string, std::string>& defines);
