#pragma once
#include "QDGui/Export.h"

#include <QtCore/QStringList>
#include <QtWidgets/QDialog>

class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;

namespace Korvane {
namespace Gui {

// A dialog in which the user types a stream address or picks one used before. The history
// (most recent first, at most 20) lives in the settings under "QDViewer/XrvpHistory".
class QDGUI_EXPORT XRVPBrowser : public QDialog {
    Q_OBJECT
public:
    enum BrowserProtocol { XRVP = 0, XRVPS = 1 };
    Q_ENUM(BrowserProtocol)

    static constexpr int MaxHistory = 20;
    static const char* const HistoryKey;

    explicit XRVPBrowser(QWidget* parent = nullptr, BrowserProtocol protocol = XRVP);
    ~XRVPBrowser() override;

    BrowserProtocol protocol() const { return m_protocol; }
    // The address in the line edit, trimmed.
    QString address() const;
    void setAddress(const QString& address);

    // Empty when the address is an xrvp:// or xrvps:// address with a server name; else a
    // sentence for the user saying what is wrong.
    static QString validate(const QString& address);
    static QStringList history();
    // Puts the address first in the stored history (removing an older copy).
    static void remember(const QString& address);

    // Runs the dialog modally; the chosen address, or a null string when cancelled.
    static QString getXrvpUrl(QWidget* parent, BrowserProtocol protocol);

public slots:
    // Checks the address; a valid one is remembered, announced and closes the dialog.
    void accept() override;

signals:
    void urlSelected(const QString& address);

protected:
    void showEvent(QShowEvent* event) override;

private slots:
    void onHistoryClicked(QListWidgetItem* item);
    void onHistoryActivated(QListWidgetItem* item);

private:
    void loadHistory();

    BrowserProtocol m_protocol;
    QLineEdit* m_edit = nullptr;
    QListWidget* m_history = nullptr;
    QLabel* m_message = nullptr;
};

}  // namespace Gui
}  // namespace Korvane
