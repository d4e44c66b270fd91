// An ISF effect as one text: its fragment shader (the .fs file), the vertex
// shader beside it (.vs) when there is one, and the folder they lie in
// (which IMPORTED paths are relative to). The plug-in takes one description
// text; this is how an ISF effect's files travel in it, through --effect,
// frei0r modules and `glfx pack` alike.
//
// Layout: the line "/*glfx-isf-bundle*/", then parts, each a line
// "part KIND SIZE[ NAME]" followed by SIZE bytes and a line break; KIND is
// fragment, vertex or folder. Lengths, not markers, delimit the parts, so
// any text can travel.
#pragma once

#include <string>

namespace glfxisf {

struct Bundle {
    std::string fragment;     // the .fs text
    std::string fragmentName; // its file name, for messages ("wave.fs")
    bool hasVertex = false;
    std::string vertex;     // the .vs text
    std::string vertexName; // its file name
    std::string folder;     // "/"-terminated; empty when unknown
};

// Whether `text` is a bundle (starts with its header line).
bool isBundle(const std::string& text);

// Whether `text` is ISF: a bundle, or a text whose first non-blank
// characters open a comment holding a JSON object ("/*" then "{").
bool isIsfText(const std::string& text);

std::string makeBundle(const Bundle& bundle);

// Splits a bundle; false with `error` saying what is damaged.
bool readBundle(const std::string& text, Bundle& out, std::string& error);

} // namespace glfxisf
