// Ctrl-C and SIGTERM during a render: the first asks the render to stop at
// the next frame (its outputs are then removed as it unwinds); a second one
// removes the temporary outputs at once and exits.
#pragma once

namespace glfxcli {

// Installs the handlers for SIGINT and SIGTERM (and ignores SIGPIPE, so that
// a closed pipe is a write error, not a silent death).
void installStopHandlers();
// The signal asked for, or 0.
int stopSignal();

} // namespace glfxcli
