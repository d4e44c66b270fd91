#include "cli/RenderPipeline.h"

#include "cli/Commands.h"
#include "cli/EffectHost.h"
#include "cli/FrameQueue.h"
#include "cli/StopSignal.h"

#include <csignal>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

namespace glfxcli {

namespace {

// Worlds in flight between two threads: enough for each stage to work while
// the next one does.
constexpr size_t kWorldsInFlight = 3;

struct Item {
    glfxhost::World* world = nullptr;
    int64_t index = 0;
    double seconds = 0.0;
};

} // namespace

media::FrameView viewOf(glfxhost::World& w)
{
    media::FrameView v;
    v.data = static_cast<uint8_t*>(static_cast<void*>(w.def()->data));
    v.width = w.width();
    v.height = w.height();
    v.rowbytes = w.rowbytes();
    v.depth = w.depth();
    v.bgra = w.bgra();
    return v;
}

namespace {

struct Queues {
    FrameQueue<glfxhost::World*> freeInputs{kWorldsInFlight};
    FrameQueue<glfxhost::World*> freeOutputs{kWorldsInFlight};
    FrameQueue<Item> decoded{kWorldsInFlight};
    FrameQueue<Item> rendered{kWorldsInFlight};
    void closeAll()
    {
        freeInputs.close();
        freeOutputs.close();
        decoded.close();
        rendered.close();
    }
};

void decodeLoop(media::Source& source, const FrameSelection& sel, Queues& q, glfxhost::World& stillWorld)
{
    const media::SourceInfo& info = source.info();
    double seconds = 0.0;
    if (info.still) {
        // One image stands for every frame: read once, rendered as often as
        // the range asks.
        media::FrameView view = viewOf(stillWorld);
        if (!source.read(&view, seconds))
            throw CommandError("'" + info.path + "' has no image");
        for (int64_t f = sel.first; !stopSignal(); ++f) {
            const double t = sel.fixedTime ? sel.time : double(f) / sel.fps;
            if (!q.decoded.push({&stillWorld, f, t}) || f == sel.last)
                break;
        }
        return;
    }
    // Sequences give only their range (numbered from its first); videos give
    // every frame, those before the range passed over undecoded.
    const bool sequence = !info.video;
    for (int64_t i = sequence ? sel.first : 0; !stopSignal(); ++i) {
        if (!sequence && i < sel.first) {
            if (!source.read(nullptr, seconds))
                throw CommandError("'" + info.path + "' has only " + std::to_string(i) +
                                   " frames; --frames starts at " + std::to_string(sel.first));
            continue;
        }
        glfxhost::World* w = nullptr;
        if (!q.freeInputs.pop(w))
            return;
        media::FrameView view = viewOf(*w);
        if (!source.read(&view, seconds))
            return;
        if (!q.decoded.push({w, i, seconds}) || i == sel.last)
            return;
    }
}

} // namespace

void renderFrames(glfxhost::Session& session, media::Source& source, media::Sink& sink,
                  const FrameSelection& sel, int depth, bool bgra, Progress& progress,
                  const std::function<void()>& afterFirst)
{
    const media::SourceInfo& info = source.info();
    std::vector<std::unique_ptr<glfxhost::World>> worlds; // the pool; outlives the threads
    Queues q;
    const size_t inputs = info.still ? 1 : kWorldsInFlight;
    for (size_t i = 0; i < inputs + kWorldsInFlight; ++i) {
        worlds.push_back(std::make_unique<glfxhost::World>(info.width, info.height, depth, bgra));
        if (i >= inputs)
            q.freeOutputs.push(worlds.back().get());
        else if (!info.still)
            q.freeInputs.push(worlds.back().get());
    }

    std::exception_ptr decodeError, encodeError;
    std::thread decoder([&] {
        try {
            decodeLoop(source, sel, q, *worlds[0]);
        } catch (...) {
            decodeError = std::current_exception();
            q.closeAll();
        }
        q.decoded.close();
    });
    std::thread encoder([&] {
        try {
            Item item;
            while (q.rendered.pop(item)) {
                sink.write(viewOf(*item.world), item.index, item.seconds);
                q.freeOutputs.push(item.world);
            }
        } catch (...) {
            encodeError = std::current_exception();
            q.closeAll();
        }
    });

    std::exception_ptr renderError;
    try {
        Item item;
        int64_t done = 0;
        while (!stopSignal() && q.decoded.pop(item)) {
            glfxhost::World* out = nullptr;
            if (!q.freeOutputs.pop(out))
                break;
            const PF_Err err = session.render(*item.world, *out, item.seconds);
            if (err != PF_Err_NONE)
                throw CommandError(
                    commandFailure(session, "rendering frame " + std::to_string(item.index), err));
            if (done == 0)
                afterFirst();
            if (!info.still)
                q.freeInputs.push(item.world);
            if (!q.rendered.push({out, item.index, item.seconds}))
                break;
            progress.update(++done);
        }
    } catch (...) {
        renderError = std::current_exception();
        q.closeAll();
    }
    q.rendered.close();
    encoder.join();
    q.closeAll();
    decoder.join();
    progress.end();

    if (renderError)
        std::rethrow_exception(renderError);
    if (decodeError)
        std::rethrow_exception(decodeError);
    if (encodeError)
        std::rethrow_exception(encodeError);
    if (const int sig = stopSignal())
        throw CommandError(std::string("stopped by ") + (sig == SIGINT ? "Ctrl-C (SIGINT)" : "SIGTERM") +
                               "; the partial output was removed",
                           128 + sig);
    sink.finish();
}

} // namespace glfxcli
