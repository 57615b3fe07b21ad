// `xrvtool render`: decodes a view of an image to a PNG through the same engine calls the map
// layer makes, and reports the time to the first and to the final picture.
#pragma once

#include <QStringList>

int runRender(const QStringList& args);
