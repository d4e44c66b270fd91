#include "media/ImageSink.h"

#include "media/ImageFile.h"
#include "media/MediaError.h"
#include "media/OutputFile.h"
#include "media/SequencePath.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace media {

namespace {

std::string directoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

class ImageSink : public Sink {
public:
    ImageSink(const std::string& path, int depth) : path_(path)
    {
        sequence_ = findFrameRun(path, pos_, len_);
        planImage(path, depth);
        if (path != "-") {
            const std::string dir = directoryOf(path);
            if (access(dir.c_str(), W_OK) != 0)
                throw MediaError("cannot write '" + path + "': directory '" + dir +
                                 "': " + std::strerror(errno));
        }
    }
    void write(const FrameView& frame, int64_t index, double) override
    {
        const std::string file = sequence_ ? framePath(path_, pos_, len_, index) : path_;
        const std::vector<unsigned char> bytes = encodeImage(file, frame);
        // A single image is kept open until finish(), so that nothing
        // appears before the whole render succeeded; sequence frames are
        // complete one by one.
        pending_ = std::make_unique<OutputFile>(file);
        pending_->write(bytes.data(), bytes.size());
        if (sequence_) {
            pending_->commit();
            pending_.reset();
        }
    }
    void finish() override
    {
        if (pending_) {
            pending_->commit();
            pending_.reset();
        }
    }

private:
    std::string path_;
    bool sequence_ = false;
    size_t pos_ = 0, len_ = 0;
    std::unique_ptr<OutputFile> pending_; // the single image, until finish()
};

} // namespace

std::unique_ptr<Sink> openImageSink(const std::string& path, int depth)
{
    return std::make_unique<ImageSink>(path, depth);
}

} // namespace media
