/* How the effect's host parameters appear as frei0r parameters, and the
   conversions between the two sides' values. */
#pragma once

#include "host/Host.h"

#include <string>
#include <vector>

namespace glfxfrei0r {

/* One frei0r parameter: a host control, or one axis of a point. */
struct F0rParam {
    int hostIndex = 0;              // the host parameter it drives (1..)
    PF_ParamType hostType{};        // that parameter's type
    int f0rType = 0;                // F0R_PARAM_*
    int axis = 0;                   // points: 0 the x fraction, 1 the y fraction
    bool integer = false;           // an int slider: the mapped value rounds to whole numbers
    bool supervised = false;        // changes reach the user-changed command
    std::string name;               // the uniform name (points: NAME_x, NAME_y)
    std::string explanation;        // the display name
    std::vector<std::string> items; // popups: the item texts
};

/* A frei0r-side value of any type: numbers (double, bool, position axis) in
   `number`, colours in `color`, popup texts in `text`. */
struct F0rValue {
    double number = 0.0;
    float color[3] = {0.f, 0.f, 0.f};
    std::string text;
    bool operator==(const F0rValue& o) const;
    bool operator!=(const F0rValue& o) const { return !(*this == o); }
};

/* Builds the frei0r parameters of a set-up session, in description order
   (group starts and ends give none; layers are the mixer's inputs and give
   none either). `uniforms[descIndex]` and `intSliders[descIndex]` come from
   the parsed description. */
std::vector<F0rParam> mapParams(const glfxhost::Session& session, const std::vector<std::string>& uniforms,
                                const std::vector<bool>& intSliders);

/* The frei0r value of the session's current value of `p`; points need the
   layer size (or are still in percent). */
F0rValue currentValue(const glfxhost::Session& session, const F0rParam& p);

/* Sets `v` on the session's parameter `p` as a user's change in the effect
   panel would; points take `other`, the value of their other axis. Values
   outside [0,1] clamp. An unknown popup text keeps the current item and
   returns false (the caller says so once). */
bool applyValue(glfxhost::Session& session, const F0rParam& p, const F0rValue& v, const F0rValue& other);

} // namespace glfxfrei0r
