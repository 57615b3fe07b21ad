#include "WorldFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTextStream>

#include <cmath>

namespace Korvane {

QStringList WorldFile::candidates(const QString& imagePath)
{
    const QFileInfo info(imagePath);
    const QString ext = info.suffix().toLower();
    const QString stem = info.path() + QLatin1Char('/') + info.completeBaseName() + QLatin1Char('.');
    QStringList names;
    if (ext.size() >= 2) names << stem + ext.left(1) + ext.right(1) + QLatin1Char('w');  // .pgw, .tfw, .jgw
    if (!ext.isEmpty()) names << stem + ext + QLatin1Char('w');                          // .pngw, .tifw, .jpgw
    if (ext == QLatin1String("tiff")) names << stem + QStringLiteral("tfw");
    if (ext == QLatin1String("jpeg")) names << stem + QStringLiteral("jgw");
    names << stem + QStringLiteral("wld");
    names.removeDuplicates();
    return names;
}

QString WorldFile::find(const QString& imagePath)
{
    const QFileInfo image(imagePath);
    const QStringList present =
        QDir(image.path()).entryList({image.completeBaseName() + QStringLiteral(".*")}, QDir::Files);
    for (const QString& candidate : candidates(imagePath)) {
        const QString wanted = QFileInfo(candidate).fileName();
        for (const QString& name : present)
            if (name.compare(wanted, Qt::CaseInsensitive) == 0) return image.path() + QLatin1Char('/') + name;
    }
    return QString();
}

bool WorldFile::read(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error = tr("The world file %1 could not be read: %2").arg(path, file.errorString());
        return false;
    }
    QTextStream in(&file);
    double values[6];
    int count = 0;
    int lineNumber = 0;
    while (count < 6 && !in.atEnd()) {
        const QString line = in.readLine().trimmed();
        ++lineNumber;
        if (line.isEmpty()) continue;
        bool ok = false;
        values[count] = line.toDouble(&ok);
        if (!ok || !std::isfinite(values[count])) {
            *error = tr("The world file %1 is not valid: line %2 (\"%3\") is not a number.")
                         .arg(path)
                         .arg(lineNumber)
                         .arg(line.left(40));
            return false;
        }
        ++count;
    }
    if (count < 6) {
        *error = tr("The world file %1 is not valid: it holds %2 numbers instead of six.").arg(path).arg(count);
        return false;
    }
    a = values[0];
    d = values[1];
    b = values[2];
    e = values[3];
    c = values[4];
    f = values[5];
    if (a == 0.0 || e == 0.0) {
        *error = tr("The world file %1 is not valid: a cell size of zero.").arg(path);
        return false;
    }
    return true;
}

}  // namespace Korvane
