#include "media/AudioCarry.h"

#include "media/FfmpegLog.h"
#include "media/MediaError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <cmath>
#include <cstring>

namespace media {

struct AudioCarry::Stream {
    AVStream* in = nullptr;  // the input's stream (owned by in_)
    AVStream* out = nullptr; // the output's stream (owned by the sink's context)
    bool copy = true;
    // Re-encoding only; all owned, freed with the stream.
    AVCodecContext* dec = nullptr;
    AVCodecContext* enc = nullptr;
    SwrContext* swr = nullptr;
    AVAudioFifo* fifo = nullptr;
    AVFrame* decoded = nullptr;
    AVFrame* converted = nullptr;
    AVFrame* chunk = nullptr;
    AVPacket* packet = nullptr;
    int64_t samplesOut = 0;

    ~Stream()
    {
        av_packet_free(&packet);
        av_frame_free(&chunk);
        av_frame_free(&converted);
        av_frame_free(&decoded);
        if (fifo)
            av_audio_fifo_free(fifo);
        swr_free(&swr);
        avcodec_free_context(&enc);
        avcodec_free_context(&dec);
    }
};

namespace {

constexpr double kToTheEnd = 1e300;
constexpr int64_t kReencodeBitrate = 160000; // bits a second for AAC and Opus made here

[[noreturn]] void fail(const std::string& what, int code)
{
    throw MediaError(what + (code < 0 ? ": " + ffmpegError(code) : std::string()), takeFfmpegLog());
}

// The audio encoder a container gets when its audio cannot be copied.
const AVCodec* reencoderFor(const AVOutputFormat* f)
{
    const std::string name = f->name;
    if (name.find("webm") != std::string::npos || name.find("matroska") != std::string::npos ||
        name.find("ogg") != std::string::npos) {
        if (const AVCodec* c = avcodec_find_encoder_by_name("libopus"))
            return c;
        return avcodec_find_encoder(AV_CODEC_ID_OPUS);
    }
    return avcodec_find_encoder(AV_CODEC_ID_AAC);
}

} // namespace

AudioCarry::AudioCarry(const std::string& inputPath, double videoStart, bool whole, AVFormatContext* out)
    : path_(inputPath), videoStart_(videoStart), whole_(whole), out_(out)
{
    // A constructor that throws gets no destructor call.
    try {
        open();
    } catch (...) {
        release();
        throw;
    }
}

void AudioCarry::open()
{
    const std::string& inputPath = path_;
    AVFormatContext* out = out_;
    int err = avformat_open_input(&in_, inputPath.c_str(), nullptr, nullptr);
    if (err < 0)
        fail("cannot open '" + inputPath + "' for its audio", err);
    err = avformat_find_stream_info(in_, nullptr);
    if (err < 0)
        fail("cannot read the streams of '" + inputPath + "'", err);
    next_ = av_packet_alloc();
    for (unsigned i = 0; i < in_->nb_streams; ++i) {
        AVStream* in = in_->streams[i];
        if (in->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            in->discard = AVDISCARD_ALL;
            continue;
        }
        auto s = std::make_unique<Stream>();
        s->in = in;
        s->out = avformat_new_stream(out, nullptr);
        if (!s->out)
            fail("cannot add an audio stream", AVERROR(ENOMEM));
        s->copy = avformat_query_codec(out->oformat, in->codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1;
        if (s->copy) {
            avcodec_parameters_copy(s->out->codecpar, in->codecpar);
            s->out->codecpar->codec_tag = 0;
            s->out->time_base = in->time_base;
        } else {
            const AVCodec* decoder = avcodec_find_decoder(in->codecpar->codec_id);
            const AVCodec* encoder = reencoderFor(out->oformat);
            const std::string what = "audio stream " + std::to_string(i) + " ('" +
                                     avcodec_get_name(in->codecpar->codec_id) + "') of '" + inputPath + "'";
            if (!decoder || !encoder)
                throw MediaError("cannot carry " + what + ": no " + (decoder ? "encoder" : "decoder") +
                                 " to re-encode it for this container");
            s->dec = avcodec_alloc_context3(decoder);
            avcodec_parameters_to_context(s->dec, in->codecpar);
            s->dec->pkt_timebase = in->time_base;
            if ((err = avcodec_open2(s->dec, decoder, nullptr)) < 0)
                fail("cannot decode " + what, err);
            s->enc = avcodec_alloc_context3(encoder);
            s->enc->sample_fmt = encoder->sample_fmts ? encoder->sample_fmts[0] : AV_SAMPLE_FMT_FLTP;
            int rate = s->dec->sample_rate;
            if (encoder->supported_samplerates) {
                int best = encoder->supported_samplerates[0];
                for (const int* r = encoder->supported_samplerates; *r; ++r)
                    if (*r == rate || (best != rate && *r > best))
                        best = *r;
                rate = best;
            }
            s->enc->sample_rate = rate;
            av_channel_layout_default(&s->enc->ch_layout,
                                      std::min(2, std::max(1, s->dec->ch_layout.nb_channels)));
            s->enc->time_base = {1, rate};
            s->enc->bit_rate = kReencodeBitrate;
            s->enc->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
            if (out->oformat->flags & AVFMT_GLOBALHEADER)
                s->enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
            if ((err = avcodec_open2(s->enc, encoder, nullptr)) < 0)
                fail("cannot start the audio encoder for " + what, err);
            avcodec_parameters_from_context(s->out->codecpar, s->enc);
            s->out->time_base = s->enc->time_base;
            err =
                swr_alloc_set_opts2(&s->swr, &s->enc->ch_layout, s->enc->sample_fmt, rate, &s->dec->ch_layout,
                                    s->dec->sample_fmt, s->dec->sample_rate, 0, nullptr);
            if (err < 0 || swr_init(s->swr) < 0)
                fail("cannot resample " + what, err);
            s->fifo = av_audio_fifo_alloc(s->enc->sample_fmt, s->enc->ch_layout.nb_channels, 4096);
            s->decoded = av_frame_alloc();
            s->converted = av_frame_alloc();
            s->chunk = av_frame_alloc();
            s->packet = av_packet_alloc();
        }
        streams_.push_back(std::move(s));
    }
}

AudioCarry::~AudioCarry() { release(); }

void AudioCarry::release()
{
    streams_.clear();
    av_packet_free(&next_);
    avformat_close_input(&in_);
}

bool AudioCarry::readAhead()
{
    if (haveNext_)
        return true;
    while (!ended_) {
        const int err = av_read_frame(in_, next_);
        if (err == AVERROR_EOF) {
            ended_ = true;
            return false;
        }
        if (err < 0)
            fail("cannot read the audio of '" + path_ + "'", err);
        if (in_->streams[next_->stream_index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            haveNext_ = true;
            return true;
        }
        av_packet_unref(next_);
    }
    return false;
}

void AudioCarry::writePacket(Stream& s, AVPacket* pkt, double origin)
{
    // Timestamps move with the output's start.
    const int64_t shift = std::llround((origin + videoStart_) / av_q2d(s.in->time_base));
    if (pkt->pts != AV_NOPTS_VALUE)
        pkt->pts -= shift;
    if (pkt->dts != AV_NOPTS_VALUE)
        pkt->dts -= shift;
    av_packet_rescale_ts(pkt, s.in->time_base, s.out->time_base);
    pkt->stream_index = s.out->index;
    pkt->pos = -1;
    const int err = av_interleaved_write_frame(out_, pkt);
    if (err < 0)
        fail("cannot write audio", err);
}

void AudioCarry::encodeFrom(Stream& s, AVPacket* pkt, double origin)
{
    (void)origin;
    int err = avcodec_send_packet(s.dec, pkt);
    if (err < 0 && err != AVERROR_EOF)
        fail("cannot decode the audio of '" + path_ + "'", err);
    auto sendChunks = [&](bool last) {
        const int size = s.enc->frame_size > 0 ? s.enc->frame_size : 1024;
        while (av_audio_fifo_size(s.fifo) >= size || (last && av_audio_fifo_size(s.fifo) > 0)) {
            const int n = std::min(size, av_audio_fifo_size(s.fifo));
            const bool pad = n < size && !(s.enc->codec->capabilities & (AV_CODEC_CAP_SMALL_LAST_FRAME |
                                                                         AV_CODEC_CAP_VARIABLE_FRAME_SIZE));
            av_frame_unref(s.chunk);
            s.chunk->nb_samples = pad ? size : n;
            s.chunk->format = s.enc->sample_fmt;
            s.chunk->sample_rate = s.enc->sample_rate;
            av_channel_layout_copy(&s.chunk->ch_layout, &s.enc->ch_layout);
            if (av_frame_get_buffer(s.chunk, 0) < 0)
                fail("out of memory for audio", AVERROR(ENOMEM));
            if (pad)
                av_samples_set_silence(s.chunk->data, 0, size, s.enc->ch_layout.nb_channels,
                                       s.enc->sample_fmt);
            av_audio_fifo_read(s.fifo, reinterpret_cast<void**>(s.chunk->data), n);
            s.chunk->pts = s.samplesOut;
            s.samplesOut += s.chunk->nb_samples;
            if ((err = avcodec_send_frame(s.enc, s.chunk)) < 0)
                fail("cannot encode audio", err);
            while ((err = avcodec_receive_packet(s.enc, s.packet)) == 0) {
                av_packet_rescale_ts(s.packet, s.enc->time_base, s.out->time_base);
                s.packet->stream_index = s.out->index;
                if ((err = av_interleaved_write_frame(out_, s.packet)) < 0)
                    fail("cannot write audio", err);
            }
        }
    };
    for (;;) {
        err = avcodec_receive_frame(s.dec, s.decoded);
        if (err == AVERROR(EAGAIN))
            break;
        const bool draining = err == AVERROR_EOF;
        if (err < 0 && !draining)
            fail("cannot decode the audio of '" + path_ + "'", err);
        av_frame_unref(s.converted);
        s.converted->format = s.enc->sample_fmt;
        s.converted->sample_rate = s.enc->sample_rate;
        av_channel_layout_copy(&s.converted->ch_layout, &s.enc->ch_layout);
        if ((err = swr_convert_frame(s.swr, s.converted, draining ? nullptr : s.decoded)) < 0)
            fail("cannot resample the audio of '" + path_ + "'", err);
        if (s.converted->nb_samples > 0)
            av_audio_fifo_write(s.fifo, reinterpret_cast<void**>(s.converted->data), s.converted->nb_samples);
        av_frame_unref(s.decoded);
        if (draining) {
            sendChunks(true);
            avcodec_send_frame(s.enc, nullptr);
            while ((err = avcodec_receive_packet(s.enc, s.packet)) == 0) {
                av_packet_rescale_ts(s.packet, s.enc->time_base, s.out->time_base);
                s.packet->stream_index = s.out->index;
                if ((err = av_interleaved_write_frame(out_, s.packet)) < 0)
                    fail("cannot write audio", err);
            }
            return;
        }
        sendChunks(false);
    }
}

void AudioCarry::pump(double origin, double until)
{
    while (readAhead()) {
        AVStream* in = in_->streams[next_->stream_index];
        const int64_t ts = next_->pts != AV_NOPTS_VALUE ? next_->pts : next_->dts;
        const double t = ts == AV_NOPTS_VALUE ? origin : ts * av_q2d(in->time_base) - videoStart_;
        if (t >= until && !(whole_ && until == kToTheEnd))
            return;
        haveNext_ = false;
        if (whole_ || t + 1e-6 >= origin) {
            for (auto& s : streams_)
                if (s->in == in) {
                    if (s->copy)
                        writePacket(*s, next_, origin);
                    else
                        encodeFrom(*s, next_, origin);
                }
        }
        av_packet_unref(next_);
    }
}

void AudioCarry::finish(double origin, double until)
{
    pump(origin, whole_ ? kToTheEnd : until);
    for (auto& s : streams_)
        if (!s->copy)
            encodeFrom(*s, nullptr, origin);
}

} // namespace media
