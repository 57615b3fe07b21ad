// Information page "XRV Info": what the engine's file information record says about the open
// image (versions, georeferencing, sizes, compression rates, block size, authoring metadata),
// with a button that copies the same facts to the clipboard as plain text lines.
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
class XRVJP2kLayerFileInfo;
}

class XRVJP2kLayerFileInfo : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)

public:
    explicit XRVJP2kLayerFileInfo(QWidget* parent = nullptr);
    ~XRVJP2kLayerFileInfo() override;

public slots:
    void setLayer(Korvane::Map::Layer* pLayer) override;
    void copyToClipboard();
    void apply() override;

private:
    void showVersions(const PLKFileInfo& info);
    void showGeoreference(const PLKFileInfo& info);
    void showSizes(const PLKFileInfo& info);
    void showCompression(const PLKFileInfo& info);
    void showBlockSize();
    void showAuthoring(const PLKFileMetaData& meta);
    QString actualCompressionText(quint64 uncompressed);
    QString clipboardVersionText();
    QString clipboardText(const PLKFileInfo& info);

    std::unique_ptr<Ui::XRVJP2kLayerFileInfo> ui;
    Korvane::XRVJP2kLayer* m_layer = nullptr;
};
