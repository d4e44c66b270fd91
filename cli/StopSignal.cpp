#include "cli/StopSignal.h"

#include "media/OutputFile.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace glfxcli {

namespace {

std::atomic<int> requested{0}; // written by the handler, read by the render's loops

void onSignal(int sig)
{
    int expected = 0;
    if (requested.compare_exchange_strong(expected, sig))
        return;
    media::cleanupOutputs();
    _exit(128 + sig);
}

} // namespace

void installStopHandlers()
{
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

int stopSignal() { return requested.load(); }

} // namespace glfxcli
