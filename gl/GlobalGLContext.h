// The plug-in's own offscreen OpenGL context: an EGL desktop-GL
// compatibility-profile context without any surface, the capability check it
// must pass, and the one framebuffer object every pass renders through.
// One object per effect instance (it lives inside AE_GL_Context).
#pragma once

#include "gl/GlApi.h"

// True when a context reporting `version`, `extensions` (space-separated
// list) and `textureUnits` fixed-function texture units can run the effects:
// version (read as a float) at least 2.0, the required extensions present as
// whole names, and at least two texture units. Null strings fail.
bool glCapabilitiesOk(const char* version, const char* extensions, int textureUnits);

// True when `name` is one of the space-separated names in `extensions`
// (whole names only: "GL_ARB_texture_float" does not match
// "GL_ARB_texture_float_linear").
bool glExtensionListed(const char* name, const char* extensions);

// The process-wide initialised EGL display the contexts are made on
// (surfaceless Mesa first, then the first EGL device). Initialised on first
// use and never terminated, because other contexts in the process, the
// host's included, may live on the same display. EGL_NO_DISPLAY when neither
// platform is available.
EGLDisplay glfxSharedDisplay();

class GlobalGLContext {
public:
    GlobalGLContext() = default;
    // Releases nothing: release is explicit through GlobalSetdown_GL.
    virtual ~GlobalGLContext() {}

    // Capability check of the current context (ours, made current by the caller).
    bool HaveRequiredExtensions();
    // Creates the context and the framebuffer object and runs the capability
    // check; on failure everything is released again. The caller's current
    // context is current again afterwards in every case.
    void GlobalSetup_GL();
    // Deletes the framebuffer and destroys the context; does nothing on an
    // empty object.
    void GlobalSetdown_GL();
    // Saves the caller's current EGL state (API, display, context, draw and
    // read surfaces) and makes our context current. Returns false when ours
    // could not be made current (the caller's state is then restored).
    bool SetPluginContext();
    // Makes the saved caller state current again; when nothing was current,
    // releases ours so no context stays current.
    void SetAEContext();
    bool HaveOpenGL() const { return context != EGL_NO_CONTEXT; }
    GLuint GetFrameBuffer() const { return framebuffer; }

    GLuint framebuffer = 0;
    int reserved = -1;
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
    // The caller's state saved by SetPluginContext.
    EGLenum savedApi = EGL_OPENGL_API;
    EGLDisplay savedDisplay = EGL_NO_DISPLAY;
    EGLContext savedContext = EGL_NO_CONTEXT;
    EGLSurface savedDraw = EGL_NO_SURFACE;
    EGLSurface savedRead = EGL_NO_SURFACE;
};
