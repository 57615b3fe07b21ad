// Options of `xrvtool render`.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct RenderOptions {
    QString input;
    QString output;
    int width = 1024;
    int height = 1024;
    bool hasExtent = false;
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;  ///< world corners
    bool hasWindow = false;
    double c0 = 0, r0 = 0, c1 = 0, r1 = 0;  ///< cell corners (columns, rows)
    bool progressive = false;
    int layers = 0;
    QVector<int> bands;
    int resample = 0;             ///< 0 nearest, 1 bilinear
    int clip = -1;                ///< -1: the layer's choice (100 for 8-bit, else 99)
    int panCount = 1;             ///< views in one run, each moved by the pan step
    double panDx = 0, panDy = 0;  ///< pan step in pixels
    int cacheMb = 256;
    QString streamCache;      ///< disk cache folder for xrvp:// reads (empty: none)
    int streamCacheMb = 256;  ///< its bound
    bool quiet = false;       ///< nothing on standard output, errors only

    /// Parses the arguments after "render"; on failure returns false with `error` set.
    bool parse(const QStringList& args, QString& error);
};
