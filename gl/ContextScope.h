// Makes an instance's context current for the lifetime of the scope and
// gives the caller's context back when the scope ends, whichever way it ends
// (return or exception).
#pragma once

#include "gl/GlobalGLContext.h"

class ContextScope {
public:
    explicit ContextScope(GlobalGLContext& gl) : gl_(gl), active_(gl.SetPluginContext()) {}
    ~ContextScope()
    {
        if (active_)
            gl_.SetAEContext();
    }
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

    // False when the instance's context could not be made current (the
    // caller's context is current then).
    bool active() const { return active_; }

private:
    GlobalGLContext& gl_;
    bool active_;
};
