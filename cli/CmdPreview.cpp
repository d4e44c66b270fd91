// glfx preview: the effect panel and viewer in a browser, served on the
// loopback address; prints the page's address as its first line.
#include "cli/Commands.h"
#include "cli/PreviewEngine.h"
#include "preview/PreviewServer.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <thread>

namespace glfxcli {

namespace {

void runPreview(const PreviewOptions& opts, const std::string& listen, int port)
{
    // Ctrl-C and SIGTERM are taken by one watcher thread (blocked in every
    // other thread, which inherit this mask), which stops the server; the
    // engine then sets the effect down on its own thread.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    PreviewEngine engine(opts);
    std::unique_ptr<glfxpreview::PreviewServer> server;
    try {
        server = std::make_unique<glfxpreview::PreviewServer>(engine, listen, port);
    } catch (const std::runtime_error& e) {
        throw CommandError(e.what());
    }
    std::cout << server->url() << std::endl;

    std::thread watcher([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        server->stop();
    });
    server->run();
    // The server stopped by itself (not by a signal): wake the watcher.
    pthread_kill(watcher.native_handle(), SIGTERM);
    watcher.join();
}

} // namespace

void addPreviewCommand(CLI::App& app)
{
    struct Options {
        PreviewOptions preview;
        std::string listen = "127.0.0.1";
        int port = 0;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "preview", "Serve the effect panel and the rendered frame to a browser on this machine: every change "
                   "in the page goes to the plug-in as a user's change in the host. Prints the page's "
                   "address as its first line; opens no browser. Ctrl-C stops it.");
    addHostOptions(cmd, o->preview.host);
    CLI::Option* input = cmd->add_option(
        "INPUT", o->preview.input,
        "Input image or video (a video's frames at their own times; default: the test pattern of --size)");
    cmd->add_option("--layer", o->preview.layers,
                    "NAME=FILE: an image the layer parameter whose uniform is NAME shows at first; every "
                    "layer parameter can choose among these images, the input and none (repeatable)")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    cmd->add_option("--size", o->preview.size, "Size of the test pattern, WIDTHxHEIGHT")
        ->capture_default_str()
        ->excludes(input);
    cmd->add_option("--depth", o->preview.depth, "Host world depth: 8, 16 (0..32768 a channel) or 32 (float)")
        ->check(CLI::IsMember({8, 16, 32}))
        ->capture_default_str();
    cmd->add_option("--fps", o->preview.fps,
                    "Frames a second of the time slider and play (a video input plays at its own rate)")
        ->capture_default_str();
    cmd->add_option("--port", o->port, "Port to listen on (0: a free one)")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    cmd->add_option("--listen", o->listen,
                    "Address to listen on (default the loopback address; another one exposes the "
                    "preview to the network)")
        ->capture_default_str();
    cmd->callback([o]() { runPreview(o->preview, o->listen, o->port); });
}

} // namespace glfxcli
