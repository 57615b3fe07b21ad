#include "XRVJP2kLayerMetaDataBox.h"
#include "ui_XRVJP2kLayerMetaDataBox.h"

#include <QtCore/QByteArray>
#include <QtCore/QVariant>
#include <QtCore/QtEndian>

#include <limits>

#include "XRVJP2kLayer.h"

namespace {

// The four characters of a box type, first character in the type's most significant byte
// ("xml " for the XML boxes).
QString boxTypeName(uint32_t type)
{
    const uint32_t bigEndian = qToBigEndian(type);
    return QString::fromLatin1(reinterpret_cast<const char*>(&bigEndian), 4);
}

}  // namespace

XRVJP2kLayerMetaDataBox::XRVJP2kLayerMetaDataBox(QWidget* parent) : QWidget(parent), ui(new Ui::XRVJP2LayerMetaDataBox)
{
    ui->setupUi(this);
    connect(ui->comboBoxMetaBox, QOverload<int>::of(&QComboBox::activated), this,
            &XRVJP2kLayerMetaDataBox::onComboBoxActivated);
    m_layer = nullptr;
}

XRVJP2kLayerMetaDataBox::~XRVJP2kLayerMetaDataBox() = default;

void XRVJP2kLayerMetaDataBox::setLayer(Korvane::Map::Layer* pLayer)
{
    ui->comboBoxMetaBox->clear();
    m_layer = qobject_cast<Korvane::XRVJP2kLayer*>(pLayer);
    if (!m_layer) return;
    listBoxes(m_layer->getDataSource());
    // Shows the first box at once (or clears the text when the file has none).
    emit ui->comboBoxMetaBox->activated(0);
}

// Opens the file a second time, adds one item per XML box with the box's text as its data,
// and closes the view again. A file that cannot be opened lists nothing.
void XRVJP2kLayerMetaDataBox::listBoxes(const QString& source)
{
    const PLK::CString name(source.toStdWString());
    PLK::CView view;
    if (!view.Open(name, false, false).Success()) return;

    PLK::CIOStream* stream = view.GetStream();
    // One text for the whole walk: a box whose offset cannot be reached is listed with the
    // text of the box before it. Deliberate, and kept as the page has always behaved.
    QString text;
    int number = 1;
    for (const PLKJP2Box* box = view.GetXMLBox(nullptr); box; box = view.GetXMLBox(box), ++number) {
        readBox(stream, *box, text);
        ui->comboBoxMetaBox->addItem(tr("'%1' Box #%2:").arg(boxTypeName(box->nTBox), QString::number(number)), text);
    }
    view.Close(true);
}

// The contents are taken as zero-terminated UTF-8 text: some writers close an XML box with a
// NUL byte, and the text ends there, so the NUL never reaches the page.
void XRVJP2kLayerMetaDataBox::readBox(PLK::CIOStream* stream, const PLKJP2Box& box, QString& text)
{
    if (!stream || !stream->Seek(box.nContentOffset)) return;
    // QByteArray keeps a zero byte after its contents.
    QByteArray buffer;
    const bool fits = box.nContentLength < uint64_t(std::numeric_limits<int>::max());
    if (fits) buffer.resize(int(box.nContentLength));
    if (fits && stream->Read(buffer.data(), uint32_t(buffer.size())))
        text = QString::fromUtf8(buffer.constData(), int(qstrnlen(buffer.constData(), uint(buffer.size()))));
    else
        text = tr("Found an XML box, but failed to parse the content.");
}

void XRVJP2kLayerMetaDataBox::apply()
{
    // Nothing to write back: the page only shows the boxes.
}

void XRVJP2kLayerMetaDataBox::onComboBoxActivated(int index)
{
    ui->plainTextEditMetaData->clear();
    if (!m_layer) return;
    const QVariant data = ui->comboBoxMetaBox->itemData(index, Qt::UserRole);
    if (!data.isNull()) ui->plainTextEditMetaData->setPlainText(data.toString());
}
