#include "glfx/IsfLint.h"

#include "glfx/IsfRead.h"

#include <algorithm>

namespace glfxlint {

std::vector<Diagnostic> isfLint(const std::string& text)
{
    std::vector<Diagnostic> out;
    glfxisf::ReadError failure;
    for (const glfxisf::Note& n : glfxisf::readNotes(text, &failure))
        out.push_back({Severity::kWarning, n.line, n.code, n.message});
    if (!failure.what.empty())
        out.push_back({Severity::kError, failure.line, code::kIsfHeader, failure.what});
    std::stable_sort(out.begin(), out.end(),
                     [](const Diagnostic& a, const Diagnostic& b) { return a.line < b.line; });
    return out;
}

} // namespace glfxlint
