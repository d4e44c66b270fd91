#include "glfx/IsfJson.h"

#include <cstdlib>

namespace glfxjson {

namespace {

// Deeper nesting than this is refused: a header is a few levels deep, and a
// hostile text must not exhaust the stack.
constexpr int kMaxDepth = 64;

class Reader {
public:
    Reader(const std::string& text, int firstLine) : s_(text), line_(firstLine) {}

    ParseResult run()
    {
        ParseResult r;
        skipSpace();
        if (!value(r.value, 0) || (skipSpace(), at_ != s_.size() && fail("text after the JSON value"))) {
            r.error = error_;
            r.line = errLine_;
            r.column = errColumn_;
            return r;
        }
        r.ok = true;
        r.notes = std::move(notes_);
        return r;
    }

private:
    bool fail(const std::string& what)
    {
        if (error_.empty()) {
            error_ = what;
            errLine_ = line_;
            errColumn_ = static_cast<int>(at_ - lineStart_) + 1;
        }
        return false;
    }

    void advance()
    {
        if (s_[at_] == '\n') {
            ++line_;
            lineStart_ = at_ + 1;
        }
        ++at_;
    }

    void skipSpace()
    {
        while (at_ < s_.size() && (s_[at_] == ' ' || s_[at_] == '\t' || s_[at_] == '\n' || s_[at_] == '\r'))
            advance();
    }

    bool literal(const char* word)
    {
        const std::string w = word;
        if (s_.compare(at_, w.size(), w) != 0)
            return fail("unexpected character '" + std::string(1, s_[at_]) + "'");
        at_ += w.size();
        return true;
    }

    bool value(Value& v, int depth)
    {
        if (depth > kMaxDepth)
            return fail("nested too deeply");
        if (at_ >= s_.size())
            return fail("unexpected end of the header");
        v.line = line_;
        const char c = s_[at_];
        switch (c) {
        case '{': return object(v, depth);
        case '[': return array(v, depth);
        case '"': v.kind = Kind::kString; return string(v.text);
        case 't':
            v.kind = Kind::kBool;
            v.boolean = true;
            return literal("true");
        case 'f': v.kind = Kind::kBool; return literal("false");
        case 'n': v.kind = Kind::kNull; return literal("null");
        default:
            if (c == '-' || (c >= '0' && c <= '9'))
                return number(v);
            return fail("unexpected character '" + std::string(1, c) + "'");
        }
    }

    bool number(Value& v)
    {
        // JSON's grammar: -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
        const std::size_t start = at_;
        auto digits = [this] {
            const std::size_t from = at_;
            while (at_ < s_.size() && s_[at_] >= '0' && s_[at_] <= '9')
                ++at_;
            return at_ > from;
        };
        if (s_[at_] == '-')
            ++at_;
        if (at_ < s_.size() && s_[at_] == '0')
            ++at_;
        else if (!digits())
            return fail("a number needs digits");
        if (at_ < s_.size() && s_[at_] == '.') {
            ++at_;
            if (!digits())
                return fail("a number needs digits after its '.'");
        }
        if (at_ < s_.size() && (s_[at_] == 'e' || s_[at_] == 'E')) {
            ++at_;
            if (at_ < s_.size() && (s_[at_] == '+' || s_[at_] == '-'))
                ++at_;
            if (!digits())
                return fail("a number needs digits in its exponent");
        }
        v.kind = Kind::kNumber;
        v.number = std::strtod(s_.substr(start, at_ - start).c_str(), nullptr);
        return true;
    }

    static void appendUtf8(std::string& out, unsigned cp)
    {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    bool hex4(unsigned& out)
    {
        out = 0;
        for (int i = 0; i < 4; ++i, ++at_) {
            if (at_ >= s_.size())
                return fail("unexpected end in a \\u escape");
            const char c = s_[at_];
            const unsigned d = c >= '0' && c <= '9'   ? unsigned(c - '0')
                               : c >= 'a' && c <= 'f' ? unsigned(c - 'a' + 10)
                               : c >= 'A' && c <= 'F' ? unsigned(c - 'A' + 10)
                                                      : 16u;
            if (d > 15)
                return fail("a \\u escape needs four hex digits");
            out = out * 16 + d;
        }
        return true;
    }

    bool string(std::string& out)
    {
        ++at_; // the opening quote
        while (true) {
            if (at_ >= s_.size())
                return fail("a string is not closed");
            const char c = s_[at_];
            if (c == '"') {
                ++at_;
                return true;
            }
            if (c == '\n')
                return fail("a string runs past the end of its line");
            if (static_cast<unsigned char>(c) < 0x20)
                return fail("a control character inside a string");
            if (c != '\\') {
                out += c;
                ++at_;
                continue;
            }
            ++at_;
            if (at_ >= s_.size())
                return fail("a string is not closed");
            const char e = s_[at_++];
            switch (e) {
            case '"': out += '"'; break;
            case '\\': out += '\\'; break;
            case '/': out += '/'; break;
            case 'b': out += '\b'; break;
            case 'f': out += '\f'; break;
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            case 't': out += '\t'; break;
            case 'u': {
                unsigned cp = 0;
                if (!hex4(cp))
                    return false;
                if (cp >= 0xD800 && cp < 0xDC00 && s_.compare(at_, 2, "\\u") == 0) {
                    at_ += 2;
                    unsigned low = 0;
                    if (!hex4(low))
                        return false;
                    if (low >= 0xDC00 && low < 0xE000)
                        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                }
                appendUtf8(out, cp);
                break;
            }
            default: --at_; return fail(std::string("unknown escape '\\") + e + "' in a string");
            }
        }
    }

    bool array(Value& v, int depth)
    {
        v.kind = Kind::kArray;
        advance(); // [
        skipSpace();
        if (at_ < s_.size() && s_[at_] == ']') {
            ++at_;
            return true;
        }
        while (true) {
            Value item;
            if (!value(item, depth + 1))
                return false;
            v.items.push_back(std::move(item));
            skipSpace();
            if (at_ >= s_.size())
                return fail("an array is not closed");
            if (s_[at_] == ']') {
                ++at_;
                return true;
            }
            if (s_[at_] != ',')
                return fail("expected ',' or ']' in an array");
            ++at_;
            skipSpace();
            if (at_ < s_.size() && s_[at_] == ']') {
                notes_.emplace_back(line_, "a comma before ']'");
                ++at_;
                return true;
            }
        }
    }

    bool object(Value& v, int depth)
    {
        v.kind = Kind::kObject;
        advance(); // {
        skipSpace();
        if (at_ < s_.size() && s_[at_] == '}') {
            ++at_;
            return true;
        }
        while (true) {
            if (at_ >= s_.size() || s_[at_] != '"')
                return fail("expected a key in double quotes");
            std::string key;
            if (!string(key))
                return false;
            skipSpace();
            if (at_ >= s_.size() || s_[at_] != ':')
                return fail("expected ':' after the key \"" + key + "\"");
            ++at_;
            skipSpace();
            Value item;
            if (!value(item, depth + 1))
                return false;
            v.fields.emplace_back(std::move(key), std::move(item));
            skipSpace();
            if (at_ >= s_.size())
                return fail("an object is not closed");
            if (s_[at_] == '}') {
                ++at_;
                return true;
            }
            if (s_[at_] != ',')
                return fail("expected ',' or '}' in an object");
            ++at_;
            skipSpace();
            if (at_ < s_.size() && s_[at_] == '}') {
                notes_.emplace_back(line_, "a comma before '}'");
                ++at_;
                return true;
            }
        }
    }

    const std::string& s_;
    std::size_t at_ = 0;
    std::size_t lineStart_ = 0;
    int line_;
    std::string error_;
    int errLine_ = 0, errColumn_ = 0;
    std::vector<std::pair<int, std::string>> notes_;
};

} // namespace

const Value* Value::find(const std::string& key) const
{
    for (const auto& f : fields)
        if (f.first == key)
            return &f.second;
    return nullptr;
}

const char* Value::kindName() const
{
    switch (kind) {
    case Kind::kNull: return "null";
    case Kind::kBool: return "a boolean";
    case Kind::kNumber: return "a number";
    case Kind::kString: return "a string";
    case Kind::kArray: return "an array";
    case Kind::kObject: return "an object";
    }
    return "a value";
}

ParseResult parse(const std::string& text, int firstLine) { return Reader(text, firstLine).run(); }

} // namespace glfxjson
