#include "preview/PreviewServer.h"

#include "preview/WebAssets.h"

#include <httplib.h>

#include <exception>
#include <memory>

namespace glfxpreview {

namespace {

// Largest request body taken: a parameter change is a few dozen bytes.
constexpr std::size_t kMaxBody = 64 * 1024;
// Longest value text a change may carry.
constexpr std::size_t kMaxValueText = 1024;
// Latest time the page may ask for: a day.
constexpr double kMaxSeconds = 86400.0;
// Event streams open at once: each holds one of the server's threads, and
// the rest must stay free for the page's other requests.
constexpr int kMaxStreams = 4;
// An idle event stream gets a comment this often, so that a closed page is
// noticed and a stopping server is never held up longer.
constexpr std::chrono::milliseconds kKeepAlive{500};
// How long an idle connection waits for its next request.
constexpr int kKeepAliveSeconds = 1;

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
    : model_(model), address_(address), http_(std::make_unique<httplib::Server>())
{
    http_->set_payload_max_length(kMaxBody);
    // An idle connection holds a server thread, and stopping waits for it:
    // kept short so that Ctrl-C ends the server at once.
    http_->set_keep_alive_timeout(kKeepAliveSeconds);
    routes();
    if (port == 0) {
        port_ = http_->bind_to_any_port(address_);
        if (port_ <= 0)
            throw std::runtime_error("cannot listen on " + address_);
    } else {
        if (!http_->bind_to_port(address_, port))
            throw std::runtime_error("cannot listen on " + address_ + ":" + std::to_string(port));
        port_ = port;
    }
}

PreviewServer::~PreviewServer() { stop(); }

std::string PreviewServer::url() const
{
    const bool v6 = address_.find(':') != std::string::npos;
    return "http://" + (v6 ? "[" + address_ + "]" : address_) + ":" + std::to_string(port_) + "/";
}

void PreviewServer::run() { http_->listen_after_bind(); }

void PreviewServer::stop()
{
    stopping_ = true;
    model_.wakeWaiters();
    if (http_)
        http_->stop();
}

bool PreviewServer::hostAllowed(const std::string& host) const
{
    const std::string port = ":" + std::to_string(port_);
    const bool v6 = address_.find(':') != std::string::npos;
    const std::string own = (v6 ? "[" + address_ + "]" : address_) + port;
    if (host == own)
        return true;
    // The loopback name is as good as the loopback address; any other name
    // could be an attacker's domain pointed at this machine.
    const bool loopback = address_ == "127.0.0.1" || address_ == "::1";
    return loopback && host == "localhost" + port;
}

void PreviewServer::routes()
{
    http_->set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
        if (!hostAllowed(req.get_header_value("Host"))) {
            errorReply(res, status::kForbidden, "the Host header does not name this server");
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    http_->set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr ep) {
        std::string what = "internal error";
        try {
            if (ep)
                std::rethrow_exception(ep);
        } catch (const std::exception& e) {
            what = e.what();
        } catch (...) {}
        errorReply(res, status::kUnavailable, what);
    });
    http_->set_error_handler([](const httplib::Request&, httplib::Response& res) {
        // Answers of our own handlers keep their body; the rest (no route,
        // a request the library refused) get a JSON error.
        if (res.body.empty()) {
            const int code = res.status;
            errorReply(res, code, code == status::kNotFound ? "not found" : "bad request");
        }
    });

    http_->Get("/", [](const httplib::Request&, httplib::Response& res) {
        const WebAsset* a = webAsset("/index.html");
        res.set_content(a->text, a->contentType);
    });
    http_->Get(R"(/(index\.html|preview\.js|preview\.css))",
               [](const httplib::Request& req, httplib::Response& res) {
                   const WebAsset* a = webAsset(req.path);
                   if (!a)
                       return errorReply(res, status::kNotFound, "not found");
                   res.set_content(a->text, a->contentType);
               });
    http_->Get("/api/panel", [this](const httplib::Request&, httplib::Response& res) {
        jsonReply(res, status::kOk, model_.panel());
    });
    // Server-sent events: "panel" (reloaded), "build" (failed or fixed),
    // "frame" (a new render), "busy" (a slow render started or ended).
    http_->Get("/api/events", [this](const httplib::Request&, httplib::Response& res) {
        if (++streams_ > kMaxStreams) {
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
    http_->Get("/api/diagnostics", [this](const httplib::Request&, httplib::Response& res) {
        jsonReply(res, status::kOk, model_.diagnostics());
    });
    http_->Get("/api/frame.png", [this](const httplib::Request& req, httplib::Response& res) {
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
    http_->Post("/api/param", [this](const httplib::Request& req, httplib::Response& res) {
        const nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
        if (body.is_discarded() || !body.is_object())
            return errorReply(res, status::kBadRequest, "the body is not a JSON object");
        const auto index = body.find("index");
        const auto value = body.find("value");
        if (index == body.end() || !index->is_number_integer())
            return errorReply(res, status::kBadRequest, "\"index\" must be an integer");
        if (value == body.end() || !value->is_string())
            return errorReply(res, status::kBadRequest, "\"value\" must be a string");
        const std::string text = value->get<std::string>();
        if (text.size() > kMaxValueText)
            return errorReply(res, status::kPayloadTooLarge, "\"value\" is too long");
        const long long i = index->get<long long>();
        try {
            if (i < 1 || i > 100000)
                throw BadRequest("no parameter " + std::to_string(i));
            model_.change(static_cast<int>(i), text);
        } catch (const BadRequest& e) {
            return errorReply(res, status::kBadRequest, e.what());
        }
        jsonReply(res, status::kAccepted, {{"queued", true}});
    });
    http_->Post("/api/time", [this](const httplib::Request& req, httplib::Response& res) {
        const nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
        const auto seconds = body.is_object() ? body.find("seconds") : body.end();
        if (!body.is_object() || seconds == body.end() || !seconds->is_number())
            return errorReply(res, status::kBadRequest, "\"seconds\" must be a number");
        const double t = seconds->get<double>();
        if (!(t >= 0.0) || t > kMaxSeconds)
            return errorReply(res, status::kBadRequest, "\"seconds\" must be between 0 and 86400");
        model_.seek(t);
        jsonReply(res, status::kAccepted, {{"queued", true}});
    });
    // Every other method on the API is refused with a JSON answer.
    for (const char* path : {"/api/panel", "/api/diagnostics", "/api/frame.png", "/api/events"})
        http_->Post(path, [](const httplib::Request&, httplib::Response& res) {
            errorReply(res, status::kMethodNotAllowed, "method not allowed");
        });
}

} // namespace glfxpreview
