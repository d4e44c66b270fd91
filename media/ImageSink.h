// Rendered frames written as image files: one image, or one file a frame
// for a sequence pattern.
#pragma once

#include "media/Sink.h"

namespace media {

std::unique_ptr<Sink> openImageSink(const std::string& path, int depth);

} // namespace media
