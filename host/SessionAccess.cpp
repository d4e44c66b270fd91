// Helpers the host's callbacks share: finding the session of a call,
// recording what the effect did, and a parameter's value as handed out.
#include "host/SessionAccess.h"

#include "host/Names.h"
#include "host/Session.h"
#include "host/SessionRegistry.h"

#include <iostream>

namespace glfxhost {

void noteProblem(Session* s, const std::string& what)
{
    if (s)
        SessionAccess::problem(*s, what);
    else
        std::cerr << "glfx host: " << what << "\n";
}

Session* SessionAccess::fromRef(PF_ProgPtr ref)
{
    if (!ref || !isLiveSession(ref)) {
        noteProblem(currentSession(), "callback with an unknown effect_ref");
        return nullptr;
    }
    return static_cast<Session*>(ref);
}

void SessionAccess::problem(Session& s, const std::string& what)
{
    s.rec_.add(s.rec_.problems, std::string(commandName(s.currentCmd_)) + ": " + what);
}

void SessionAccess::recordSuite(Session& s, const char* name, bool acquired)
{
    if (acquired)
        ++s.rec_.suiteAcquires[name];
    else
        ++s.rec_.suiteReleases[name];
}

void SessionAccess::recordSuiteMiss(Session& s, const std::string& what)
{
    s.rec_.add(s.rec_.suiteMisses, what);
}

void SessionAccess::valueAt(Session& s, int index, PF_ParamDef& out)
{
    out = PF_ParamDef{};
    if (index == 0) {
        out.param_type = PF_Param_LAYER;
        out.u.ld = s.input_ ? *s.input_->def() : *s.emptyWorld_.def();
        return;
    }
    const AddedParam& p = s.params_[static_cast<size_t>(index - 1)];
    out = p.value;
    out.uu.id = p.def.uu.id;
    if (p.def.param_type == PF_Param_LAYER) {
        const World* w = p.layer;
        if (!p.layerSet && p.def.u.ld.dephault == PF_LayerDefault_MYSELF)
            w = s.input_;
        const A_long dephault = p.def.u.ld.dephault;
        out.u.ld = w ? *w->def() : *s.emptyWorld_.def();
        out.u.ld.dephault = dephault;
    }
}

} // namespace glfxhost
