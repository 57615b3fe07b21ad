// Everything one pass of a view needs, copied when the pass starts, so that the application
// can change the view or its parameters while the pass runs.
#pragma once

#include <cstdint>
#include <vector>

#include "CMinMaxTransform.h"
#include "PLKTypes.h"
#include "view/ViewSettings.h"

namespace PLK {
namespace Engine {

struct BandTransform {
    bool active = false;
    API::CMinMaxTransform transform;
};

struct ViewSnapshot {
    uint64_t generation = 0;      ///< bumped by every SetView
    std::vector<uint32_t> bands;  ///< 1 to 4 band indices of the image
    uint32_t width = 0;
    uint32_t height = 0;
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;  ///< world top-left and bottom-right
    PLKResampleMethod resample = PLK_RESAMPLE_NEAREST;
    bool dither = false;  ///< the view's own dither switch or the configuration's
    bool autoscaleOpacity = false;
    uint32_t layers = 0;                    ///< 0 = all quality layers
    ViewSettings settings;                  ///< as configured when the view was set
    std::vector<BandTransform> transforms;  ///< one per band of the image

    /// Whether a frame made for `o` shows the same pixels as one made for this.
    bool samePixels(const ViewSnapshot& o) const
    {
        if (generation != o.generation || resample != o.resample || dither != o.dither ||
            autoscaleOpacity != o.autoscaleOpacity || layers != o.layers || transforms.size() != o.transforms.size())
            return false;
        for (size_t i = 0; i < transforms.size(); ++i) {
            const BandTransform& a = transforms[i];
            const BandTransform& b = o.transforms[i];
            if (a.active != b.active || (a.active && (a.transform.GetMin() != b.transform.GetMin() ||
                                                      a.transform.GetMax() != b.transform.GetMax())))
                return false;
        }
        return true;
    }
};

}  // namespace Engine
}  // namespace PLK
