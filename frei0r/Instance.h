/* One frei0r instance: the host's values for it and, from its first
   update, its own session of the effect. */
#pragma once

#include "frei0r/Module.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace glfxfrei0r {

class Instance {
public:
    Instance(std::shared_ptr<Module> module, unsigned width, unsigned height);
    /* Sets the effect down, from whichever thread the host destroys it. */
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    /* f0r_set_param_value / f0r_get_param_value; bad indices are ignored. */
    void setParam(int index, const void* value);
    void getParam(int index, void* value) const;

    /* Renders the frame at `seconds`: `inputs` are the host's frames (up to
       three, null where the host has none), `output` the frame to fill; all
       are width × height RGBA8888. */
    void update(double seconds, const uint32_t* const inputs[3], uint32_t* output);

private:
    bool ensureSession();
    void applyPending();

    /* The module: shared with the process (which may let go first, when a
       host calls f0r_deinit before destroying its instances). */
    std::shared_ptr<Module> module_;
    unsigned width_, height_;
    std::vector<F0rValue> lastSet_; // what the host last set a parameter a (the defaults before)
    std::vector<bool> pending_;     // set to a new value since the last update
    /* The effect's session and its worlds: created at the first update,
       released by the destructor. */
    std::unique_ptr<glfxhost::Session> session_;
    std::vector<glfxhost::World> inputs_; // input, then one per layer parameter
    glfxhost::World output_;
    unsigned long long framesDone_ = 0; // updates so far: the time of frames the host gave none
    bool broken_ = false;               // the session could not start: frames pass through
};

} // namespace glfxfrei0r
