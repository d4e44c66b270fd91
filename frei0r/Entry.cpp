// The frei0r entry points: the only symbols the module exports. Nothing
// throws across them; a failure is said on stderr and the host sees an
// error return or an unchanged frame.
#include "frei0r/Instance.h"
#include "frei0r/Module.h"

extern "C" {
#include <frei0r.h>
}

#include <dlfcn.h>

#include <cstring>
#include <exception>
#include <memory>
#include <utility>

using glfxfrei0r::acquireModule;
using glfxfrei0r::Instance;

namespace {

// frei0r's version of the interface this module follows.
constexpr int kFrei0rMajor = FREI0R_MAJOR_VERSION;
constexpr int kFrei0rMinor = FREI0R_MINOR_VERSION;
constexpr int kModuleMajor = 1;
constexpr int kModuleMinor = 0;
constexpr double kMillisecondsPerSecond = 1000.0;

// ffmpeg's frei0r filters (libavfilter) pass the frame's time in
// milliseconds; every other host passes seconds. The caller's library tells
// them apart.
double secondsFrom(double time, void* caller)
{
    Dl_info info{};
    if (caller && dladdr(caller, &info) && info.dli_fname && std::strstr(info.dli_fname, "libavfilter"))
        return time / kMillisecondsPerSecond;
    return time;
}

// The module, or null when it cannot be created; never throws. Texts handed
// to the host point into it: it lives until the last f0r_deinit (or the
// unload) and as long as any instance.
std::shared_ptr<glfxfrei0r::Module> module() noexcept
{
    try {
        return acquireModule();
    } catch (...) {
        return nullptr;
    }
}

void update(f0r_instance_t instance, double time, const uint32_t* const in[3], uint32_t* out, void* caller)
{
    if (!instance || !out)
        return;
    try {
        static_cast<Instance*>(instance)->update(secondsFrom(time, caller), in, out);
    } catch (...) {}
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int f0r_init(void)
{
    try {
        return glfxfrei0r::initModule() ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

__attribute__((visibility("default"))) void f0r_deinit(void)
{
    try {
        glfxfrei0r::deinitModule();
    } catch (...) {}
}

__attribute__((visibility("default"))) void f0r_get_plugin_info(f0r_plugin_info_t* info)
{
    if (!info)
        return;
    const std::shared_ptr<glfxfrei0r::Module> m = module();
    std::memset(info, 0, sizeof *info);
    info->name = m ? m->name().c_str() : "glfx";
    info->author = "glfx";
    info->plugin_type = m ? m->pluginType() : F0R_PLUGIN_TYPE_FILTER;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = kFrei0rMajor;
    info->major_version = kModuleMajor;
    info->minor_version = kModuleMinor;
    info->num_params = m ? static_cast<int>(m->params().size()) : 0;
    info->explanation = m ? m->explanation().c_str() : "";
    (void)kFrei0rMinor;
}

__attribute__((visibility("default"))) void f0r_get_param_info(f0r_param_info_t* info, int index)
{
    if (!info)
        return;
    const std::shared_ptr<glfxfrei0r::Module> m = module();
    if (!m || index < 0 || index >= static_cast<int>(m->params().size()))
        return;
    const glfxfrei0r::F0rParam& p = m->params()[static_cast<size_t>(index)];
    info->name = p.name.c_str();
    info->type = p.f0rType;
    info->explanation = p.explanation.c_str();
}

__attribute__((visibility("default"))) f0r_instance_t f0r_construct(unsigned int width, unsigned int height)
{
    if (width == 0 || height == 0)
        return nullptr;
    try {
        std::shared_ptr<glfxfrei0r::Module> m = module();
        return m ? new Instance(std::move(m), width, height) : nullptr;
    } catch (...) {
        return nullptr;
    }
}

__attribute__((visibility("default"))) void f0r_destruct(f0r_instance_t instance)
{
    try {
        delete static_cast<Instance*>(instance);
    } catch (...) {}
}

__attribute__((visibility("default"))) void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param,
                                                                int index)
{
    if (!instance)
        return;
    try {
        static_cast<Instance*>(instance)->setParam(index, param);
    } catch (...) {}
}

__attribute__((visibility("default"))) void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param,
                                                                int index)
{
    if (!instance)
        return;
    try {
        static_cast<Instance*>(instance)->getParam(index, param);
    } catch (...) {}
}

__attribute__((visibility("default"))) void f0r_update(f0r_instance_t instance, double time,
                                                       const uint32_t* inframe, uint32_t* outframe)
{
    const uint32_t* in[3] = {inframe, nullptr, nullptr};
    update(instance, time, in, outframe, __builtin_return_address(0));
}

__attribute__((visibility("default"))) void f0r_update2(f0r_instance_t instance, double time,
                                                        const uint32_t* inframe1, const uint32_t* inframe2,
                                                        const uint32_t* inframe3, uint32_t* outframe)
{
    const uint32_t* in[3] = {inframe1, inframe2, inframe3};
    update(instance, time, in, outframe, __builtin_return_address(0));
}

} // extern "C"
