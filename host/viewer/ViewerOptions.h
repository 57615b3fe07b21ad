#pragma once
#include <QtCore/QCoreApplication>
#include <QtCore/QRectF>
#include <QtCore/QSize>
#include <QtCore/QStringList>

// What the command line asks of qdviewer:
//   qdviewer [--settings FILE] [FILE|ADDRESS ...]
//   qdviewer --render OUT.png --size WxH [--extent x1,y1,x2,y2] FILE
// and, for automated checks, --screenshot OUT.png and --quit-after MS (not in --help).
class ViewerOptions {
    Q_DECLARE_TR_FUNCTIONS(ViewerOptions)
public:
    QStringList sources;
    QString settingsFile;
    QString renderOutput;
    QSize renderSize;
    bool hasExtent = false;
    QRectF extent;  // from corner (x1, y1) to corner (x2, y2)
    QString screenshot;
    int quitAfterMs = -1;

    // Rendering needs no display; main() must know before the application object exists.
    static bool wantsRender(int argc, char** argv);

    // False with a message for the user in error. Exits for --help and --version.
    bool parse(const QStringList& arguments, QString* error);
    bool renderMode() const { return !renderOutput.isEmpty(); }

private:
    bool parseRender(const QString& sizeText, const QString& extentText, QString* error);
};
