// Messages shown through the host's scripting engine.
#pragma once

#include <cstddef>
#include <string>

#include "glfx/Codes.h"
#include "sdk/AE_Effect.h"

namespace glfxshell {

// Size of the buffer a script is copied into, and the longest script passed
// on (longer ones are cut).
constexpr std::size_t kScriptBufferSize = glfxlimits::kScriptBufferSize;
constexpr std::size_t kMaxScriptLength = 16381;

// The message with quotes and control characters made safe for a
// single-quoted script string: ' -> ", CR -> \r, LF -> \n, tab -> blank.
std::string escapeAlertMessage(std::string message);

} // namespace glfxshell

// Runs `script` in the host (AEGP_ExecuteScript) and puts its result text in
// `result`. Does nothing under Premiere, which has no scripting; a failed
// call leaves `result` as it was.
void runScript(PF_InData* in_data, std::string script, std::string& result);

// Shows `message` in a modal alert of the host through a script.
void alert(PF_InData* in_data, std::string message);
