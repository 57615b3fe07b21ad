// `xrvtool render`: decodes a view of an image through the same engine calls the map layer
// makes, writes it as PNG, PPM/PGM or GeoTIFF (by the output name), and reports the time to open,
// to the first and to the final picture.
#pragma once

#include <QStringList>

int runRender(const QStringList& args);
