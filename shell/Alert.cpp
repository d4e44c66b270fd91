#include "shell/Alert.h"

#include <algorithm>
#include <cstring>

#include "glfx/Text.h"
#include "sdk/AE_SuiteHandler.h"

namespace glfxshell {

std::string escapeAlertMessage(std::string message)
{
    // The order matters: quotes first, then the control characters, so that
    // the backslashes inserted for CR and LF are never touched again.
    strReplace(message, "'", "\"");
    strReplace(message, "\r", "\\r");
    strReplace(message, "\n", "\\n");
    strReplace(message, "\t", " ");
    return message;
}

} // namespace glfxshell

void runScript(PF_InData* in_data, std::string script, std::string& result)
{
    if (!in_data || in_data->appl_id == PF_APPL_ID_PREMIERE)
        return;

    char buffer[glfxshell::kScriptBufferSize];
    const std::size_t n = std::min(script.size(), glfxshell::kMaxScriptLength);
    std::memcpy(buffer, script.data(), n);
    buffer[n] = '\0';

    AEGP_SuiteHandler suites(in_data->pica_basicP);
    AEGP_UtilitySuite4* utility = suites.UtilitySuite();
    if (!utility || !utility->AEGP_ExecuteScript)
        return;

    AEGP_MemHandle resultH = nullptr;
    const A_Err err = utility->AEGP_ExecuteScript(0, buffer, false, &resultH, nullptr);
    if (err != 0 || !resultH)
        return;

    AEGP_MemorySuite1* memory = suites.MemorySuite();
    if (!memory)
        return; // nothing to read or free the result with
    void* text = nullptr;
    if (memory->AEGP_LockMemHandle && memory->AEGP_LockMemHandle(resultH, &text) == 0) {
        if (text)
            result = static_cast<const char*>(text);
        if (memory->AEGP_UnlockMemHandle)
            memory->AEGP_UnlockMemHandle(resultH);
    }
    if (memory->AEGP_FreeMemHandle)
        memory->AEGP_FreeMemHandle(resultH);
}

void alert(PF_InData* in_data, std::string message)
{
    std::string ignored;
    runScript(in_data, "alert('" + glfxshell::escapeAlertMessage(std::move(message)) + "');", ignored);
}
