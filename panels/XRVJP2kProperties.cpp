#include "XRVJP2kProperties.h"

#include "ui_XRVJP2kProperties.h"

#include <QApplication>
#include <QButtonGroup>
#include <QColorDialog>
#include <QMdiSubWindow>
#include <QSettings>
#include <QSignalBlocker>
#include <algorithm>

#include "CFileBase.h"
#include "QDGui/Application.h"
#include "QDGui/MapView.h"
#include "XRVJP2kLayer.h"
#include "XRVJP2kLayerCast.h"
#include "XRVJP2kSettings.h"
#include "XRVJP2kWheelGuard.h"

namespace {

bool engineOptimisesNearestNeighbour()
{
    return PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.GetOptimizeUseNearestNeighbour();
}

// Sets a widget's value without the widget telling anybody: loading a layer must not write
// the values back into it.
template <typename Widget, typename Owner, typename Value>
void setQuietly(Widget* widget, void (Owner::*setter)(Value), Value value)
{
    const QSignalBlocker blocker(widget);
    (widget->*setter)(value);
}

}  // namespace

XRVJP2kProperties::XRVJP2kProperties(QWidget* parent)
    : QWidget(parent, Qt::WindowFlags()), ui(new Ui::XRVJP2kPropertiesClass)
{
    // The read-line radio buttons share a button group that the form connects by its name to
    // on_readLineGroupBox_buttonClicked(int), with every other control's slot: made before the
    // form so that the connection by name finds it.
    auto* readLineButtons = new QButtonGroup(this);
    readLineButtons->setObjectName(QStringLiteral("readLineGroupBox"));
    ui->setupUi(this);
    ui->draSpinBox->setSuffix(QStringLiteral(" %"));
    ui->scrollAreaWidgetContents->layout()->setContentsMargins(3, 3, 3, 3);
    ui->resampleTypeComboBox->setCurrentIndex(engineOptimisesNearestNeighbour() ? 0 : 1);
    // A clip of 0 percent would mean no transform at all; the slider starts at 1.
    ui->draSlider->setRange(1, 100);
    readLineButtons->addButton(ui->readLineRGBA, 0);
    readLineButtons->addButton(ui->readLineBIL, 1);
    XRVJP2kWheelGuard::install(this);
    // The cache flushing and read-line options are not offered to users; their slots stay so
    // that the options still work when something invokes them.
    ui->groupBoxAdvanced->deleteLater();
    setEnabled(false);
}

XRVJP2kProperties::~XRVJP2kProperties() = default;

void XRVJP2kProperties::setLayer(Korvane::Map::Layer* layer)
{
    onLayerActivated(layer);
}

void XRVJP2kProperties::apply() {}

void XRVJP2kProperties::onLayerActivated(Korvane::Map::Layer* layer)
{
    if (currentLayer) disconnect(currentLayer, nullptr, this, nullptr);
    currentLayer = XRVJP2kLayerCast::of(layer);
    setEnabled(currentLayer != nullptr);
    if (!currentLayer) return;
    // A layer deleted without notice greys the panel out as a null layer would.
    connect(currentLayer, &QObject::destroyed, this, [this] { onLayerActivated(nullptr); });
    loadPercentages();
    loadQualityLayers();
    setQuietly(ui->resampleTypeComboBox, &QComboBox::setCurrentIndex, int(currentLayer->getResampleType()));
    loadOptions();
    loadBands();
    loadOutline();
}

void XRVJP2kProperties::onSubWindowActivated(QMdiSubWindow* window)
{
    // A map view becoming active is followed by a layer activation, which decides.
    if (window && !qobject_cast<Korvane::Map::MapView*>(window->widget()))
        setEnabled(false);
    else if (!window && QApplication::activeWindow())
        setEnabled(false);
}

void XRVJP2kProperties::loadPercentages()
{
    const int transparency = int((1.0 - currentLayer->getTransparency()) * 100);
    const int contrast = int(currentLayer->getContrast() * 100);
    const int brightness = int(currentLayer->getBrightness() * 100);
    const int clip = currentLayer->getTransformClip();
    setQuietly(ui->transparencySlider, &QSlider::setValue, transparency);
    setQuietly(ui->transparencySpinBox, &QSpinBox::setValue, transparency);
    setQuietly(ui->contrastSlider, &QSlider::setValue, contrast);
    setQuietly(ui->contrastSpinBox, &QSpinBox::setValue, contrast);
    setQuietly(ui->brightnessSlider, &QSlider::setValue, brightness);
    setQuietly(ui->brightnessSpinBox, &QSpinBox::setValue, brightness);
    setQuietly(ui->draSlider, &QSlider::setValue, clip);
    setQuietly(ui->draSpinBox, &QSpinBox::setValue, clip);
}

void XRVJP2kProperties::loadQualityLayers()
{
    int count = 0;
    const bool jpeg2000 = headerQualityLayers(count);
    ui->groupBoxQuality->setEnabled(jpeg2000);
    if (!jpeg2000) return;
    const QSignalBlocker sliderBlocker(ui->jp2QualitySlider);
    const QSignalBlocker spinBlocker(ui->jp2QualitySpinBox);
    ui->jp2QualitySlider->setRange(1, count);
    ui->jp2QualitySpinBox->setRange(1, count);
    ui->jp2QualitySlider->setValue(currentLayer->getJp2QualityLayers());
    ui->jp2QualitySpinBox->setValue(currentLayer->getJp2QualityLayers());
}

void XRVJP2kProperties::loadOptions()
{
    setQuietly(ui->progressiveCheckbox, &QCheckBox::setChecked, currentLayer->getProgressive());
    setQuietly(ui->adaptiveRoamCheckbox, &QCheckBox::setChecked, currentLayer->getAdaptiveRoam());
    setQuietly(ui->backingStoreCheckBox, &QCheckBox::setChecked, currentLayer->getBackingStore());
    setQuietly(ui->textureDitherCheckBox, &QCheckBox::setChecked, currentLayer->getTextureDither());
}

void XRVJP2kProperties::loadBands()
{
    const QStringList descriptions = currentLayer->getBandDescriptions();
    const QVector<int> bands = currentLayer->getBandList();
    QComboBox* const colours[] = {ui->redBandComboBox, ui->greenBandComboBox, ui->blueBandComboBox};
    for (int i = 0; i < 3; ++i) {
        const QSignalBlocker blocker(colours[i]);
        colours[i]->clear();
        colours[i]->addItems(descriptions);
        colours[i]->setCurrentIndex(bands.value(i));
    }
    const QSignalBlocker blocker(ui->opacityBandComboBox);
    ui->opacityBandComboBox->clear();
    // Fixed names of the engine's band roles, not translated.
    ui->opacityBandComboBox->addItems({QStringLiteral("None"), QStringLiteral("AllOpacity")});
    const bool opacity = currentLayer->hasOpacity();
    ui->opacityBandComboBox->setEnabled(opacity);
    const bool showsOpacity = opacity && !bands.isEmpty() && bands.last() == currentLayer->getOpacityBandNumber();
    ui->opacityBandComboBox->setCurrentIndex(showsOpacity ? 1 : 0);
}

void XRVJP2kProperties::loadOutline()
{
    setQuietly(ui->drawImageOutlineCheckBox, &QCheckBox::setChecked, currentLayer->getDrawOutline());
    showOutlineColor(currentLayer->getOutlineColor());
}

void XRVJP2kProperties::showOutlineColor(const QColor& color)
{
    ui->colorFrame->setStyleSheet(
        QStringLiteral("background-color: rgb(%1, %2, %3);").arg(color.red()).arg(color.green()).arg(color.blue()));
}

bool XRVJP2kProperties::headerQualityLayers(int& count)
{
    Korvane::XRVJP2kLayer::Jp2FileInfo info;
    if (!currentLayer || !currentLayer->getJp2FileInfo(info)) return false;
    count = info.qualityLayers;
    return true;
}

void XRVJP2kProperties::refreshLayer()
{
    currentLayer->refresh(0, 0, 0, 0);
}

// Bands. The four combos share one handler: the list is rebuilt from all of them.

void XRVJP2kProperties::on_redBandComboBox_activated(int)
{
    applyBands();
}

void XRVJP2kProperties::on_greenBandComboBox_activated(int)
{
    applyBands();
}

void XRVJP2kProperties::on_blueBandComboBox_activated(int)
{
    applyBands();
}

void XRVJP2kProperties::on_opacityBandComboBox_activated(int)
{
    applyBands();
}

void XRVJP2kProperties::applyBands()
{
    if (!currentLayer) return;
    QVector<int> bands{ui->redBandComboBox->currentIndex(), ui->greenBandComboBox->currentIndex(),
                       ui->blueBandComboBox->currentIndex()};
    if (currentLayer->hasOpacity() && ui->opacityBandComboBox->currentIndex() == 1)
        bands.append(currentLayer->getOpacityBandNumber());
    currentLayer->setBandList(bands);
}

// Resets move the slider; the slider's own slot applies the value.

void XRVJP2kProperties::on_resetBrightness_clicked()
{
    ui->brightnessSlider->setValue(100);
}

void XRVJP2kProperties::on_resetContrast_clicked()
{
    ui->contrastSlider->setValue(100);
}

void XRVJP2kProperties::on_resetTransparency_clicked()
{
    ui->transparencySlider->setValue(0);
}

void XRVJP2kProperties::on_resetDRA_clicked()
{
    ui->draSlider->setValue(XRVJP2kSettings::DefaultClipTransform.in(*Korvane::Application::settings()).toInt());
}

void XRVJP2kProperties::on_resetJp2Quality_clicked()
{
    int count = 0;
    if (headerQualityLayers(count)) ui->jp2QualitySlider->setValue(count);
}

// Spin boxes follow their sliders and the other way round; only the slider talks to the layer.

void XRVJP2kProperties::on_brightnessSpinBox_valueChanged(int value)
{
    ui->brightnessSlider->setValue(value);
}

void XRVJP2kProperties::on_contrastSpinBox_valueChanged(int value)
{
    ui->contrastSlider->setValue(value);
}

void XRVJP2kProperties::on_draSpinBox_valueChanged(int value)
{
    ui->draSlider->setValue(value);
}

void XRVJP2kProperties::on_transparencySpinBox_valueChanged(int value)
{
    ui->transparencySlider->setValue(value);
}

void XRVJP2kProperties::on_jp2QualitySpinBox_valueChanged(int value)
{
    ui->jp2QualitySlider->setValue(value);
}

void XRVJP2kProperties::on_brightnessSlider_valueChanged(int value)
{
    if (currentLayer) {
        currentLayer->setBrightness(value / 100.0);
        refreshLayer();
    }
    ui->brightnessSpinBox->setValue(value);
}

void XRVJP2kProperties::on_contrastSlider_valueChanged(int value)
{
    if (currentLayer) {
        currentLayer->setContrast(value / 100.0);
        refreshLayer();
    }
    ui->contrastSpinBox->setValue(value);
}

void XRVJP2kProperties::on_transparencySlider_valueChanged(int value)
{
    // The layer keeps an opacity (1.0 opaque); users think in percent transparent.
    if (currentLayer) {
        currentLayer->setTransparency((100 - value) / 100.0);
        refreshLayer();
    }
    ui->transparencySpinBox->setValue(value);
}

void XRVJP2kProperties::on_draSlider_valueChanged(int value)
{
    if (currentLayer) {
        currentLayer->setTransformClip(int(std::min(unsigned(value), 100u)));
        refreshLayer();
    }
    ui->draSpinBox->setValue(value);
}

void XRVJP2kProperties::on_jp2QualitySlider_valueChanged(int value)
{
    if (currentLayer) {
        currentLayer->setJp2QualityLayers(value);
        refreshLayer();
    }
    ui->jp2QualitySpinBox->setValue(value);
}

// Options. The layer's setters decide themselves whether the picture must be redrawn.

void XRVJP2kProperties::on_progressiveCheckbox_stateChanged(int state)
{
    if (currentLayer) currentLayer->setProgressive(state != 0);
}

void XRVJP2kProperties::on_adaptiveRoamCheckbox_stateChanged(int state)
{
    if (currentLayer) currentLayer->setAdaptiveRoam(state != 0);
}

void XRVJP2kProperties::on_resampleTypeComboBox_currentIndexChanged(int index)
{
    if (!currentLayer) return;
    currentLayer->setResampleType(Korvane::XRVJP2kLayer::ResampleType(ui->resampleTypeComboBox->currentIndex()));
    // Bilinear resampling also smooths the painted picture.
    currentLayer->setPixmapSmoothing(index != 0);
}

void XRVJP2kProperties::on_backingStoreCheckBox_stateChanged(int state)
{
    if (currentLayer) currentLayer->setBackingStore(state != 0);
}

void XRVJP2kProperties::on_textureDitherCheckBox_stateChanged(int state)
{
    if (currentLayer) currentLayer->setTextureDither(state != 0);
}

void XRVJP2kProperties::on_outlineColorButton_clicked(bool)
{
    if (!currentLayer) return;
    const QColor color = QColorDialog::getColor(currentLayer->getOutlineColor(), this, QString());
    if (!color.isValid()) return;  // cancelled
    currentLayer->setOutlineColor(color);
    showOutlineColor(color);
}

void XRVJP2kProperties::on_freeCacheCheckBox_stateChanged(int state)
{
    if (currentLayer) currentLayer->setFreeCache(state != 0);
}

void XRVJP2kProperties::on_drawImageOutlineCheckBox_stateChanged(int state)
{
    if (currentLayer) currentLayer->setDrawOutline(state != 0);
}

void XRVJP2kProperties::on_readLineGroupBox_buttonClicked(int id)
{
    if (!currentLayer) return;
    if (id == 0) currentLayer->setReadRGBA(true);
    if (id == 1) currentLayer->setReadRGBA(false);
}
