#include "QDGui/XRVPBrowser.h"

#include "QDGui/Application.h"

#include <QtCore/QSettings>
#include <QtCore/QUrl>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Korvane {
namespace Gui {

const char* const XRVPBrowser::HistoryKey = "QDViewer/XrvpHistory";

XRVPBrowser::XRVPBrowser(QWidget* parent, BrowserProtocol protocol) : QDialog(parent), m_protocol(protocol)
{
    setWindowTitle(protocol == XRVPS ? tr("Open Secure XRVP Stream") : tr("Open XRVP Stream"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(tr("Stream address:"), this));
    m_edit = new QLineEdit(this);
    m_edit->setObjectName(QStringLiteral("addressEdit"));
    m_edit->setPlaceholderText(protocol == XRVPS ? QStringLiteral("xrvps://server/path/image.jp2")
                                                 : QStringLiteral("xrvp://server/path/image.jp2"));
    layout->addWidget(m_edit);
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("messageLabel"));
    m_message->setStyleSheet(QStringLiteral("color: #b00020;"));
    m_message->setWordWrap(true);
    m_message->hide();
    layout->addWidget(m_message);
    layout->addWidget(new QLabel(tr("Recently used:"), this));
    m_history = new QListWidget(this);
    m_history->setObjectName(QStringLiteral("historyList"));
    layout->addWidget(m_history);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &XRVPBrowser::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &XRVPBrowser::reject);
    connect(m_history, &QListWidget::itemClicked, this, &XRVPBrowser::onHistoryClicked);
    connect(m_history, &QListWidget::itemActivated, this, &XRVPBrowser::onHistoryActivated);
    connect(m_edit, &QLineEdit::textEdited, m_message, &QLabel::hide);
    resize(480, 320);
    loadHistory();
}

XRVPBrowser::~XRVPBrowser() = default;

QString XRVPBrowser::address() const
{
    return m_edit->text().trimmed();
}

void XRVPBrowser::setAddress(const QString& address)
{
    m_edit->setText(address);
}

QString XRVPBrowser::validate(const QString& address)
{
    const QString text = address.trimmed();
    if (text.isEmpty()) return tr("Please enter a stream address.");
    const QUrl url(text, QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("xrvp") && scheme != QLatin1String("xrvps"))
        return tr("\"%1\" is not a stream address: it must begin with xrvp:// or xrvps://.").arg(text);
    if (!url.isValid() || url.host().isEmpty())
        return tr("\"%1\" names no server: write it as xrvp://server/path.").arg(text);
    return QString();
}

QStringList XRVPBrowser::history()
{
    return Application::settings()->value(QLatin1String(HistoryKey)).toStringList();
}

void XRVPBrowser::remember(const QString& address)
{
    QStringList list = history();
    list.removeAll(address);
    list.prepend(address);
    while (list.size() > MaxHistory) list.removeLast();
    Application::settings()->setValue(QLatin1String(HistoryKey), list);
}

QString XRVPBrowser::getXrvpUrl(QWidget* parent, BrowserProtocol protocol)
{
    XRVPBrowser browser(parent, protocol);
    if (browser.exec() != QDialog::Accepted) return QString();
    return browser.address();
}

void XRVPBrowser::accept()
{
    const QString text = address();
    const QString problem = validate(text);
    if (!problem.isEmpty()) {
        m_message->setText(problem);
        m_message->show();
        m_edit->setFocus();
        return;
    }
    m_message->hide();
    remember(text);
    loadHistory();
    emit urlSelected(text);
    QDialog::accept();
}

void XRVPBrowser::showEvent(QShowEvent* event)
{
    // The same dialog may be shown many times; other browsers may have added addresses.
    loadHistory();
    m_message->hide();
    if (m_edit->text().isEmpty())
        m_edit->setText(m_protocol == XRVPS ? QStringLiteral("xrvps://") : QStringLiteral("xrvp://"));
    m_edit->setFocus();
    QDialog::showEvent(event);
}

void XRVPBrowser::onHistoryClicked(QListWidgetItem* item)
{
    m_edit->setText(item->text());
    m_message->hide();
}

void XRVPBrowser::onHistoryActivated(QListWidgetItem* item)
{
    m_edit->setText(item->text());
    accept();
}

void XRVPBrowser::loadHistory()
{
    m_history->clear();
    m_history->addItems(history());
}

}  // namespace Gui
}  // namespace Korvane
