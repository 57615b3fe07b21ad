// Plug-ins are found by interface id in folders; broken files are refused with the loader's
// own explanation and the rest still load; layers are made through the plug-in whose filter
// matches, or by class name for projects.
#include "HostTestSupport.h"

#include "QDGui/ILayerEditorPlugin.h"
#include "QDGui/ILayerPluginInfo.h"
#include "QDGui/ImageLayer.h"
#include "QDGui/PluginManager.h"

#include <QtCore/QFile>
#include <QtCore/QPluginLoader>

using Korvane::PluginManager;

class TestPluginManager : public QObject {
    Q_OBJECT

private:
    // A plug-in folder holding a text file dressed as a library, a real library that is no
    // plug-in, a README, and the test plug-in.
    QString brokenFolder(QTemporaryDir& dir)
    {
        HostTest::writeText(dir.filePath("libbroken.so"), "this is not a library\n");
        HostTest::writeText(dir.filePath("README.txt"), "plug-ins go here\n");
        QFile::copy(HOST_NOT_A_PLUGIN, dir.filePath("libnotaplugin.so"));
        QFile::copy(HOST_TEST_PLUGIN, dir.filePath("libtestlayer.so"));
        return dir.path();
    }

private slots:
    void brokenLibrariesAreLoggedAndTheRestLoads()
    {
        QTemporaryDir dir;
        const qsizetype before = Korvane::Application::logEntries().size();
        PluginManager manager;
        QCOMPARE(manager.loadFolders({brokenFolder(dir), dir.filePath("missing")}), 1);

        QCOMPARE(manager.plugins().size(), 1);
        const PluginManager::Plugin plugin = manager.plugins().first();
        QVERIFY(plugin.info && plugin.factory && plugin.editor);
        QCOMPARE(plugin.info->getDescription(), QStringLiteral("Test raster"));

        // One error per broken library, each carrying what QPluginLoader said about it.
        QCOMPARE(manager.errors().size(), 2);
        for (const char* name : {"libbroken.so", "libnotaplugin.so"}) {
            QPluginLoader loader(dir.filePath(name));
            QVERIFY(!loader.load());
            const QString loaderSays = loader.errorString();
            bool logged = false;
            const QVector<Korvane::LogEntry> log = Korvane::Application::logEntries();
            for (qsizetype i = before; i < log.size(); ++i)
                if (log[i].text.contains(loaderSays) && log[i].level >= Korvane::Application::Warning) logged = true;
            QVERIFY2(logged, qPrintable(loaderSays));
        }
    }

    void sameLibraryTwiceLoadsOnce()
    {
        QTemporaryDir a, b;
        QFile::copy(HOST_TEST_PLUGIN, a.filePath("libtestlayer.so"));
        QFile::link(a.filePath("libtestlayer.so"), b.filePath("libalias.so"));
        PluginManager manager;
        QCOMPARE(manager.loadFolders({a.path(), b.path()}), 1);
        QVERIFY(manager.errors().isEmpty());
    }

    void openLayer_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QString>("content");   // null: no file; "PNG": a picture
        QTest::addColumn<QString>("expected");  // class name made, or part of the error
        const QString raster = "8 6 #112233";
        QTest::newRow("plug-in's filter, any case") << "a.TSTR" << true << raster << "TestRasterLayer";
        QTest::newRow("built-in picture") << "b.png" << true << QString("PNG") << "Korvane::ImageLayer";
        QTest::newRow("disabled plug-in") << "a.tstr" << false << raster << "No layer plug-in reads";
        QTest::newRow("nobody reads it") << "c.xyz" << true << QString("") << "No layer plug-in reads files like c.xyz";
        QTest::newRow("plug-in's own error") << "bad.tstr" << true << QString("nonsense") << "is not a test raster";
        QTest::newRow("missing image") << "gone.png" << true << QString() << "does not exist";
        QTest::newRow("address nobody serves") << "xrvp://server/x.jp2" << true << QString() << "";
    }

    void openLayer()
    {
        QFETCH(QString, fileName);
        QFETCH(bool, enabled);
        QFETCH(QString, content);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        QFile::copy(HOST_TEST_PLUGIN, dir.filePath("libtestlayer.so"));
        PluginManager manager;
        manager.loadFolders({dir.path()});
        manager.plugins().first().info->setEnabled(enabled);
        QCOMPARE(manager.fileFilter().contains("Test Raster (*.tstr)"), enabled);
        QVERIFY(manager.fileFilter().contains(Korvane::ImageLayer::FileFilter));
        const QString source = fileName.contains("://") ? fileName : dir.filePath(fileName);
        if (content == "PNG")
            HostTest::patternImage(QSize(4, 3)).save(source);
        else if (!content.isNull())
            HostTest::writeText(source, content);
        QString error;
        std::unique_ptr<Korvane::Map::Layer> layer(manager.openLayer(source, &error));
        manager.plugins().first().info->setEnabled(true);
        if (layer)
            QCOMPARE(QString(layer->metaObject()->className()), expected);
        else
            QVERIFY2(!error.isEmpty() && error.contains(expected) && !expected.contains("Layer"), qPrintable(error));
    }
};

QDGUI_TEST_MAIN(TestPluginManager)
#include "tst_pluginmanager.moc"
