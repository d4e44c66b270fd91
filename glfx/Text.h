// Small text utilities used throughout the effect description code and the
// plug-in: file loading, the user's configuration folder, deciphering of the
// embedded description, unscrambling of stored texts, substring replacement
// and integer formatting. All are stateless free functions.
#pragma once

#include <string>

// Replaces every occurrence of `search` in `text` by `repl`, left to right.
// Inserted replacement text is never searched again. An empty search string
// leaves the text unchanged.
void strReplace(std::string& text, const std::string& search, const std::string& repl);

// Decimal text of a value ("-" for negatives, no padding).
std::string intToString(int value);

// Unscrambles a stored text: the first character is a marker and is always
// dropped; only when it is '?' are the remaining printable characters shifted
// back by 0, 4, 8, 0, 4, 8, ... positions within the printable range 32..126.
std::string decodeString(const std::string& stored);

// The whole file as text, cut at its first zero byte; empty when the path is
// empty or the file cannot be read.
std::string loadFile(const std::string& path);

// The user's configuration folder followed by "/": $XDG_CONFIG_HOME when set
// and non-empty, else $HOME/.config.
std::string GetUserPath();
