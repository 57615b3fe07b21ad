// The picture below the hillshade controls: a compass rose with a sun that the user can drag
// around. The sun is a marker only; the spin boxes alone set the layer's sun angles.
#pragma once

#include <QImage>
#include <QPoint>
#include <QWidget>

class SunShadeWidget : public QWidget {
    Q_OBJECT

public:
    explicit SunShadeWidget(QWidget* parent = nullptr);

    QPoint sunPosition() const { return sunPos; }
    QPoint centrePosition() const { return centre; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void moveSun(const QPoint& position);

    QPoint sunPos{0, 0};
    QPoint centre{0, 0};
    double azimuth = 45.0;
    double elevation = 45.0;
    double diameter = 0.0;
    QImage sunImage;
};
