// What the layer asks a renderer to show: a picture of width x height pixels covering the
// world rectangle from (x1, y1) to (x2, y2). And the step that turns the map view's screen
// into such a request: clip the screen's world window to the image, snap it outward to
// whole cells, and keep the pixels that the clipped part covers.
#pragma once

#include <limits>
#include <optional>

struct PLKFileInfo;

struct XRVJP2kViewRequest {
    int width = 0;
    int height = 0;
    double x1 = std::numeric_limits<double>::quiet_NaN();
    double y1 = std::numeric_limits<double>::quiet_NaN();
    double x2 = std::numeric_limits<double>::quiet_NaN();
    double y2 = std::numeric_limits<double>::quiet_NaN();

    // The same world rectangle at a fraction of the size, each side truncated.
    XRVJP2kViewRequest scaled(double factor) const;
    bool hasSize() const { return width != 0 && height != 0; }
};

// Where the image's cells lie in the world: the corner of cell (0, 0), the size of a cell
// (negative downward for north-up images) and the number of cells.
struct XRVJP2kImageGrid {
    double originX = 0.0;
    double originY = 0.0;
    double cellX = 1.0;
    double cellY = 1.0;
    int columns = 0;
    int rows = 0;

    static XRVJP2kImageGrid of(const PLKFileInfo& info);
};

// A cell or pixel number from a coordinate, truncated toward zero and kept in int range so
// that a view far beyond the image cannot overflow; NaN gives 0.
int xrvTruncatedToInt(double value);

// The request for the part of the screen that shows the image, or nothing when the screen's
// window misses the image or the part left covers less than one pixel either way.
std::optional<XRVJP2kViewRequest> xrvClipAndSnap(const XRVJP2kImageGrid& image, const XRVJP2kViewRequest& screen);
