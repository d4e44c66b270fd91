// Plays one fuzzer input as a host would (and as a careless one would): one to
// three instances of the effect, each a glfxhost::Session in its own host
// mode, and a script of commands on them in any order, with renders at random
// sizes and depths, layer parameters set to random worlds or none, user
// changes of any parameter, flatten and re-setup from saved or tampered
// bytes. At the end every instance is set down.
//
// Input layout: one byte for the instance count (bits 0..1) and host modes
// (bits 2..4: Premiere for instance 0..2), one for the
// depth and frame rate, then commands of one byte (which, modulo the number
// of commands) and one byte (which instance), each followed by its own
// argument bytes. A trace of the commands goes to standard error when
// GLFX_FUZZ_TRACE is set; commands named in GLFX_FUZZ_AVOID (comma-separated
// names as the trace prints them; "sequence-setup-twice" for a sequence
// setup of an instance that has its record; "layer-of-another-format" for
// layer worlds of another depth or pixel order than the output) are skipped,
// for triage while a known defect is open.
#pragma once

#include "fuzz/session/Bytes.h"
#include "host/Host.h"

#include <memory>
#include <string>
#include <vector>

namespace sessionfuzz {

class Player {
public:
    Player(glfxhost::Plugin& plugin, Bytes& input);
    ~Player();
    // Plays the script and sets every instance down (finish) at the end.
    // Faults the host can see and the sanitizers cannot (writes into a
    // world's row padding, GL objects a setdown did not delete) are reported
    // by fail().
    void play();

    // Prints "fuzz_session: MESSAGE" and aborts, so the fuzzer keeps the input.
    [[noreturn]] static void fail(const std::string& message);

private:
    struct Instance;
    void step();
    Instance& pickInstance();
    glfxhost::World* newWorld(Instance& inst, bool otherFormat);
    glfxhost::World* makeWorld(Instance& inst, int w, int h, int depth, bool bgra, std::uint8_t fill,
                               bool odd);
    void followDepth(Instance& inst);
    void render(Instance& inst);
    void userChange(Instance& inst);
    void setLayer(Instance& inst);
    void resetup(Instance& inst, bool tamper);
    void setValue(Instance& inst, const glfxhost::AddedParam& p);
    void trace(const char* what, const Instance& inst) const;
    bool avoided(const char* name) const;
    static void checkSetdown(int droppedBefore);

    glfxhost::Plugin& plugin_;                         // loaded once by the fuzzer, outlives every player
    Bytes& in_;                                        // this run's input
    std::vector<std::unique_ptr<Instance>> instances_; // owned here, set down in play()
    int renders_ = 0;                                  // work bounds for one input
    int bigRenders_ = 0;
    bool trace_ = false;
    std::string avoid_; // ",name,name," from GLFX_FUZZ_AVOID
};

} // namespace sessionfuzz
