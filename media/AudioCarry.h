// The audio streams of a video input carried into a video output: copied as
// they are when the container takes their codec, else decoded and encoded
// again (AAC for MP4 and MOV, Opus for WebM and Matroska). Never dropped.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>
#include <vector>

namespace media {

class AudioCarry {
public:
    // Opens `inputPath` again for its audio and adds one output stream per
    // input audio stream to `out` (before its header is written). Throws
    // MediaError.
    AudioCarry(const std::string& inputPath, double videoStart, bool whole, AVFormatContext* out);
    ~AudioCarry();
    AudioCarry(const AudioCarry&) = delete;
    AudioCarry& operator=(const AudioCarry&) = delete;

    bool empty() const { return streams_.empty(); }
    // Writes the audio from `origin` (seconds of the video's clock, where the
    // output starts) up to `until`, interleaved by the muxer. Throws
    // MediaError.
    void pump(double origin, double until);
    // Writes what is left up to `until` and drains the encoders.
    void finish(double origin, double until);

private:
    struct Stream;
    void open();
    void release();
    void writePacket(Stream& s, AVPacket* pkt, double origin);
    void encodeFrom(Stream& s, AVPacket* pkt, double origin); // null: drain
    bool readAhead();

    std::string path_;
    double videoStart_;
    bool whole_;                     // carry everything, not only the audio of the rendered span
    AVFormatContext* in_ = nullptr;  // owned: the input opened again for its audio
    AVFormatContext* out_ = nullptr; // the sink's; outlives this
    std::vector<std::unique_ptr<Stream>> streams_; // one per carried input stream
    AVPacket* next_ = nullptr;                     // owned; a packet read but not yet due
    bool haveNext_ = false;
    bool ended_ = false;
};

} // namespace media
