// `xrvtool info`: everything the engine knows about an image, as text.
#pragma once

#include <QStringList>

int runInfo(const QStringList& args);
