#include "glfx/IsfInputs.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace glfxisf {

const char* const kInputTypes[] = {"event", "bool",  "long",  "float",   "point2D",
                                   "color", "image", "audio", "audioFFT"};
const int kInputTypeCount = sizeof kInputTypes / sizeof kInputTypes[0];

namespace {

// A long's items are capped: the host's popup counts them in 16 bits, and
// a MIN..MAX range makes one item per whole number.
constexpr int kMaxItems = 1000;

ReadError error(const glfxjson::Value& v, const std::string& what) { return ReadError{v.line, what}; }

double number(const glfxjson::Value& v, const std::string& where)
{
    if (v.kind == glfxjson::Kind::kNumber)
        return v.number;
    if (v.kind == glfxjson::Kind::kBool)
        return v.boolean ? 1.0 : 0.0;
    throw error(v, where + " should be a number, not " + v.kindName());
}

// An array of `count` numbers (a colour may leave its alpha out: `least`).
void numbers(const glfxjson::Value& v, const std::string& where, int least, int count, float* out)
{
    if (v.kind != glfxjson::Kind::kArray || static_cast<int>(v.items.size()) < least ||
        static_cast<int>(v.items.size()) > count)
        throw error(v, where + " should be an array of " +
                           (least == count ? std::to_string(count)
                                           : std::to_string(least) + " or " + std::to_string(count)) +
                           " numbers");
    for (std::size_t i = 0; i < v.items.size(); ++i)
        out[i] = static_cast<float>(number(v.items[i], where + "[" + std::to_string(i) + "]"));
}

std::string numberText(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.9g", v);
    return buf;
}

void floatParam(const glfxjson::Value& in, const std::string& where, glfxpar& p)
{
    p.type = GLFX_FLOAT;
    p.components = 1;
    const glfxjson::Value* def = in.find("DEFAULT");
    const glfxjson::Value* identity = in.find("IDENTITY");
    const glfxjson::Value* min = in.find("MIN");
    const glfxjson::Value* max = in.find("MAX");
    p.min = min ? static_cast<float>(number(*min, where + " MIN")) : 0.f;
    p.max = max ? static_cast<float>(number(*max, where + " MAX")) : 1.f;
    if (p.min > p.max)
        std::swap(p.min, p.max);
    // Without a DEFAULT the neutral value (IDENTITY) is where the slider
    // starts, else 0 (what the shader gets when a host sets nothing).
    float d = 0.f;
    if (def)
        d = static_cast<float>(number(*def, where + " DEFAULT"));
    else if (identity)
        d = static_cast<float>(number(*identity, where + " IDENTITY"));
    p.def[0] = p.def[1] = p.def[2] = d;
    // A default outside a range given only in part widens the range.
    if (!min)
        p.min = std::min(p.min, d);
    if (!max)
        p.max = std::max(p.max, d);
}

void longParam(const glfxjson::Value& in, const std::string& where, glfxpar& p)
{
    p.type = GLFX_POPUP;
    p.components = 1;
    const glfxjson::Value* values = in.find("VALUES");
    const glfxjson::Value* labels = in.find("LABELS");
    std::vector<float> v;
    if (values) {
        if (values->kind != glfxjson::Kind::kArray || values->items.empty())
            throw error(*values, where + " VALUES should be an array of numbers");
        for (std::size_t i = 0; i < values->items.size() && v.size() < kMaxItems; ++i)
            v.push_back(
                static_cast<float>(number(values->items[i], where + " VALUES[" + std::to_string(i) + "]")));
    } else {
        const glfxjson::Value* min = in.find("MIN");
        const glfxjson::Value* max = in.find("MAX");
        if (!min || !max)
            throw error(in, where + ": a long input needs VALUES (or MIN and MAX)");
        const long lo = std::lround(number(*min, where + " MIN"));
        const long hi = std::lround(number(*max, where + " MAX"));
        if (hi < lo || hi - lo >= kMaxItems)
            throw error(*max,
                        where + " MIN..MAX should hold 1 to " + std::to_string(kMaxItems) + " whole numbers");
        for (long k = lo; k <= hi; ++k)
            v.push_back(static_cast<float>(k));
    }
    std::vector<std::string> items;
    if (labels) {
        if (labels->kind != glfxjson::Kind::kArray || labels->items.size() != v.size())
            throw error(*labels, where + " LABELS should be an array of " + std::to_string(v.size()) +
                                     " strings, one a value");
        for (const glfxjson::Value& l : labels->items) {
            if (l.kind != glfxjson::Kind::kString)
                throw error(l, where + " LABELS should hold strings");
            // "|" separates a popup's items in the host's text.
            std::string t = l.text;
            std::replace(t.begin(), t.end(), '|', '/');
            items.push_back(t);
        }
    } else {
        for (float x : v)
            items.push_back(numberText(x));
    }
    p.items = items;
    p.itemtext.clear();
    for (std::size_t i = 0; i < items.size(); ++i)
        p.itemtext += (i ? "|" : "") + items[i];
    p.itemValues = v;
    p.min = 0.f;
    p.max = static_cast<float>(static_cast<int>(items.size()) - 1);
    // DEFAULT is one of the VALUES; the item chosen is the first that has it.
    float index = 0.f;
    if (const glfxjson::Value* def = in.find("DEFAULT")) {
        const double want = number(*def, where + " DEFAULT");
        const auto it = std::find(v.begin(), v.end(), static_cast<float>(want));
        if (it != v.end())
            index = static_cast<float>(it - v.begin());
    }
    p.def[0] = p.def[1] = p.def[2] = index;
}

void pointParam(const glfxjson::Value& in, const std::string& where, glfxpar& p)
{
    p.type = GLFX_POINT;
    p.components = 2;
    float def[2] = {0.f, 0.f};
    if (const glfxjson::Value* d = in.find("DEFAULT"))
        numbers(*d, where + " DEFAULT", 2, 2, def);
    const glfxjson::Value* min = in.find("MIN");
    const glfxjson::Value* max = in.find("MAX");
    float lo[2] = {0.f, 0.f}, hi[2] = {0.f, 0.f};
    if (min)
        numbers(*min, where + " MIN", 2, 2, lo);
    if (max)
        numbers(*max, where + " MAX", 2, 2, hi);
    // The host keeps a point's default as a fraction of the layer from its
    // top-left corner; ISF's y runs up.
    if (min && max && hi[0] != lo[0] && hi[1] != lo[1]) {
        p.pointSpace = glfxpoint::kRange;
        for (int k = 0; k < 2; ++k) {
            p.rangeMin[k] = lo[k];
            p.rangeMax[k] = hi[k];
        }
        p.def[0] = (def[0] - lo[0]) / (hi[0] - lo[0]);
        p.def[1] = 1.f - (def[1] - lo[1]) / (hi[1] - lo[1]);
    } else {
        p.pointSpace = glfxpoint::kFrame;
        p.def[0] = def[0] / glfxpoint::kNominalWidth;
        p.def[1] = 1.f - def[1] / glfxpoint::kNominalHeight;
    }
    p.def[2] = p.def[1];
}

void colorParam(const glfxjson::Value& in, const std::string& where, glfxpar& p)
{
    p.type = GLFX_COLOR;
    p.components = 4;
    float c[4] = {0.f, 0.f, 0.f, 1.f};
    if (const glfxjson::Value* d = in.find("DEFAULT"))
        numbers(*d, where + " DEFAULT", 3, 4, c);
    for (int k = 0; k < 3; ++k)
        p.def[k] = c[k];
    p.defAlpha = c[3];
}

void boolParam(const glfxjson::Value& in, const std::string& where, int type, glfxpar& p)
{
    p.type = type;
    p.components = 1;
    float d = 0.f;
    if (const glfxjson::Value* def = in.find("DEFAULT"))
        d = number(*def, where + " DEFAULT") != 0.0 ? 1.f : 0.f;
    p.def[0] = p.def[1] = p.def[2] = type == GLFX_EVENT ? 0.f : d;
}

void audioParam(const glfxjson::Value& in, const std::string& where, int type, glfxpar& p)
{
    p.type = type;
    p.components = 0;
    if (const glfxjson::Value* max = in.find("MAX")) {
        const double n = number(*max, where + " MAX");
        if (n < 0 || n > 65536)
            throw error(*max, where + " MAX should be a count of samples from 0 to 65536");
        p.max = static_cast<float>(std::lround(n));
    }
}

} // namespace

bool isIdentifier(const std::string& s)
{
    if (s.empty() || std::isdigit(static_cast<unsigned char>(s[0])))
        return false;
    return std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isalnum(c) || c == '_'; });
}

void inputParam(const glfxjson::Value& in, const std::string& type, const std::string& where, glfxpar& p)
{
    if (type == "float")
        floatParam(in, where, p);
    else if (type == "long")
        longParam(in, where, p);
    else if (type == "bool")
        boolParam(in, where, GLFX_CHECK, p);
    else if (type == "event")
        boolParam(in, where, GLFX_EVENT, p);
    else if (type == "point2D")
        pointParam(in, where, p);
    else if (type == "color")
        colorParam(in, where, p);
    else if (type == "audio")
        audioParam(in, where, GLFX_AUDIO, p);
    else if (type == "audioFFT")
        audioParam(in, where, GLFX_AUDIOFFT, p);
    else if (type == "image") {
        p.type = GLFX_LAYER;
        p.components = 0;
    }
    p.coldef[0] = p.def[0];
    p.coldef[1] = p.def[1];
    p.coldef[2] = p.def[2];
    p.coldef[3] = p.def[0];
}

} // namespace glfxisf
