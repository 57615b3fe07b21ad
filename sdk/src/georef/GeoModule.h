// Everything the engine asks of GDAL, behind one interface. GDAL (with PROJ and its ~100
// libraries beneath) costs tens of milliseconds to load and start, more than rendering a screen
// of pixels, and a render needs none of it unless it asks where the image lies. So the GDAL
// users live in a module of their own, libxrv60geo, loaded from beside libxrv60 the first time
// georeferencing is read.
#pragma once

#include <memory>
#include <string>

#include "CError.h"
#include "PLKTypes.h"
#include "georef/Georeferencing.h"
#include "io/ByteSource.h"

namespace PLK {
namespace Engine {

class GeoModule {
public:
    virtual ~GeoModule() = default;

    /// An image's georeferencing read from its boxes or its world file; `localPath` is empty for
    /// streams. Never fails: an image GDAL cannot place reads as not georeferenced.
    virtual Georeferencing read(const std::shared_ptr<ByteSource>& source, const std::string& localPath,
                                PLKProjectionFormat format) = 0;

    /// Describes the coordinate reference system given as WKT (or, failing that, by the EPSG code
    /// in `out`) into `out`: EPSG code, WKT, units, datum and projection. A code or units the
    /// system does not give keep what `out` held.
    virtual void describeCrs(PLKProjectionFormat format, Georeferencing& out) = 0;

    /// The module, loaded on the first call (thread-safe); null, with `error` saying why, when it
    /// cannot be loaded.
    static GeoModule* instance(CError* error = nullptr);

    /// Loads the module now when GDAL is in the process already (the host uses it): GDAL's table
    /// of file handlers has no lock, so ours is best added while the engine starts.
    static void loadIfGdalPresent();
};

}  // namespace Engine
}  // namespace PLK

/// The module's one entry point, looked up by the engine with dlsym.
extern "C" PLK::Engine::GeoModule* xrv60geoModule();
