#include "ViewerOptions.h"

#include "QDGui/HeadlessRenderer.h"

#include <QtCore/QCommandLineParser>

#include <cstring>

bool ViewerOptions::wantsRender(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--render") == 0 || std::strncmp(argv[i], "--render=", 9) == 0) return true;
    return false;
}

bool ViewerOptions::parse(const QStringList& arguments, QString* error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        tr("Desktop map viewer. Opens images and streams given on the "
           "command line, each through the layer plug-in that reads it."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("sources"), tr("Files or stream addresses to open."),
                                 tr("[FILE|ADDRESS ...]"));
    const QCommandLineOption settingsOption(QStringLiteral("settings"), tr("Keep the settings in this INI file."),
                                            tr("FILE"));
    const QCommandLineOption renderOption(QStringLiteral("render"),
                                          tr("Draw FILE without a window into this picture and exit."), tr("OUT.png"));
    const QCommandLineOption sizeOption(QStringLiteral("size"), tr("Size of the picture drawn by --render."),
                                        tr("WxH"));
    const QCommandLineOption extentOption(QStringLiteral("extent"),
                                          tr("World rectangle drawn by --render (default: the whole layer)."),
                                          tr("x1,y1,x2,y2"));
    QCommandLineOption screenshotOption(QStringLiteral("screenshot"), tr("Save a picture of the main window."),
                                        tr("OUT.png"));
    QCommandLineOption quitAfterOption(
        QStringLiteral("quit-after"), tr("Quit (taking the screenshot first) after this many milliseconds."), tr("MS"));
    screenshotOption.setFlags(QCommandLineOption::HiddenFromHelp);
    quitAfterOption.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({settingsOption, renderOption, sizeOption, extentOption, screenshotOption, quitAfterOption});

    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version"))) parser.showVersion();

    sources = parser.positionalArguments();
    settingsFile = parser.value(settingsOption);
    renderOutput = parser.value(renderOption);
    screenshot = parser.value(screenshotOption);
    if (parser.isSet(quitAfterOption)) {
        bool ok = false;
        quitAfterMs = parser.value(quitAfterOption).toInt(&ok);
        if (!ok || quitAfterMs < 0) {
            *error = tr("--quit-after needs a number of milliseconds, not \"%1\".").arg(parser.value(quitAfterOption));
            return false;
        }
    }
    if (!renderMode()) {
        if (parser.isSet(sizeOption) || parser.isSet(extentOption)) {
            *error = tr("--size and --extent go with --render.");
            return false;
        }
        return true;
    }
    return parseRender(parser.value(sizeOption), parser.isSet(extentOption) ? parser.value(extentOption) : QString(),
                       error);
}

bool ViewerOptions::parseRender(const QString& sizeText, const QString& extentText, QString* error)
{
    if (sources.size() != 1) {
        *error = tr("--render draws exactly one FILE; %1 given.").arg(sources.size());
        return false;
    }
    if (!Korvane::HeadlessRenderer::parseSize(sizeText, &renderSize)) {
        *error = tr("--render needs --size WxH with a width and height above zero (e.g. 800x600); \"%1\" is not one.")
                     .arg(sizeText);
        return false;
    }
    if (extentText.isNull()) return true;
    hasExtent = Korvane::HeadlessRenderer::parseExtent(extentText, &extent);
    if (!hasExtent) {
        *error = tr("--extent needs four numbers x1,y1,x2,y2 with x1 != x2 and y1 != y2; \"%1\" is not that.")
                     .arg(extentText);
        return false;
    }
    return true;
}
