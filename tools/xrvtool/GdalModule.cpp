#include "GdalModule.h"

#include <QCoreApplication>
#include <QLibrary>
#include <cstdio>

namespace {

// The module's function `name`, or null with `error` saying why.
QFunctionPointer entry(const char* name, QString& error)
{
    static QLibrary module(QCoreApplication::applicationDirPath() + QStringLiteral("/../lib/libxrvtoolgdal.so"));
    QFunctionPointer function = module.resolve(name);
    if (!function) error = QStringLiteral("the GDAL module cannot be loaded: %1").arg(module.errorString());
    return function;
}

}  // namespace

namespace GdalModule {

int compress(const QStringList& args)
{
    QString error;
    const auto run = reinterpret_cast<decltype(&xrvtoolCompress)>(entry("xrvtoolCompress", error));
    if (run) return run(&args);
    std::fprintf(stderr, "xrvtool compress: %s\n", qPrintable(error));
    return 1;
}

bool writeTiff(const Picture& picture, const QString& path, const PictureGeoreference& geo, QString& error)
{
    const auto write = reinterpret_cast<decltype(&xrvtoolWriteTiff)>(entry("xrvtoolWriteTiff", error));
    return write && write(&picture, &path, &geo, &error);
}

}  // namespace GdalModule
