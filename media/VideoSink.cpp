#include "media/VideoSink.h"

#include "media/AudioCarry.h"
#include "media/AvPicture.h"
#include "media/FfmpegLog.h"
#include "media/MediaError.h"
#include "media/OutputFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace media {

namespace {

// Defaults by container: H.264 in MP4, ProRes 422 HQ in MOV, FFV1 in
// Matroska, VP9 in WebM.
constexpr int kDefaultCrfH264 = 18;
constexpr int kDefaultCrfVp9 = 31;
constexpr int kProResHq = 3;
constexpr int kIoBuffer = 1 << 16;

bool named(const AVOutputFormat* f, const char* what) { return std::strstr(f->name, what) != nullptr; }

// How well a pixel format suits a frame of `depth` from `input`; negative
// when the converter cannot write it.
int suitability(AVPixelFormat fmt, int depth, const SourceInfo* input)
{
    PlanarPicture p;
    const bool packed = fmt == AV_PIX_FMT_BGRA || fmt == AV_PIX_FMT_BGR0;
    if (!packed && !planarLayout(fmt, p))
        return -1;
    if (packed) {
        p.bits = 8;
        p.rgb = true;
        p.alpha = fmt == AV_PIX_FMT_BGRA;
    }
    const bool wantRgb = !(input && input->yuv);
    int score = 0;
    if (p.rgb == wantRgb)
        score += 100;
    if (depth == kDepth8)
        score += p.bits == 8 ? 50 : 0;
    else
        score += 3 * p.bits;
    if (input && input->yuv && !p.rgb)
        score += (p.log2ChromaW == input->log2ChromaW && p.log2ChromaH == input->log2ChromaH) ? 20 : 0;
    else
        score -= 5 * (p.log2ChromaW + p.log2ChromaH);
    const bool wantAlpha = input && input->alpha;
    score += p.alpha == wantAlpha ? 10 : 0;
    return score;
}

long long parseBitrate(const std::string& text)
{
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    double scale = 1;
    if (*end == 'k' || *end == 'K')
        scale = 1e3, ++end;
    else if (*end == 'm' || *end == 'M')
        scale = 1e6, ++end;
    if (end == text.c_str() || *end != '\0' || !(v > 0) || v * scale > 1e11)
        throw MediaError("--bitrate '" + text + "': expected bits a second, e.g. 8M or 2500k");
    return (long long)(v * scale);
}

class VideoSink : public Sink {
public:
    VideoSink(const std::string& path, int width, int height, int depth, const VideoSettings& settings);
    ~VideoSink() override;
    void write(const FrameView& frame, int64_t index, double seconds) override;
    void finish() override;

private:
    [[noreturn]] void fail(const std::string& what, int code);
    void open(int width, int height, int depth, const VideoSettings& settings);
    void release();
    void drain(bool flush);
    static int writeBytes(void* opaque, uint8_t* buf, int size);
    static int64_t seekBytes(void* opaque, int64_t offset, int whence);

    std::string path_;
    OutputFile out_;
    std::string ioError_;               // why the last write to out_ failed
    AVFormatContext* oc_ = nullptr;     // owned, with its streams
    AVIOContext* io_ = nullptr;         // owned; writes through out_
    AVCodecContext* enc_ = nullptr;     // owned
    AVStream* stream_ = nullptr;        // the video stream (owned by oc_)
    AVFrame* frame_ = nullptr;          // owned; the picture handed to the encoder
    AVPacket* packet_ = nullptr;        // owned
    std::unique_ptr<AudioCarry> audio_; // the input's audio, when there is any
    PlanarPicture layout_;              // how frames are laid into frame_
    bool packedBgra_ = false;
    bool headerWritten_ = false;
    bool started_ = false;
    double origin_ = 0.0;     // the first frame's time: where the output starts
    double frameSeconds_ = 0; // nominal frame duration
    double lastSeconds_ = 0;
    int64_t lastPts_ = AV_NOPTS_VALUE;
};

VideoSink::VideoSink(const std::string& path, int width, int height, int depth, const VideoSettings& settings)
    : path_(path), out_(path)
{
    // A constructor that throws gets no destructor call: what it made is
    // released here (out_, a member, removes its temporary itself).
    try {
        open(width, height, depth, settings);
    } catch (...) {
        release();
        throw;
    }
}

void VideoSink::open(int width, int height, int depth, const VideoSettings& settings)
{
    const std::string& path = path_;
    quietFfmpeg();
    takeFfmpegLog();
    const std::string formatName = videoFormatFor(path);
    if (formatName.empty())
        throw MediaError("cannot write '" + path + "': no video container for its extension");
    int err = avformat_alloc_output_context2(&oc_, nullptr, formatName.c_str(), nullptr);
    if (err < 0)
        fail("cannot start", err);
    const AVOutputFormat* of = oc_->oformat;
    const bool mp4 = named(of, "mp4"), mov = !mp4 && named(of, "mov"), webm = named(of, "webm");
    if (!out_.seekable() && (mp4 || mov))
        throw MediaError("cannot write '" + path +
                         "': MP4 and MOV need a file that can seek; use .mkv or .nut "
                         "for pipes and standard output");

    const AVCodec* codec = nullptr;
    if (!settings.codec.empty()) {
        codec = avcodec_find_encoder_by_name(settings.codec.c_str());
        if (!codec || codec->type != AVMEDIA_TYPE_VIDEO)
            throw MediaError("--codec '" + settings.codec + "': no such video encoder");
    } else {
        codec = avcodec_find_encoder_by_name(mp4    ? "libx264"
                                             : mov  ? "prores_ks"
                                             : webm ? "libvpx-vp9"
                                                    : "ffv1");
        if (!codec)
            codec = avcodec_find_encoder(of->video_codec);
    }
    if (!codec)
        throw MediaError("cannot write '" + path + "': no video encoder for it");
    if (avformat_query_codec(of, codec->id, FF_COMPLIANCE_NORMAL) != 1)
        throw MediaError("cannot write '" + path + "': codec '" + codec->name + "' cannot go in a " +
                         of->name + " file");

    // The pixel format: the container's default, else the encoder's best fit.
    AVPixelFormat pix = AV_PIX_FMT_NONE;
    if (settings.codec.empty() && (mp4 || webm))
        pix = AV_PIX_FMT_YUV420P;
    else if (settings.codec.empty() && mov)
        pix = AV_PIX_FMT_YUV422P10LE;
    else {
        // An encoder that lists no formats (rawvideo) takes any: choose among
        // those this program writes.
        static const AVPixelFormat kWritten[] = {
            AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,  AV_PIX_FMT_YUVA420P,
            AV_PIX_FMT_YUVA444P,    AV_PIX_FMT_GBRP,        AV_PIX_FMT_GBRAP,    AV_PIX_FMT_YUV420P10LE,
            AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P16LE, AV_PIX_FMT_GBRP16LE, AV_PIX_FMT_GBRAP16LE,
            AV_PIX_FMT_NONE};
        int best = -1;
        for (const AVPixelFormat* f = codec->pix_fmts ? codec->pix_fmts : kWritten; *f != AV_PIX_FMT_NONE;
             ++f) {
            const int s = suitability(*f, depth, settings.input);
            if (s > best)
                best = s, pix = *f;
        }
    }
    if (pix == AV_PIX_FMT_NONE)
        throw MediaError("cannot write '" + path + "': codec '" + codec->name +
                         "' takes no pixel format this program writes");
    packedBgra_ = pix == AV_PIX_FMT_BGRA || pix == AV_PIX_FMT_BGR0;
    if (!packedBgra_)
        planarLayout(pix, layout_);
    const std::string encoderName = codec->name;
    const bool oddForChroma = (layout_.log2ChromaW && width % 2) || (layout_.log2ChromaH && height % 2);
    if (oddForChroma && (encoderName == "libx264" || encoderName == "libvpx-vp9"))
        throw MediaError("cannot write '" + path + "': " + encoderName + " with " + av_get_pix_fmt_name(pix) +
                         " needs an even width and height, and the frames are " + std::to_string(width) +
                         "x" + std::to_string(height) + " (write .mkv, or choose another --codec)");

    enc_ = avcodec_alloc_context3(codec);
    frame_ = av_frame_alloc();
    packet_ = av_packet_alloc();
    if (!enc_ || !frame_ || !packet_)
        fail("out of memory for", AVERROR(ENOMEM));
    enc_->width = width;
    enc_->height = height;
    enc_->pix_fmt = pix;
    enc_->sample_aspect_ratio = {1, 1};
    const double fps = settings.input && settings.input->fps > 0 ? settings.input->fps : settings.fps;
    frameSeconds_ = 1.0 / fps;
    enc_->framerate = av_d2q(fps, 1000000);
    if (settings.input && settings.input->video)
        enc_->time_base = {settings.input->timeBaseNum, settings.input->timeBaseDen};
    else
        enc_->time_base = av_inv_q(enc_->framerate);
    enc_->thread_count = 0;
    if (of->flags & AVFMT_GLOBALHEADER)
        enc_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

    // Colour: the input's tags, or what players assume for this size.
    if (layout_.rgb || packedBgra_) {
        enc_->colorspace = AVCOL_SPC_RGB;
        enc_->color_range = AVCOL_RANGE_JPEG;
    } else {
        const bool fromVideo = settings.input && settings.input->video && settings.input->yuv;
        enc_->colorspace = fromVideo ? AVColorSpace(settings.input->color.matrix)
                                     : settledColorSpace(AVCOL_SPC_UNSPECIFIED, height);
        enc_->color_range = fromVideo && settings.input->color.range == AVCOL_RANGE_JPEG ? AVCOL_RANGE_JPEG
                                                                                         : AVCOL_RANGE_MPEG;
        enc_->chroma_sample_location = AVCHROMA_LOC_LEFT;
        layout_.matrix = matrixFor(enc_->colorspace, height);
        layout_.fullRange = enc_->color_range == AVCOL_RANGE_JPEG;
        layout_.sitingX = Siting::CoSited;
        layout_.sitingY = Siting::Centre;
    }
    if (settings.input && settings.input->video) {
        enc_->color_primaries = AVColorPrimaries(settings.input->color.primaries);
        enc_->color_trc = AVColorTransferCharacteristic(settings.input->color.transfer);
    }

    AVDictionary* opts = nullptr;
    const std::string cname = codec->name;
    if (cname == "libx264")
        av_dict_set_int(&opts, "crf", settings.crf >= 0 ? settings.crf : kDefaultCrfH264, 0);
    else if (cname == "libvpx-vp9") {
        av_dict_set_int(&opts, "crf", settings.crf >= 0 ? settings.crf : kDefaultCrfVp9, 0);
        av_dict_set(&opts, "deadline", "good", 0);
        av_dict_set(&opts, "cpu-used", "4", 0);
        av_dict_set(&opts, "row-mt", "1", 0);
        if (settings.bitrate.empty())
            enc_->bit_rate = 0;
    } else if (cname == "prores_ks" && settings.codec.empty())
        av_dict_set_int(&opts, "profile", kProResHq, 0);
    else if (settings.crf >= 0)
        av_dict_set_int(&opts, "crf", settings.crf, 0);
    if (!settings.bitrate.empty())
        enc_->bit_rate = parseBitrate(settings.bitrate);
    err = avcodec_open2(enc_, codec, &opts);
    av_dict_free(&opts);
    if (err < 0)
        fail(std::string("cannot start encoder '") + codec->name + "' for", err);

    stream_ = avformat_new_stream(oc_, nullptr);
    if (!stream_)
        fail("cannot add the video stream to", AVERROR(ENOMEM));
    avcodec_parameters_from_context(stream_->codecpar, enc_);
    stream_->time_base = enc_->time_base;
    stream_->avg_frame_rate = enc_->framerate;

    if (settings.input && settings.input->video)
        audio_ = std::make_unique<AudioCarry>(settings.input->path, settings.input->startSeconds,
                                              settings.wholeInput, oc_);

    // Bytes go through out_, where every write is checked.
    uint8_t* buffer = static_cast<uint8_t*>(av_malloc(kIoBuffer));
    io_ = avio_alloc_context(buffer, kIoBuffer, 1, this, nullptr, writeBytes,
                             out_.seekable() ? seekBytes : nullptr);
    if (!io_)
        fail("out of memory for", AVERROR(ENOMEM));
    io_->seekable = out_.seekable() ? AVIO_SEEKABLE_NORMAL : 0;
    oc_->pb = io_;
    oc_->flags |= AVFMT_FLAG_CUSTOM_IO;
    // The MP4 muxer reopens the file by name to move its index to the front.
    av_freep(&oc_->url);
    oc_->url = av_strdup(out_.writingPath().c_str());
    AVDictionary* mux = nullptr;
    if (mp4 || mov)
        av_dict_set(&mux, "movflags", "+faststart", 0);
    err = avformat_write_header(oc_, &mux);
    av_dict_free(&mux);
    if (err < 0)
        fail("cannot start", err);
    headerWritten_ = true;
}

VideoSink::~VideoSink() { release(); }

void VideoSink::release()
{
    audio_.reset();
    if (io_) {
        av_freep(&io_->buffer);
        avio_context_free(&io_);
    }
    av_packet_free(&packet_);
    av_frame_free(&frame_);
    avcodec_free_context(&enc_);
    avformat_free_context(oc_);
    oc_ = nullptr;
}

void VideoSink::fail(const std::string& what, int code)
{
    std::string msg = what + " '" + path_ + "'";
    if (!ioError_.empty())
        msg += ": " + ioError_;
    else if (code < 0)
        msg += ": " + ffmpegError(code);
    throw MediaError(msg, takeFfmpegLog());
}

int VideoSink::writeBytes(void* opaque, uint8_t* buf, int size)
{
    auto* self = static_cast<VideoSink*>(opaque);
    try {
        self->out_.write(buf, size_t(size));
    } catch (const MediaError& e) {
        self->ioError_ = e.what();
        const size_t colon = self->ioError_.rfind(": ");
        if (colon != std::string::npos)
            self->ioError_ = self->ioError_.substr(colon + 2);
        return AVERROR(EIO);
    }
    return size;
}

int64_t VideoSink::seekBytes(void* opaque, int64_t offset, int whence)
{
    auto* self = static_cast<VideoSink*>(opaque);
    if (whence & AVSEEK_SIZE) {
        const long long here = self->out_.seek(0, SEEK_CUR);
        const long long end = self->out_.seek(0, SEEK_END);
        self->out_.seek(here, SEEK_SET);
        return end;
    }
    const long long r = self->out_.seek(offset, whence & ~AVSEEK_FORCE);
    return r < 0 ? AVERROR(EIO) : r;
}

void VideoSink::drain(bool flush)
{
    if (flush) {
        const int err = avcodec_send_frame(enc_, nullptr);
        if (err < 0 && err != AVERROR_EOF)
            fail("cannot finish encoding", err);
    }
    for (;;) {
        int err = avcodec_receive_packet(enc_, packet_);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF)
            return;
        if (err < 0)
            fail("cannot encode", err);
        av_packet_rescale_ts(packet_, enc_->time_base, stream_->time_base);
        packet_->stream_index = stream_->index;
        const double t = packet_->dts != AV_NOPTS_VALUE ? packet_->dts * av_q2d(stream_->time_base) : 0.0;
        err = av_interleaved_write_frame(oc_, packet_);
        if (err < 0)
            fail("cannot write", err);
        if (audio_)
            audio_->pump(origin_, origin_ + t + frameSeconds_);
    }
}

void VideoSink::write(const FrameView& frame, int64_t, double seconds)
{
    if (!started_) {
        started_ = true;
        origin_ = seconds;
    }
    lastSeconds_ = seconds;
    int64_t pts = std::llround((seconds - origin_) / av_q2d(enc_->time_base));
    if (lastPts_ != AV_NOPTS_VALUE && pts <= lastPts_)
        pts = lastPts_ + 1;
    lastPts_ = pts;

    if (!frame_->buf[0]) {
        frame_->format = enc_->pix_fmt;
        frame_->width = enc_->width;
        frame_->height = enc_->height;
        if (av_frame_get_buffer(frame_, 0) < 0)
            fail("out of memory for", AVERROR(ENOMEM));
    }
    if (av_frame_make_writable(frame_) < 0)
        fail("out of memory for", AVERROR(ENOMEM));
    if (packedBgra_) {
        for (int y = 0; y < frame.height; ++y) {
            uint8_t* out = frame_->data[0] + ptrdiff_t(frame_->linesize[0]) * y;
            const uint8_t* in = frame.row(y);
            for (int x = 0; x < frame.width; ++x) {
                const uint8_t* px = in + x * pixelSize(frame.depth);
                auto get = [&](int slot) -> uint8_t {
                    if (frame.depth == kDepth8)
                        return px[slot];
                    const float v = frame.depth == kDepth16
                                        ? reinterpret_cast<const uint16_t*>(px)[slot] / float(kWhite16)
                                        : reinterpret_cast<const float*>(px)[slot];
                    return uint8_t(std::lround(std::min(1.0f, std::max(0.0f, v)) * 255.0f));
                };
                out[x * 4 + 0] = get(frame.blueSlot());
                out[x * 4 + 1] = get(frame.greenSlot());
                out[x * 4 + 2] = get(frame.redSlot());
                out[x * 4 + 3] = enc_->pix_fmt == AV_PIX_FMT_BGRA ? get(frame.alphaSlot()) : 255;
            }
        }
    } else {
        PlanarPicture p = layout_;
        for (int i = 0; i < 4; ++i) {
            p.data[i] = frame_->data[i];
            p.linesize[i] = frame_->linesize[i];
        }
        p.width = frame.width;
        p.height = frame.height;
        frameToPicture(frame, p);
    }
    frame_->pts = pts;
    frame_->colorspace = enc_->colorspace;
    frame_->color_range = enc_->color_range;
    frame_->color_primaries = enc_->color_primaries;
    frame_->color_trc = enc_->color_trc;
    frame_->chroma_location = enc_->chroma_sample_location;
    const int err = avcodec_send_frame(enc_, frame_);
    if (err < 0)
        fail("cannot encode", err);
    drain(false);
}

void VideoSink::finish()
{
    drain(true);
    if (audio_) {
        const double end = started_ ? lastSeconds_ + frameSeconds_ : origin_;
        audio_->finish(origin_, end);
    }
    int err = av_write_trailer(oc_);
    if (err < 0)
        fail("cannot finish", err);
    avio_flush(io_);
    if (io_->error < 0)
        fail("cannot write", io_->error);
    out_.commit();
}

} // namespace

std::string videoFormatFor(const std::string& path)
{
    if (path == "-")
        return "matroska";
    const AVOutputFormat* f = av_guess_format(nullptr, path.c_str(), nullptr);
    if (!f || (f->flags & AVFMT_NOFILE) || f->video_codec == AV_CODEC_ID_NONE)
        return {};
    return f->name;
}

std::unique_ptr<Sink> openVideoSink(const std::string& path, int width, int height, int depth,
                                    const VideoSettings& settings)
{
    return std::make_unique<VideoSink>(path, width, height, depth, settings);
}

} // namespace media
