#include "media/ImageFile.h"

#include "media/MediaError.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <unistd.h>

namespace media {

namespace OIIO = OIIO_NAMESPACE;

namespace {

constexpr int kMax16File = 65535;
// PNG writer settings for PngSpeed::kFast: zlib level 1, and libpng's
// PNG_FILTER_NONE (rows stored as they are).
constexpr int kFastPngLevel = 1;
constexpr int kPngFilterNone = 0x08;

std::unique_ptr<OIIO::ImageInput> openInput(const std::string& path)
{
    if (access(path.c_str(), R_OK) != 0)
        throw MediaError("cannot read image '" + path + "': " + std::strerror(errno));
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto in = OIIO::ImageInput::open(path, &config);
    if (!in) {
        const std::string why = OIIO::geterror();
        throw MediaError("cannot read image '" + path + "': " + (why.empty() ? "unknown format" : why));
    }
    return in;
}

ImageHeader headerOf(const std::string& path, const OIIO::ImageSpec& s)
{
    if (s.width <= 0 || s.height <= 0 || s.nchannels <= 0 || s.depth > 1)
        throw MediaError("image '" + path + "' is not a 2D image with pixels");
    if (s.width > kMaxSide || s.height > kMaxSide || frameBytes(s.width, s.height, kDepth32) > kMaxFrameBytes)
        throw MediaError("image '" + path + "' is " + std::to_string(s.width) + "x" +
                         std::to_string(s.height) + ", over the limit of " + std::to_string(kMaxSide) +
                         " a side");
    ImageHeader h;
    h.width = s.width;
    h.height = s.height;
    const auto base = OIIO::TypeDesc::BASETYPE(s.format.basetype);
    if (base == OIIO::TypeDesc::HALF || base == OIIO::TypeDesc::FLOAT || base == OIIO::TypeDesc::DOUBLE)
        h.depth = kDepth32;
    else if (base == OIIO::TypeDesc::UINT8 || base == OIIO::TypeDesc::INT8)
        h.depth = kDepth8;
    else
        h.depth = kDepth16;
    h.alpha = s.alpha_channel >= 0 || s.nchannels == 2 || s.nchannels >= 4;
    return h;
}

// Places one file sample (in the read type for the frame's depth) in a frame.
inline void put(uint8_t* px, int slot, int depth, const void* samples, size_t i)
{
    if (depth == kDepth8) {
        px[slot] = static_cast<const uint8_t*>(samples)[i];
    } else if (depth == kDepth16) {
        const uint32_t v = static_cast<const uint16_t*>(samples)[i];
        reinterpret_cast<uint16_t*>(px)[slot] = uint16_t((v * kWhite16 + kMax16File / 2) / kMax16File);
    } else {
        reinterpret_cast<float*>(px)[slot] = static_cast<const float*>(samples)[i];
    }
}

bool holdsFloat(const std::string& name)
{
    return name == "openexr" || name == "tiff" || name == "hdr" || name == "pfm";
}

bool holds16(const std::string& name)
{
    return name == "png" || name == "tiff" || name == "pnm" || name == "sgi";
}

} // namespace

ImageHeader readImageHeader(const std::string& path)
{
    auto in = openInput(path);
    return headerOf(path, in->spec());
}

void readImage(const std::string& path, const FrameView& to)
{
    auto in = openInput(path);
    const OIIO::ImageSpec& s = in->spec();
    const ImageHeader h = headerOf(path, s);
    if (h.width != to.width || h.height != to.height)
        throw MediaError("image '" + path + "' is " + std::to_string(h.width) + "x" +
                         std::to_string(h.height) + ", not " + std::to_string(to.width) + "x" +
                         std::to_string(to.height) + " as the frames before it");
    const int nch = s.nchannels;
    const OIIO::TypeDesc type = to.depth == kDepth8    ? OIIO::TypeDesc::UINT8
                                : to.depth == kDepth16 ? OIIO::TypeDesc::UINT16
                                                       : OIIO::TypeDesc::FLOAT;
    const size_t n = size_t(h.width) * h.height;
    std::vector<uint8_t> raw(n * nch * type.size());
    if (!in->read_image(0, 0, 0, nch, type, raw.data())) {
        const std::string why = in->geterror();
        throw MediaError("cannot read image '" + path + "': " + (why.empty() ? "read error" : why));
    }
    int alpha = s.alpha_channel;
    if (alpha < 0 && (nch == 2 || nch >= 4))
        alpha = nch == 2 ? 1 : 3;
    const bool grey = nch < 3;
    const int ps = pixelSize(to.depth);
    const int rs = to.redSlot(), gs = to.greenSlot(), bs = to.blueSlot(), as = to.alphaSlot();
    for (int y = 0; y < h.height; ++y) {
        uint8_t* row = to.row(y);
        for (int x = 0; x < h.width; ++x) {
            const size_t i = (size_t(y) * h.width + x) * nch;
            uint8_t* px = row + x * ps;
            put(px, rs, to.depth, raw.data(), i);
            put(px, gs, to.depth, raw.data(), grey ? i : i + 1);
            put(px, bs, to.depth, raw.data(), grey ? i : i + 2);
            if (alpha >= 0) {
                put(px, as, to.depth, raw.data(), i + alpha);
            } else if (to.depth == kDepth8) {
                px[as] = 255;
            } else if (to.depth == kDepth16) {
                reinterpret_cast<uint16_t*>(px)[as] = kWhite16;
            } else {
                reinterpret_cast<float*>(px)[as] = 1.0f;
            }
        }
    }
}

ImagePlan planImage(const std::string& path, int depth)
{
    const std::string named = path == "-" ? std::string("out.png") : path;
    auto out = OIIO::ImageOutput::create(named);
    if (!out) {
        const std::string why = OIIO::geterror();
        throw MediaError("cannot write '" + path + "': no image format for its extension" +
                         (why.empty() ? "" : " (" + why + ")"));
    }
    ImagePlan p;
    p.formatName = out->format_name();
    p.alpha = out->supports("alpha");
    if (depth == kDepth32 && holdsFloat(p.formatName))
        p.typeName = "float";
    else if (depth >= kDepth16 && p.formatName == "openexr")
        p.typeName = "float"; // 16-bit world values need more than half's 11 bits
    else if (depth >= kDepth16 && holds16(p.formatName))
        p.typeName = "uint16";
    else
        p.typeName = "uint8";
    return p;
}

std::vector<unsigned char> encodeImage(const std::string& path, const FrameView& from, PngSpeed speed)
{
    const ImagePlan plan = planImage(path, from.depth);
    const std::string named = path == "-" ? std::string("out.png") : path;
    auto out = OIIO::ImageOutput::create(named);
    if (!out || !out->supports("ioproxy"))
        throw MediaError("cannot write '" + path + "': the " + plan.formatName +
                         " writer cannot write to memory");
    const OIIO::TypeDesc type(plan.typeName);
    const int nch = plan.alpha ? 4 : 3;
    OIIO::ImageSpec layout(from.width, from.height, nch, type);
    if (nch == 4) {
        layout.alpha_channel = 3;
        layout.attribute("oiio:UnassociatedAlpha", 1);
    }
    if (speed == PngSpeed::kFast && plan.formatName == "png") {
        layout.attribute("png:compressionLevel", kFastPngLevel);
        layout.attribute("png:filter", kPngFilterNone);
    }
    // Packed samples in the file's type, converted from the world's integers
    // directly (8-bit as is, 16-bit 0..32768 to the file's range).
    const size_t n = size_t(from.width) * from.height;
    std::vector<uint8_t> packed(n * nch * type.size());
    const int slots[4] = {from.redSlot(), from.greenSlot(), from.blueSlot(), from.alphaSlot()};
    const int ps = pixelSize(from.depth);
    if (from.depth == kDepth8 && type == OIIO::TypeDesc::UINT8) {
        // 8-bit worlds into 8-bit files: the bytes as they are, reordered.
        for (int y = 0; y < from.height; ++y) {
            const uint8_t* row = from.row(y);
            uint8_t* out = &packed[size_t(y) * from.width * nch];
            for (int x = 0; x < from.width; ++x)
                for (int c = 0; c < nch; ++c)
                    out[x * nch + c] = row[x * 4 + slots[c]];
        }
    } else {
        for (int y = 0; y < from.height; ++y) {
            const uint8_t* row = from.row(y);
            for (int x = 0; x < from.width; ++x) {
                const uint8_t* px = row + x * ps;
                const size_t i = (size_t(y) * from.width + x) * nch;
                for (int c = 0; c < nch; ++c) {
                    float v; // normalised, for the conversions that need it
                    if (from.depth == kDepth8)
                        v = px[slots[c]] / 255.0f;
                    else if (from.depth == kDepth16)
                        v = reinterpret_cast<const uint16_t*>(px)[slots[c]] / float(kWhite16);
                    else
                        v = reinterpret_cast<const float*>(px)[slots[c]];
                    if (type == OIIO::TypeDesc::UINT8) {
                        packed[i + c] = from.depth == kDepth8
                                            ? px[slots[c]]
                                            : uint8_t(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
                    } else if (type == OIIO::TypeDesc::UINT16) {
                        const uint32_t w =
                            from.depth == kDepth16
                                ? (uint32_t(reinterpret_cast<const uint16_t*>(px)[slots[c]]) * kMax16File +
                                   kWhite16 / 2) /
                                      kWhite16
                                : uint32_t(std::lround(std::clamp(v, 0.0f, 1.0f) * kMax16File));
                        reinterpret_cast<uint16_t*>(packed.data())[i + c] =
                            uint16_t(std::min<uint32_t>(w, 65535));
                    } else {
                        reinterpret_cast<float*>(packed.data())[i + c] = v;
                    }
                }
            }
        }
    }
    std::vector<unsigned char> bytes;
    OIIO::Filesystem::IOVecOutput proxy(bytes);
    out->set_ioproxy(&proxy);
    if (!out->open(named, layout) || !out->write_image(type, packed.data()) || !out->close()) {
        const std::string why = out->geterror();
        throw MediaError("cannot write '" + path + "': " + (why.empty() ? "encoding failed" : why));
    }
    return bytes;
}

} // namespace media
