#include "XRVJP2kViewRequest.h"

#include "xrv60.h"

#include <climits>
#include <cmath>

int xrvTruncatedToInt(double value)
{
    if (std::isnan(value)) return 0;
    if (value <= double(INT_MIN)) return INT_MIN;
    if (value >= double(INT_MAX)) return INT_MAX;
    return static_cast<int>(value);
}

XRVJP2kViewRequest XRVJP2kViewRequest::scaled(double factor) const
{
    XRVJP2kViewRequest smaller = *this;
    smaller.width = xrvTruncatedToInt(width * factor);
    smaller.height = xrvTruncatedToInt(height * factor);
    return smaller;
}

XRVJP2kImageGrid XRVJP2kImageGrid::of(const PLKFileInfo& info)
{
    return {info.fOriginX,        info.fOriginY,    info.fCellIncrementX,
            info.fCellIncrementY, int(info.nSizeX), int(info.nSizeY)};
}

std::optional<XRVJP2kViewRequest> xrvClipAndSnap(const XRVJP2kImageGrid& image, const XRVJP2kViewRequest& screen)
{
    const double ox = image.originX;
    const double oy = image.originY;
    const double cx = image.cellX;
    const double cy = image.cellY;
    const double right = image.columns * cx + ox;
    const double bottom = image.rows * cy + oy;
    const double x1 = screen.x1, y1 = screen.y1, x2 = screen.x2, y2 = screen.y2;

    if ((ox > x1 && ox > x2) || (x1 > right && x2 > right)) return std::nullopt;
    if (cy > 0) {
        if ((oy > y1 && oy > y2) || (y1 > bottom && y2 > bottom)) return std::nullopt;
    } else if ((y1 > oy && y2 > oy) || (bottom > y1 && bottom > y2)) {
        return std::nullopt;
    }

    // Snap outward to whole cells, then keep to the image.
    const int c0 = xrvTruncatedToInt(std::floor((x1 - ox) / cx));
    const int r0 = xrvTruncatedToInt(std::floor((y1 - oy) / cy));
    const int c1 = xrvTruncatedToInt(std::ceil((x2 - ox) / cx));
    const int r1 = xrvTruncatedToInt(std::ceil((y2 - oy) / cy));
    double X0 = c0 < 0 ? ox : ox + double(c0) * cx;
    double Y0 = r0 < 0 ? oy : oy + double(r0) * cy;
    double X1 = c1 > image.columns - 1 ? right : ox + double(c1) * cx;
    double Y1 = r1 > image.rows - 1 ? bottom : oy + double(r1) * cy;

    // The part of the screen the clipped rectangle covers.
    XRVJP2kViewRequest clipped;
    clipped.width = xrvTruncatedToInt((X1 - x1) / (x2 - x1) * screen.width + 0.5) -
                    xrvTruncatedToInt((X0 - x1) / (x2 - x1) * screen.width + 0.5);
    clipped.height = xrvTruncatedToInt((Y1 - y1) / (y2 - y1) * screen.height + 0.5) -
                     xrvTruncatedToInt((Y0 - y1) / (y2 - y1) * screen.height + 0.5);
    if (clipped.width < 1 || clipped.height < 1) return std::nullopt;
    clipped.x1 = X0;
    clipped.y1 = Y0;
    clipped.x2 = X1;
    clipped.y2 = Y1;
    return clipped;
}
