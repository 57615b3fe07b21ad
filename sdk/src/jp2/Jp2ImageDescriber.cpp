#include "jp2/Jp2ImageDescriber.h"

#include <algorithm>
#include <cmath>

#include "color/IccTransform.h"

namespace PLK {
namespace Engine {

namespace {

CError damaged(const std::string& detail)
{
    return CError(PLK_ERROR_CORRUPT_CODESTREAM, detail);
}

// Without a colour box we guess from the number of colour channels, as viewers do.
Jp2Colour effectiveColour(Jp2Colour declared, size_t colourChannels)
{
    if (declared != Jp2Colour::Unknown) return declared;
    if (colourChannels >= 3) return Jp2Colour::SRGB;
    if (colourChannels == 1) return Jp2Colour::Greyscale;
    return Jp2Colour::Unknown;
}

PLKColorSpace colorSpaceOf(Jp2Colour colour)
{
    switch (colour) {
        case Jp2Colour::SRGB:
            return PLK_COLOR_SRGB;
        case Jp2Colour::SYCC:
        case Jp2Colour::ESYCC:
            return PLK_COLOR_YCBCR;
        case Jp2Colour::Greyscale:
            return PLK_COLOR_GREYSCALE;
        default:
            return PLK_COLOR_MULTIBAND;
    }
}

}  // namespace

CError Jp2ImageDescriber::channels(const Jp2Boxes& boxes, const CodestreamHeader& header, std::vector<Jp2Channel>& out)
{
    out.clear();
    const size_t components = header.components.size();
    if (boxes.channelMap.empty()) {
        // A palette without a component mapping is read as other decoders read it: every
        // palette column indexed by the first component, then the other components as they are.
        for (size_t col = 0; col < boxes.palette.bits.size() && boxes.palette.entries; ++col)
            out.push_back({0, static_cast<int>(col)});
        for (size_t i = out.empty() ? 0 : 1; i < components; ++i) out.push_back({static_cast<uint16_t>(i), -1});
        return {};
    }
    for (const Jp2Channel& channel : boxes.channelMap) {
        if (channel.component >= components)
            return damaged("the component mapping names component " + std::to_string(channel.component) +
                           ", which does not exist");
        if (channel.paletteColumn >= static_cast<int>(boxes.palette.bits.size()))
            return damaged("the component mapping names a palette column that does not exist");
    }
    out = boxes.channelMap;
    return {};
}

ImageDescription Jp2ImageDescriber::describe(const Jp2Boxes& boxes, const CodestreamHeader& header,
                                             const std::vector<Jp2Channel>& channels)
{
    ImageDescription d;
    d.fileType = PLK_FILE_JPEG2000;
    d.width = header.xsiz - header.xosiz;
    d.height = header.ysiz - header.yosiz;
    describeBands(boxes, header, channels, d);
    describeColour(boxes, d);
    d.cellType = cellType(d.bands);
    d.formatVersion = 1;
    d.targetCompressionRate = compressionRate(header, boxes.codestreamLength);
    d.xmlBoxes = boxes.xmlBoxes;
    d.hasGeoJp2 = boxes.hasGeoJp2;
    d.hasGml = boxes.hasGml;
    d.jp2 = codestreamMetadata(header, boxes.hasGml);
    return d;
}

void Jp2ImageDescriber::describeBands(const Jp2Boxes& boxes, const CodestreamHeader& header,
                                      const std::vector<Jp2Channel>& channels, ImageDescription& d)
{
    for (const Jp2Channel& channel : channels) {
        const CodestreamComponent& comp = header.components[channel.component];
        BandLayout band;
        band.bits = channel.paletteColumn >= 0 ? boxes.palette.bits[channel.paletteColumn] : comp.bits;
        band.isSigned =
            channel.paletteColumn >= 0 ? bool(boxes.palette.isSigned[channel.paletteColumn]) : comp.isSigned;
        band.dx = comp.dx;
        band.dy = comp.dy;
        d.bands.push_back(band);
    }
    nameBands(boxes, d);
}

void Jp2ImageDescriber::nameBands(const Jp2Boxes& boxes, ImageDescription& d)
{
    const size_t count = d.bands.size();
    std::vector<bool> opacity(count, false);
    std::vector<int> association(count, 0);  // 1-based colour a channel carries, 0 when not said
    for (const Jp2ChannelDefinition& def : boxes.channelDefinitions) {
        if (def.channel >= count) continue;
        if (def.type == 1 || def.type == 2)
            opacity[def.channel] = true;
        else if (def.type == 0 && def.assoc >= 1 && def.assoc <= 3)
            association[def.channel] = def.assoc;
    }
    const size_t colourChannels = static_cast<size_t>(std::count(opacity.begin(), opacity.end(), false));
    const Jp2Colour colour = effectiveColour(boxes.colour, colourChannels);
    d.colorSpace = colorSpaceOf(colour);
    static const char* const rgb[] = {"Red", "Green", "Blue"};
    int nthColour = 0;
    std::vector<uint32_t> byColour(count, UINT32_MAX);  // the band carrying each colour
    for (size_t i = 0; i < count; ++i) {
        std::string& name = d.bands[i].description;
        if (opacity[i]) {
            name = "AllOpacity";
            if (d.alphaBand < 0) d.alphaBand = static_cast<int>(i);
            continue;
        }
        const int which = association[i] ? association[i] - 1 : nthColour;
        ++nthColour;
        if (which < static_cast<int>(count) && byColour[which] == UINT32_MAX) byColour[which] = uint32_t(i);
        if ((colour == Jp2Colour::SRGB || colour == Jp2Colour::SYCC || colour == Jp2Colour::ESYCC) && which < 3)
            name = rgb[which];
        else if (colour == Jp2Colour::Greyscale && which == 0)
            name = "Grayscale";
        else
            name = "Band " + std::to_string(i + 1);
    }
    for (uint32_t band : byColour) {
        if (band == UINT32_MAX) break;
        d.colour.bands.push_back(band);
    }
}

void Jp2ImageDescriber::describeColour(const Jp2Boxes& boxes, ImageDescription& d)
{
    ColourEncoding& e = d.colour;
    using Kind = ColourEncoding::Kind;
    switch (boxes.colour) {
        case Jp2Colour::SYCC:
            e.kind = Kind::SYCC;
            break;
        case Jp2Colour::ESYCC:
            e.kind = Kind::ESYCC;
            break;
        case Jp2Colour::CMYK:
            e.kind = Kind::CMYK;
            break;
        case Jp2Colour::CIELab:
            e.kind = Kind::CIELab;
            e.labRanges = boxes.labRanges;
            e.icc = IccTransform::fromLab(&e.notApplied);
            break;
        case Jp2Colour::SRGB:
        case Jp2Colour::Greyscale:
            if (!boxes.iccProfile.empty() && !e.bands.empty()) {
                e.kind = Kind::Icc;
                e.icc = IccTransform::fromProfile(boxes.iccProfile, d.bands[e.bands[0]].bits, &e.notApplied);
            }
            break;
        default:
            break;
    }
    // Three components with full-resolution luma and chroma halved across (4:2:2) or both ways
    // (4:2:0) are luma and chroma whatever the colour box says: encoders sub-sample only
    // chroma, and other viewers convert such files too.
    if (e.kind == Kind::None && e.bands.size() == 3) {
        const BandLayout &y = d.bands[e.bands[0]], &cb = d.bands[e.bands[1]], &cr = d.bands[e.bands[2]];
        if (y.dx == 1 && y.dy == 1 && cb.dx == 2 && cr.dx == 2 && cb.dy == cr.dy && cb.dy <= 2) e.kind = Kind::SYCC;
    }
    if (!e.notApplied.empty()) e.kind = Kind::None;
}

PLKCellType Jp2ImageDescriber::cellType(const std::vector<BandLayout>& bands)
{
    uint32_t bits = 1;
    bool isSigned = false;
    for (const BandLayout& band : bands) {
        bits = std::max<uint32_t>(bits, band.bits);
        isSigned = isSigned || band.isSigned;
    }
    if (bits <= 8) return isSigned ? PLK_CELL_INT8 : PLK_CELL_UINT8;
    if (bits <= 16) return isSigned ? PLK_CELL_INT16 : PLK_CELL_UINT16;
    return isSigned ? PLK_CELL_INT32 : PLK_CELL_UINT32;
}

ViewMetadata::ViewMetadataJp2 Jp2ImageDescriber::codestreamMetadata(const CodestreamHeader& header, bool hasGml)
{
    ViewMetadata::ViewMetadataJp2 m;
    m.m_profile = header.rsiz <= 2 ? header.rsiz : 3;
    m.m_comments = header.comment;
    m.m_tiles = {header.tilesAcross, header.tilesDown};
    m.m_tileSize = {header.xtsiz, header.ytsiz};
    for (const auto& exps : header.precinctExps) m.m_precincts.push_back({1u << exps.first, 1u << exps.second});
    m.m_codeBlock = {1u << header.codeBlockWidthExp, 1u << header.codeBlockHeightExp};
    for (const CodestreamComponent& comp : header.components) m.m_bitDepths.push_back(comp.bits);
    m.m_levels = static_cast<int>(header.minResolutions());
    m.m_layers = header.layers;
    m.m_progression = header.progression;
    m.m_transformation = header.transform;
    m.m_sop = header.sop;
    m.m_eph = header.eph;
    m.m_gml = hasGml;
    return m;
}

// The rate the encoder aimed at: what the components would take uncompressed, in whole bytes
// per cell, over the size of the code-stream.
uint16_t Jp2ImageDescriber::compressionRate(const CodestreamHeader& header, uint64_t codestreamBytes)
{
    if (codestreamBytes == 0) return 0;
    double raw = 0;
    for (const CodestreamComponent& comp : header.components) {
        const double w = std::ceil(double(header.xsiz) / comp.dx) - std::ceil(double(header.xosiz) / comp.dx);
        const double h = std::ceil(double(header.ysiz) / comp.dy) - std::ceil(double(header.yosiz) / comp.dy);
        raw += w * h * ((comp.bits + 7) / 8);
    }
    return static_cast<uint16_t>(std::min(65535.0, std::round(raw / double(codestreamBytes))));
}

}  // namespace Engine
}  // namespace PLK
