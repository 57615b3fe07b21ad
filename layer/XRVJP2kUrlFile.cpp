#include "XRVJP2kUrlFile.h"

#include <QtCore/QFile>
#include <QtCore/QTextStream>

XRVJP2kUrlFile::Result XRVJP2kUrlFile::readAddress(const QString& path, QString& address)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return CannotOpen;
    QTextStream in(&file);
    while (!in.atEnd()) {
        const QString candidate = addressOfLine(in.readLine());
        if (candidate.isNull()) continue;
        const QString lower = candidate.toLower();
        if (!lower.startsWith(QLatin1String("xrvp")) && !lower.startsWith(QLatin1String("jpip")))
            return UnsupportedProtocol;
        address = candidate;
    }
    return Read;
}

QString XRVJP2kUrlFile::addressOfLine(const QString& line)
{
    // Only these two spellings name the address, as the shortcut files the stream browser
    // writes use them. Everything after a second '=' is dropped with the split, so query
    // values never reach the engine; that is how such files have always been read.
    if (!line.startsWith(QLatin1String("URL=")) && !line.startsWith(QLatin1String("url="))) return QString();
    const QString address = line.split(QLatin1Char('=')).value(1);
    return address.isNull() ? QString(QLatin1String("")) : address;
}
