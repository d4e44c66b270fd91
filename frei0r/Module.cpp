#include "frei0r/Module.h"

#include "frei0r/Payload.h"
#include "glfx/Cglfx.h"
#include "glfx/Source.h"

extern "C" {
#include <frei0r.h>
}

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace glfxfrei0r {

namespace {

void writeAll(int fd, const std::string& bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0)
            throw std::runtime_error("cannot copy the plug-in into memory");
        done += static_cast<size_t>(n);
    }
}

std::mutex gInitLock; // guards gModule, gInitCount and gFailed
// Created by the first acquireModule; the process's reference is dropped by
// the last deinitModule (instances hold their own) or at unload.
std::shared_ptr<Module> gModule;
int gInitCount = 0;   // f0r_init calls not yet matched by f0r_deinit
bool gFailed = false; // the module could not be created: it is not tried again

// What the host library writes to std::cerr (the alerts it shows, as the
// compositing host would) is held while this lives; text() is what was
// held, for the caller to say as it sees fit.
class HeldErrors {
public:
    HeldErrors() : terminal_(std::cerr.rdbuf(held_.rdbuf())) {}
    ~HeldErrors() { std::cerr.rdbuf(terminal_); }
    HeldErrors(const HeldErrors&) = delete;
    HeldErrors& operator=(const HeldErrors&) = delete;
    std::string text() const { return held_.str(); }

private:
    std::ostringstream held_;
    std::streambuf* terminal_; // std::cerr's own buffer, put back by the destructor
};

// The alerts the session recorded since its running total was `before`,
// one a line (the list keeps only its latest entries, which are the new ones).
std::string newAlerts(const glfxhost::Session& session, uint64_t before)
{
    const auto& alerts = session.records().alerts;
    if (alerts.total() <= before || alerts.empty())
        return {};
    const size_t fresh = static_cast<size_t>(std::min<uint64_t>(alerts.total() - before, alerts.size()));
    std::string text;
    for (size_t i = alerts.size() - fresh; i < alerts.size(); ++i)
        text += alerts[i] + "\n";
    return text;
}

// Details under a failure line: each line indented on a line of its own.
std::string indented(const std::string& text)
{
    std::string out;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            out += "\n    " + text.substr(start, end - start);
        start = end + 1;
    }
    return out;
}

// The plug-in builds its shaders quietly at its first render: a failed build
// renders nothing and returns no error. Its Options command rebuilds the
// programs of an instance that has rendered and shows a non-empty build log
// (failures only) as an alert. So a set-up session renders one small frame
// with its defaults, then asks for the log; the alert the host would print
// is held back (it goes under the module's one failure line instead).
std::string shaderBuildLog(glfxhost::Session& session)
{
    constexpr int kProbeSide = 16;
    constexpr int kProbeDepth = 8;
    glfxhost::World in(kProbeSide, kProbeSide, kProbeDepth), out(kProbeSide, kProbeSide, kProbeDepth);
    session.setLayerSize(kProbeSide, kProbeSide);
    const uint64_t before = session.records().alerts.total();
    PF_Err err = session.render(in, out, 0.0);
    if (err != PF_Err_NONE)
        return "rendering a first frame failed with error " + std::to_string(err) + "\n" +
               newAlerts(session, before);
    {
        HeldErrors held;
        err = session.doDialog();
    }
    if (err != PF_Err_NONE)
        return "rebuilding the shaders failed with error " + std::to_string(err) + "\n";
    return newAlerts(session, before);
}

std::string ownPath()
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&initModule), &info) || !info.dli_fname)
        throw std::runtime_error("cannot find its own file");
    return info.dli_fname;
}

} // namespace

Module::Module(const std::string& path)
{
    Payload payload;
    std::string error;
    if (!readPayload(path, payload, error))
        throw std::runtime_error(error);
    if (payload.plugin.empty())
        throw std::runtime_error("'" + path + "' carries no plug-in");
    name_ = payload.name;

    memfd_ = memfd_create("glfxplugin", MFD_CLOEXEC);
    if (memfd_ < 0)
        throw std::runtime_error("cannot create an in-memory file for the plug-in");
    writeAll(memfd_, payload.plugin);
    plugin_ = std::make_unique<glfxhost::Plugin>("/proc/self/fd/" + std::to_string(memfd_));
    if (!payload.description.empty())
        plugin_->setEffectText(payload.description);

    std::string text = descriptionText(plugin_->effectText());
    if (text.empty())
        throw std::runtime_error("'" + path + "' carries no effect description");
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    explanation_ = fx->settings.description;
    std::vector<std::string> uniforms;
    std::vector<bool> ints;
    for (int i = 0; i < glfxlimits::kMaxParams; ++i) {
        uniforms.push_back(fx->par[i].uniform);
        ints.push_back(fx->par[i].type == GLFX_INT);
    }

    glfxhost::Session probe(*plugin_, glfxhost::HostMode::AfterEffects);
    // What the effect says while it sets up goes under the failure line when
    // it fails, and to stderr as the host would show it when it does not.
    PF_Err err = PF_Err_NONE;
    std::string said;
    {
        HeldErrors held;
        err = probe.start();
        said = held.text();
    }
    if (err != PF_Err_NONE)
        throw std::runtime_error("the effect did not set up (error " + std::to_string(err) + ")" +
                                 indented(said));
    std::cerr << said;
    const std::string buildLog = shaderBuildLog(probe);
    if (!buildLog.empty())
        throw std::runtime_error("the effect's shaders do not build" + indented(buildLog));
    params_ = mapParams(probe, uniforms, ints);
    for (const F0rParam& p : params_)
        defaults_.push_back(currentValue(probe, p));
    for (const glfxhost::AddedParam& a : probe.added())
        if (a.def.param_type == PF_Param_LAYER)
            layers_.push_back(a.hostIndex);
    probe.finish();

    if (fx->settings.noinput)
        pluginType_ = F0R_PLUGIN_TYPE_SOURCE;
    else if (layers_.size() == 1)
        pluginType_ = F0R_PLUGIN_TYPE_MIXER2;
    else if (layers_.size() >= 2)
        pluginType_ = F0R_PLUGIN_TYPE_MIXER3;
    else
        pluginType_ = F0R_PLUGIN_TYPE_FILTER;
}

Module::~Module()
{
    plugin_.reset();
    if (memfd_ >= 0)
        ::close(memfd_);
}

void Module::warnOnce(const std::string& message)
{
    std::lock_guard<std::mutex> g(warnLock_);
    if (std::find(warned_.begin(), warned_.end(), message) != warned_.end())
        return;
    constexpr size_t kMaxRemembered = 64; // keeps memory flat when messages vary
    if (warned_.size() < kMaxRemembered)
        warned_.push_back(message);
    std::cerr << "glfx frei0r " << name_ << ": " << message << "\n";
}

std::shared_ptr<Module> acquireModule()
{
    std::lock_guard<std::mutex> g(gInitLock);
    if (gModule || gFailed)
        return gModule;
    std::string path;
    try {
        path = ownPath();
        gModule = std::make_shared<Module>(path);
    } catch (const std::exception& e) {
        // Said once, naming the module file: hosts ask for information again
        // and again, and a process may load several modules.
        const std::string file = path.substr(path.find_last_of('/') + 1);
        std::cerr << "glfx frei0r" << (file.empty() ? "" : " " + file) << ": " << e.what() << "\n";
        gFailed = true;
    }
    return gModule;
}

bool initModule()
{
    if (!acquireModule())
        return false;
    std::lock_guard<std::mutex> g(gInitLock);
    ++gInitCount;
    return true;
}

void deinitModule()
{
    std::lock_guard<std::mutex> g(gInitLock);
    if (gInitCount > 0 && --gInitCount == 0)
        gModule.reset();
}

} // namespace glfxfrei0r
