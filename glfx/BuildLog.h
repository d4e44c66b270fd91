// A shader build log told in the description's own lines: the plug-in
// compiles each pass as the preamble (one definition a line) followed by the
// pass's source, and the driver's messages count lines from the start of
// that text. Knowing the preamble's length and where each source line came
// from, a message's "0:LINE(COL)" is turned into the description file's
// line, and the pass that failed is found. No GL here: the log is text.
#pragma once

#include "glfx/Cglfx.h"

#include <string>
#include <vector>

namespace glfxbuildlog {

// One line reference read from a log line: Mesa's "0:LINE(COL): ..." or the
// "0(LINE) : ..." form of other drivers (column 0 then).
struct LogRef {
    bool found = false;
    int line = 0;
    int column = 0;
    std::size_t length = 0; // characters of the reference, up to and without its ':'
};
LogRef readRef(const std::string& logLine);

struct MappedLog {
    int pass = -1;          // the pass whose build failed; -1 when the log does not tell
    bool vertex = false;    // the vertex shader failed (it is built with pass 0 first)
    std::string text;       // the log with each reference told as "NAME:LINE:COL"
    std::vector<int> lines; // the description lines the references point at, in order (0: none)
};

// Maps `log` (the text of one failed build, as the plug-in shows it) onto
// the description `fx` was parsed from, named `name` in the rewritten text.
// `preambleLines` is the number of definition lines the plug-in put before
// each pass's source (what the dialect adds is counted here). References
// into the vertex shader are named `vertexName` when given (an ISF
// effect's .vs file). A reference into the preamble or a source the parser
// supplied is left as the driver wrote it.
MappedLog mapBuildLog(const std::string& log, const cglfx& fx, int preambleLines, const std::string& name,
                      const std::string& vertexName = std::string());

} // namespace glfxbuildlog
