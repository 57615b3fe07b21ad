#pragma once
#include "QDGui/HistogramT.h"

#include <QtCore/QVector>
#include <QtWidgets/QWidget>

// Each band's histogram drawn as a filled curve in the band's colour, over the same axes:
// however many buckets a band has (65,536 for 16-bit data), each column of pixels shows the
// largest bucket count that falls into it.
class HistogramChart : public QWidget {
    Q_OBJECT
public:
    explicit HistogramChart(QWidget* parent = nullptr);

    void setHistograms(const QVector<Korvane::Map::HistogramT<quint64>>& histograms);
    int bandCount() const { return m_histograms.size(); }
    QSize sizeHint() const override { return QSize(480, 200); }
    QSize minimumSizeHint() const override { return QSize(240, 180); }

    // The largest count of the buckets that fall into each of the columns.
    static QVector<quint64> columns(const Korvane::Map::HistogramT<quint64>& histogram, int columnCount);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QVector<Korvane::Map::HistogramT<quint64>> m_histograms;
};
