// Test images made on the spot with Qt (the pixels) and opj_compress (the code-stream), so the
// tests check the engine against files it did not write itself.
#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

namespace TestImages {

/// A smooth pattern with fine detail (gradients, rings, a checkerboard), deterministic.
QImage pattern(int width, int height, QImage::Format format);
/// Writes a 16-bit greyscale PGM whose value at (x, y) is `base + x * stepX + y * stepY`.
bool write16BitPgm(const QString& path, int width, int height, int base, int stepX, int stepY);
/// Runs opj_compress on `input` with `arguments`; false (and a message) when it fails.
bool compress(const QString& input, const QString& output, const QStringList& arguments, QString* message);
/// Decodes with opj_decompress into a PNG (or PGM for more than 8 bits) and loads it.
QImage decodeReference(const QString& input, const QStringList& arguments, const QString& workFolder);

/// The largest difference of red, green or blue over the picture (opacity aside), and where;
/// -1 when the sizes differ.
int maxDifference(const QImage& ours, const QImage& reference, QPoint* where = nullptr);

}  // namespace TestImages
