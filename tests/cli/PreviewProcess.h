// A glfx preview process started by a test: its first line of output (the
// page's address) is read, and it is stopped with SIGINT when the test ends.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>
#include <sys/types.h>

namespace clitest {

class PreviewProcess {
public:
    // Starts "glfx preview ARGS" through the shell and waits for its first line.
    explicit PreviewProcess(const std::string& args);
    ~PreviewProcess();
    PreviewProcess(const PreviewProcess&) = delete;
    PreviewProcess& operator=(const PreviewProcess&) = delete;

    // SIGINT, then the exit status (-1 when it did not exit by itself within 5 s).
    int stop();
    // Sends `sig` and waits up to `limit` for the exit: the exit status, or -1
    // (the process is then killed).
    int signalAndWait(int sig, std::chrono::milliseconds limit);

    const std::string& url() const { return url_; }
    int port() const { return port_; }
    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    FILE* out_ = nullptr; // its standard output; closed by the destructor
    std::string url_;
    int port_ = 0;
    int status_ = -1; // exit status once it has exited; -1 before
};

} // namespace clitest
