// One ISF input (an entry of INPUTS) as a description parameter: type,
// default, range, name and the values a popup sends. Used by the ISF reader.
#pragma once

#include "glfx/Cglfx.h"
#include "glfx/IsfJson.h"

#include <string>

namespace glfxisf {

// A header that cannot be read: where, and what (naming the JSON key).
struct ReadError {
    int line = 0;
    std::string what;
};

// The input types ISF defines, in the order messages list them.
extern const char* const kInputTypes[];
extern const int kInputTypeCount;

// Whether `s` can name a GLSL variable.
bool isIdentifier(const std::string& s);

// Fills `p` from the input `in` (an object with a valid NAME and TYPE);
// `where` names it in messages ("INPUTS[2] \"amount\""). Throws ReadError
// for a value of the wrong kind.
void inputParam(const glfxjson::Value& in, const std::string& type, const std::string& where, glfxpar& p);

} // namespace glfxisf
