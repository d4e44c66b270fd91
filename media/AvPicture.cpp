#include "media/AvPicture.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace media {

// Lines from which an untagged stream is taken as high definition.
constexpr int kHdLines = 720;

bool planarLayout(AVPixelFormat format, PlanarPicture& p)
{
    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
    if (!d || !(d->flags & AV_PIX_FMT_FLAG_PLANAR) || d->nb_components < 3)
        return false;
    const uint64_t bad = AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                         AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER;
    if (d->flags & bad)
        return false;
    const int bits = d->comp[0].depth;
    if (bits < 8 || bits > 16)
        return false;
    const int wantStep = bits > 8 ? 2 : 1;
    const bool rgb = d->flags & AV_PIX_FMT_FLAG_RGB;
    // Planes Y, Cb, Cr, A; for G, B, R formats the components R, G, B, A sit
    // in planes 2, 0, 1, 3. One sample a step, no packing.
    static const int kRgbPlane[4] = {2, 0, 1, 3};
    for (int i = 0; i < d->nb_components; ++i) {
        const AVComponentDescriptor& c = d->comp[i];
        const int plane = rgb ? kRgbPlane[i] : i;
        if (c.depth != bits || c.shift != 0 || c.offset != 0 || c.step != wantStep || c.plane != plane)
            return false;
    }
    p.bits = bits;
    p.log2ChromaW = d->log2_chroma_w;
    p.log2ChromaH = d->log2_chroma_h;
    p.rgb = rgb;
    p.alpha = d->nb_components == 4;
    return true;
}

AVColorSpace settledColorSpace(AVColorSpace space, int height)
{
    switch (space) {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_SMPTE240M:
    case AVCOL_SPC_FCC:
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
    case AVCOL_SPC_RGB: return space;
    default: return height >= kHdLines ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    }
}

Matrix matrixFor(AVColorSpace space, int height)
{
    switch (settledColorSpace(space, height)) {
    case AVCOL_SPC_BT709: return kBt709;
    case AVCOL_SPC_SMPTE240M: return kSmpte240;
    case AVCOL_SPC_FCC: return kFcc;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL: return kBt2020;
    default: return kBt601;
    }
}

PlanarPicture pictureOf(const AVFrame* frame, bool centreDefault)
{
    PlanarPicture p;
    const AVPixelFormat format = static_cast<AVPixelFormat>(frame->format);
    planarLayout(format, p);
    for (int i = 0; i < 4; ++i) {
        p.data[i] = frame->data[i];
        p.linesize[i] = frame->linesize[i];
    }
    p.width = frame->width;
    p.height = frame->height;
    p.matrix = matrixFor(frame->colorspace, frame->height);
    const bool jpegFormat = format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P ||
                            format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
                            format == AV_PIX_FMT_YUVJ411P;
    p.fullRange = frame->color_range == AVCOL_RANGE_JPEG ||
                  (frame->color_range == AVCOL_RANGE_UNSPECIFIED && jpegFormat);
    switch (frame->chroma_location) {
    case AVCHROMA_LOC_LEFT:
        p.sitingX = Siting::CoSited;
        p.sitingY = Siting::Centre;
        break;
    case AVCHROMA_LOC_CENTER:
        p.sitingX = Siting::Centre;
        p.sitingY = Siting::Centre;
        break;
    case AVCHROMA_LOC_TOPLEFT:
        p.sitingX = Siting::CoSited;
        p.sitingY = Siting::CoSited;
        break;
    case AVCHROMA_LOC_TOP:
        p.sitingX = Siting::Centre;
        p.sitingY = Siting::CoSited;
        break;
    case AVCHROMA_LOC_BOTTOMLEFT:
        p.sitingX = Siting::CoSited;
        p.sitingY = Siting::Centre;
        break;
    case AVCHROMA_LOC_BOTTOM:
        p.sitingX = Siting::Centre;
        p.sitingY = Siting::Centre;
        break;
    default:
        p.sitingX = centreDefault || jpegFormat ? Siting::Centre : Siting::CoSited;
        p.sitingY = Siting::Centre;
        break;
    }
    return p;
}

} // namespace media
