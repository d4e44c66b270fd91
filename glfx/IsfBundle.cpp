#include "glfx/IsfBundle.h"

#include <cctype>
#include <cstdlib>

namespace glfxisf {

namespace {

const char kHeader[] = "/*glfx-isf-bundle*/\n";
// Parts are capped so that a damaged size cannot ask for absurd amounts.
constexpr std::size_t kMaxPart = std::size_t(64) << 20;

void addPart(std::string& out, const char* kind, const std::string& name, const std::string& bytes)
{
    out += "part ";
    out += kind;
    out += ' ';
    out += std::to_string(bytes.size());
    if (!name.empty())
        out += ' ' + name;
    out += '\n';
    out += bytes;
    out += '\n';
}

} // namespace

bool isBundle(const std::string& text) { return text.compare(0, sizeof kHeader - 1, kHeader) == 0; }

bool isIsfText(const std::string& text)
{
    if (isBundle(text))
        return true;
    std::size_t at = 0;
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0)
        at = 3; // a byte-order mark
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
        ++at;
    if (text.compare(at, 2, "/*") != 0)
        return false;
    at += 2;
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
        ++at;
    return at < text.size() && text[at] == '{';
}

std::string makeBundle(const Bundle& b)
{
    std::string out = kHeader;
    addPart(out, "fragment", b.fragmentName, b.fragment);
    if (b.hasVertex)
        addPart(out, "vertex", b.vertexName, b.vertex);
    if (!b.folder.empty())
        addPart(out, "folder", std::string(), b.folder);
    return out;
}

bool readBundle(const std::string& text, Bundle& out, std::string& error)
{
    out = Bundle();
    if (!isBundle(text)) {
        error = "not an ISF bundle";
        return false;
    }
    std::size_t at = sizeof kHeader - 1;
    bool fragment = false;
    while (at < text.size()) {
        const std::size_t eol = text.find('\n', at);
        if (eol == std::string::npos || text.compare(at, 5, "part ") != 0) {
            error = "damaged ISF bundle (a part header is missing)";
            return false;
        }
        const std::string head = text.substr(at + 5, eol - at - 5);
        const std::size_t sp = head.find(' ');
        const std::string kind = head.substr(0, sp);
        const std::string rest = sp == std::string::npos ? std::string() : head.substr(sp + 1);
        const std::size_t sp2 = rest.find(' ');
        const std::string sizeText = rest.substr(0, sp2);
        const std::string name = sp2 == std::string::npos ? std::string() : rest.substr(sp2 + 1);
        char* end = nullptr;
        const unsigned long long size = std::strtoull(sizeText.c_str(), &end, 10);
        if (sizeText.empty() || !end || *end || size > kMaxPart || eol + 1 + size + 1 > text.size() ||
            text[eol + 1 + size] != '\n') {
            error = "damaged ISF bundle (part '" + kind + "' has a wrong size)";
            return false;
        }
        const std::string bytes = text.substr(eol + 1, size);
        if (kind == "fragment") {
            out.fragment = bytes;
            out.fragmentName = name;
            fragment = true;
        } else if (kind == "vertex") {
            out.vertex = bytes;
            out.vertexName = name;
            out.hasVertex = true;
        } else if (kind == "folder") {
            out.folder = bytes;
        } else {
            error = "damaged ISF bundle (unknown part '" + kind + "')";
            return false;
        }
        at = eol + 1 + size + 1;
    }
    if (!fragment) {
        error = "damaged ISF bundle (no fragment shader)";
        return false;
    }
    return true;
}

} // namespace glfxisf
