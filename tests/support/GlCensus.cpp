#include "tests/support/GlCensus.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

namespace glcensus {
namespace {

enum Kind { kTexture, kProgram, kShader, kFramebuffer, kRenderbuffer, kBuffer, kKinds };

using Names = std::array<std::set<GLuint>, kKinds>;

// The census itself: created on first use, never destroyed (wrappers may run
// during static destruction of other modules).
struct State {
    std::mutex mutex;
    std::set<EGLContext> contexts;
    std::map<EGLContext, Names> names; // per context current at creation
    Counts dropped;
    bool installed = false;
};

State& state()
{
    static State* s = new State;
    return *s;
}

int& field(Counts& c, int kind)
{
    switch (kind) {
    case kTexture: return c.textures;
    case kProgram: return c.programs;
    case kShader: return c.shaders;
    case kFramebuffer: return c.framebuffers;
    case kRenderbuffer: return c.renderbuffers;
    default: return c.buffers;
    }
}

// The driver's own functions, found by install().
decltype(epoxy_eglGetCurrentContext) realGetCurrentContext = nullptr;
decltype(epoxy_eglCreateContext) realCreateContext = nullptr;
decltype(epoxy_eglDestroyContext) realDestroyContext = nullptr;

EGLContext current() { return realGetCurrentContext ? realGetCurrentContext() : EGL_NO_CONTEXT; }

void added(int kind, GLsizei n, const GLuint* list)
{
    if (n <= 0 || !list)
        return;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::set<GLuint>& set = s.names[current()][kind];
    for (GLsizei i = 0; i < n; ++i)
        if (list[i] != 0)
            set.insert(list[i]);
}

void removed(int kind, GLsizei n, const GLuint* list)
{
    if (n <= 0 || !list)
        return;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.names.find(current());
    if (it == s.names.end())
        return;
    for (GLsizei i = 0; i < n; ++i)
        it->second[kind].erase(list[i]); // unknown names and 0 are ignored, as GL does
}

EGLContext EPOXY_CALLSPEC countCreateContext(EGLDisplay dpy, EGLConfig config, EGLContext share,
                                             const EGLint* attribs)
{
    EGLContext ctx = realCreateContext(dpy, config, share, attribs);
    if (ctx != EGL_NO_CONTEXT) {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        s.contexts.insert(ctx);
        s.names.erase(ctx); // a handle value reused after an earlier destroy
    }
    return ctx;
}

EGLBoolean EPOXY_CALLSPEC countDestroyContext(EGLDisplay dpy, EGLContext ctx)
{
    const EGLBoolean ok = realDestroyContext(dpy, ctx);
    if (ok) {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.contexts.erase(ctx)) {
            auto it = s.names.find(ctx);
            if (it != s.names.end()) {
                for (int k = 0; k < kKinds; ++k)
                    field(s.dropped, k) += static_cast<int>(it->second[k].size());
                s.names.erase(it);
            }
        }
    }
    return ok;
}

// One generating and one deleting wrapper per object kind that names come
// in arrays for; the real function is called first so a failing call
// (names left untouched) counts nothing new.
#define GLCENSUS_GEN_PAIR(gen, del, kind)                                                                    \
    decltype(epoxy_##gen) real_##gen = nullptr;                                                              \
    decltype(epoxy_##del) real_##del = nullptr;                                                              \
    void EPOXY_CALLSPEC count_##gen(GLsizei n, GLuint* list)                                                 \
    {                                                                                                        \
        real_##gen(n, list);                                                                                 \
        added(kind, n, list);                                                                                \
    }                                                                                                        \
    void EPOXY_CALLSPEC count_##del(GLsizei n, const GLuint* list)                                           \
    {                                                                                                        \
        real_##del(n, list);                                                                                 \
        removed(kind, n, list);                                                                              \
    }

GLCENSUS_GEN_PAIR(glGenTextures, glDeleteTextures, kTexture)
GLCENSUS_GEN_PAIR(glGenFramebuffers, glDeleteFramebuffers, kFramebuffer)
GLCENSUS_GEN_PAIR(glGenFramebuffersEXT, glDeleteFramebuffersEXT, kFramebuffer)
GLCENSUS_GEN_PAIR(glGenRenderbuffers, glDeleteRenderbuffers, kRenderbuffer)
GLCENSUS_GEN_PAIR(glGenRenderbuffersEXT, glDeleteRenderbuffersEXT, kRenderbuffer)
GLCENSUS_GEN_PAIR(glGenBuffers, glDeleteBuffers, kBuffer)
#undef GLCENSUS_GEN_PAIR

decltype(epoxy_glCreateProgram) realCreateProgram = nullptr;
decltype(epoxy_glDeleteProgram) realDeleteProgram = nullptr;
decltype(epoxy_glCreateShader) realCreateShader = nullptr;
decltype(epoxy_glDeleteShader) realDeleteShader = nullptr;

GLuint EPOXY_CALLSPEC countCreateProgram()
{
    GLuint name = realCreateProgram();
    added(kProgram, 1, &name);
    return name;
}
void EPOXY_CALLSPEC countDeleteProgram(GLuint name)
{
    realDeleteProgram(name);
    removed(kProgram, 1, &name);
}
GLuint EPOXY_CALLSPEC countCreateShader(GLenum type)
{
    GLuint name = realCreateShader(type);
    added(kShader, 1, &name);
    return name;
}
// A shader deleted while attached lives on until its program goes; the
// plug-in's obligation ends with the delete, so it counts as released.
void EPOXY_CALLSPEC countDeleteShader(GLuint name)
{
    realDeleteShader(name);
    removed(kShader, 1, &name);
}

// Finds the driver's functions: EGL's from libEGL, GL's through
// eglGetProcAddress when EGL hands out core functions too, else from the GL
// libraries.
struct Resolver {
    void* egl = dlopen("libEGL.so.1", RTLD_LAZY);
    void* gl = nullptr;
    decltype(epoxy_eglGetProcAddress) getProc = nullptr;
    bool allProcs = false;

    Resolver()
    {
        if (!egl)
            return;
        getProc = reinterpret_cast<decltype(getProc)>(dlsym(egl, "eglGetProcAddress"));
        auto query = reinterpret_cast<decltype(epoxy_eglQueryString)>(dlsym(egl, "eglQueryString"));
        const char* client = query ? query(EGL_NO_DISPLAY, EGL_EXTENSIONS) : nullptr;
        allProcs = getProc && client &&
                   (std::strstr(client, "EGL_KHR_client_get_all_proc_addresses") ||
                    std::strstr(client, "EGL_KHR_get_all_proc_addresses"));
        gl = dlopen("libOpenGL.so.0", RTLD_LAZY);
        if (!gl)
            gl = dlopen("libGL.so.1", RTLD_LAZY);
    }
    void* eglFunction(const char* name) const { return egl ? dlsym(egl, name) : nullptr; }
    void* glFunction(const char* name) const
    {
        if (allProcs)
            if (void* f = reinterpret_cast<void*>(getProc(name)))
                return f;
        return gl ? dlsym(gl, name) : nullptr;
    }
};

// Looks `name` up into `real`; on success points `variable` at `wrapper`.
template <typename F>
bool hook(F& variable, F& real, F wrapper, void* found)
{
    if (!found)
        return false;
    real = reinterpret_cast<F>(found);
    variable = wrapper;
    return true;
}

} // namespace

std::string Counts::describe() const
{
    const std::pair<int, const char*> parts[] = {
        {contexts, "context"}, {textures, "texture"},         {programs, "program"},
        {shaders, "shader"},   {framebuffers, "framebuffer"}, {renderbuffers, "renderbuffer"},
        {buffers, "buffer"},
    };
    std::string out;
    for (const auto& p : parts) {
        if (p.first == 0)
            continue;
        if (!out.empty())
            out += ", ";
        out += std::to_string(p.first) + " " + p.second + (p.first == 1 ? "" : "s");
    }
    return out.empty() ? "nothing" : out;
}

bool install()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.installed)
        return true;
    const Resolver r;
    realGetCurrentContext =
        reinterpret_cast<decltype(realGetCurrentContext)>(r.eglFunction("eglGetCurrentContext"));
    void* create = r.eglFunction("eglCreateContext");
    void* destroy = r.eglFunction("eglDestroyContext");
    // The ones the plug-in needs must all be found before any is replaced.
    const char* const required[] = {"glGenTextures",     "glDeleteTextures",    "glCreateProgram",
                                    "glDeleteProgram",   "glCreateShader",      "glDeleteShader",
                                    "glGenFramebuffers", "glDeleteFramebuffers"};
    bool ok = realGetCurrentContext && create && destroy;
    for (const char* name : required)
        ok = ok && r.glFunction(name);
    if (!ok)
        return false;

    hook(epoxy_eglCreateContext, realCreateContext, &countCreateContext, create);
    hook(epoxy_eglDestroyContext, realDestroyContext, &countDestroyContext, destroy);
    hook(epoxy_glCreateProgram, realCreateProgram, &countCreateProgram, r.glFunction("glCreateProgram"));
    hook(epoxy_glDeleteProgram, realDeleteProgram, &countDeleteProgram, r.glFunction("glDeleteProgram"));
    hook(epoxy_glCreateShader, realCreateShader, &countCreateShader, r.glFunction("glCreateShader"));
    hook(epoxy_glDeleteShader, realDeleteShader, &countDeleteShader, r.glFunction("glDeleteShader"));
#define GLCENSUS_HOOK_PAIR(gen, del)                                                                         \
    if (void* g = r.glFunction(#gen))                                                                        \
        if (void* d = r.glFunction(#del)) {                                                                  \
            hook(epoxy_##gen, real_##gen, &count_##gen, g);                                                  \
            hook(epoxy_##del, real_##del, &count_##del, d);                                                  \
        }
    GLCENSUS_HOOK_PAIR(glGenTextures, glDeleteTextures)
    GLCENSUS_HOOK_PAIR(glGenFramebuffers, glDeleteFramebuffers)
    GLCENSUS_HOOK_PAIR(glGenFramebuffersEXT, glDeleteFramebuffersEXT)
    GLCENSUS_HOOK_PAIR(glGenRenderbuffers, glDeleteRenderbuffers)
    GLCENSUS_HOOK_PAIR(glGenRenderbuffersEXT, glDeleteRenderbuffersEXT)
    GLCENSUS_HOOK_PAIR(glGenBuffers, glDeleteBuffers)
#undef GLCENSUS_HOOK_PAIR
    s.installed = true;
    return true;
}

bool installed()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.installed;
}

Counts live()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    Counts c;
    c.contexts = static_cast<int>(s.contexts.size());
    for (const auto& entry : s.names)
        for (int k = 0; k < kKinds; ++k)
            field(c, k) += static_cast<int>(entry.second[k].size());
    return c;
}

Counts dropped()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.dropped;
}

int contextless()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.names.find(EGL_NO_CONTEXT);
    int n = 0;
    if (it != s.names.end())
        for (const auto& set : it->second)
            n += static_cast<int>(set.size());
    return n;
}

void reset()
{
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.contexts.clear();
    s.names.clear();
    s.dropped = Counts();
}

} // namespace glcensus
