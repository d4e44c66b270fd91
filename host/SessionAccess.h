/* What the host's callbacks share: finding the session a call belongs to,
   recording what the effect did, and a parameter's value as handed out. */
#pragma once

#include "sdk/AE_Effect.h"

#include <string>

namespace glfxhost {

class Session;

/* Notes a misuse of a callback in session `s`; without a session the note
   goes to standard error. */
void noteProblem(Session* s, const std::string& what);

struct SessionAccess {
    /* The live session an effect_ref stands for; null (and a problem noted)
       for anything else. */
    static Session* fromRef(PF_ProgPtr ref);
    /* Records a problem, prefixed with the command that was running. */
    static void problem(Session& s, const std::string& what);
    static void recordSuite(Session& s, const char* name, bool acquired);
    static void recordSuiteMiss(Session& s, const std::string& what);
    /* The value record of host index `index` as checked out: index 0 is the
       input layer; layers are filled in with their worlds. */
    static void valueAt(Session& s, int index, PF_ParamDef& out);
};

} // namespace glfxhost
