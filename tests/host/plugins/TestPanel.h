#pragma once
#include <QtWidgets/QWidget>

class QLabel;
class QMdiSubWindow;

namespace Korvane {
namespace Map {
class Layer;
}
}  // namespace Korvane

// The test plug-in's dock panel: says in the log which layer and map window the host
// reported, so a test can follow the host's notifications from outside the process.
class TestPanel : public QWidget {
    Q_OBJECT
public:
    explicit TestPanel(QWidget* parent = nullptr);

public slots:
    void onLayerActivated(Korvane::Map::Layer* layer);
    void onSubWindowActivated(QMdiSubWindow* window);

private:
    QLabel* m_label;
};
