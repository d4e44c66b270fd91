// Diagnostics over an effect description: what the parser accepts silently
// but an author would want to know (a section read as another one, a preset
// that is dropped, a key or type name that is ignored, a uniform nobody
// feeds). Works on the text and the parsed model only; no GL.
#pragma once

#include <string>
#include <vector>

namespace glfxlint {

enum class Severity { kError, kWarning };

// Kinds of finding, one name each; `code` in a Diagnostic is one of these.
namespace code {
constexpr const char* kParDigits = "par-digits";           // [par100] read as par10
constexpr const char* kPresetOrder = "preset-order";       // preset before the parameter it names
constexpr const char* kPresetUnknown = "preset-unknown";   // preset naming no parameter
constexpr const char* kUnknownSection = "unknown-section"; // a section the parser ignores or misreads
constexpr const char* kUnknownKey = "unknown-key";         // a key the parser ignores
constexpr const char* kUnknownType = "unknown-type";       // type= with a word the parser does not know
constexpr const char* kDuplicateUniform = "duplicate-uniform";
constexpr const char* kLongName = "long-name";         // over the host's name length
constexpr const char* kBadRoute = "bad-route";         // routing to a pass or layer that does not exist
constexpr const char* kUnfedUniform = "unfed-uniform"; // declared in a shader, fed by nothing
constexpr const char* kUnusedParam = "unused-param";   // a parameter no shader uses
constexpr const char* kPopupDefault = "popup-default"; // default past the last item
constexpr const char* kUnusedBlock = "unused-block";   // "@@" block never used
constexpr const char* kIsfHeader = "isf-header";       // an ISF file that cannot be read
} // namespace code

struct Diagnostic {
    Severity severity = Severity::kWarning;
    int line = 0; // 1-based line in the description text; 0 when no line applies
    std::string code;
    std::string message;
};

// All findings for a description text (a .glfx text or an ISF one), ordered
// by line.
std::vector<Diagnostic> lint(const std::string& text);

// "error" or "warning".
const char* severityName(Severity s);

} // namespace glfxlint
