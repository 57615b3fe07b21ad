// Information page "Statistics": the engine's per-band statistics of the image (mode, median,
// mean, standard deviation, minimum, maximum and histogram) for the band chosen in the combo
// box, with a button that copies the statistics of every band as text. The page owns the
// statistics record it shows.
#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>

#include <memory>

#include "QDGui/ILayerPropertiesWidget.h"
#include "PLKTypes.h"

namespace Korvane {
class XRVJP2kLayer;
namespace Map {
class Layer;
}
}  // namespace Korvane

namespace Ui {
class XRVJP2kLayerStatistics;
}

class XRVJP2kLayerStatistics : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)

public:
    explicit XRVJP2kLayerStatistics(QWidget* parent = nullptr);
    ~XRVJP2kLayerStatistics() override;

public slots:
    void setLayer(Korvane::Map::Layer* pLayer) override;
    void apply() override;
    void onBandChange(int index);
    void copyToClipboard();

private:
    void listBands(Korvane::XRVJP2kLayer& layer);
    void replaceStatistics(PLKFileStatistics* statistics);
    // The record's statistics of one band, or null when the record does not reach it.
    const PLKBandStatistics* bandStatistics(int band) const;
    void showBand(int band);
    QString clipboardText();
    QString bandClipboardText(int band, const PLKBandStatistics& stats);

    std::unique_ptr<Ui::XRVJP2kLayerStatistics> ui;
    PLKFileStatistics* m_statistics = nullptr;
    int m_bandCount = 0;
};
