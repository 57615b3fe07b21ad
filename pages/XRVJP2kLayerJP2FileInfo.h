// Information page "JP2 Info": the JPEG 2000 code-stream parameters of the open image
// (comments, profile, tiling, precincts, code blocks, bit depths, levels, layers, progression,
// wavelet filter, SOP / EPH markers, GML box), with a button that copies them as text. The
// fields stay empty for images that are not JPEG 2000.
#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>

#include <memory>

#include "QDGui/ILayerPropertiesWidget.h"
#include "XRVJP2kLayer.h"

namespace Ui {
class XRVJP2kLayerJP2FileInfo;
}

class XRVJP2kLayerJP2FileInfo : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)

public:
    explicit XRVJP2kLayerJP2FileInfo(QWidget* parent = nullptr);
    ~XRVJP2kLayerJP2FileInfo() override;

public slots:
    void setLayer(Korvane::Map::Layer* pLayer) override;
    void copyToClipboard();
    void apply() override;

private:
    // The header of the layer's image, or false when it is not JPEG 2000 or cannot be read.
    bool readHeader(Korvane::XRVJP2kLayer::Jp2FileInfo& info);
    void showHeader(const Korvane::XRVJP2kLayer::Jp2FileInfo& info);
    QString clipboardText(const Korvane::XRVJP2kLayer::Jp2FileInfo& info);

    std::unique_ptr<Ui::XRVJP2kLayerJP2FileInfo> ui;
    Korvane::XRVJP2kLayer* m_layer = nullptr;
};
