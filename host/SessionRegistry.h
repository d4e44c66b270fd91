/* Which sessions are alive, and which one is running a command on this
   thread: callbacks without an effect_ref (handles, suites, AEGP memory) find
   their session here, and effect_ref values are checked against it. */
#pragma once

namespace glfxhost {

class Session;

/* The session whose command is running on this thread (null between
   commands). */
Session* currentSession();

/* Makes `s` the current session of this thread for its lifetime, and puts
   back the one before when it ends. */
class CurrentSessionScope {
public:
    explicit CurrentSessionScope(Session* s);
    ~CurrentSessionScope();
    CurrentSessionScope(const CurrentSessionScope&) = delete;
    CurrentSessionScope& operator=(const CurrentSessionScope&) = delete;

private:
    Session* previous_;
};

/* Whether `s` is a live session. Sessions register in their constructor and
   unregister in their destructor. */
bool isLiveSession(const void* s);
void registerSession(Session* s);
void unregisterSession(Session* s);

} // namespace glfxhost
