// The effect behind glfx preview: one host session on its own thread (which
// owns the plug-in instance and so all its GL work), fed with the user's
// changes from the page and leaving, after each render, a snapshot of the
// panel and the frame for the HTTP threads to read.
#pragma once

#include "cli/EffectHost.h"
#include "media/Frame.h"
#include "preview/PreviewServer.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace glfxcli {

struct PreviewOptions {
    HostOptions host;
    std::string input;               // image or video file; empty: the test pattern
    std::vector<std::string> layers; // --layer NAME=FILE: the images layer parameters choose among
    std::string size = "1280x720";
    int depth = 8;
    double fps = 30.0;
};

class PreviewEngine : public glfxpreview::Model {
public:
    // Starts the session thread and waits for the first frame; throws
    // CommandError when the plug-in cannot be set up or the input read.
    explicit PreviewEngine(const PreviewOptions& opts);
    ~PreviewEngine() override;

    nlohmann::json panel() override;
    std::string framePng(int maxWidth) override;
    nlohmann::json diagnostics() override;
    void change(int hostIndex, const std::string& value) override;
    void seek(double seconds) override;
    glfxpreview::Status waitStatus(uint64_t seen, std::chrono::milliseconds timeout) override;
    void wakeWaiters() override;

private:
    void loop();
    // Waits for the description file to be written or replaced (inotify on
    // its folder, so that editors that save by renaming are seen too).
    void watch();

    PreviewOptions opts_;
    std::mutex mutex_;                   // guards everything below
    std::condition_variable wake_;       // wakes the session thread
    std::condition_variable changed_;    // wakes status waiters
    std::map<int, std::string> pending_; // host index -> newest value not yet applied
    bool stopping_ = false;
    double seconds_ = 0.0;       // time to render at
    bool seek_ = false;          // seconds_ changed since the last render
    bool reload_ = false;        // the description file changed on disk
    bool ready_ = false;         // the first frame (or the set-up failure) is there
    std::string setupError_;     // set-up failure, reported by the constructor
    int paramCount_ = 0;         // host parameters, for checking a change's index
    nlohmann::json panel_;       // snapshot written by the session thread after each render
    std::vector<uint8_t> frame_; // last good frame, packed rows; written by the session thread
    media::FrameView frameView_; // its size and depth (its data pointer is not used)
    nlohmann::json diagnostics_;
    uint64_t generation_ = 0;                         // renders done
    uint64_t reloads_ = 0;                            // descriptions reloaded
    uint64_t seq_ = 0;                                // status changes, for waitStatus
    bool working_ = false;                            // the session thread is rendering or rebuilding
    std::chrono::steady_clock::time_point workStart_; // when it started
    bool busy_ = false;                               // working for longer than kBusyAfter; set by a waiter
    bool failed_ = false;                             // the last build failed
    bool waitersWoken_ = false;                       // wakeWaiters was called: waits end at once
    int stopPipe_[2] = {-1, -1}; // wakes the watcher to end; created and closed by this object
    int inotify_ = -1;           // watch on the description's folder; created and closed by this object
    std::thread worker_;         // owns the session; joined by the destructor
    std::thread watcher_;        // watches the description file; joined by the destructor
};

} // namespace glfxcli
