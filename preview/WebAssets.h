// The preview page's files, compiled into the binary from preview/web at
// build time (EmbedWeb.cmake writes the definition).
#pragma once

#include <string>

namespace glfxpreview {

struct WebAsset {
    const char* path;        // "/index.html"
    const char* contentType; // the Content-Type it is served with
    const char* text;
};

// The asset served at `path`, or null: only these files are ever served.
const WebAsset* webAsset(const std::string& path);

} // namespace glfxpreview
