#include "media/VideoSource.h"

#include "media/AvPicture.h"
#include "media/FfmpegLog.h"
#include "media/MediaError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstring>

namespace media {

namespace {

// The clockwise turn (0, 90, 180 or 270 degrees) a stream's display matrix
// asks players to show it with.
int displayTurn(const AVStream* st)
{
    const uint8_t* m = av_stream_get_side_data(st, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (!m)
        return 0;
    const double ccw = av_display_rotation_get(reinterpret_cast<const int32_t*>(m));
    if (std::isnan(ccw))
        return 0;
    long turn = std::lround(-ccw / 90.0) * 90 % 360;
    return int(turn < 0 ? turn + 360 : turn);
}

// Copies `from` into `to` turned clockwise by `turn` degrees.
void turnFrame(const FrameView& from, const FrameView& to, int turn)
{
    const int ps = pixelSize(from.depth);
    for (int y = 0; y < to.height; ++y) {
        uint8_t* out = to.row(y);
        for (int x = 0; x < to.width; ++x) {
            int sx, sy;
            if (turn == 90) {
                sx = y;
                sy = from.height - 1 - x;
            } else if (turn == 270) {
                sx = from.width - 1 - y;
                sy = x;
            } else {
                sx = from.width - 1 - x;
                sy = from.height - 1 - y;
            }
            std::memcpy(out + x * ps, from.row(sy) + sx * ps, ps);
        }
    }
}

class VideoSource : public Source {
public:
    explicit VideoSource(const std::string& path);
    ~VideoSource() override;
    bool read(const FrameView* to, double& seconds) override;

private:
    [[noreturn]] void fail(const std::string& what, int code = 0);
    void open();
    void release();
    bool decodeNext();
    void convert(const FrameView& to);

    std::string path_;
    AVFormatContext* fmt_ = nullptr; // owned: opened in the constructor, closed in the destructor
    AVCodecContext* dec_ = nullptr;  // owned, as fmt_
    AVPacket* pkt_ = nullptr;        // owned; reused for every packet
    AVFrame* frame_ = nullptr;       // owned; the latest decoded frame
    AVFrame* planar_ = nullptr;      // owned; frame_ rescaled when its format is not read directly
    SwsContext* sws_ = nullptr;      // owned; made for the first frame that needs it
    int stream_ = -1;
    int turn_ = 0;
    bool draining_ = false;
    bool centreSiting_ = false;
    int64_t startPts_ = 0;
    int64_t decoded_ = 0;
    double lastSeconds_ = -1.0;
    std::unique_ptr<FrameBuffer> unturned_; // the picture before its turn; rotated streams only
};

VideoSource::VideoSource(const std::string& path) : path_(path)
{
    // A constructor that throws gets no destructor call: what it opened is
    // released here.
    try {
        open();
    } catch (...) {
        release();
        throw;
    }
}

void VideoSource::open()
{
    const std::string& path = path_;
    quietFfmpeg();
    takeFfmpegLog();
    info_.path = path;
    info_.video = true;
    int err = avformat_open_input(&fmt_, path.c_str(), nullptr, nullptr);
    if (err < 0)
        fail("cannot open video", err);
    err = avformat_find_stream_info(fmt_, nullptr);
    if (err < 0)
        fail("cannot read the streams of", err);
    stream_ = av_find_best_stream(fmt_, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (stream_ < 0)
        throw MediaError("'" + path + "' has no video stream");
    AVStream* st = fmt_->streams[stream_];
    const AVCodecParameters* par = st->codecpar;
    const AVCodec* codec = avcodec_find_decoder(par->codec_id);
    if (!codec)
        throw MediaError("'" + path + "': no decoder for its video codec '" +
                         avcodec_get_name(par->codec_id) + "'");
    if (par->width <= 0 || par->height <= 0)
        throw MediaError("'" + path + "': the video stream has no frame size");
    if (par->width > kMaxSide || par->height > kMaxSide ||
        frameBytes(par->width, par->height, kDepth32) > kMaxFrameBytes)
        throw MediaError("'" + path + "' is " + std::to_string(par->width) + "x" +
                         std::to_string(par->height) + ", over the limit of " + std::to_string(kMaxSide) +
                         " a side");
    dec_ = avcodec_alloc_context3(codec);
    pkt_ = av_packet_alloc();
    frame_ = av_frame_alloc();
    planar_ = av_frame_alloc();
    if (!dec_ || !pkt_ || !frame_ || !planar_)
        throw MediaError("'" + path + "': out of memory");
    avcodec_parameters_to_context(dec_, par);
    dec_->thread_count = 0;
    dec_->pkt_timebase = st->time_base;
    err = avcodec_open2(dec_, codec, nullptr);
    if (err < 0)
        fail("cannot start the decoder for", err);

    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(par->format));
    const int bits = d ? d->comp[0].depth : 8;
    info_.depth = bits > 8 ? kDepth16 : kDepth8;
    info_.yuv = d && !(d->flags & AV_PIX_FMT_FLAG_RGB) && d->nb_components >= 3;
    info_.log2ChromaW = d ? d->log2_chroma_w : 0;
    info_.log2ChromaH = d ? d->log2_chroma_h : 0;
    info_.alpha = d && (d->flags & AV_PIX_FMT_FLAG_ALPHA);
    centreSiting_ = par->codec_id == AV_CODEC_ID_MJPEG;
    turn_ = displayTurn(st);
    info_.width = turn_ % 180 ? par->height : par->width;
    info_.height = turn_ % 180 ? par->width : par->height;
    const AVRational rate = av_guess_frame_rate(fmt_, st, nullptr);
    info_.fps = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0.0;
    info_.timeBaseNum = st->time_base.num;
    info_.timeBaseDen = st->time_base.den;
    startPts_ = st->start_time != AV_NOPTS_VALUE ? st->start_time : 0;
    info_.startSeconds = double(startPts_) * av_q2d(st->time_base);
    if (st->nb_frames > 0)
        info_.frames = st->nb_frames;
    else if (st->duration > 0 && info_.fps > 0)
        info_.frames = std::llround(st->duration * av_q2d(st->time_base) * info_.fps);
    if (st->duration > 0 && st->duration != AV_NOPTS_VALUE)
        info_.duration = double(st->duration) * av_q2d(st->time_base);
    else if (fmt_->duration > 0 && fmt_->duration != AV_NOPTS_VALUE)
        info_.duration = double(fmt_->duration) / AV_TIME_BASE;
    info_.color.matrix = settledColorSpace(par->color_space, par->height);
    info_.color.primaries = par->color_primaries;
    info_.color.transfer = par->color_trc;
    const bool jpegFormat = par->format == AV_PIX_FMT_YUVJ420P || par->format == AV_PIX_FMT_YUVJ422P ||
                            par->format == AV_PIX_FMT_YUVJ444P;
    info_.color.range = par->color_range != AVCOL_RANGE_UNSPECIFIED ? par->color_range
                        : jpegFormat                                ? AVCOL_RANGE_JPEG
                                                                    : AVCOL_RANGE_MPEG;
}

VideoSource::~VideoSource() { release(); }

void VideoSource::release()
{
    sws_freeContext(sws_);
    sws_ = nullptr;
    av_frame_free(&planar_);
    av_frame_free(&frame_);
    av_packet_free(&pkt_);
    avcodec_free_context(&dec_);
    avformat_close_input(&fmt_);
}

void VideoSource::fail(const std::string& what, int code)
{
    std::string msg = what + " '" + path_ + "'";
    if (code < 0)
        msg += ": " + ffmpegError(code);
    throw MediaError(msg, takeFfmpegLog());
}

bool VideoSource::decodeNext()
{
    for (;;) {
        int err = avcodec_receive_frame(dec_, frame_);
        if (err == 0) {
            if (frame_->decode_error_flags || (frame_->flags & AV_FRAME_FLAG_CORRUPT))
                fail("corrupt video frame " + std::to_string(decoded_) + " in");
            if (frame_->width != dec_->width || frame_->height != dec_->height ||
                (turn_ % 180 ? frame_->height : frame_->width) != info_.width)
                fail("the frame size changes in");
            ++decoded_;
            return true;
        }
        if (err == AVERROR_EOF) {
            if (info_.frames > 0 && fmt_->streams[stream_]->nb_frames > 0 && decoded_ < info_.frames)
                fail("truncated video (" + std::to_string(decoded_) + " of " + std::to_string(info_.frames) +
                     " frames):");
            if (decoded_ == 0)
                fail("no video frames in");
            return false;
        }
        if (err != AVERROR(EAGAIN))
            fail("corrupt or truncated video at frame " + std::to_string(decoded_) + " in", err);
        if (draining_)
            return false;
        err = av_read_frame(fmt_, pkt_);
        if (err == AVERROR_EOF) {
            draining_ = true;
            avcodec_send_packet(dec_, nullptr);
            continue;
        }
        if (err < 0)
            fail("cannot read", err);
        if (pkt_->stream_index == stream_) {
            err = avcodec_send_packet(dec_, pkt_);
            if (err < 0 && err != AVERROR(EAGAIN)) {
                av_packet_unref(pkt_);
                fail("corrupt or truncated video at frame " + std::to_string(decoded_) + " in", err);
            }
        }
        av_packet_unref(pkt_);
    }
}

void VideoSource::convert(const FrameView& to)
{
    const AVFrame* src = frame_;
    PlanarPicture probe;
    if (!planarLayout(static_cast<AVPixelFormat>(frame_->format), probe)) {
        // Formats the converter does not read directly go through swscale to
        // the planar format of the same family (no matrix is applied there).
        const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame_->format));
        const bool wide = d && d->comp[0].depth > 8;
        const bool alpha = d && (d->flags & AV_PIX_FMT_FLAG_ALPHA);
        const bool rgb = d && (d->flags & AV_PIX_FMT_FLAG_RGB);
        const AVPixelFormat target = rgb ? (alpha ? (wide ? AV_PIX_FMT_GBRAP16 : AV_PIX_FMT_GBRAP)
                                                  : (wide ? AV_PIX_FMT_GBRP16 : AV_PIX_FMT_GBRP))
                                         : (alpha ? (wide ? AV_PIX_FMT_YUVA444P16 : AV_PIX_FMT_YUVA444P)
                                                  : (wide ? AV_PIX_FMT_YUV444P16 : AV_PIX_FMT_YUV444P));
        sws_ = sws_getCachedContext(sws_, frame_->width, frame_->height,
                                    static_cast<AVPixelFormat>(frame_->format), frame_->width, frame_->height,
                                    target, SWS_POINT | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
        if (!sws_)
            fail(std::string("cannot convert pixel format '") +
                 av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame_->format)) + "' of");
        if (planar_->width != frame_->width || planar_->height != frame_->height ||
            planar_->format != target) {
            av_frame_unref(planar_);
            planar_->width = frame_->width;
            planar_->height = frame_->height;
            planar_->format = target;
            if (av_frame_get_buffer(planar_, 0) < 0)
                fail("out of memory converting");
        }
        sws_scale(sws_, frame_->data, frame_->linesize, 0, frame_->height, planar_->data, planar_->linesize);
        av_frame_copy_props(planar_, frame_);
        src = planar_;
    }
    const PlanarPicture pic = pictureOf(src, centreSiting_);
    if (turn_ == 0) {
        pictureToFrame(pic, to);
        return;
    }
    if (!unturned_ || unturned_->view().depth != to.depth)
        unturned_ = std::make_unique<FrameBuffer>(src->width, src->height, to.depth, to.bgra);
    pictureToFrame(pic, unturned_->view());
    turnFrame(unturned_->view(), to, turn_);
}

bool VideoSource::read(const FrameView* to, double& seconds)
{
    if (!decodeNext())
        return false;
    const int64_t pts = frame_->best_effort_timestamp;
    const double tb = av_q2d(fmt_->streams[stream_]->time_base);
    if (pts != AV_NOPTS_VALUE)
        seconds = double(pts - startPts_) * tb;
    else
        seconds = lastSeconds_ < 0 ? 0.0 : lastSeconds_ + (info_.fps > 0 ? 1.0 / info_.fps : 0.0);
    lastSeconds_ = seconds;
    if (to)
        convert(*to);
    return true;
}

} // namespace

std::unique_ptr<Source> openVideo(const std::string& path) { return std::make_unique<VideoSource>(path); }

} // namespace media
