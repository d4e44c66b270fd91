#include "frei0r/Module.h"

#include "frei0r/Payload.h"
#include "glfx/cglfx.h"
#include "glfx/source.h"

extern "C" {
#include <frei0r.h>
}

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
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

std::mutex gInitLock;            // guards gModule and gInitCount
std::unique_ptr<Module> gModule; // created by the first initModule, released by the last deinitModule
int gInitCount = 0;

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
    const PF_Err err = probe.start();
    if (err != PF_Err_NONE)
        throw std::runtime_error("the effect did not set up (error " + std::to_string(err) +
                                 "): its description is missing or does not parse");
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

Module* currentModule()
{
    std::lock_guard<std::mutex> g(gInitLock);
    return gModule.get();
}

bool initModule()
{
    std::lock_guard<std::mutex> g(gInitLock);
    if (gInitCount > 0) {
        ++gInitCount;
        return true;
    }
    try {
        gModule = std::make_unique<Module>(ownPath());
    } catch (const std::exception& e) {
        std::cerr << "glfx frei0r: " << e.what() << "\n";
        gModule.reset();
        return false;
    }
    gInitCount = 1;
    return true;
}

void deinitModule()
{
    std::lock_guard<std::mutex> g(gInitLock);
    if (gInitCount > 0 && --gInitCount == 0)
        gModule.reset();
}

} // namespace glfxfrei0r
