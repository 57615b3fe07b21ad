// The step from the map view's screen to the view a renderer decodes: clipped to the image,
// snapped outward to whole cells, with the pixels the clipped part covers.
#include <QtTest>

#include "XRVJP2kViewRequest.h"

#include <cmath>

using Grid = XRVJP2kImageGrid;
using Request = XRVJP2kViewRequest;
Q_DECLARE_METATYPE(XRVJP2kImageGrid)
Q_DECLARE_METATYPE(XRVJP2kViewRequest)

class TestViewRequest : public QObject {
    Q_OBJECT
private slots:
    void clipAndSnap_data();
    void clipAndSnap();
    void scaledTruncates();
};

void TestViewRequest::clipAndSnap_data()
{
    QTest::addColumn<Grid>("image");
    QTest::addColumn<Request>("screen");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<Request>("expected");
    // 512 x 512 cells of 2 m, north up, as the test images are made.
    const Grid north{500000, 5300000, 2, -2, 512, 512};
    const double nan = std::nan("");
    QTest::newRow("whole image") << north << Request{512, 512, 500000, 5300000, 501024, 5298976} << true
                                 << Request{512, 512, 500000, 5300000, 501024, 5298976};
    QTest::newRow("margins cut off") << north << Request{1024, 512, 499488, 5300000, 501536, 5298976} << true
                                     << Request{512, 512, 500000, 5300000, 501024, 5298976};
    QTest::newRow("snapped outward to cells") << north << Request{10, 10, 500001, 5299999, 500011, 5299989} << true
                                              << Request{11, 11, 500000, 5300000, 500012, 5299988};
    QTest::newRow("east of the image") << north << Request{100, 100, 502000, 5300000, 503000, 5299000} << false
                                       << Request{};
    QTest::newRow("north of the image") << north << Request{100, 100, 500000, 5301000, 501000, 5300500} << false
                                        << Request{};
    QTest::newRow("less than a pixel") << north << Request{10, 10, 0, 1e7, 1e7, 0} << false << Request{};
    QTest::newRow("far beyond int range") << north << Request{100, 100, -1e12, 1e12, 1e12, -1e12} << false << Request{};
    QTest::newRow("NaN window") << north << Request{100, 100, nan, nan, nan, nan} << false << Request{};
    QTest::newRow("south up") << Grid{0, 0, 1, 1, 100, 100} << Request{50, 50, -10, -10, 40, 40} << true
                              << Request{40, 40, 0, 0, 40, 40};
}

void TestViewRequest::clipAndSnap()
{
    QFETCH(Grid, image);
    QFETCH(Request, screen);
    QFETCH(bool, shown);
    QFETCH(Request, expected);
    const std::optional<Request> clipped = xrvClipAndSnap(image, screen);
    QCOMPARE(clipped.has_value(), shown);
    if (!shown) return;
    const auto fields = [](const Request& r) {
        return QVector<double>{double(r.width), double(r.height), r.x1, r.y1, r.x2, r.y2};
    };
    QCOMPARE(fields(*clipped), fields(expected));
}

void TestViewRequest::scaledTruncates()
{
    const Request half = Request{801, 601, 1, 2, 3, 4}.scaled(0.5);
    QCOMPARE(half.width, 400);
    QCOMPARE(half.height, 300);
    QCOMPARE(half.x2, 3.0);
    QCOMPARE(xrvTruncatedToInt(-1e300), INT_MIN);
    QCOMPARE(xrvTruncatedToInt(std::nan("")), 0);
}

QTEST_APPLESS_MAIN(TestViewRequest)
#include "tst_viewrequest.moc"
