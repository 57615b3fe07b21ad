#pragma once
#include <QtCore/QCoreApplication>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Korvane {

// A world file: six numbers that place a picture's cells in the world. A and E are the cell
// width and height, D and B the rotation terms, (C, F) the world point at the CENTRE of the
// top-left cell.
class WorldFile {
    Q_DECLARE_TR_FUNCTIONS(Korvane::WorldFile)
public:
    double a = 1.0, d = 0.0, b = 0.0, e = -1.0, c = 0.0, f = 0.0;

    // The world files a picture may have beside it, most specific first: for "x.png"
    // x.pgw, x.pngw, x.wld.
    static QStringList candidates(const QString& imagePath);
    // The first candidate that exists, matching the extension in any letter case.
    static QString find(const QString& imagePath);

    // False with a sentence in error when the file cannot be read or is not a world file.
    bool read(const QString& path, QString* error);

    // World of the top-left corner of the top-left cell.
    double originX() const { return c - a / 2.0 - b / 2.0; }
    double originY() const { return f - d / 2.0 - e / 2.0; }
    bool isRotated() const { return b != 0.0 || d != 0.0; }
};

}  // namespace Korvane
