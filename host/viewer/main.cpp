// qdviewer: the desktop map viewer, or with --render a headless renderer of one layer.
#include "MainWindow.h"
#include "ViewerOptions.h"

#include "QDGui/Application.h"
#include "QDGui/HeadlessRenderer.h"
#include "QDGui/PluginManager.h"

#include <QtCore/QLocale>
#include <QtCore/QSettings>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QTabWidget>
#include <QtCore/QTranslator>

#include <cstdio>

namespace {

int runRender(Korvane::PluginManager& plugins, const ViewerOptions& options)
{
    Korvane::HeadlessRenderer renderer(&plugins);
    QString error;
    if (!renderer.renderToFile(options.sources.first(), options.renderSize,
                               options.hasExtent ? &options.extent : nullptr, options.renderOutput, &error)) {
        std::fprintf(stderr, "qdviewer: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}

// For documentation and checks: with QDVIEWER_SCREENSHOT_INFO_TAB=N the screenshot shows tab N
// of the layer information dialog for the active layer instead of the main window.
void scheduleInfoScreenshot(MainWindow& window, int delay, const QString& path, int tab)
{
    QTimer::singleShot(delay, &window,
                       [&window]() { QMetaObject::invokeMethod(&window, "onLayerInformation", Qt::QueuedConnection); });
    QTimer::singleShot(delay + 800, &window, [path, tab]() {
        QWidget* dialog = QApplication::activeModalWidget();
        if (auto* tabs = dialog ? dialog->findChild<QTabWidget*>() : nullptr) {
            tabs->setCurrentIndex(tab);
            dialog->grab().save(path);
        }
        QCoreApplication::quit();
    });
}

void scheduleQuit(MainWindow& window, const ViewerOptions& options)
{
    if (options.quitAfterMs < 0 && options.screenshot.isEmpty()) return;
    const int delay = options.quitAfterMs < 0 ? 0 : options.quitAfterMs;
    const QString path = options.screenshot;
    bool tabGiven = false;
    const int tab = qEnvironmentVariableIntValue("QDVIEWER_SCREENSHOT_INFO_TAB", &tabGiven);
    if (tabGiven && !path.isEmpty()) {
        scheduleInfoScreenshot(window, delay, path, tab);
        return;
    }
    QTimer::singleShot(delay, &window, [&window, path]() {
        // With QDVIEWER_SCREENSHOT_MODAL set, an open dialog is pictured instead of the window.
        QWidget* modal =
            qEnvironmentVariableIsSet("QDVIEWER_SCREENSHOT_MODAL") ? QApplication::activeModalWidget() : nullptr;
        QWidget* target = modal ? modal : &window;
        if (!path.isEmpty() && !target->grab().save(path))
            Korvane::Application::logMessage(
                QCoreApplication::translate("main", "The screenshot %1 could not be written.").arg(path),
                Korvane::Application::Error);
        QCoreApplication::quit();
    });
}

int runViewer(Korvane::PluginManager& plugins, const ViewerOptions& options)
{
    MainWindow window(&plugins);
    window.show();
    scheduleQuit(window, options);
    // After the window is up, so that message boxes have a parent to sit on.
    QTimer::singleShot(0, &window, [&window, &options]() { window.openSources(options.sources); });
    return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv)
{
    const bool render = ViewerOptions::wantsRender(argc, argv);
    if (render && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");  // no display needed to draw a picture

    Korvane::Application app(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral("6.0.0"));
    ViewerOptions options;
    QString error;
    if (!options.parse(QCoreApplication::arguments(), &error)) {
        std::fprintf(stderr, "qdviewer: %s\n", qPrintable(error));
        return 2;
    }
    if (!options.settingsFile.isEmpty()) Korvane::Application::setSettingsFile(options.settingsFile);
    Korvane::Application::setLogLevel(
        Korvane::Application::settings()->value(QStringLiteral("QDViewer/LogLevel"), 1).toInt());
    const auto translators =
        Korvane::Application::initializeTranslations({QStringLiteral("qdviewer")}, QLocale().name());

    // The plug-ins outlive everything they made (windows, layers), and go before the
    // application object.
    Korvane::PluginManager plugins;
    const QStringList folders = Korvane::PluginManager::defaultFolders();
    if (plugins.loadFolders(folders) == 0)
        Korvane::Application::logMessage(
            QCoreApplication::translate("main",
                                        "No layer plug-ins in %1; the built-in image layer reads PNG, TIFF and JPEG.")
                .arg(folders.join(QStringLiteral(", "))),
            Korvane::Application::Notice);
    return options.renderMode() ? runRender(plugins, options) : runViewer(plugins, options);
}
