// Definitions that parameters contribute to the shader preamble: a checkbox
// or popup with flags 1 defines its value as an integer, a popup with flags 2
// defines the text of its selected item.
#pragma once

#include "glfx/Cglfx.h"

#include <map>
#include <set>
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

// What definition a parameter contributes: none, its value as an integer,
// or the text of its selected popup item.
enum class DefineKind { kNone, kInteger, kText };
DefineKind defineKind(const glfxpar& par);

// The keys of the definitions an instance of `fx` holds once set up: the
// fixed entry, the fast-mode entry when `fast` is set, and one per parameter
// that contributes a definition. The preamble has one line a key (entries
// of an earlier description stay in an instance's map after a reload).
std::set<std::string> preambleKeys(const cglfx& fx);

// The definitions as preamble text: key, " ", value, "\r\n" per entry, in
// map order.
std::string definesText(const std::map<std::string, std::string>& defines);
