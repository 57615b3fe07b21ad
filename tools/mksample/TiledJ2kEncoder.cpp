#include "TiledJ2kEncoder.h"

#include <openjpeg.h>

#include <algorithm>
#include <future>
#include <stdexcept>

namespace {

void collectMessage(const char* msg, void* client)
{
    auto* text = static_cast<std::string*>(client);
    if (text->empty()) *text = msg;
    while (!text->empty() && (text->back() == '\n' || text->back() == ' ')) text->pop_back();
}

OPJ_PROG_ORDER progressionOrder(const std::string& name)
{
    if (name == "LRCP") return OPJ_LRCP;
    if (name == "RLCP") return OPJ_RLCP;
    if (name == "RPCL") return OPJ_RPCL;
    if (name == "PCRL") return OPJ_PCRL;
    if (name == "CPRL") return OPJ_CPRL;
    return OPJ_PROG_UNKNOWN;
}

struct TileRect {
    int x0, y0, w, h;
};

TileRect tileRect(int index, int tileSize, const RasterFormat& f)
{
    const int across = (f.width + tileSize - 1) / tileSize;
    const int x0 = (index % across) * tileSize, y0 = (index / across) * tileSize;
    return {x0, y0, std::min(tileSize, f.width - x0), std::min(tileSize, f.height - y0)};
}

}  // namespace

// Owns the OpenJPEG objects of one encode run and frees them in any case.
struct TiledJ2kEncoder::Session {
    opj_codec_t* codec = nullptr;
    opj_image_t* image = nullptr;
    opj_stream_t* stream = nullptr;
    std::string error;

    ~Session()
    {
        if (stream) opj_stream_destroy(stream);
        if (codec) opj_destroy_codec(codec);
        if (image) opj_image_destroy(image);
    }

    [[noreturn]] void fail(const std::string& what) const
    {
        throw std::runtime_error(what + (error.empty() ? "" : ": " + error));
    }
};

TiledJ2kEncoder::TiledJ2kEncoder(const RasterFormat& format, const J2kCodingParameters& coding)
    : m_format(format), m_coding(coding)
{}

bool TiledJ2kEncoder::isProgressionName(const std::string& name)
{
    return progressionOrder(name) != OPJ_PROG_UNKNOWN;
}

std::vector<float> TiledJ2kEncoder::layerRates() const
{
    std::vector<float> rates(m_coding.layers);
    double r = m_coding.rate;
    for (int i = m_coding.layers - 1; i >= 0; --i, r *= 2) rates[i] = static_cast<float>(r);
    return rates;
}

void TiledJ2kEncoder::configure(Session& s) const
{
    opj_cparameters_t p;
    opj_set_default_encoder_parameters(&p);
    p.tcp_numlayers = m_coding.layers;
    const std::vector<float> rates = layerRates();
    for (int i = 0; i < m_coding.layers; ++i) p.tcp_rates[i] = rates[i];
    p.cp_disto_alloc = 1;
    p.cp_tdx = p.cp_tdy = m_coding.tileSize;
    p.tile_size_on = OPJ_TRUE;
    p.numresolution = m_coding.levels;
    p.prog_order = progressionOrder(m_coding.progression);
    p.tp_on = 1;
    p.tp_flag = 'R';
    p.cblockw_init = p.cblockh_init = 64;
    p.irreversible = 1;
    // The colour transform decorrelates RGB (and leaves an opacity band alone).
    p.tcp_mct = m_format.bands >= 3 ? 1 : 0;
    std::string comment = m_coding.comment;
    p.cp_comment = comment.empty() ? nullptr : &comment[0];
    if (!opj_setup_encoder(s.codec, &p, s.image)) s.fail("cannot set up the JPEG 2000 encoder");
    // TLM says where every tile-part lies and PLT how long every packet is, so a reader over
    // a network finds the bytes of a tile's coarse resolutions without reading the rest.
    const char* const markers[] = {"TLM=YES", "PLT=YES", nullptr};
    if (!opj_encoder_set_extra_options(s.codec, markers)) s.fail("cannot ask for TLM and PLT markers");
    if (m_coding.threads > 1) opj_codec_set_threads(s.codec, m_coding.threads);
}

void TiledJ2kEncoder::writeTiles(Session& s, const TileSource& source) const
{
    const int across = (m_format.width + m_coding.tileSize - 1) / m_coding.tileSize;
    const int down = (m_format.height + m_coding.tileSize - 1) / m_coding.tileSize;
    const int count = across * down;
    auto render = [&](int index) {
        const TileRect r = tileRect(index, m_coding.tileSize, m_format);
        std::vector<uint8_t> data;
        source(r.x0, r.y0, r.w, r.h, data);
        return data;
    };
    // The next tile is rendered while OpenJPEG compresses the current one: the
    // encoder's own threads only cover part of its work, this keeps both cores busy.
    std::vector<uint8_t> current = render(0);
    for (int index = 0; index < count; ++index) {
        std::future<std::vector<uint8_t>> next;
        if (index + 1 < count) next = std::async(std::launch::async, render, index + 1);
        if (!opj_write_tile(s.codec, static_cast<OPJ_UINT32>(index), current.data(),
                            static_cast<OPJ_UINT32>(current.size()), s.stream))
            s.fail("cannot compress tile " + std::to_string(index));
        if (next.valid()) current = next.get();
    }
}

void TiledJ2kEncoder::encode(const std::string& path, const TileSource& source) const
{
    if (!isProgressionName(m_coding.progression))
        throw std::runtime_error("unknown progression order " + m_coding.progression);
    Session s;
    std::vector<opj_image_cmptparm_t> comps(m_format.bands);
    for (opj_image_cmptparm_t& c : comps) {
        c = opj_image_cmptparm_t{};
        c.dx = c.dy = 1;
        c.w = static_cast<OPJ_UINT32>(m_format.width);
        c.h = static_cast<OPJ_UINT32>(m_format.height);
        c.prec = static_cast<OPJ_UINT32>(m_format.bits);
        c.sgnd = 0;
    }
    const OPJ_COLOR_SPACE space = m_format.bands >= 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY;
    // Tile images carry no sample buffers: the samples come tile by tile through opj_write_tile.
    s.image = opj_image_tile_create(static_cast<OPJ_UINT32>(m_format.bands), comps.data(), space);
    if (!s.image) s.fail("cannot create the image header");
    s.image->x0 = s.image->y0 = 0;
    s.image->x1 = static_cast<OPJ_UINT32>(m_format.width);
    s.image->y1 = static_cast<OPJ_UINT32>(m_format.height);
    if (m_format.bands == 4) s.image->comps[3].alpha = 1;

    s.codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_set_error_handler(s.codec, collectMessage, &s.error);
    configure(s);
    s.stream = opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE);
    if (!s.stream) s.fail("cannot create " + path);
    if (!opj_start_compress(s.codec, s.image, s.stream)) s.fail("cannot start compressing");
    writeTiles(s, source);
    if (!opj_end_compress(s.codec, s.stream)) s.fail("cannot finish the code-stream");
}
