#pragma once

#include <optional>
#include <string>

#include <gdal.h>

#include "Georeference.h"
#include "RasterFormat.h"

// What goes into the JP2 file around the code-stream.
struct Jp2Content {
    RasterFormat format;
    std::optional<Georeference> georeference;  // none: no GeoJP2, GMLJP2 or RPC
    std::string xmlBox;                        // a descriptive XML document; empty for none
};

// Wraps a finished code-stream into a JP2 file with GDAL, without decoding or
// re-encoding it: the code-stream is copied byte for byte, so its tiles, tile-parts,
// layers and progression stay as the encoder made them.
//
// GDAL builds the JP2 header and the metadata boxes from a virtual dataset that carries
// the colour interpretation, the georeferencing (written both as GeoJP2 and GMLJP2),
// the RPC model and the XML document.
class Jp2Wrapper {
public:
    // Checks the coordinate system and works out the RPC model at once, so a bad
    // --epsg fails before any time is spent on encoding. Throws std::runtime_error.
    explicit Jp2Wrapper(Jp2Content content);

    // Throws std::runtime_error with GDAL's message when anything fails.
    void wrap(const std::string& codestreamPath, const std::string& jp2Path) const;

private:
    void describe(GDALDatasetH vrt) const;
    void describeBands(GDALDatasetH vrt) const;
    void describeGeoreference(GDALDatasetH vrt, const Georeference& g) const;
    void writeJp2(GDALDatasetH vrt, const std::string& jp2Path) const;
    void checkJp2(const std::string& jp2Path) const;

    Jp2Content m_content;
    GDALRPCInfoV2 m_rpc{};
};
