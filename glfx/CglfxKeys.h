// The .glfx keys and sections that say what ISF effects need (and any
// effect may use): pass outputs ([pass0] target=, width=, height=,
// persistent=, float=, sampler3=NAME), imported images ([images]
// name=path), routes to them (ps0_in2=image:NAME, ps0_in3=audio:UNIFORM),
// the dialect (dialect=isf) and the new parameter keys (values=, space=,
// range=, the types event, audio, audiofft and color4). Called by the .glfx
// reader; every key here was ignored before, so older files mean what they
// meant.
#pragma once

#include "glfx/Cglfx.h"

#include <string>
#include <vector>

namespace glfxkeys {

// Routes whose source is named (an image or audio input) and is looked up
// once the whole text has been read.
struct PendingRoute {
    int pass = 0;
    int input = 0;
    bool image = true; // else an audio input
    std::string name;
};
using Pending = std::vector<PendingRoute>;

// "pass" + digits.
bool isPassSection(const std::string& name);

void settingsKey(glfxsettings& s, const std::string& key, const std::string& value);
// The type words beyond the original ones; others are left alone.
void typeWord(glfxpar& p, const std::string& word);
// values=, space=, range=.
void paramKey(glfxpar& p, const std::string& key, const std::string& value);
// A colour of 4 components takes the 4th value of default= as its alpha.
void defaultAlpha(glfxpar& p, const std::string& value);
void passKey(cglfx& fx, int pass, const std::string& key, const std::string& value, int line);
void imageKey(cglfx& fx, const std::string& name, const std::string& path, int line);
// True when the routing line was one of "image:" or "audio:" (taken into
// `pending` when well-formed).
bool pendingRoute(Pending& pending, const std::string& key, const std::string& value);
void resolve(cglfx& fx, const Pending& pending);

// Words the writer uses.
const char* dialectWord(int dialect);
const char* pointSpaceWord(int space);

} // namespace glfxkeys
