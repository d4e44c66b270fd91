/* This host's scripting engine: it knows alert('...') statements only. */
#pragma once

#include <string>
#include <vector>

namespace glfxhost {

/* Appends the message of each alert('...') or alert("...") call of `script`
   (statements optionally ending in ';', JavaScript string escapes) to
   `messages`; false, with `error` set, when the script holds anything else. */
bool parseAlertScript(const std::string& script, std::vector<std::string>& messages, std::string& error);

} // namespace glfxhost
