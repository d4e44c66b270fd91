// Where the effect description text comes from: the text a plug-in embeds
// (its _GLFX_CODE) is either a plain description, an enciphered one, or the
// marker word that sends it to the user's description file.
#pragma once

#include <string>

// The description behind an embedded text: the user's description file
// (GetUserPath() + the stored file name) when the text starts with the marker
// word; the deciphered text when it starts with the enciphered header; else
// the text itself. A null pointer gives "".
std::string descriptionText(const char* embedded);
