// The metadata page: the XML boxes of the layer's file, read through a view of the page's
// own, listed by type and number, each shown as the text of its bytes.
#include <QtTest>

#include <QtCore/QFile>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QPlainTextEdit>

#include "PageTestSupport.h"
#include "XRVJP2kLayerMetaDataBox.h"

namespace {

// The bytes of every XML box of a file, read straight from the file at the places the
// engine reports. Writers that close a box with a NUL byte get it dropped here, as the text
// ends there.
QStringList xmlBoxTexts(const QString& path)
{
    QStringList texts;
    PLK::CView view;
    QFile file(path);
    if (!view.Open(PLK::CString(path.toStdWString()), false, true).Success() || !file.open(QIODevice::ReadOnly))
        return texts;
    for (const PLKJP2Box* box = view.GetXMLBox(nullptr); box; box = view.GetXMLBox(box)) {
        file.seek(qint64(box->nContentOffset));
        QByteArray bytes = file.read(qint64(box->nContentLength));
        while (bytes.endsWith('\0')) bytes.chop(1);
        texts << QString::fromUtf8(bytes);
    }
    return texts;
}

QStringList itemTexts(QComboBox* combo)
{
    QStringList items;
    for (int i = 0; i < combo->count(); ++i) items << combo->itemText(i);
    return items;
}

// The text edit turns the carriage returns that some writers end XML lines with into line
// breaks of its own.
QString asShown(QString text)
{
    return text.replace('\r', '\n');
}

}  // namespace

class TestMetaDataPage : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void boxes_data();
    void boxes();
    void noBoxesClearsTheText_data();
    void noBoxesClearsTheText();

private:
    QTemporaryDir m_dir;
    PageTest::MadeImages m_images;
};

void TestMetaDataPage::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_images = PageTest::makeImages(m_dir.path());
}

void TestMetaDataPage::boxes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("count");
    QTest::newRow("two boxes before the code-stream (file1)") << PageTest::conformancePath("file1.jp2") << 2;
    QTest::newRow("one box on each side of the code-stream (file8)") << PageTest::conformancePath("file8.jp2") << 2;
    // Its boxes end with a NUL byte, one of them inside an association box.
    QTest::newRow("georeferenced sample") << PageTest::samplePath() << 3;
}

// One item per box, labelled with the box type and its number; the first box's text shows at
// once, and choosing an item shows that box's text. Each item carries its box's text.
void TestMetaDataPage::boxes()
{
    QFETCH(QString, path);
    QFETCH(int, count);
    if (path.isEmpty()) QSKIP("the file for this case is absent");
    const QStringList expected = xmlBoxTexts(path);
    QCOMPARE(expected.size(), count);
    auto layer = PageTest::openLayer(path);
    QVERIFY(layer->isValid());
    XRVJP2kLayerMetaDataBox page;
    page.setLayer(layer.get());

    auto* combo = page.findChild<QComboBox*>("comboBoxMetaBox");
    auto* text = page.findChild<QPlainTextEdit*>("plainTextEditMetaData");
    QStringList labels;
    for (int i = 1; i <= count; ++i) labels << QString("'xml ' Box #%1:").arg(i);
    QCOMPARE(itemTexts(combo), labels);
    for (int i = 0; i < count; ++i) QCOMPARE(combo->itemData(i).toString(), expected[i]);
    QCOMPARE(text->toPlainText(), asShown(expected[0]));
    for (int i = count - 1; i >= 0; --i) {
        emit combo->activated(i);
        QCOMPARE(text->toPlainText(), asShown(expected[i]));
        QVERIFY(!text->toPlainText().contains(QChar(0)));
    }
}

void TestMetaDataPage::noBoxesClearsTheText_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("open");
    QTest::newRow("JPEG 2000 without XML boxes") << m_images.grey << true;
    QTest::newRow("layer without a source") << QString() << false;
}

// After a file with boxes, a layer without any empties both the list and the text.
void TestMetaDataPage::noBoxesClearsTheText()
{
    QFETCH(QString, path);
    QFETCH(bool, open);
    const QString withBoxes = PageTest::samplePath();
    if (withBoxes.isEmpty() || (open && path.isEmpty())) QSKIP("the images for this case are absent");
    auto first = PageTest::openLayer(withBoxes);
    auto second = PageTest::openLayer(path);
    QCOMPARE(second->isValid(), open);
    XRVJP2kLayerMetaDataBox page;
    page.setLayer(first.get());
    auto* text = page.findChild<QPlainTextEdit*>("plainTextEditMetaData");
    QVERIFY(!text->toPlainText().isEmpty());
    page.setLayer(second.get());
    QCOMPARE(page.findChild<QComboBox*>("comboBoxMetaBox")->count(), 0);
    QCOMPARE(text->toPlainText(), QString());
}

XRV_PAGES_TEST_MAIN(TestMetaDataPage)
#include "tst_metadatapage.moc"
