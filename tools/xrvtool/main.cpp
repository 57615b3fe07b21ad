// xrvtool: the format engine from the command line.
//   xrvtool info FILE
//   xrvtool render FILE OUT.png|.ppm|.pgm|.tif --size WxH [--extent x1,y1,x2,y2 | --window c0,r0,c1,r1]
//          [--progressive] [--layers N] [--bands r,g,b] [--resample nearest|bilinear]
//          [--clip PERCENT] [--pan COUNT,DX,DY] [--cache-mb MB] [--stream-cache FOLDER[,MB]] [--quiet]
//   xrvtool compress IN OUT.xrv [--rate N | --quality DB | --lossless] [--block N] [--bands 1,2,3]
//          [--nodata V] [--metadata KEY=VALUE]... [--threads N]
#include <QCoreApplication>
#include <QStringList>
#include <cstdio>

#include "ConsoleLogger.h"
#include "GdalModule.h"
#include "InfoCommand.h"
#include "RenderCommand.h"
#include "xrv60.h"

namespace {

void usage()
{
    std::fprintf(
        stderr,
        "usage: xrvtool info FILE\n"
        "       xrvtool render FILE OUT.png|.ppm|.pgm|.tif --size WxH [--extent x1,y1,x2,y2 | --window c0,r0,c1,r1]\n"
        "              [--progressive] [--layers N] [--bands r,g,b] [--resample nearest|bilinear]\n"
        "              [--clip PERCENT] [--pan COUNT,DX,DY] [--cache-mb MB]\n"
        "              [--stream-cache FOLDER[,MB]] [--quiet]\n"
        "       xrvtool compress IN OUT.xrv [--rate N | --quality DB | --lossless] [--block N]\n"
        "              [--bands 1,2,3] [--nodata V] [--metadata KEY=VALUE]... [--threads N]\n"
        "       add --verbose before the command for the engine's informational messages\n");
}

}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    const bool verbose = args.removeAll(QStringLiteral("--verbose")) > 0;
    if (args.isEmpty()) {
        usage();
        return 2;
    }
    ConsoleLogger logger(verbose ? PLK::LOG_DEBUG : PLK::LOG_WARNING);
    PLK::CLog::RegisterLogger(&logger);
    const QString command = args.takeFirst();
    int result = 2;
    if (command == QLatin1String("info"))
        result = runInfo(args);
    else if (command == QLatin1String("render"))
        result = runRender(args);
    else if (command == QLatin1String("compress"))
        result = GdalModule::compress(args);
    else
        usage();
    PLK::CLog::RegisterLogger(static_cast<PLK::ILogger<char>*>(nullptr));
    return result;
}
