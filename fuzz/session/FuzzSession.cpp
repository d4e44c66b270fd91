// Fuzzes whole host sessions of the product's plug-in (the sanitizer build of
// glfxplugin.so, loaded into this process) through the reference host. Each
// input picks an effect description and plays a script of commands on one to
// three instances (Player). A finding is a crash, a sanitizer report, a leak,
// a write into a world's row padding, or a GL object or EGL context still
// alive once every instance is set down (the GL census).
//
// GLFX_PLUGIN overrides the plug-in's path; GLFX_FUZZ_TRACE and
// GLFX_FUZZ_AVOID are read by the Player.
#include "fuzz/session/Descriptions.h"
#include "fuzz/session/Player.h"
#include "host/Host.h"
#include "tests/support/GlCensus.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace {

using sessionfuzz::Player;

// Loaded once for the whole run: loading and unloading per input would be
// slow and leaves the driver's state behind. Never unloaded.
glfxhost::Plugin* plugin = nullptr;
std::vector<sessionfuzz::Description>* descriptions = nullptr;

// Points the plug-in at `text` and has it parse that text now, so that what
// the input does first (a render before any setup, say) meets this input's
// description and not the one of the input before.
void useDescription(const std::string& text)
{
    plugin->setEffectText(text);
    glfxhost::Session prime(*plugin, glfxhost::HostMode::AfterEffects);
    prime.globalSetup();
    prime.globalSetdown();
}

void checkNothingAlive(const char* when)
{
    const glcensus::Counts live = glcensus::live();
    if (!live.empty())
        Player::fail(std::string("alive ") + when + ": " + live.describe());
}

} // namespace

// LeakSanitizer settings built in, so that a replay needs no environment.
// Thread-local storage is not scanned: LeakSanitizer 14 crashes on the
// dynamic TLS of the libraries the GL driver loads with this glibc. What that
// leaves unseen and is not ours is suppressed: the dynamic loader's global
// scope array, grown by every dlopen.
extern "C" const char* __lsan_default_options() { return "use_tls=0:print_suppressions=0"; }
extern "C" const char* __lsan_default_suppressions() { return "leak:add_to_global_resize\n"; }

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    if (!glcensus::install()) {
        std::fprintf(stderr, "fuzz_session: the GL census found no GL driver functions\n");
        std::exit(1);
    }
    const char* path = std::getenv("GLFX_PLUGIN");
    try {
        plugin = new glfxhost::Plugin(path ? path : GLFX_FUZZ_PLUGIN);
    } catch (const std::runtime_error& e) {
        std::fprintf(stderr, "fuzz_session: %s\n", e.what());
        std::exit(1);
    }
    const char* builtin = plugin->effectText();
    descriptions = new std::vector<sessionfuzz::Description>(
        sessionfuzz::loadDescriptions(builtin ? builtin : "", GLFX_FUZZ_EFFECTS_DIR));

    // One whole session per description, so that the driver's one-time set-up
    // (display, compiler) happens before the first input is measured, and a
    // plug-in that cannot render at all says so at once.
    for (const sessionfuzz::Description& d : *descriptions) {
        useDescription(d.text);
        glfxhost::Session s(*plugin, glfxhost::HostMode::AfterEffects);
        glfxhost::World in(8, 8, 8), out(8, 8, 8);
        PF_Err err = s.start();
        if (err == PF_Err_NONE)
            err = s.render(in, out);
        if (err != PF_Err_NONE && d.renders)
            std::fprintf(stderr, "fuzz_session: warm-up session on %s failed with error %d\n", d.name.c_str(),
                         static_cast<int>(err));
        s.finish();
    }
    checkNothingAlive("after the warm-up sessions");
    glcensus::reset();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    sessionfuzz::Bytes input(data, size);
    useDescription(
        (*descriptions)[static_cast<std::size_t>(input.pick(static_cast<int>(descriptions->size())))].text);
    {
        Player player(*plugin, input);
        player.play();
    }
    checkNothingAlive("after every instance was set down");
    glcensus::reset(); // objects dropped with their contexts are not counted over inputs
    return 0;
}
