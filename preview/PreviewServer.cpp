#include "preview/PreviewServer.h"

#include "preview/ApiRequests.h"
#include "preview/ConnectionGate.h"
#include "preview/ListenSocket.h"
#include "preview/RequestRouter.h"
#include "preview/WebAssets.h"

#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace glfxpreview {

namespace {

// An idle event stream gets a comment this often, so that a closed page is
// noticed and a stopping server is never held up longer.
constexpr std::chrono::milliseconds kKeepAlive{500};

// One server-sent event: a name and the status as JSON.
std::string event(const char* name, const Status& s)
{
    const nlohmann::json data = {
        {"generation", s.generation}, {"reloads", s.reloads}, {"failed", s.failed}, {"busy", s.busy}};
    return std::string("event: ") + name + "\ndata: " + data.dump() + "\n\n";
}

// The events that take `from` to `to`; all of them for a new stream.
std::string eventsBetween(const Status* from, const Status& to)
{
    std::string out;
    if (!from || from->reloads != to.reloads)
        out += event("panel", to);
    if (!from || from->failed != to.failed || (to.failed && from->reloads != to.reloads))
        out += event("build", to);
    if (!from || from->generation != to.generation)
        out += event("frame", to);
    if (!from || from->busy != to.busy)
        out += event("busy", to);
    return out;
}

void jsonReply(httplib::Response& res, int code, const nlohmann::json& body)
{
    res.status = code;
    res.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), "application/json");
}

void errorReply(httplib::Response& res, int code, const std::string& message)
{
    jsonReply(res, code, {{"error", message}});
}

} // namespace

PreviewServer::PreviewServer(Model& model, const std::string& address, int port)
    : PreviewServer(model, address, listenOn(address, port))
{}

PreviewServer::PreviewServer(Model& model, const std::string& address, ListenSocket listening)
    : model_(model), address_(address), port_(listening.port), rules_(address, listening.port),
      router_(std::make_unique<RequestRouter>()), gate_(std::make_unique<ConnectionGate>(listening))
{
    routes();
}

PreviewServer::~PreviewServer() { stop(); }

std::string PreviewServer::url() const { return "http://" + hostAndPort(address_, port_) + "/"; }

void PreviewServer::run()
{
    std::vector<std::thread> workers;
    for (int i = 0; i < limits::kWorkers; ++i)
        workers.emplace_back([this] {
            while (std::unique_ptr<Connection> c = gate_->next()) {
                const bool keep = router_->answer(*c);
                gate_->done(std::move(c), keep);
            }
        });
    gate_->run();
    stop(); // the gate ended by itself only if the system failed it; the workers must end too
    for (std::thread& w : workers)
        w.join();
}

void PreviewServer::stop()
{
    stopping_ = true;
    model_.wakeWaiters();
    router_->stop();
    gate_->stop();
}

void PreviewServer::routes()
{
    router_->set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
        const auto header = [&req](const char* name) {
            return req.has_header(name) ? std::optional<std::string>(req.get_header_value(name))
                                        : std::nullopt;
        };
        const std::optional<std::string> origin = header("Origin"), type = header("Content-Type");
        const RequestRules::Verdict v = rules_.judge(req.method, req.get_header_value("Host"), origin, type);
        if (v.status == 0)
            return httplib::Server::HandlerResponse::Unhandled;
        errorReply(res, v.status, v.reason);
        return httplib::Server::HandlerResponse::Handled;
    });
    router_->set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr ep) {
            std::string what = "internal error";
            try {
                if (ep)
                    std::rethrow_exception(ep);
            } catch (const std::exception& e) {
                what = e.what();
            } catch (...) {}
            errorReply(res, status::kUnavailable, what);
        });
    router_->set_error_handler([](const httplib::Request&, httplib::Response& res) {
        // Answers of our own handlers keep their body; the rest (no route,
        // a request the library refused) get a JSON error.
        if (res.body.empty()) {
            const int code = res.status;
            errorReply(res, code, code == status::kNotFound ? "not found" : "bad request");
        }
    });

    router_->Get("/", [](const httplib::Request&, httplib::Response& res) {
        const WebAsset* a = webAsset("/index.html");
        res.set_content(a->text, a->contentType);
    });
    router_->Get(R"(/(index\.html|preview\.js|preview\.css))",
                 [](const httplib::Request& req, httplib::Response& res) {
                     const WebAsset* a = webAsset(req.path);
                     if (!a)
                         return errorReply(res, status::kNotFound, "not found");
                     res.set_content(a->text, a->contentType);
                 });
    router_->Get("/api/panel", [this](const httplib::Request&, httplib::Response& res) {
        jsonReply(res, status::kOk, model_.panel());
    });
    // Server-sent events: "panel" (reloaded), "build" (failed or fixed),
    // "frame" (a new render), "busy" (a slow render started or ended).
    router_->Get("/api/events", [this](const httplib::Request&, httplib::Response& res) {
        if (++streams_ > limits::kMaxStreams) {
            --streams_;
            return errorReply(res, status::kUnavailable, "too many event streams");
        }
        res.set_header("Cache-Control", "no-store");
        res.set_header("Connection", "close"); // the stream is the connection's last answer
        auto sent = std::make_shared<std::unique_ptr<Status>>();
        res.set_chunked_content_provider(
            "text/event-stream",
            [this, sent](std::size_t, httplib::DataSink& sink) {
                const Status now = model_.waitStatus(*sent ? (*sent)->seq : ~uint64_t(0), kKeepAlive);
                if (stopping_) {
                    sink.done();
                    return true;
                }
                std::string out = eventsBetween(sent->get(), now);
                if (out.empty())
                    out = ": idle\n\n";
                *sent = std::make_unique<Status>(now);
                return sink.write(out.data(), out.size());
            },
            [this](bool) { --streams_; });
    });
    router_->Get("/api/diagnostics", [this](const httplib::Request&, httplib::Response& res) {
        jsonReply(res, status::kOk, model_.diagnostics());
    });
    router_->Get("/api/frame.png", [this](const httplib::Request& req, httplib::Response& res) {
        // ?w=N: the width the page shows it at; larger frames come scaled.
        int maxWidth = 0;
        if (req.has_param("w")) {
            const std::string w = req.get_param_value("w");
            if (w.empty() || w.size() > 6 || w.find_first_not_of("0123456789") != std::string::npos)
                return errorReply(res, status::kBadRequest, "w must be a width in pixels");
            maxWidth = std::stoi(w);
        }
        const std::string png = model_.framePng(maxWidth);
        if (png.empty())
            return errorReply(res, status::kUnavailable, "no frame yet");
        res.set_header("Cache-Control", "no-store");
        res.set_content(png, "image/png");
    });
    router_->Post("/api/param", [this](const httplib::Request& req, httplib::Response& res) {
        ParamChange change;
        if (const Refusal r = parseParamChange(req.body, change))
            return errorReply(res, r.status, r.reason);
        try {
            model_.change(change.index, change.value);
        } catch (const BadRequest& e) {
            return errorReply(res, status::kBadRequest, e.what());
        }
        jsonReply(res, status::kAccepted, {{"queued", true}});
    });
    router_->Post("/api/time", [this](const httplib::Request& req, httplib::Response& res) {
        double seconds = 0.0;
        if (const Refusal r = parseSeek(req.body, seconds))
            return errorReply(res, r.status, r.reason);
        model_.seek(seconds);
        jsonReply(res, status::kAccepted, {{"queued", true}});
    });
    // Every other method on the API is refused with a JSON answer.
    for (const char* path : {"/api/panel", "/api/diagnostics", "/api/frame.png", "/api/events"})
        router_->Post(path, [](const httplib::Request&, httplib::Response& res) {
            errorReply(res, status::kMethodNotAllowed, "method not allowed");
        });
}

} // namespace glfxpreview
