// The plug-in's page in the host's preferences dialog: the engine's memory cache and stream
// disk cache, the engine's options and the defaults of new layers. The page works on its own
// copies of the values; they reach the settings store when the host calls onSavePrefs() and
// the engine at the next start of the host (SDK logging alone switches at once).
#pragma once

#include <QString>
#include <QWidget>
#include <memory>

namespace Ui {
class XRVJP2kPreferencesClass;
}

class XRVJP2kPreferences : public QWidget {
    Q_OBJECT

public:
    explicit XRVJP2kPreferences(QWidget* parent = nullptr);
    // With the machine's physical memory given in megabytes instead of asked of the system.
    XRVJP2kPreferences(qint64 totalMemoryMb, QWidget* parent);
    ~XRVJP2kPreferences() override;

signals:
    // Sent by every save with the SDK logging choice: the engine's log sinks belong to the
    // plug-in module, which connects them here and switches them at once.
    void sdkLoggingChosen(bool enabled);

public slots:
    void init();
    void onSavePrefs();
    // Sets the memory cache although it is named after the cache folder; the name is kept.
    void onCacheDirSliderMove(int value);
    void onDiskCacheSliderMove(int value);
    void onEnableXRVPCache(bool checked);
    void onChooseXRVPCacheDir(bool checked);
    void onClipPercent(int value);
    void onUseBilinear(bool checked);
    void onUseResilientDecoding(bool checked);
    void onUseAdaptiveRendering(bool checked);
    void onUseTexturing(bool checked);
    void onUseWinHTTPInXRVP(bool checked);
    void onAlwaysOpenProgressive(bool checked);
    void onClearDiskCache(bool checked);
    void onViewFiles(bool checked);
    void onDefaults(bool checked);
    void onLogXrv(bool bLogXrv);

private:
    void readSettings();
    void connectWidgets();
    void showMemoryCache();
    void showDiskCache();
    void showOptions();
    // Bytes taken by the engine's stream cache files ("*.data" and "*.cache") in the folder.
    quint64 cacheBytesInUse() const;
    QStringList cacheFileNames() const;
    static QString defaultCacheDir();

    std::unique_ptr<Ui::XRVJP2kPreferencesClass> ui;
    QString m_cacheDir;
    QString m_userAgent;
    quint64 m_diskCacheSizeMb = 0;
    quint64 m_memoryCacheSizeMb = 0;
    qint64 m_totalMemoryMb = 0;
    quint64 m_maxMemoryMb = 0;
    quint64 m_recommendedMemoryMb = 0;
    bool m_textureDither = false;
    bool m_streamCacheEnabled = true;
    bool m_openProgressive = true;
    bool m_resilientDecoding = true;
    bool m_optimiseNonProgressive = false;
    bool m_nearestNeighbour = true;
    bool m_adaptiveRendering = false;
    bool m_useWinHttp = false;
    bool m_logSdkEvents = true;
    int m_clipPercent = 99;
};
