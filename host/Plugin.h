/* A loaded effect plug-in library: its entry point and its description
   pointer. */
#pragma once

#include "sdk/AE_Effect.h"

#include <memory>
#include <string>

namespace glfxhost {

/* Loading uses RTLD_NOW | RTLD_LOCAL; failures throw std::runtime_error with
   the loader's message. The library stays loaded while the object lives. */
class Plugin {
public:
    explicit Plugin(const std::string& path);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    /* glfxplugin.so beside the running executable (from /proc/self/exe), or in
       `dir` when one is given. The file need not exist. */
    static std::string defaultPath(const std::string& dir = std::string());

    const std::string& path() const { return path_; }
    PF_CmdFuncPtr entry() const { return entry_; }

    /* Whether the library exports the description pointer _GLFX_CODE. */
    bool hasEffectTextSymbol() const { return code_ != nullptr; }

    /* Points the plug-in's _GLFX_CODE at an owned copy of `text`; the plug-in
       reads it at its next global setup as a plain description. Throws
       std::runtime_error when the library has no _GLFX_CODE. */
    void setEffectText(std::string text);

    /* The text _GLFX_CODE points at now (null when there is no symbol or it
       points nowhere). */
    const char* effectText() const;

private:
    std::string path_;
    void* lib_ = nullptr;                // dlopen handle: opened by the constructor, closed by the destructor
    PF_CmdFuncPtr entry_ = nullptr;      // inside lib_
    const char** code_ = nullptr;        // the library's _GLFX_CODE, inside lib_
    const char* originalCode_ = nullptr; // what _GLFX_CODE held at load; put back by the destructor
    std::unique_ptr<std::string> text_;  // the text _GLFX_CODE points at after setEffectText
};

} // namespace glfxhost
