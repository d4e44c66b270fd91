#include "cli/image_io.h"

#include "cli/commands.h"

#include <OpenImageIO/imageio.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace glfxcli {

namespace OIIO = OIIO_NAMESPACE;

Image readImage(const std::string& path)
{
    if (access(path.c_str(), R_OK) != 0)
        throw CommandError("cannot read image '" + path + "': " + std::strerror(errno));
    auto in = OIIO::ImageInput::open(path);
    if (!in) {
        std::string why = OIIO::geterror();
        throw CommandError("cannot read image '" + path + "': " + (why.empty() ? "unknown format" : why));
    }
    const OIIO::ImageSpec& info = in->spec();
    if (info.width <= 0 || info.height <= 0 || info.nchannels <= 0 || info.depth > 1)
        throw CommandError("image '" + path + "' is not a 2D image with pixels");
    Image img;
    img.width = info.width;
    img.height = info.height;
    const OIIO::TypeDesc::BASETYPE base = static_cast<OIIO::TypeDesc::BASETYPE>(info.format.basetype);
    if (base == OIIO::TypeDesc::HALF || base == OIIO::TypeDesc::FLOAT || base == OIIO::TypeDesc::DOUBLE)
        img.depth = 32;
    else if (base == OIIO::TypeDesc::UINT8 || base == OIIO::TypeDesc::INT8)
        img.depth = 8;
    else
        img.depth = 16;

    const int nch = info.nchannels;
    std::vector<float> raw(static_cast<size_t>(img.width) * img.height * nch);
    if (!in->read_image(0, 0, 0, nch, OIIO::TypeDesc::FLOAT, raw.data())) {
        std::string why = in->geterror();
        throw CommandError("cannot read image '" + path + "': " + (why.empty() ? "read error" : why));
    }
    // Which channel is alpha: the one the file names, else the fourth (or the
    // second of a grey+alpha image).
    int alpha = info.alpha_channel;
    if (alpha < 0 && (nch == 2 || nch >= 4))
        alpha = nch == 2 ? 1 : 3;
    const bool grey = nch < 3;
    const size_t n = static_cast<size_t>(img.width) * img.height;
    img.rgba.resize(n * 4);
    for (size_t i = 0; i < n; ++i) {
        const float* s = &raw[i * nch];
        float* d = &img.rgba[i * 4];
        d[0] = s[0];
        d[1] = grey ? s[0] : s[1];
        d[2] = grey ? s[0] : s[2];
        d[3] = alpha >= 0 ? s[alpha] : 1.0f;
    }
    return img;
}

namespace {

struct Plan {
    std::unique_ptr<OIIO::ImageOutput> out;
    OutputFormat format;
    OIIO::TypeDesc type;
};

// Formats known to store float, and 16-bit integer, pixels; any other format
// gets 8-bit pixels.
bool holdsFloat(const std::string& name)
{
    return name == "openexr" || name == "tiff" || name == "hdr" || name == "pfm";
}

bool holds16(const std::string& name)
{
    return name == "png" || name == "tiff" || name == "pnm" || name == "sgi";
}

Plan plan(const std::string& path, int depth)
{
    Plan p;
    p.out = OIIO::ImageOutput::create(path);
    if (!p.out) {
        std::string why = OIIO::geterror();
        throw CommandError("cannot write '" + path + "': no image format for its extension" +
                           (why.empty() ? "" : " (" + why + ")"));
    }
    const std::string name = p.out->format_name();
    p.format.formatName = name;
    p.format.alpha = p.out->supports("alpha");
    if (depth == 32 && holdsFloat(name))
        p.type = OIIO::TypeDesc::FLOAT;
    else if (depth >= 16 && name == "openexr")
        p.type = OIIO::TypeDesc::FLOAT; // 16-bit host values need more than half's 11 bits
    else if (depth >= 16 && holds16(name))
        p.type = OIIO::TypeDesc::UINT16;
    else
        p.type = OIIO::TypeDesc::UINT8;
    p.format.typeName = p.type.c_str();
    return p;
}

std::string directoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

OutputFormat checkOutput(const std::string& path, int depth)
{
    Plan p = plan(path, depth);
    const std::string dir = directoryOf(path);
    if (access(dir.c_str(), W_OK) != 0)
        throw CommandError("cannot write '" + path + "': directory '" + dir + "': " + std::strerror(errno));
    return p.format;
}

void writeImage(const std::string& path, int width, int height, const std::vector<float>& rgba, int depth)
{
    Plan p = plan(path, depth);
    const int nch = p.format.alpha ? 4 : 3;
    OIIO::ImageSpec info(width, height, nch, p.type);
    if (nch == 4)
        info.alpha_channel = 3;

    // The temporary file keeps the extension last, so that formats chosen by
    // name still recognise it; it sits in the target directory so that the
    // rename is atomic.
    const std::string dir = directoryOf(path);
    const size_t slash = path.rfind('/');
    const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = base.rfind('.');
    const std::string ext = dot == std::string::npos ? std::string() : base.substr(dot);
    const std::string tmp = dir + "/." + base + ".tmp" + std::to_string(getpid()) + ext;

    auto fail = [&](const std::string& why) {
        std::remove(tmp.c_str());
        throw CommandError("cannot write '" + path + "': " + why);
    };
    if (!p.out->open(tmp, info))
        fail(p.out->geterror());
    bool ok;
    if (nch == 4) {
        ok = p.out->write_image(OIIO::TypeDesc::FLOAT, rgba.data());
    } else {
        ok = p.out->write_image(OIIO::TypeDesc::FLOAT, rgba.data(), 4 * sizeof(float));
    }
    if (!ok) {
        std::string why = p.out->geterror();
        p.out->close();
        fail(why);
    }
    if (!p.out->close())
        fail(p.out->geterror());
    if (std::rename(tmp.c_str(), path.c_str()) != 0)
        fail(std::strerror(errno));
}

} // namespace glfxcli
