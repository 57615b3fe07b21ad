#pragma once

#include <gdal.h>

#include "Georeference.h"

// A plausible rational polynomial camera model for the sample, so viewers have RPC data
// to show and test against: offsets and scales match the image's footprint, line and
// sample are linear in longitude and latitude, with a small height (parallax) term and
// denominators of 1 plus small terms.
class RpcModel {
public:
    // Throws std::runtime_error if the coordinate system cannot be taken to WGS 84.
    static GDALRPCInfoV2 forImage(const Georeference& g, int width, int height);

private:
    struct Footprint;

    static Footprint footprint(const Georeference& g, int width, int height);
    static void setLinearTerms(GDALRPCInfoV2& rpc, const Footprint& f);
    static void setPerturbations(GDALRPCInfoV2& rpc);
};
