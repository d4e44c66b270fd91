#include "glfx/IsfRead.h"

#include "glfx/IsfBundle.h"
#include "glfx/IsfInputs.h"
#include "glfx/IsfJson.h"
#include "glfx/IsfPreamble.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <set>

namespace glfxisf {

namespace {

using glfxjson::Kind;
using glfxjson::Value;

// Where each line of a text came from, and the lines themselves: empty
// lines are left out (as the .glfx reader leaves them out), and a line that
// starts with '[' gets a blank in front, so that a .glfx file written from
// the model reads back as the same source.
struct Lines {
    std::string text;
    std::vector<int> origin;
};

Lines sourceLines(const std::string& text, int firstLine, bool upgrade)
{
    Lines out;
    std::size_t start = 0;
    for (int n = firstLine; start <= text.size(); ++n) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string ln = text.substr(start, end - start);
        while (!ln.empty() && (ln.back() == '\r' || ln.back() == '\n'))
            ln.pop_back();
        if (!ln.empty()) {
            if (upgrade) {
                // Version 1 names of the built-ins.
                strReplace(ln, "vv_FragNormCoord", "isf_FragNormCoord");
                strReplace(ln, "vv_vertShaderInit", "isf_vertShaderInit");
            }
            if (ln[0] == '[')
                ln.insert(0, 1, ' ');
            out.text += ln + '\n';
            out.origin.push_back(n);
        }
        if (end == text.size())
            break;
        start = end + 1;
    }
    return out;
}

int lineAt(const std::string& text, std::size_t pos)
{
    return 1 +
           static_cast<int>(std::count(
               text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(pos, text.size())), '\n'));
}

std::string baseName(const std::string& file)
{
    std::string b = file.substr(file.rfind('/') == std::string::npos ? 0 : file.rfind('/') + 1);
    const std::size_t dot = b.rfind('.');
    if (dot != std::string::npos && dot > 0)
        b.resize(dot);
    return b;
}

bool truthy(const Value& v)
{
    switch (v.kind) {
    case Kind::kBool: return v.boolean;
    case Kind::kNumber: return v.number > 0.0;
    case Kind::kString: return v.text == "true" || v.text == "1" || v.text == "YES" || v.text == "yes";
    default: return false;
    }
}

// A size expression as the model keeps it: a string as written, a number as
// its text.
std::string sizeText(const Value& v, const std::string& where)
{
    if (v.kind == Kind::kString)
        return v.text;
    if (v.kind == Kind::kNumber) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%.9g", v.number);
        return buf;
    }
    throw ReadError{v.line, where + " should be a string (an expression such as \"$WIDTH/2\") or a number"};
}

struct Sampler {
    std::string name;
    int route = glfxlimits::kRouteNone;
    int line = 0;
};

class Reader {
public:
    Reader(cglfx& fx, std::vector<Note>* notes) : fx_(fx), set_(fx.settings), notes_(notes) {}

    void run(const std::string& text)
    {
        Bundle b;
        if (isBundle(text)) {
            std::string why;
            if (!readBundle(text, b, why))
                throw ReadError{0, why};
        } else {
            b.fragment = text;
        }
        file_ = b.fragmentName.empty() ? "effect.fs" : b.fragmentName;
        fx_.shaders.resize(glfxlimits::kMaxPasses);
        fx_.shaderLines.resize(glfxlimits::kMaxPasses);
        fx_.baseDir = b.folder;
        header(b.fragment);
        sources(b);
    }

    const std::string& file() const { return file_; }

private:
    void note(int line, const std::string& what, const char* code = "isf-key")
    {
        if (notes_)
            notes_->push_back({line, code, what});
    }

    // Keys ISF does not define are ignored, and told.
    void knownKeys(const Value& v, std::initializer_list<const char*> keys, const std::string& where)
    {
        for (const auto& f : v.fields)
            if (std::none_of(keys.begin(), keys.end(), [&](const char* k) { return f.first == k; }))
                note(f.second.line, where + ": unknown key \"" + f.first + "\" is ignored");
    }

    // Finds the JSON comment, reads it and everything it describes.
    void header(const std::string& fs)
    {
        std::size_t open = 0;
        if (fs.compare(0, 3, "\xEF\xBB\xBF") == 0)
            open = 3;
        open = fs.find_first_not_of(" \t\r\n", open);
        if (open == std::string::npos || fs.compare(open, 2, "/*") != 0)
            throw ReadError{
                1, "no ISF header: the file must begin with a /* ... */ comment holding a JSON object"};
        const std::size_t close = fs.find("*/", open + 2);
        if (close == std::string::npos)
            throw ReadError{lineAt(fs, open), "the ISF header comment is never closed (no \"*/\")"};
        bodyStart_ = close + 2;
        bodyLine_ = lineAt(fs, close);
        const glfxjson::ParseResult r =
            glfxjson::parse(fs.substr(open + 2, close - open - 2), lineAt(fs, open));
        if (!r.ok)
            throw ReadError{r.line, "the ISF header is not JSON: " + r.error + " (column " +
                                        std::to_string(r.column) + ")"};
        for (const auto& n : r.notes)
            note(n.first, "the header's JSON has " + n.second + " (taken, but not JSON)", "isf-json");
        if (r.value.kind != Kind::kObject)
            throw ReadError{r.value.line,
                            "the ISF header should be a JSON object, not " + std::string(r.value.kindName())};
        top(r.value);
    }

    void top(const Value& top)
    {
        knownKeys(top,
                  {"ISFVSN", "VSN", "DESCRIPTION", "CREDIT", "CATEGORIES", "INPUTS", "PASSES", "IMPORTED",
                   "PERSISTENT_BUFFERS"},
                  "the header");
        set_.dialect = glfxdialect::kIsf;
        set_.name = baseName(file_).substr(0, glfxlimits::kMaxNameLength);
        const Value* vsn = top.find("ISFVSN");
        if (vsn && vsn->kind != Kind::kString && vsn->kind != Kind::kNumber)
            throw ReadError{vsn->line, "ISFVSN should be a string such as \"2.0\""};
        const std::string vsnText = !vsn                         ? ""
                                    : vsn->kind == Kind::kString ? vsn->text
                                                                 : std::to_string(vsn->number);
        // Without ISFVSN a file was written for the first version.
        version1_ = vsnText.empty() || vsnText[0] == '1' || vsnText[0] == '0';
        std::string description;
        if (const Value* d = top.find("DESCRIPTION"))
            description = text(*d, "DESCRIPTION");
        if (const Value* c = top.find("CREDIT")) {
            const std::string credit = text(*c, "CREDIT");
            if (!credit.empty())
                description += (description.empty() ? "" : " ") + std::string("(") + credit + ")";
        }
        // The About text turns "\n" written out into a line break.
        strReplace(description, "\r", "");
        strReplace(description, "\n", "\\n");
        set_.description = description;
        if (const Value* c = top.find("CATEGORIES")) {
            if (c->kind != Kind::kArray)
                throw ReadError{c->line, "CATEGORIES should be an array of strings"};
            if (!c->items.empty())
                set_.category = text(c->items[0], "CATEGORIES[0]");
        }
        if (const Value* v = top.find("VSN"))
            set_.version = v->kind == Kind::kString ? v->text : std::string();
        inputs(top.find("INPUTS"));
        passes(top);
        imported(top.find("IMPORTED"));
        routing();
    }

    static std::string text(const Value& v, const std::string& where)
    {
        if (v.kind != Kind::kString)
            throw ReadError{v.line, where + " should be a string, not " + v.kindName()};
        return v.text;
    }

    void claim(const std::string& name, int line, const std::string& where)
    {
        if (!isIdentifier(name))
            throw ReadError{line, where + ": \"" + name + "\" cannot name a shader variable"};
        if (isBuiltinName(name))
            throw ReadError{line, where + ": \"" + name + "\" is an ISF built-in name"};
        if (!names_.insert(name).second)
            throw ReadError{line, where + ": the name \"" + name + "\" is used twice"};
    }

    void inputs(const Value* list)
    {
        if (!list)
            return;
        if (list->kind != Kind::kArray)
            throw ReadError{list->line, "INPUTS should be an array of objects"};
        // The effect's input: the image input named inputImage; without
        // one, a transition's startImage (with endImage and progress).
        auto has = [list](const char* name, const char* type) {
            return std::any_of(list->items.begin(), list->items.end(), [&](const Value& v) {
                const Value* n = v.find("NAME");
                const Value* t = v.find("TYPE");
                return n && t && n->kind == Kind::kString && t->kind == Kind::kString && n->text == name &&
                       t->text == type;
            });
        };
        std::string input;
        if (has("inputImage", "image"))
            input = "inputImage";
        else if (has("startImage", "image") && has("endImage", "image") && has("progress", "float"))
            input = "startImage";
        set_.noinput = input.empty() ? 1 : 0;
        set_.params = 1;
        for (std::size_t i = 0; i < list->items.size(); ++i) {
            const Value& in = list->items[i];
            std::string where = "INPUTS[" + std::to_string(i) + "]";
            if (in.kind != Kind::kObject)
                throw ReadError{in.line, where + " should be an object"};
            const Value* name = in.find("NAME");
            if (!name)
                throw ReadError{in.line, where + " has no NAME"};
            const std::string n = text(*name, where + " NAME");
            where += " \"" + n + "\"";
            claim(n, name->line, where);
            const Value* type = in.find("TYPE");
            if (!type)
                throw ReadError{in.line, where + " has no TYPE"};
            const std::string t = text(*type, where + " TYPE");
            if (std::find(kInputTypes, kInputTypes + kInputTypeCount, t) == kInputTypes + kInputTypeCount) {
                std::string known;
                for (int k = 0; k < kInputTypeCount; ++k)
                    known += std::string(k ? ", " : "") + kInputTypes[k];
                throw ReadError{type->line,
                                where + ": TYPE \"" + t + "\" is not an ISF input type (" + known + ")"};
            }
            knownKeys(in, {"NAME", "TYPE", "LABEL", "DEFAULT", "MIN", "MAX", "IDENTITY", "VALUES", "LABELS"},
                      where);
            if (t == "audio" || t == "audioFFT")
                note(type->line, where + ": audio inputs get no audio yet (their texture stays empty)",
                     "isf-unhonoured");
            if (t == "point2D" && !(in.find("MIN") && in.find("MAX")) && in.find("DEFAULT"))
                note(type->line,
                     where +
                         ": a point2D without MIN and MAX takes its DEFAULT as pixels of a 1920x1080 frame, "
                         "scaled to the frame rendered",
                     "isf-point");
            if (t == "image" && n == input) {
                images_.insert(images_.begin(), Sampler{n, glfxroute::layer(0), name->line});
                continue;
            }
            if (set_.params >= glfxlimits::kMaxParams)
                throw ReadError{in.line, where + ": more inputs than the " +
                                             std::to_string(glfxlimits::kMaxParams - 1) +
                                             " an effect can have"};
            const int index = set_.params++;
            glfxpar& p = fx_.par[index];
            p.uniform = n;
            p.name = n;
            if (const Value* label = in.find("LABEL"))
                p.name = text(*label, where + " LABEL");
            inputParam(in, t, where, p);
            if (p.type == GLFX_LAYER) {
                if (set_.layerCount <= glfxlimits::kMaxLayers)
                    ++set_.layerCount;
                images_.push_back({n, glfxroute::layer(set_.layerCount - 1), name->line});
            } else if (p.type == GLFX_AUDIO || p.type == GLFX_AUDIOFFT) {
                audio_.push_back({n, glfxroute::audioOf(index), name->line});
            }
        }
    }

    void passes(const Value& top)
    {
        const Value* list = top.find("PASSES");
        std::vector<glfxpass> out;
        std::vector<const Value*> defs;
        if (list) {
            if (list->kind != Kind::kArray)
                throw ReadError{list->line, "PASSES should be an array of objects"};
            for (const Value& p : list->items)
                defs.push_back(&p);
        }
        if (defs.empty())
            out.emplace_back();
        if (defs.size() > static_cast<std::size_t>(glfxlimits::kMaxPasses))
            throw ReadError{list->line, "more PASSES than the " + std::to_string(glfxlimits::kMaxPasses) +
                                            " an effect can have"};
        for (std::size_t i = 0; i < defs.size(); ++i) {
            const Value& d = *defs[i];
            const std::string where = "PASSES[" + std::to_string(i) + "]";
            if (d.kind != Kind::kObject)
                throw ReadError{d.line, where + " should be an object"};
            knownKeys(d, {"TARGET", "WIDTH", "HEIGHT", "PERSISTENT", "FLOAT", "DESCRIPTION"}, where);
            glfxpass p;
            p.line = d.line;
            if (const Value* t = d.find("TARGET")) {
                p.target = text(*t, where + " TARGET");
                if (std::any_of(out.begin(), out.end(),
                                [&](const glfxpass& q) { return q.target == p.target; }))
                    throw ReadError{t->line, where + ": TARGET \"" + p.target +
                                                 "\" is rendered by an earlier pass too"};
                claim(p.target, t->line, where + " TARGET");
            }
            if (const Value* w = d.find("WIDTH"))
                p.width = sizeText(*w, where + " WIDTH");
            if (const Value* h = d.find("HEIGHT"))
                p.height = sizeText(*h, where + " HEIGHT");
            if (const Value* v = d.find("PERSISTENT"))
                p.persistent = truthy(*v);
            p.floatTarget = false;
            if (const Value* v = d.find("FLOAT"))
                p.floatTarget = truthy(*v);
            out.push_back(p);
        }
        if (version1_)
            persistentBuffers(top.find("PERSISTENT_BUFFERS"), out);
        for (std::size_t i = 0; i < defs.size(); ++i) {
            const std::string where = "PASSES[" + std::to_string(i) + "]";
            if (!out[i].width.empty() || !out[i].height.empty())
                note(out[i].line,
                     where + " renders at the frame's size: WIDTH and HEIGHT are not honoured yet",
                     "isf-unhonoured");
            if (out[i].persistent)
                note(out[i].line,
                     where + " keeps nothing from one frame to the next yet: PERSISTENT is not honoured yet",
                     "isf-unhonoured");
        }
        set_.shaders = static_cast<int>(out.size());
        fx_.passes.assign(glfxlimits::kMaxPasses, glfxpass());
        std::copy(out.begin(), out.end(), fx_.passes.begin());
        for (std::size_t q = 0; q < out.size(); ++q)
            if (!out[q].target.empty())
                targets_.push_back({out[q].target, static_cast<int>(q), out[q].line});
    }

    // Version 1 named persistent buffers at the top (an array of names, or
    // an object of name -> {WIDTH, HEIGHT, FLOAT}); version 2 says it in the
    // pass that renders to the buffer.
    void persistentBuffers(const Value* buffers, std::vector<glfxpass>& out)
    {
        if (!buffers)
            return;
        auto apply = [&](const std::string& name, const Value* spec, int line) {
            auto it =
                std::find_if(out.begin(), out.end(), [&](const glfxpass& p) { return p.target == name; });
            if (it == out.end()) {
                note(line, "PERSISTENT_BUFFERS names \"" + name + "\", which no pass renders to",
                     "isf-buffer");
                return;
            }
            it->persistent = true;
            if (!spec || spec->kind != Kind::kObject)
                return;
            if (const Value* w = spec->find("WIDTH"); w && it->width.empty())
                it->width = sizeText(*w, "PERSISTENT_BUFFERS \"" + name + "\" WIDTH");
            if (const Value* h = spec->find("HEIGHT"); h && it->height.empty())
                it->height = sizeText(*h, "PERSISTENT_BUFFERS \"" + name + "\" HEIGHT");
            if (const Value* f = spec->find("FLOAT"))
                it->floatTarget = it->floatTarget || truthy(*f);
        };
        if (buffers->kind == Kind::kArray) {
            for (const Value& n : buffers->items)
                apply(text(n, "PERSISTENT_BUFFERS"), nullptr, n.line);
        } else if (buffers->kind == Kind::kObject) {
            for (const auto& f : buffers->fields)
                apply(f.first, &f.second, f.second.line);
        } else {
            throw ReadError{buffers->line, "PERSISTENT_BUFFERS should be an array of names or an object"};
        }
    }

    void imported(const Value* list)
    {
        if (!list)
            return;
        auto add = [&](const std::string& name, const Value& spec, const std::string& where) {
            claim(name, spec.line, where);
            if (spec.kind != Kind::kObject)
                throw ReadError{spec.line, where + " should be an object with a PATH"};
            const Value* path = spec.find("PATH");
            if (!path)
                throw ReadError{spec.line, where + " has no PATH"};
            const int n = static_cast<int>(fx_.imports.size());
            fx_.imports.push_back({name, text(*path, where + " PATH"), spec.line});
            note(spec.line, where + ": imported images are not loaded yet (it samples as black)",
                 "isf-unhonoured");
            imports_.push_back({name, glfxroute::importOf(n), spec.line});
        };
        if (list->kind == Kind::kObject) {
            for (const auto& f : list->fields)
                add(f.first, f.second, "IMPORTED \"" + f.first + "\"");
        } else if (list->kind == Kind::kArray) {
            // The first version listed {NAME, PATH} objects.
            for (std::size_t i = 0; i < list->items.size(); ++i) {
                const Value& v = list->items[i];
                const std::string where = "IMPORTED[" + std::to_string(i) + "]";
                const Value* name = v.kind == Kind::kObject ? v.find("NAME") : nullptr;
                if (!name)
                    throw ReadError{v.line, where + " has no NAME"};
                add(text(*name, where + " NAME"), v, where);
            }
        } else {
            throw ReadError{list->line, "IMPORTED should be an object of name -> {\"PATH\": ...}"};
        }
    }

    // Every pass sees every image, audio input, target and import, each in
    // a slot of its own under its own name.
    void routing()
    {
        std::vector<Sampler> all = images_;
        all.insert(all.end(), audio_.begin(), audio_.end());
        all.insert(all.end(), targets_.begin(), targets_.end());
        all.insert(all.end(), imports_.begin(), imports_.end());
        if (all.size() > static_cast<std::size_t>(glfxlimits::kMaxInputs))
            throw ReadError{all[glfxlimits::kMaxInputs].line,
                            "more images, audio inputs, targets and imports than the " +
                                std::to_string(glfxlimits::kMaxInputs) + " a pass can sample"};
        for (auto& row : set_.routing)
            for (int& e : row)
                e = glfxlimits::kRouteNone;
        fx_.samplerNames.assign(glfxlimits::kMaxPasses, {});
        for (int p = 0; p < set_.shaders; ++p)
            for (std::size_t k = 0; k < all.size(); ++k) {
                set_.routing[p][k] = all[k].route;
                fx_.samplerNames[static_cast<std::size_t>(p)][k] = all[k].name;
            }
        applyDefaultRouting(fx_);
        for (const Sampler& s : all)
            samplers_.insert(s.name);
    }

    void sources(const Bundle& b)
    {
        const Lines fs = sourceLines(b.fragment.substr(bodyStart_), bodyLine_, version1_);
        checkImages(fs);
        for (int p = 0; p < set_.shaders; ++p) {
            fx_.shaders[static_cast<std::size_t>(p)] = fs.text;
            fx_.shaderLines[static_cast<std::size_t>(p)] = fs.origin;
        }
        if (b.hasVertex) {
            const Lines vs = sourceLines(b.vertex, 1, version1_);
            fx_.vertex = vs.text;
            fx_.vertexLines = vs.origin;
        } else {
            checkVaryings(fs);
            fx_.vertex = defaultVertexMain();
            fx_.vertexLines.assign(
                static_cast<std::size_t>(std::count(fx_.vertex.begin(), fx_.vertex.end(), '\n')) + 1, 0);
        }
    }

    // A varying the fragment shader reads needs a vertex shader to write it.
    void checkVaryings(const Lines& fs)
    {
        std::size_t start = 0;
        for (std::size_t k = 0; k < fs.origin.size(); ++k) {
            const std::size_t end = fs.text.find('\n', start);
            const std::string ln = fs.text.substr(start, end - start);
            start = end + 1;
            const std::size_t at = ln.find_first_not_of(" \t");
            if (at == std::string::npos || ln.compare(at, 8, "varying ") != 0)
                continue;
            std::string name = ln.substr(at + 8);
            const std::size_t semi = name.find(';');
            name = name.substr(0, semi);
            while (!name.empty() && (name.back() == ' ' || name.back() == '\t'))
                name.pop_back();
            name =
                name.substr(name.find_last_of(" \t") == std::string::npos ? 0 : name.find_last_of(" \t") + 1);
            if (isIsfVarying(name))
                continue;
            const std::string vs = baseName(file_) + ".vs";
            throw ReadError{fs.origin[k], "the varying \"" + name +
                                              "\" needs a vertex shader to write it, and " + vs +
                                              " was not found beside " + file_};
        }
    }

    // IMG_PIXEL(name, ...) and the like must name an image, target, import
    // or audio input (a #define's parameters aside).
    void checkImages(const Lines& fs)
    {
        for (const ImageUse& use : imageUses(fs.text)) {
            if (use.inDefine || samplers_.count(use.name))
                continue;
            throw ReadError{fs.origin[static_cast<std::size_t>(use.line - 1)],
                            use.call + "(" + use.name +
                                ", ...) names no image input, pass TARGET or IMPORTED image"};
        }
    }

    cglfx& fx_;
    glfxsettings& set_;
    std::vector<Note>* notes_;
    std::string file_;
    bool version1_ = false;
    std::size_t bodyStart_ = 0;
    int bodyLine_ = 1;
    std::set<std::string> names_;
    std::vector<Sampler> images_, audio_, targets_, imports_;
    std::set<std::string> samplers_;
};

void reset(cglfx& fx)
{
    // What a text that could not be read leaves: the model of an empty
    // description (one pass, the default shaders).
    const std::string error = fx.loadError;
    std::string empty = "[settings]\n";
    fx.parse(empty);
    fx.loadError = error;
}

} // namespace

bool isBuiltinName(const std::string& name)
{
    static const std::set<std::string> names = {"TIME",
                                                "TIMEDELTA",
                                                "FRAMEINDEX",
                                                "DATE",
                                                "RENDERSIZE",
                                                "PASSINDEX",
                                                "isf_FragNormCoord",
                                                "isf_FragCoord",
                                                "isf_vertShaderInit",
                                                "gl_FragColor",
                                                "main"};
    return names.count(name) > 0 || name.compare(0, 3, "gl_") == 0;
}

void read(const std::string& text, cglfx& fx)
{
    Reader reader(fx, nullptr);
    try {
        reader.run(text);
    } catch (const ReadError& e) {
        fx.loadError =
            reader.file() + (e.line > 0 ? ":" + std::to_string(e.line) : std::string()) + ": " + e.what;
        reset(fx);
    }
}

std::vector<Note> readNotes(const std::string& text, ReadError* failure)
{
    std::vector<Note> notes;
    auto fx = std::make_unique<cglfx>();
    Reader reader(*fx, &notes);
    try {
        reader.run(text);
    } catch (const ReadError& e) {
        if (failure)
            *failure = e;
    }
    return notes;
}

} // namespace glfxisf
