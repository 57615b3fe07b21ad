// qdviewer as users run it: the headless renderer on the command line, the settings file it
// is told to use, and a start-up with a plug-in folder that holds broken libraries.
#include "HostTestSupport.h"

#include "QDGui/HeadlessRenderer.h"
#include "QDGui/PluginManager.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QSettings>

namespace {

struct Run {
    int exitCode = -1;
    QString errors;
};

// Runs qdviewer on the offscreen platform (no display), with plug-ins only from pluginPath.
Run runViewer(const QStringList& arguments, const QString& pluginPath = QString())
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.remove("DISPLAY");
    env.insert(Korvane::PluginManager::PathVariable, pluginPath);
    process.setProcessEnvironment(env);
    process.start(QDVIEWER_EXECUTABLE, arguments);
    Run run;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        run.errors = "qdviewer did not finish";
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.errors = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

}  // namespace

class TestViewer : public QObject {
    Q_OBJECT

private slots:
    void renderWritesTheExpectedPicture_data()
    {
        QTest::addColumn<QString>("worldFile");
        QTest::addColumn<QStringList>("extra");
        QTest::addColumn<QRect>("sourcePart");   // cells expected...
        QTest::addColumn<QRect>("picturePart");  // ...in this part of the picture
        const QString world = "10\n0\n0\n-10\n500005\n5299995\n";
        QTest::newRow("whole, pixel units") << "" << QStringList{} << QRect(0, 0, 100, 75) << QRect(0, 0, 400, 300);
        QTest::newRow("whole, world file") << world << QStringList{} << QRect(0, 0, 100, 75) << QRect(0, 0, 400, 300);
        // Cells 20..70 across and 30..67.5 down, 8 pixels each; the last half row is left out.
        QTest::newRow("extent, world file") << world << QStringList{"--extent", "500200,5299700,500700,5299325"}
                                            << QRect(20, 30, 50, 37) << QRect(0, 0, 400, 296);
    }

    void renderWritesTheExpectedPicture()
    {
        QFETCH(QString, worldFile);
        QFETCH(QStringList, extra);
        QFETCH(QRect, sourcePart);
        QFETCH(QRect, picturePart);
        QTemporaryDir dir;
        const QImage source = HostTest::patternImage(QSize(100, 75));
        QVERIFY(source.save(dir.filePath("image.png")));
        if (!worldFile.isEmpty()) QVERIFY(HostTest::writeText(dir.filePath("image.pgw"), worldFile));

        const QString out = dir.filePath("out.png");
        const Run run =
            runViewer(QStringList{"--render", out, "--size", "400x300"} + extra << dir.filePath("image.png"));
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
        const QImage picture(out);
        QCOMPARE(picture.size(), QSize(400, 300));
        // Enlarged cells are drawn as squares of whole pixels: exactly a plain enlargement.
        const QImage expected = source.copy(sourcePart).scaled(picturePart.size());
        QVERIFY(HostTest::samePixels(picture.copy(picturePart), expected));
    }

    void renderFailuresExitWithAMessage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const QStringList sized{"--render", "OUT", "--size", "40x30"};
        QTest::newRow("missing file") << sized + QStringList{"missing.png"} << "does not exist";
        QTest::newRow("unknown kind") << sized + QStringList{"a.xyz"} << "No layer plug-in reads files like a.xyz";
        QTest::newRow("no size") << QStringList{"--render", "OUT", "IN"} << "--size";
        QTest::newRow("unwritable output")
            << QStringList{"--render", "/nonexistent/dir/out.png", "--size", "40x30", "IN"} << "could not be written";
    }

    void renderFailuresExitWithAMessage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QVERIFY(HostTest::patternImage(QSize(8, 6)).save(dir.filePath("in.png")));
        for (QString& argument : arguments)
            if (argument == "OUT" || argument == "IN" || argument.startsWith("missing") || argument.startsWith("a."))
                argument = dir.filePath(argument == "OUT" ? "out.png" : argument == "IN" ? "in.png" : argument);
        const Run run = runViewer(arguments);
        QVERIFY2(run.exitCode > 0, qPrintable(QString::number(run.exitCode)));
        QVERIFY2(run.errors.contains(message), qPrintable(run.errors));
        QVERIFY(!QFile::exists(dir.filePath("out.png")));
    }

    void headlessRendererWaitsForProgressivePictures_data()
    {
        QTest::addColumn<QString>("timing");
        QTest::newRow("progress from zero") << "";
        QTest::newRow("stale 100 % until the worker starts") << "late";
    }

    void headlessRendererWaitsForProgressivePictures()
    {
        // The test plug-in's layer paints grey until its worker thread has finished the view.
        QFETCH(QString, timing);
        QTemporaryDir dir;
        QFile::copy(HOST_TEST_PLUGIN, dir.filePath("libtestlayer.so"));
        Korvane::PluginManager plugins;
        plugins.loadFolders({dir.path()});
        QVERIFY(HostTest::writeText(dir.filePath("a.tstr"), "40 30 #ff8000 " + timing + "\n"));
        Korvane::HeadlessRenderer renderer(&plugins);
        QImage picture;
        QString error;
        QVERIFY2(renderer.render(dir.filePath("a.tstr"), QSize(40, 30), nullptr, &picture, &error), qPrintable(error));
        QVERIFY(!renderer.lastRenderStalled());
        QCOMPARE(picture.pixelColor(20, 15), QColor("#ff8000"));
    }

    void headlessRendererGivesUpOnAStalledLayer()
    {
        Korvane::PluginManager plugins;
        RecordingLayer layer(QRectF(0, 10, 10, -10));
        layer.percent = 50;
        Korvane::HeadlessRenderer renderer(&plugins);
        renderer.setStallTimeout(300);
        QImage picture;
        QString error;
        QVERIFY(renderer.render(&layer, QSize(10, 10), layer.getBounds(), &picture, &error));
        QVERIFY(renderer.lastRenderStalled());
        QCOMPARE(picture.pixelColor(5, 5), QColor(Qt::darkGreen));  // drawn all the same
    }

    void settingsGoToTheChosenFileAndBrokenPluginsDoNotStopTheViewer()
    {
        QTemporaryDir dir;
        HostTest::writeText(dir.filePath("libbroken.so"), "not a library\n");
        QFile::copy(HOST_NOT_A_PLUGIN, dir.filePath("libnotaplugin.so"));
        QFile::copy(HOST_TEST_PLUGIN, dir.filePath("libtestlayer.so"));
        QVERIFY(HostTest::writeText(dir.filePath("a.tstr"), "40 30 #ff8000\n"));
        const QString settings = dir.filePath("chosen.ini");
        const QString shot = dir.filePath("shot.png");

        const Run run = runViewer(
            {"--settings", settings, "--screenshot", shot, "--quit-after", "1500", dir.filePath("a.tstr")}, dir.path());
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
        // The plug-in's dock panel heard of the map window and of the layer opened in it.
        for (const char* line :
             {"libbroken.so could not be loaded", "libnotaplugin.so could not be loaded", "Loaded plug-in Test raster",
              "test panel: window Map 1", "test panel: layer test raster"})
            QVERIFY2(run.errors.contains(line), qPrintable(run.errors));

        QSettings written(settings, QSettings::IniFormat);
        QVERIFY(written.contains("QDViewer/WindowGeometry"));
        QVERIFY(!QImage(shot).isNull());
    }
};

QDGUI_TEST_MAIN(TestViewer)
#include "tst_viewer.moc"
