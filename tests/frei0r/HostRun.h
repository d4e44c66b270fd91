// Running the real frei0r hosts (ffmpeg, melt, GStreamer) in the tests, and
// comparing their frames with glfx render's.
#pragma once

#include "CliRun.h"

#include <string>

namespace frei0rtest {

struct Shell {
    int status = -1; // exit status; -1 when killed by a signal
    std::string output;
};

// Runs a shell command with FREI0R_PATH at `dir`, stderr with stdout.
Shell sh(const std::string& dir, const std::string& cmd);

// Whether a command is on the PATH.
bool have(const std::string& tool);

// A melt profile of `width` x `height` at 5 frames a second, written into
// `dir`; returns its path quoted for the shell.
std::string meltProfile(const std::string& dir, int width, int height);

// A still image as a melt producer. melt tries its Qt image producer first,
// which without an X display sometimes fails quietly, and melt then writes
// nothing and exits 0 (about one run in fifteen here, with or without a
// frei0r filter); the GdkPixbuf producer, named, is reliable. The tests'
// melt consumers also say real_time=-1: in real time, melt drops frames that
// come late, and on a loaded machine it can drop every one of a short clip.
std::string meltImage(const std::string& path);

// The colour channels of two images are equal, 8-bit exact (a failure names
// the first few pixels that differ).
void expectSame(const clitest::Pixels& got, const clitest::Pixels& want);

// How many times `needle` occurs in `text`.
int occurrences(const std::string& text, const std::string& needle);

} // namespace frei0rtest
