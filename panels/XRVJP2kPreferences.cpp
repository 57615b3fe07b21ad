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
    : QWidget(parent, Qt::WindowFlags()), ui(new Ui::XRVJP2kPreferencesClass), m_totalMemoryMb(totalMemory)
{
    ui->setupUi(this);
    setObjectName(QStringLiteral("XRV JP2"));
    m_maxMemoryMb = std::min(quint64(std::max<qint64>(m_totalMemoryMb, 0) >> 2), MostMemoryMb);
    m_recommendedMemoryMb = std::min(m_maxMemoryMb, RecommendedMemoryMb);
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
    m_streamCacheEnabled = LocalXrvpCache.in(s).toBool();
    m_memoryCacheSizeMb = CacheMaxMemMb.in(s).toULongLong();
    m_cacheDir = XrvpCacheDir.in(s, defaultCacheDir()).toString();
    m_diskCacheSizeMb = DiskCacheMaxSizeMb.in(s, qulonglong(FullDiskCacheMb)).toULongLong();
    m_textureDither = TextureDither.in(s).toBool();
    m_resilientDecoding = ResilientDecoding.in(s).toBool();
    m_optimiseNonProgressive = OptimizeNonProgressive.in(s).toBool();
    m_nearestNeighbour = OptimizeNearestNeighbour.in(s).toBool();
    m_adaptiveRendering = AdaptiveRendering.in(s).toBool();
    m_clipPercent = DefaultClipTransform.in(s).toInt();
    m_openProgressive = OpenProgressive.in(s).toBool();
    m_useWinHttp = UseWinHTTPInXrvp.in(s).toBool();
    m_userAgent = XRVPUserAgent.in(s, QGuiApplication::applicationDisplayName()).toString();
    m_logSdkEvents = LogXrvEvents.in(s).toBool();
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
    ui->xrvpMemCacheDirSizeSlider->setValue(percentOf(m_memoryCacheSizeMb, m_maxMemoryMb));
    ui->xrvpCacheDirLabel->setText(megabytesText(m_memoryCacheSizeMb, "%2.2f"));
    // Once replaced, the placeholder is gone: later calls leave the sentence as it is.
    QString sentence = ui->memCacheLabel->text();
    sentence.replace(QStringLiteral("${MEMORY}"), megabytesText(m_recommendedMemoryMb, "%2.2f"));
    ui->memCacheLabel->setText(sentence);
}

void XRVJP2kPreferences::showDiskCache()
{
    ui->diskCacheGroupBox->setChecked(m_streamCacheEnabled);
    ui->xrvpDiskCacheLocationEdit->setText(m_cacheDir);
    ui->xrvpDiskCacheSizeSlider->setRange(20, 100);
    ui->xrvpDiskCacheSizeSlider->setValue(percentOf(m_diskCacheSizeMb, FullDiskCacheMb));
    ui->xrvpDiskCacheSizeLabel->setText(Korvane::Util::String::formatFileSize(cacheBytesInUse(), "%2.2f"));
    ui->xrvpDiskCacheLabel->setText(megabytesText(m_diskCacheSizeMb, "  %2.2f"));
}

void XRVJP2kPreferences::showOptions()
{
    ui->useBilinearSampling->setChecked(!m_nearestNeighbour);
    ui->useAdaptiveRendering->setChecked(m_adaptiveRendering);
    ui->useXrvTexture->setChecked(m_textureDither);
    ui->useOpenProgressive->setChecked(false);
    ui->useOpenProgressive->setChecked(m_openProgressive);
    ui->clipPercent->setValue(m_clipPercent);
    ui->useWinHTTPInXRVP->setChecked(m_useWinHttp);
    ui->userAgentLineEdit->setText(m_userAgent);
    ui->useResilientDecoding->setChecked(m_resilientDecoding);
    ui->logXrvMessages->setChecked(m_logSdkEvents);
}

QStringList XRVJP2kPreferences::cacheFileNames() const
{
    return QDir(m_cacheDir).entryList(cacheFilePatterns(), QDir::Files, QDir::NoSort);
}

quint64 XRVJP2kPreferences::cacheBytesInUse() const
{
    quint64 bytes = 0;
    const QDir folder(m_cacheDir);
    for (const QString& name : cacheFileNames()) bytes += quint64(QFileInfo(folder.filePath(name)).size());
    return bytes;
}

void XRVJP2kPreferences::onSavePrefs()
{
    m_userAgent = ui->userAgentLineEdit->text();
    QSettings& s = settings();
    using namespace XRVJP2kSettings;
    TextureDither.store(s, m_textureDither);
    LocalXrvpCache.store(s, m_streamCacheEnabled);
    XrvpCacheDir.store(s, m_cacheDir);
    CacheMaxMemMb.store(s, qulonglong(m_memoryCacheSizeMb));
    DiskCacheMaxSizeMb.store(s, qulonglong(m_diskCacheSizeMb));
    ResilientDecoding.store(s, m_resilientDecoding);
    OptimizeNonProgressive.store(s, m_optimiseNonProgressive);
    OptimizeNearestNeighbour.store(s, m_nearestNeighbour);
    AdaptiveRendering.store(s, m_adaptiveRendering);
    DefaultClipTransform.store(s, uint(m_clipPercent));
    OpenProgressive.store(s, m_openProgressive);
    UseWinHTTPInXrvp.store(s, m_useWinHttp);
    XRVPUserAgent.store(s, m_userAgent);
    LogXrvEvents.store(s, m_logSdkEvents);
    s.remove(QLatin1String(ObsoleteLogLevel));
    // The one setting that needs no restart: the sinks follow it at once.
    emit sdkLoggingChosen(m_logSdkEvents);
}

void XRVJP2kPreferences::onCacheDirSliderMove(int value)
{
    const quint64 size = quint64(m_maxMemoryMb * (value / 100.0));
    ui->xrvpCacheDirLabel->setText(megabytesText(size, "  %2.2f"));
    m_memoryCacheSizeMb = size;
}

void XRVJP2kPreferences::onDiskCacheSliderMove(int value)
{
    const quint64 size = quint64(value / 100.0 * FullDiskCacheMb);
    ui->xrvpDiskCacheLabel->setText(megabytesText(size, "  %2.2f"));
    m_diskCacheSizeMb = size;
}

void XRVJP2kPreferences::onEnableXRVPCache(bool checked)
{
    m_streamCacheEnabled = checked;
}

void XRVJP2kPreferences::onChooseXRVPCacheDir(bool)
{
    const QFileDialog::Options options(QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    const QString folder =
        QFileDialog::getExistingDirectory(this, tr("Choose XRVP Cache Directory"), m_cacheDir, options);
    if (folder.isNull()) return;
    // The location field shows the new folder from the next init() on.
    if (QDir(folder).exists())
        m_cacheDir = folder;
    else
        QMessageBox::warning(this, tr("Error"), tr("Directory does not exist!"), QMessageBox::Ok);
}

void XRVJP2kPreferences::onClipPercent(int value)
{
    m_clipPercent = value;
}

void XRVJP2kPreferences::onUseBilinear(bool checked)
{
    m_nearestNeighbour = !checked;
}

void XRVJP2kPreferences::onUseResilientDecoding(bool checked)
{
    m_resilientDecoding = checked;
}

void XRVJP2kPreferences::onUseAdaptiveRendering(bool checked)
{
    m_adaptiveRendering = checked;
}

void XRVJP2kPreferences::onUseTexturing(bool checked)
{
    m_textureDither = checked;
}

void XRVJP2kPreferences::onUseWinHTTPInXRVP(bool checked)
{
    m_useWinHttp = checked;
}

void XRVJP2kPreferences::onAlwaysOpenProgressive(bool checked)
{
    m_openProgressive = checked;
}

void XRVJP2kPreferences::onClearDiskCache(bool)
{
    const QMessageBox::StandardButton answer = QMessageBox::question(
        this, tr("Disk Cache"),
        tr("Clearing the XRVP disk cache cannot be undone.\n\nAre you sure you want to clear the disk cache?"),
        QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::NoButton);
    if (answer != QMessageBox::Ok) return;
    QDir folder(m_cacheDir);
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
    if (!QDir(m_cacheDir).exists()) QDir().mkpath(m_cacheDir);
    // The folder text as it stands, not a local-file URL: the desktop's file browser takes both.
    if (!QDesktopServices::openUrl(QUrl(m_cacheDir, QUrl::TolerantMode)))
        QMessageBox::warning(this, tr("Error"), tr("Could not open local XRVP cache folder '%1'.").arg(m_cacheDir),
                             QMessageBox::Ok);
}

void XRVJP2kPreferences::onDefaults(bool)
{
    // Texture dithering on and an empty User-Agent differ from the values the page reads when
    // nothing is stored; the defaults are meant to be these. Progressive opening and adaptive
    // rendering keep their values.
    m_textureDither = true;
    m_streamCacheEnabled = true;
    m_memoryCacheSizeMb = m_recommendedMemoryMb;
    m_cacheDir = defaultCacheDir();
    m_diskCacheSizeMb = FullDiskCacheMb;
    m_resilientDecoding = true;
    m_optimiseNonProgressive = false;
    m_nearestNeighbour = true;
    m_clipPercent = 99;
    m_useWinHttp = false;
    m_userAgent.clear();
    m_logSdkEvents = true;
    init();
}

void XRVJP2kPreferences::onLogXrv(bool bLogXrv)
{
    m_logSdkEvents = bLogXrv;
}
