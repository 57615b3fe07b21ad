#include "XRVJP2kSunshade.h"

#include "ui_XRVJP2kSunshade.h"

#include <QMdiSubWindow>
#include <QSignalBlocker>

#include "QDGui/MapView.h"
#include "SunShadeWidget.h"
#include "XRVJP2kLayer.h"
#include "XRVJP2kLayerCast.h"
#include "XRVJP2kWheelGuard.h"

XRVJP2kSunshade::XRVJP2kSunshade(QWidget* parent) : QWidget(parent), ui(new Ui::XRVJP2kSunshadeClass)
{
    ui->setupUi(this);
    m_sunShade = new SunShadeWidget(this);
    ui->vboxLayout3->addWidget(m_sunShade);
    ui->vboxLayout3->setContentsMargins(0, 0, 0, 0);
    ui->vboxLayout3->setSpacing(0);
    XRVJP2kWheelGuard::install(this);
    // Nothing to act on until the host names an active layer.
    setEnabled(false);
}

XRVJP2kSunshade::~XRVJP2kSunshade() = default;

void XRVJP2kSunshade::onLayerActivated(Korvane::Map::Layer* activeLayer)
{
    if (layer) disconnect(layer, nullptr, this, nullptr);
    layer = XRVJP2kLayerCast::of(activeLayer);
    if (!layer) {
        setEnabled(false);
        return;
    }
    setEnabled(true);
    // A layer deleted without notice greys the panel out as a null layer would.
    connect(layer, &QObject::destroyed, this, [this] { onLayerActivated(nullptr); });
    // Loading shows the layer's state; it must not be written back into the layer.
    {
        const QSignalBlocker blocker(ui->hillShadeCheckBox);
        ui->hillShadeCheckBox->setChecked(layer->getHillShade());
    }
    {
        const QSignalBlocker blocker(ui->azumithSpinBox);
        ui->azumithSpinBox->setValue(int(layer->getAzumith()));
    }
    const QSignalBlocker blocker(ui->elevationSpinBox);
    ui->elevationSpinBox->setValue(int(layer->getElevation()));
}

void XRVJP2kSunshade::onSubWindowActivated(QMdiSubWindow* window)
{
    if (!window) {
        setEnabled(false);
        return;
    }
    setEnabled(true);
    if (!qobject_cast<Korvane::Map::MapView*>(window->widget())) setEnabled(false);
}

void XRVJP2kSunshade::refreshLayer()
{
    layer->refresh(0, 0, 0, 0);
}

void XRVJP2kSunshade::on_elevationSpinBox_valueChanged(int value)
{
    if (!layer) return;
    layer->setElevation(value);
    refreshLayer();
}

void XRVJP2kSunshade::on_azumithSpinBox_valueChanged(int value)
{
    if (!layer) return;
    layer->setAzumith(value);
    refreshLayer();
}

void XRVJP2kSunshade::on_hillShadeCheckBox_stateChanged(int state)
{
    if (!layer) return;
    layer->setHillShade(state != 0);
    refreshLayer();
}
