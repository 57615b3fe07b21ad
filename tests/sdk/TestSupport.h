// Helpers shared by the engine's tests: where the shared test data and the external tools
// are, and running a tool.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace TestSupport {

/// Path of a file in the shared test data folder (../shared/testdata), or an empty string
/// when that folder is absent (a plain clone): callers QSKIP then.
QString sharedTestData(const QString& relativePath);

/// Path of the bundled sample image made at build time, empty when it was not made.
QString bundledSample();

/// Full path of an external program (opj_compress, opj_decompress, gdal_translate, ...), or an
/// empty string when it is not installed.
QString findProgram(const QString& name);

/// Runs a program and waits (at most `timeoutMs`); returns true when it exited with 0.
/// Its standard output and error go to `output` when given.
bool run(const QString& program, const QStringList& arguments, QString* output = nullptr, int timeoutMs = 120000);

/// A file's bytes (empty when unreadable), and writing bytes to a file.
QByteArray readAll(const QString& path);
bool writeAll(const QString& path, const QByteArray& bytes);

/// A JP2 box: big-endian length, four-letter type, content.
QByteArray box(const char* type, const QByteArray& content);

}  // namespace TestSupport
