// Information page "RPC Info": the image's rational polynomial camera model as the engine
// reports it (twelve normalisation and error values, four sets of twenty coefficients), with
// a button that copies it as text. The page owns the engine's RPC record it shows.
#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>

#include <memory>

#include "QDGui/ILayerPropertiesWidget.h"
#include "PLKTypes.h"

namespace Korvane {
namespace Map {
class Layer;
}
}  // namespace Korvane

namespace Ui {
class XRVJP2kLayerRPCInfo;
}

class XRVJP2kLayerRPCInfo : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)

public:
    explicit XRVJP2kLayerRPCInfo(QWidget* parent = nullptr);
    ~XRVJP2kLayerRPCInfo() override;

public slots:
    void setLayer(Korvane::Map::Layer* pLayer) override;
    void apply() override;
    void copyToClipboard();

private:
    void replaceRecord(PLKRPCData* rpc);
    void showRecord(const PLKRPCData& rpc);
    QString coefficientText(const PLKRPCData& rpc);
    QString clipboardText(const PLKRPCData& rpc);

    std::unique_ptr<Ui::XRVJP2kLayerRPCInfo> ui;
    PLKRPCData* m_rpc = nullptr;
};
