#include "XRVJP2kPreferences.h"

#include "ui_XRVJP2kPreferences.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QSettings>
#include <QUrl>
#include <algorithm>
#include <cmath>

#include "QDGui/Application.h"
#include "QDGui/StringUtil.h"
#include "QDGui/System.h"
#include "XRVJP2kSettings.h"

namespace {

constexpr quint64 BytesPerMb = 1048576;
// The engine's memory cache is offered up to a quarter of the machine's memory, at most 2 GB.
constexpr quint64 MostMemoryMb = 2048;
constexpr quint64 RecommendedMemoryMb = 512;
// The disk slider's 100 % stands for 500 MB.
constexpr quint64 FullDiskCacheMb = 500;

QSettings& settings()
{
    return *Korvane::Application::settings();
}

// part / whole in percent, truncated toward zero; sliders clamp the result into their range.
int percentOf(double part, double whole)
{
    const double percent = whole > 0 ? part / whole * 100 : 100;
    return int(std::min(percent, 1e9));
}

QString megabytesText(quint64 megabytes, const char* format)
{
    return Korvane::Util::String::formatFileSize(megabytes * BytesPerMb, format);
}

const QStringList& cacheFilePatterns()
{
    static const QStringList patterns{QStringLiteral("*.data"), QStringLiteral("*.cache")};
    return patterns;
}

}  // namespace

XRVJP2kPreferences::XRVJP2kPreferences(QWidget* parent) : XRVJP2kPreferences(Korvane::System::getTotalRAM(), parent) {}

XRVJP2kPreferences::XRVJP2kPreferences(qint64 totalMemory, QWidget* parent)
    : QWidget(parent, Qt::WindowFlags()), ui(new Ui::XRVJP2kPreferencesClass), totalMemoryMb(totalMemory)
{
    ui->setupUi(this);
    setObjectName(QStringLiteral("XRV JP2"));
    maxMemoryMb = std::min(quint64(std::max<qint64>(totalMemoryMb, 0) >> 2), MostMemoryMb);
    recommendedMemoryMb = std::min(maxMemoryMb, RecommendedMemoryMb);
    readSettings();
    connectWidgets();
    init();
}

XRVJP2kPreferences::~XRVJP2kPreferences()
{
    settings().sync();
}

QString XRVJP2kPreferences::defaultCacheDir()
{
    return QDir::tempPath() + QStringLiteral("/QDViewerXrvpCache");
}

void XRVJP2kPreferences::readSettings()
{
    // Some defaults differ from those the engine starts with (cache folder and size, User-Agent):
    // until the user first saves this page, the engine keeps its own and the page proposes these.
    QSettings& s = settings();
    using namespace XRVJP2kSettings;
    streamCacheEnabled = LocalXrvpCache.in(s).toBool();
    memoryCacheSizeMb = CacheMaxMemMb.in(s).toULongLong();
    cacheDir = XrvpCacheDir.in(s, defaultCacheDir()).toString();
    diskCacheSizeMb = DiskCacheMaxSizeMb.in(s, qulonglong(FullDiskCacheMb)).toULongLong();
    textureDither = TextureDither.in(s).toBool();
    resilientDecoding = ResilientDecoding.in(s).toBool();
    optimiseNonProgressive = OptimizeNonProgressive.in(s).toBool();
    nearestNeighbour = OptimizeNearestNeighbour.in(s).toBool();
    adaptiveRendering = AdaptiveRendering.in(s).toBool();
    clipPercent = DefaultClipTransform.in(s).toInt();
    openProgressive = OpenProgressive.in(s).toBool();
    useWinHttp = UseWinHTTPInXrvp.in(s).toBool();
    userAgent = XRVPUserAgent.in(s, QGuiApplication::applicationDisplayName()).toString();
    logSdkEvents = LogXrvEvents.in(s).toBool();
}

void XRVJP2kPreferences::connectWidgets()
{
    // Sliders act only while dragged, check boxes only when clicked: filling the widgets in
    // init() changes no value.
    connect(ui->xrvpMemCacheDirSizeSlider, &QSlider::sliderMoved, this, &XRVJP2kPreferences::onCacheDirSliderMove);
    connect(ui->xrvpDiskCacheSizeSlider, &QSlider::sliderMoved, this, &XRVJP2kPreferences::onDiskCacheSliderMove);
    connect(ui->diskCacheGroupBox, &QGroupBox::clicked, this, &XRVJP2kPreferences::onEnableXRVPCache);
    connect(ui->diskCacheButton, &QToolButton::clicked, this, &XRVJP2kPreferences::onChooseXRVPCacheDir);
    connect(ui->clipPercent, QOverload<int>::of(&QSpinBox::valueChanged), this, &XRVJP2kPreferences::onClipPercent);
    connect(ui->useBilinearSampling, &QCheckBox::clicked, this, &XRVJP2kPreferences::onUseBilinear);
    connect(ui->useResilientDecoding, &QCheckBox::clicked, this, &XRVJP2kPreferences::onUseResilientDecoding);
    connect(ui->useAdaptiveRendering, &QCheckBox::clicked, this, &XRVJP2kPreferences::onUseAdaptiveRendering);
    connect(ui->useXrvTexture, &QCheckBox::clicked, this, &XRVJP2kPreferences::onUseTexturing);
    connect(ui->useWinHTTPInXRVP, &QCheckBox::clicked, this, &XRVJP2kPreferences::onUseWinHTTPInXRVP);
    connect(ui->useOpenProgressive, &QCheckBox::clicked, this, &XRVJP2kPreferences::onAlwaysOpenProgressive);
    connect(ui->clearDiskCacheButton, &QPushButton::clicked, this, &XRVJP2kPreferences::onClearDiskCache);
    connect(ui->viewFilesButton, &QPushButton::clicked, this, &XRVJP2kPreferences::onViewFiles);
    connect(ui->defaultsButton, &QPushButton::clicked, this, &XRVJP2kPreferences::onDefaults);
    connect(ui->logXrvMessages, &QCheckBox::clicked, this, &XRVJP2kPreferences::onLogXrv);
}

void XRVJP2kPreferences::init()
{
    showMemoryCache();
    showDiskCache();
    showOptions();
}

void XRVJP2kPreferences::showMemoryCache()
{
    ui->xrvpMemCacheDirSizeSlider->setRange(10, 100);
    ui->xrvpMemCacheDirSizeSlider->setValue(percentOf(memoryCacheSizeMb, maxMemoryMb));
    ui->xrvpCacheDirLabel->setText(megabytesText(memoryCacheSizeMb, "%2.2f"));
    // Once replaced, the placeholder is gone: later calls leave the sentence as it is.
    QString sentence = ui->memCacheLabel->text();
    sentence.replace(QStringLiteral("${MEMORY}"), megabytesText(recommendedMemoryMb, "%2.2f"));
    ui->memCacheLabel->setText(sentence);
}

void XRVJP2kPreferences::showDiskCache()
{
    ui->diskCacheGroupBox->setChecked(streamCacheEnabled);
    ui->xrvpDiskCacheLocationEdit->setText(cacheDir);
    ui->xrvpDiskCacheSizeSlider->setRange(20, 100);
    ui->xrvpDiskCacheSizeSlider->setValue(percentOf(diskCacheSizeMb, FullDiskCacheMb));
    ui->xrvpDiskCacheSizeLabel->setText(Korvane::Util::String::formatFileSize(cacheBytesInUse(), "%2.2f"));
    ui->xrvpDiskCacheLabel->setText(megabytesText(diskCacheSizeMb, "  %2.2f"));
}

void XRVJP2kPreferences::showOptions()
{
    ui->useBilinearSampling->setChecked(!nearestNeighbour);
    ui->useAdaptiveRendering->setChecked(adaptiveRendering);
    ui->useXrvTexture->setChecked(textureDither);
    ui->useOpenProgressive->setChecked(false);
    ui->useOpenProgressive->setChecked(openProgressive);
    ui->clipPercent->setValue(clipPercent);
    ui->useWinHTTPInXRVP->setChecked(useWinHttp);
    ui->userAgentLineEdit->setText(userAgent);
    ui->useResilientDecoding->setChecked(resilientDecoding);
    ui->logXrvMessages->setChecked(logSdkEvents);
}

QStringList XRVJP2kPreferences::cacheFileNames() const
{
    return QDir(cacheDir).entryList(cacheFilePatterns(), QDir::Files, QDir::NoSort);
}

quint64 XRVJP2kPreferences::cacheBytesInUse() const
{
    quint64 bytes = 0;
    const QDir folder(cacheDir);
    for (const QString& name : cacheFileNames()) bytes += quint64(QFileInfo(folder.filePath(name)).size());
    return bytes;
}

void XRVJP2kPreferences::onSavePrefs()
{
    userAgent = ui->userAgentLineEdit->text();
    QSettings& s = settings();
    using namespace XRVJP2kSettings;
    TextureDither.store(s, textureDither);
    LocalXrvpCache.store(s, streamCacheEnabled);
    XrvpCacheDir.store(s, cacheDir);
    CacheMaxMemMb.store(s, qulonglong(memoryCacheSizeMb));
    DiskCacheMaxSizeMb.store(s, qulonglong(diskCacheSizeMb));
    ResilientDecoding.store(s, resilientDecoding);
    OptimizeNonProgressive.store(s, optimiseNonProgressive);
    OptimizeNearestNeighbour.store(s, nearestNeighbour);
    AdaptiveRendering.store(s, adaptiveRendering);
    DefaultClipTransform.store(s, uint(clipPercent));
    OpenProgressive.store(s, openProgressive);
    UseWinHTTPInXrvp.store(s, useWinHttp);
    XRVPUserAgent.store(s, userAgent);
    LogXrvEvents.store(s, logSdkEvents);
    s.remove(QLatin1String(ObsoleteLogLevel));
    // The one setting that needs no restart: the sinks follow it at once.
    emit sdkLoggingChosen(logSdkEvents);
}

void XRVJP2kPreferences::onCacheDirSliderMove(int value)
{
    const quint64 size = quint64(maxMemoryMb * (value / 100.0));
    ui->xrvpCacheDirLabel->setText(megabytesText(size, "  %2.2f"));
    memoryCacheSizeMb = size;
}

void XRVJP2kPreferences::onDiskCacheSliderMove(int value)
{
    const quint64 size = quint64(value / 100.0 * FullDiskCacheMb);
    ui->xrvpDiskCacheLabel->setText(megabytesText(size, "  %2.2f"));
    diskCacheSizeMb = size;
}

void XRVJP2kPreferences::onEnableXRVPCache(bool checked)
{
    streamCacheEnabled = checked;
}

void XRVJP2kPreferences::onChooseXRVPCacheDir(bool)
{
    const QFileDialog::Options options(QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    const QString folder =
        QFileDialog::getExistingDirectory(this, tr("Choose XRVP Cache Directory"), cacheDir, options);
    if (folder.isNull()) return;
    // The location field shows the new folder from the next init() on.
    if (QDir(folder).exists())
        cacheDir = folder;
    else
        QMessageBox::warning(this, tr("Error"), tr("Directory does not exist!"), QMessageBox::Ok);
}

void XRVJP2kPreferences::onClipPercent(int value)
{
    clipPercent = value;
}

void XRVJP2kPreferences::onUseBilinear(bool checked)
{
    nearestNeighbour = !checked;
}

void XRVJP2kPreferences::onUseResilientDecoding(bool checked)
{
    resilientDecoding = checked;
}

void XRVJP2kPreferences::onUseAdaptiveRendering(bool checked)
{
    adaptiveRendering = checked;
}

void XRVJP2kPreferences::onUseTexturing(bool checked)
{
    textureDither = checked;
}

void XRVJP2kPreferences::onUseWinHTTPInXRVP(bool checked)
{
    useWinHttp = checked;
}

void XRVJP2kPreferences::onAlwaysOpenProgressive(bool checked)
{
    openProgressive = checked;
}

void XRVJP2kPreferences::onClearDiskCache(bool)
{
    const QMessageBox::StandardButton answer = QMessageBox::question(
        this, tr("Disk Cache"),
        tr("Clearing the XRVP disk cache cannot be undone.\n\nAre you sure you want to clear the disk cache?"),
        QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::NoButton);
    if (answer != QMessageBox::Ok) return;
    QDir folder(cacheDir);
    bool allRemoved = true;
    for (const QString& name : cacheFileNames()) allRemoved = folder.remove(name) && allRemoved;
    // Files still open in a map view's stream stay; the rest go. The usage figure is left as
    // it was until the page is shown again.
    if (!allRemoved)
        QMessageBox::warning(this, tr("Disk Cache"),
                             tr("Not all files could be removed. Close all map views before clearing the cache."),
                             QMessageBox::Ok);
}

void XRVJP2kPreferences::onViewFiles(bool)
{
    if (!QDir(cacheDir).exists()) QDir().mkpath(cacheDir);
    // The folder text as it stands, not a local-file URL: the desktop's file browser takes both.
    if (!QDesktopServices::openUrl(QUrl(cacheDir, QUrl::TolerantMode)))
        QMessageBox::warning(this, tr("Error"), tr("Could not open local XRVP cache folder '%1'.").arg(cacheDir),
                             QMessageBox::Ok);
}

void XRVJP2kPreferences::onDefaults(bool)
{
    // Texture dithering on and an empty User-Agent differ from the values the page reads when
    // nothing is stored; the defaults are meant to be these. Progressive opening and adaptive
    // rendering keep their values.
    textureDither = true;
    streamCacheEnabled = true;
    memoryCacheSizeMb = recommendedMemoryMb;
    cacheDir = defaultCacheDir();
    diskCacheSizeMb = FullDiskCacheMb;
    resilientDecoding = true;
    optimiseNonProgressive = false;
    nearestNeighbour = true;
    clipPercent = 99;
    useWinHttp = false;
    userAgent.clear();
    logSdkEvents = true;
    init();
}

void XRVJP2kPreferences::onLogXrv(bool bLogXrv)
{
    logSdkEvents = bLogXrv;
}
