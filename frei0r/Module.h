/* The process-wide side of one module file: its own copy of the plug-in,
   the effect description it carries, and the frei0r parameters that the
   effect's parameter setup gives. */
#pragma once

#include "frei0r/ParamMap.h"
#include "host/Host.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace glfxfrei0r {

class Module {
public:
    /* Reads the payload of the file at `path`, loads the plug-in from an
       anonymous in-memory file (so that every module gets its own copy of
       the plug-in and its description) and sets the effect up once to learn
       its parameters. Throws std::runtime_error saying what failed. */
    explicit Module(const std::string& path);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    glfxhost::Plugin& plugin() { return *plugin_; }
    const std::string& name() const { return name_; }
    const std::string& explanation() const { return explanation_; }
    int pluginType() const { return pluginType_; }
    const std::vector<F0rParam>& params() const { return params_; }
    const std::vector<F0rValue>& defaults() const { return defaults_; }
    /* Host indices of the layer parameters (the mixer's second and third
       inputs), in order. */
    const std::vector<int>& layers() const { return layers_; }

    /* Held around every call into the plug-in: one copy of it, one GL
       context, whichever thread the host calls from. */
    std::mutex& lock() { return lock_; }

    /* Says `message` on stderr, prefixed with the module's name, the first
       time only. */
    void warnOnce(const std::string& message);

private:
    int memfd_ = -1; // the plug-in's bytes: opened by the constructor, closed by the destructor
    std::unique_ptr<glfxhost::Plugin> plugin_; // loaded from memfd_; lives as long as the module
    std::string name_, explanation_;
    int pluginType_ = 0; // F0R_PLUGIN_TYPE_*
    std::vector<F0rParam> params_;
    std::vector<F0rValue> defaults_; // one a frei0r parameter
    std::vector<int> layers_;
    std::mutex lock_;
    std::mutex warnLock_;
    std::vector<std::string> warned_; // messages said already (a few at most)
};

/* The module of this file, created at the first call that needs it: hosts
   ask for plug-in and parameter information, and MLT builds transitions,
   without calling f0r_init. Null when the module cannot be created (said on
   stderr once). Instances hold their own reference, so a host that calls
   f0r_deinit before destroying its instances (MLT does) destroys them
   safely. */
std::shared_ptr<Module> acquireModule();
/* f0r_init: acquireModule(), counted; false when the module cannot be
   created. */
bool initModule();
/* f0r_deinit: the last one drops the process's reference to the module
   (instances keep theirs); one without a matching f0r_init does nothing. */
void deinitModule();

} // namespace glfxfrei0r
