// Writes the sample (the same landscape, georeferencing, RPC and XML as the JPEG 2000 one) as
// an XRV file, through the engine's own XRV writer, strip by strip.
#pragma once

#include <optional>
#include <string>

#include "Georeference.h"
#include "RasterFormat.h"

struct XrvSampleContent {
    RasterFormat format;
    std::optional<Georeference> georeference;
    std::string xml;
    int threads = 1;
};

/// Writes `path`; throws std::runtime_error when it cannot. Returns a one-line summary.
std::string writeXrvSample(const std::string& path, const XrvSampleContent& content);
