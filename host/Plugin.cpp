// Loading the plug-in library and pointing its description text.
#include "host/Plugin.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <stdexcept>

namespace glfxhost {

Plugin::Plugin(const std::string& path) : path_(path)
{
    dlerror();
    lib_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!lib_) {
        const char* e = dlerror();
        throw std::runtime_error("cannot load plug-in " + path + ": " + (e ? e : "unknown error"));
    }
    dlerror();
    void* sym = dlsym(lib_, PF_ENTRY_POINT_NAME);
    if (!sym) {
        const char* e = dlerror();
        std::string msg =
            "plug-in " + path + " has no " PF_ENTRY_POINT_NAME ": " + (e ? e : "symbol is null");
        dlclose(lib_);
        lib_ = nullptr;
        throw std::runtime_error(msg);
    }
    entry_ = reinterpret_cast<PF_CmdFuncPtr>(sym);
    dlerror();
    code_ = static_cast<const char**>(dlsym(lib_, "_GLFX_CODE"));
    if (code_)
        originalCode_ = *code_;
}

Plugin::~Plugin()
{
    // Put the plug-in's own pointer back before our copy of the text goes: the
    // library may stay mapped (another Plugin object, or no unloading at all).
    if (code_ && text_)
        *code_ = originalCode_;
    if (lib_)
        dlclose(lib_);
}

std::string Plugin::defaultPath(const std::string& dir)
{
    if (!dir.empty()) {
        if (dir.back() == '/')
            return dir + "glfxplugin.so";
        return dir + "/glfxplugin.so";
    }
    char buf[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof(buf) - 1);
    if (n <= 0)
        return "./glfxplugin.so";
    std::string exe(buf, static_cast<size_t>(n));
    size_t slash = exe.rfind('/');
    if (slash == std::string::npos)
        return "./glfxplugin.so";
    return exe.substr(0, slash + 1) + "glfxplugin.so";
}

void Plugin::setEffectText(std::string text)
{
    if (!code_)
        throw std::runtime_error("plug-in " + path_ + " has no _GLFX_CODE to point at an effect text");
    text_ = std::make_unique<std::string>(std::move(text));
    *code_ = text_->c_str();
}

const char* Plugin::effectText() const { return code_ ? *code_ : nullptr; }

} // namespace glfxhost
