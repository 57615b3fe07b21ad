#include "TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

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

}  // namespace TestSupport
