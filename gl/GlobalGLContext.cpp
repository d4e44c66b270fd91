#include "gl/GlobalGLContext.h"

#include <cstdio>
#include <cstring>

namespace {

// Extensions the passes rely on, checked in this order.
const char* const kRequiredExtensions[] = {
    "GL_ARB_color_buffer_float", "GL_ARB_texture_float",      "GL_ARB_vertex_program",
    "GL_ARB_vertex_shader",      "GL_ARB_texture_cube_map",   "GL_ARB_fragment_shader",
    "GL_ARB_draw_buffers",       "GL_ARB_framebuffer_object",
};

bool listed(const char* name, const char* list) { return list && glExtensionListed(name, list); }

// A display we can use: initialises it and checks that it offers desktop
// OpenGL and contexts without surfaces. Leaves it initialised on success.
bool usableDisplay(EGLDisplay dpy)
{
    if (dpy == EGL_NO_DISPLAY)
        return false;
    EGLint major = 0, minor = 0;
    if (!eglInitialize(dpy, &major, &minor))
        return false;
    const char* apis = eglQueryString(dpy, EGL_CLIENT_APIS);
    const char* exts = eglQueryString(dpy, EGL_EXTENSIONS);
    // "OpenGL" as a whole word ("OpenGL_ES" is a different API).
    if (!listed("OpenGL", apis) || !listed("EGL_KHR_surfaceless_context", exts)) {
        // Not ours to keep; nothing was created on it. eglTerminate on a
        // display someone else initialised would pull it from under them, so
        // it is left initialised.
        return false;
    }
    return true;
}

// The platform entry points are looked up directly: before any display is
// open, epoxy cannot tell which EGL version or extensions provide them.
EGLDisplay platformDisplay(EGLenum platform, void* native)
{
    const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!listed("EGL_EXT_platform_base", client))
        return EGL_NO_DISPLAY;
    auto getDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    return getDisplay ? getDisplay(platform, native, nullptr) : EGL_NO_DISPLAY;
}

EGLDisplay openDisplay()
{
    const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (listed("EGL_MESA_platform_surfaceless", client)) {
        EGLDisplay dpy = platformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY);
        if (usableDisplay(dpy))
            return dpy;
    }
    if (listed("EGL_EXT_device_enumeration", client) || listed("EGL_EXT_device_base", client)) {
        auto queryDevices =
            reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
        EGLDeviceEXT devices[16];
        EGLint count = 0;
        if (queryDevices && queryDevices(16, devices, &count)) {
            for (EGLint i = 0; i < count; ++i) {
                EGLDisplay dpy = platformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i]);
                if (usableDisplay(dpy))
                    return dpy;
            }
        }
    }
    return EGL_NO_DISPLAY;
}

EGLContext createContext(EGLDisplay dpy)
{
    EGLConfig config = EGL_NO_CONFIG_KHR;
    if (!listed("EGL_KHR_no_config_context", eglQueryString(dpy, EGL_EXTENSIONS))) {
        // Any config that renders desktop GL; we never make a surface.
        const EGLint want[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        EGLint found = 0;
        if (!eglChooseConfig(dpy, want, &config, 1, &found) || found < 1)
            return EGL_NO_CONTEXT;
    }
    // The passes use quads, matrices and the built-in vertex attributes, so
    // the context must be a compatibility profile.
    const EGLint compat[] = {EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
                             EGL_NONE};
    EGLContext ctx = eglCreateContext(dpy, config, EGL_NO_CONTEXT, compat);
    if (ctx == EGL_NO_CONTEXT) // EGL 1.4 without profile attributes: the default is compatibility
        ctx = eglCreateContext(dpy, config, EGL_NO_CONTEXT, nullptr);
    return ctx;
}

} // namespace

bool glExtensionListed(const char* name, const char* extensions)
{
    if (!name || !extensions || !*name)
        return false;
    const std::size_t n = std::strlen(name);
    const char* p = extensions;
    while (*p) {
        while (*p == ' ')
            ++p;
        const char* end = p;
        while (*end && *end != ' ')
            ++end;
        if (static_cast<std::size_t>(end - p) == n && std::strncmp(p, name, n) == 0)
            return true;
        p = end;
    }
    return false;
}

bool glCapabilitiesOk(const char* version, const char* extensions, int textureUnits)
{
    if (!version || !extensions)
        return false;
    float v = 0.f;
    if (std::sscanf(version, "%f", &v) != 1 || v < 2.0f)
        return false;
    for (const char* ext : kRequiredExtensions)
        if (!glExtensionListed(ext, extensions))
            return false;
    return textureUnits >= 2;
}

EGLDisplay glfxSharedDisplay()
{
    // Opened once per process and never terminated (see the header).
    static const EGLDisplay display = openDisplay();
    return display;
}

bool GlobalGLContext::HaveRequiredExtensions()
{
    const char* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
    const char* extensions = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    GLint units = 0;
    glGetIntegerv(GL_MAX_TEXTURE_UNITS, &units);
    return glCapabilitiesOk(version, extensions, units);
}

void GlobalGLContext::GlobalSetup_GL()
{
    if (HaveOpenGL())
        return;
    display = glfxSharedDisplay();
    if (display == EGL_NO_DISPLAY)
        return;

    // The context is created for the API bound at creation time.
    const EGLenum callerApi = eglQueryAPI();
    if (!eglBindAPI(EGL_OPENGL_API)) {
        eglBindAPI(callerApi);
        return;
    }
    context = createContext(display);
    eglBindAPI(callerApi);
    if (context == EGL_NO_CONTEXT)
        return;

    bool usable = false;
    if (SetPluginContext()) {
        usable = HaveRequiredExtensions();
        if (usable)
            glGenFramebuffers(1, &framebuffer);
        SetAEContext();
    }
    if (!usable) {
        // Nothing was generated in it; the caller's context is current again,
        // so ours is destroyed at once.
        eglDestroyContext(display, context);
        context = EGL_NO_CONTEXT;
    }
}

void GlobalGLContext::GlobalSetdown_GL()
{
    if (!HaveOpenGL())
        return;
    // The framebuffer is deleted with our own context current, before the
    // context goes (deleting it afterwards would address whatever context
    // the caller has current and leak ours on a real driver).
    if (SetPluginContext()) {
        if (framebuffer)
            glDeleteFramebuffers(1, &framebuffer);
        SetAEContext();
    }
    eglDestroyContext(display, context);
    context = EGL_NO_CONTEXT;
}

bool GlobalGLContext::SetPluginContext()
{
    savedApi = eglQueryAPI();
    savedDisplay = eglGetCurrentDisplay();
    savedContext = eglGetCurrentContext();
    savedDraw = eglGetCurrentSurface(EGL_DRAW);
    savedRead = eglGetCurrentSurface(EGL_READ);
    if (!HaveOpenGL())
        return false;
    if (eglBindAPI(EGL_OPENGL_API) && eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context))
        return true;
    SetAEContext();
    return false;
}

void GlobalGLContext::SetAEContext()
{
    if (savedContext != EGL_NO_CONTEXT) {
        eglBindAPI(savedApi);
        eglMakeCurrent(savedDisplay, savedDraw, savedRead, savedContext);
        return;
    }
    // Nothing was current: leave nothing current.
    if (display != EGL_NO_DISPLAY && eglGetCurrentContext() != EGL_NO_CONTEXT) {
        eglBindAPI(EGL_OPENGL_API);
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
    eglBindAPI(savedApi);
}
