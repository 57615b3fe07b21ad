#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QtEndian>

namespace TestSupport {

QString sharedTestData(const QString& relativePath)
{
    const QString path = QDir(QStringLiteral(XRV_SHARED_TESTDATA)).filePath(relativePath);
    return QFileInfo::exists(path) ? QFileInfo(path).absoluteFilePath() : QString();
}

QString bundledSample()
{
    const QString path = QDir(QStringLiteral(XRV_SAMPLE_DIR)).filePath(QStringLiteral("sample.jp2"));
    return QFileInfo::exists(path) ? path : QString();
}

QString findProgram(const QString& name)
{
    return QStandardPaths::findExecutable(name);
}

bool run(const QString& program, const QStringList& arguments, QString* output, int timeoutMs)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted(10000)) return false;
    const bool finished = process.waitForFinished(timeoutMs);
    if (output) *output = QString::fromLocal8Bit(process.readAll());
    if (!finished) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeAll(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

QByteArray box(const char* type, const QByteArray& content)
{
    QByteArray b(4, 0);
    qToBigEndian(quint32(8 + content.size()), b.data());
    return b + QByteArray(type, 4) + content;
}

}  // namespace TestSupport
