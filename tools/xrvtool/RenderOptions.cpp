#include "RenderOptions.h"

namespace {

bool parseNumbers(const QString& text, int count, QVector<double>& out)
{
    const QStringList parts = text.split(',');
    if (parts.size() != count) return false;
    out.clear();
    for (const QString& p : parts) {
        bool ok = false;
        out.append(p.trimmed().toDouble(&ok));
        if (!ok) return false;
    }
    return true;
}

bool parseSize(const QString& text, int& w, int& h)
{
    const QStringList parts = text.toLower().split('x');
    if (parts.size() != 2) return false;
    bool okW = false, okH = false;
    w = parts[0].toInt(&okW);
    h = parts[1].toInt(&okH);
    return okW && okH && w > 0 && h > 0;
}

}  // namespace

bool RenderOptions::parse(const QStringList& args, QString& error)
{
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        auto value = [&](QString& out) {
            if (i + 1 >= args.size()) {
                error = QStringLiteral("%1 needs a value").arg(a);
                return false;
            }
            out = args[++i];
            return true;
        };
        auto fail = [&](const char* message) {
            if (error.isEmpty()) error = QString::fromLatin1(message);
            return false;
        };
        QString v;
        QVector<double> n;
        if (a == "--progressive") {
            progressive = true;
        } else if (a == "--quiet") {
            quiet = true;
        } else if (a == "--size") {
            if (!value(v) || !parseSize(v, width, height)) return fail("--size takes WxH");
        } else if (a == "--extent") {
            if (!value(v) || !parseNumbers(v, 4, n)) return fail("--extent takes x1,y1,x2,y2");
            hasExtent = true;
            x1 = n[0];
            y1 = n[1];
            x2 = n[2];
            y2 = n[3];
        } else if (a == "--window") {
            if (!value(v) || !parseNumbers(v, 4, n)) return fail("--window takes col0,row0,col1,row1");
            hasWindow = true;
            c0 = n[0];
            r0 = n[1];
            c1 = n[2];
            r1 = n[3];
        } else if (a == "--layers") {
            if (!value(v)) return false;
            layers = v.toInt();
        } else if (a == "--bands") {
            if (!value(v)) return false;
            bands.clear();
            for (const QString& b : v.split(',')) bands.append(b.toInt());
        } else if (a == "--resample") {
            if (!value(v)) return false;
            if (v == "nearest")
                resample = 0;
            else if (v == "bilinear")
                resample = 1;
            else
                return fail("--resample takes nearest or bilinear");
        } else if (a == "--clip") {
            if (!value(v)) return false;
            clip = v.toInt();
        } else if (a == "--pan") {
            if (!value(v) || !parseNumbers(v, 3, n)) return fail("--pan takes count,dx,dy");
            panCount = qMax(1, int(n[0]));
            panDx = n[1];
            panDy = n[2];
        } else if (a == "--cache-mb") {
            if (!value(v)) return false;
            cacheMb = qMax(16, v.toInt());
        } else if (a == "--stream-cache") {
            const QStringList parts = value(v) ? v.split(',') : QStringList();
            bool ok = parts.size() == 1;
            if (parts.size() == 2) streamCacheMb = parts[1].toInt(&ok);
            if (parts.isEmpty() || parts[0].isEmpty() || !ok || streamCacheMb <= 0)
                return fail("--stream-cache takes FOLDER or FOLDER,MB");
            streamCache = parts[0];
        } else if (a.startsWith("--")) {
            error = QStringLiteral("unknown option %1").arg(a);
            return false;
        } else {
            positional << a;
        }
    }
    if (positional.size() != 2) {
        error = QStringLiteral("render takes FILE OUT (.png, .ppm, .pgm or .tif)");
        return false;
    }
    input = positional[0];
    output = positional[1];
    return true;
}
