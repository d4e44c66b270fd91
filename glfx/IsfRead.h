// Reading an ISF effect (glfx/IsfBundle.h: the .fs text, the .vs beside it,
// their folder) into the description model: inputs become parameters,
// PASSES the passes with their targets, IMPORTED the imported images, and
// each pass gets every image, target, import and audio input as a named
// sampler. Version 1 files are upgraded as the ISF specification says. The
// shader text is kept as written (bar empty lines); the ISF built-ins are
// declared when the programs are built (glfx/ProgramText.h).
#pragma once

#include "glfx/Cglfx.h"
#include "glfx/IsfInputs.h"

#include <string>
#include <vector>

namespace glfxisf {

// Reads an ISF text (a bundle, or a bare .fs text) into `fx`, which
// cglfx::parse has just reset. On failure sets fx.loadError (one line:
// "FILE:LINE: what", naming the JSON key) and leaves `fx` an empty
// description.
void read(const std::string& text, cglfx& fx);

// What reading took without failing but an author would want to know,
// each with its line: lenient JSON, keys ISF does not define, a v1 buffer
// no pass renders to, and what the pipeline does not honour yet (sized and
// persistent passes, imported images, audio inputs).
struct Note {
    int line = 0;
    std::string code; // "isf-json", "isf-key", "isf-unhonoured", "isf-point"
    std::string message;
};
// The notes of reading `text`; `failure`, when given, says where and why
// reading failed (line 0 and no text when it did not).
std::vector<Note> readNotes(const std::string& text, ReadError* failure = nullptr);

// Names the ISF built-ins take: an input or target may not use them.
bool isBuiltinName(const std::string& name);

} // namespace glfxisf
