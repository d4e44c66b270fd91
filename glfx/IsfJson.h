// A small JSON reader for ISF headers: every value keeps the line it starts
// on, so that a message can name the line of the key it is about. Strict
// JSON, except that a comma before a closing bracket or brace is taken and
// noted (a common slip in hand-written headers).
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glfxjson {

enum class Kind { kNull, kBool, kNumber, kString, kArray, kObject };

struct Value {
    Kind kind = Kind::kNull;
    int line = 0; // 1-based line of the value's first character in the text read
    bool boolean = false;
    double number = 0.0;
    std::string text;                                  // kString
    std::vector<Value> items;                          // kArray
    std::vector<std::pair<std::string, Value>> fields; // kObject, in the order written

    // The field named `key`, or null.
    const Value* find(const std::string& key) const;
    // "string", "number", ... for messages.
    const char* kindName() const;
};

struct ParseResult {
    bool ok = false;
    Value value;
    std::string error; // what is wrong, when !ok
    int line = 0;      // where (1-based), when !ok
    int column = 0;
    std::vector<std::pair<int, std::string>> notes; // (line, what was taken leniently)
};

// Reads `text` as one JSON value; `firstLine` is the line number of the
// text's first character in the file it came from.
ParseResult parse(const std::string& text, int firstLine = 1);

} // namespace glfxjson
