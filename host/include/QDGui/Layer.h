#pragma once
#include "QDGui/Export.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtGui/QIcon>

#include <memory>

class QDir;
class QDomDocument;
class QDomNode;

namespace Korvane {
namespace Map {

class LayerRefreshQueue;

// A layer of a map view: something with a data source that the view can show and hide.
// Map views own their layers. All operations run on the GUI thread except refresh(), which
// any thread may call.
class QDGUI_EXPORT Layer : public QObject {
    Q_OBJECT
public:
    explicit Layer(QObject* parent = nullptr);
    ~Layer() override;

    virtual QString getDataSource();
    // The base class only remembers the text; layers that read data open it here and
    // answer false (with their own error text) when they cannot.
    virtual bool setDataSource(QString source);
    virtual QIcon getIcon();
    virtual bool isVisible();
    // Stores the flag and asks the views to repaint the layer.
    virtual void setVisible(bool visible);
    // A unique id made when the layer is created and kept in projects.
    virtual QString getUid();
    virtual QString getComments();
    virtual void setComments(QString comments);
    virtual QString getDescription();
    virtual void setDescription(QString description);

    // Projects. writeXML fills the given element with the data source, visibility, uid,
    // comments and description, the layer class's stored, writable Qt properties and, for
    // raster layers, transparency, contrast, brightness and band list; readXML opens the data
    // source through setDataSource (a relative path is taken relative to projectDir) and
    // reads the rest back. On failure readXML answers false and, when error is given, says why.
    virtual bool readXML(QDomNode& node, QDir& projectDir, QString* error);
    virtual bool writeXML(QDomNode& node, QDomDocument& document);

    // Asks every view that shows the world rectangle (x1, y1)-(x2, y2) to repaint it;
    // (0, 0, 0, 0) means the whole layer. Safe to call from any thread: the request is
    // handed to the GUI thread, which emits refreshRequested. Requests that pile up before
    // the GUI thread gets to them are delivered together.
    void refresh(double x1, double y1, double x2, double y2);

    // The name that users see for the layer: the description, or else the data source's
    // file name.
    QString displayName();

signals:
    // Emitted on the GUI thread; (0, 0, 0, 0) means the whole layer.
    void refreshRequested(double x1, double y1, double x2, double y2);

private slots:
    void deliverRefreshes();

private:
    QString m_dataSource;
    QString m_uid;
    QString m_comments;
    QString m_description;
    bool m_visible = true;
    std::unique_ptr<LayerRefreshQueue> m_refreshQueue;
};

}  // namespace Map
}  // namespace Korvane
