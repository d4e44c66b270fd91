// The live sessions and the current session of each thread.
#include "host/SessionRegistry.h"

#include <mutex>
#include <set>

namespace glfxhost {

namespace {

std::mutex& registryMutex()
{
    static std::mutex m;
    return m;
}

// Live sessions: added and removed by the sessions themselves.
std::set<const Session*>& sessions()
{
    static std::set<const Session*> s;
    return s;
}

// Set by CurrentSessionScope for the length of one command.
thread_local Session* tCurrent = nullptr;

} // namespace

Session* currentSession() { return tCurrent; }

CurrentSessionScope::CurrentSessionScope(Session* s) : previous_(tCurrent) { tCurrent = s; }
CurrentSessionScope::~CurrentSessionScope() { tCurrent = previous_; }

bool isLiveSession(const void* s)
{
    std::lock_guard<std::mutex> g(registryMutex());
    return sessions().count(static_cast<const Session*>(s)) != 0;
}

void registerSession(Session* s)
{
    std::lock_guard<std::mutex> g(registryMutex());
    sessions().insert(s);
}

void unregisterSession(Session* s)
{
    std::lock_guard<std::mutex> g(registryMutex());
    sessions().erase(s);
}

} // namespace glfxhost
