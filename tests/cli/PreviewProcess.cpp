#include "PreviewProcess.h"

#include <csignal>
#include <cstdlib>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace clitest {

PreviewProcess::PreviewProcess(const std::string& args)
{
    int fds[2];
    if (pipe(fds) != 0)
        return;
    pid_ = fork();
    if (pid_ == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        execl("/bin/sh", "sh", "-c",
              (std::string("exec ") + GLFX_BINARY_DIR + "/glfx preview " + args).c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    out_ = fdopen(fds[0], "r");
    char line[256] = {};
    if (out_ && std::fgets(line, sizeof line, out_))
        url_ = line;
    while (!url_.empty() && url_.back() == '\n')
        url_.pop_back();
    const std::size_t colon = url_.rfind(':');
    if (colon != std::string::npos)
        port_ = std::atoi(url_.c_str() + colon + 1);
}

PreviewProcess::~PreviewProcess()
{
    if (pid_ > 0 && status_ < 0)
        stop();
    if (out_)
        std::fclose(out_);
}

int PreviewProcess::stop() { return signalAndWait(SIGINT, std::chrono::seconds(5)); }

int PreviewProcess::signalAndWait(int sig, std::chrono::milliseconds limit)
{
    if (pid_ <= 0)
        return -1;
    kill(pid_, sig);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int st = 0;
    do {
        if (waitpid(pid_, &st, WNOHANG) == pid_) {
            status_ = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
            return status_;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } while (std::chrono::steady_clock::now() < deadline);
    kill(pid_, SIGKILL);
    waitpid(pid_, &st, 0);
    status_ = 128 + SIGKILL;
    return -1;
}

} // namespace clitest
