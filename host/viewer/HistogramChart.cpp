#include "HistogramChart.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <algorithm>

using Korvane::Map::HistogramT;

namespace {

QColor bandColour(int band, int bandCount)
{
    if (bandCount == 1) return QColor(60, 60, 60);
    static const QColor colours[] = {QColor(220, 40, 40),   QColor(40, 160, 40), QColor(40, 80, 220),
                                     QColor(110, 110, 110), QColor(200, 120, 0), QColor(140, 40, 170)};
    return colours[band % int(sizeof colours / sizeof *colours)];
}

}  // namespace

HistogramChart::HistogramChart(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("histogramChart"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void HistogramChart::setHistograms(const QVector<HistogramT<quint64>>& histograms)
{
    m_histograms.clear();
    for (const HistogramT<quint64>& histogram : histograms)
        if (histogram.counts && histogram.bucketCount > 0) m_histograms << histogram;
    update();
}

QVector<quint64> HistogramChart::columns(const HistogramT<quint64>& histogram, int columnCount)
{
    QVector<quint64> result(qMax(0, columnCount), 0);
    if (columnCount <= 0 || !histogram.counts) return result;
    const quint64 buckets = histogram.bucketCount;
    for (int column = 0; column < columnCount; ++column) {
        // Buckets [first, last) of this column; a column narrower than a bucket repeats it.
        const quint64 first = buckets * quint64(column) / quint64(columnCount);
        const quint64 last = qMax(first + 1, buckets * quint64(column + 1) / quint64(columnCount));
        result[column] = *std::max_element(histogram.counts + first, histogram.counts + qMin(last, buckets));
    }
    return result;
}

void HistogramChart::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    const QFontMetrics metrics = fontMetrics();
    if (m_histograms.isEmpty()) {
        painter.drawText(rect(), Qt::AlignCenter, tr("No histogram for this layer"));
        return;
    }
    const int legend = metrics.height() + 6;
    const QRect plot = rect().adjusted(8, legend + 4, -8, -metrics.height() - 6);
    if (plot.width() < 2 || plot.height() < 2) return;

    QVector<QVector<quint64>> columns;
    quint64 top = 1;
    for (const HistogramT<quint64>& histogram : qAsConst(m_histograms)) {
        columns << HistogramChart::columns(histogram, plot.width());
        top = std::max(top, *std::max_element(columns.last().cbegin(), columns.last().cend()));
    }
    painter.setRenderHint(QPainter::Antialiasing);
    int legendX = plot.left();
    for (int band = 0; band < columns.size(); ++band) {
        const QColor colour = bandColour(band, columns.size());
        QPainterPath curve(QPointF(plot.left(), plot.bottom()));
        for (int x = 0; x < plot.width(); ++x)
            curve.lineTo(plot.left() + x + 0.5, plot.bottom() - double(columns[band][x]) / double(top) * plot.height());
        curve.lineTo(plot.right(), plot.bottom());
        QColor fill = colour;
        fill.setAlpha(60);
        painter.fillPath(curve, fill);
        painter.setPen(QPen(colour, 1.2));
        painter.drawPath(curve);
        const QString name = m_histograms[band].name.isEmpty() ? tr("Band %1").arg(band + 1) : m_histograms[band].name;
        painter.fillRect(QRect(legendX, 4 + metrics.height() / 4, 10, 10), colour);
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(legendX + 14, 4 + metrics.ascent(), name);
        legendX += 14 + metrics.horizontalAdvance(name) + 16;
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(plot.bottomLeft(), plot.bottomRight());
    painter.setPen(palette().color(QPalette::Text));
    const HistogramT<quint64>& first = m_histograms.first();
    const QRect axis(plot.left(), plot.bottom() + 2, plot.width(), metrics.height());
    // Buckets are cell values from 0; the band's own range is told in the middle.
    painter.drawText(axis, Qt::AlignLeft, QStringLiteral("0"));
    painter.drawText(axis, Qt::AlignRight, QString::number(first.bucketCount - 1));
    painter.drawText(axis, Qt::AlignHCenter,
                     tr("values %1 to %2, highest count %3").arg(first.minValue).arg(first.maxValue).arg(top));
}
