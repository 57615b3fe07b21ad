#include "SunShadeWidget.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

SunShadeWidget::SunShadeWidget(QWidget* parent) : QWidget(parent), sunImage(QStringLiteral(":/Resources/sun.png")) {}

void SunShadeWidget::mousePressEvent(QMouseEvent* event)
{
    moveSun(event->pos());
}

void SunShadeWidget::mouseReleaseEvent(QMouseEvent*) {}

void SunShadeWidget::mouseMoveEvent(QMouseEvent* event)
{
    // Without mouse tracking this only arrives while a button is held.
    moveSun(event->pos());
}

void SunShadeWidget::moveSun(const QPoint& position)
{
    // The drag point is not turned into angles: the picker shows where the user points, and
    // the layer keeps the angles typed into the spin boxes.
    azimuth = 45.0;
    elevation = 45.0;
    sunPos = position;
    update();
}

void SunShadeWidget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setPen(QPen(QColor(165, 165, 165, 255), 1));
    painter.setRenderHint(QPainter::Antialiasing, true);

    const QRect area = rect();
    QRect square = area;
    const int side = std::min(area.width(), area.height());
    square.setWidth(side);
    square.setHeight(side);
    square.translate((area.width() - square.width()) / 2, (area.height() - square.height()) / 2);
    diameter = square.height();
    centre = QPoint(area.x() + area.width() / 2, area.y() + area.height() / 2);
    const int step = (square.width() / 2) / 5;

    // The outer ring sits 10 pixels inside the square on every side; each further ring is
    // one step inside the one before.
    square.setLeft(square.left() + 10);
    square.setTop(square.top() + 10);
    square.setWidth(square.width() - 10);
    square.setHeight(square.height() - 10);
    painter.drawEllipse(square);
    QRect ring = square;
    for (int i = 0; i < 4; ++i) {
        ring.setLeft(ring.left() + step);
        ring.setTop(ring.top() + step);
        ring.setWidth(ring.width() - step);
        ring.setHeight(ring.height() - step);
        painter.drawEllipse(ring);
    }
    const int middleY = square.y() + square.height() / 2;
    const int middleX = square.x() + square.width() / 2;
    painter.drawLine(square.x(), middleY, square.x() + square.width(), middleY);
    painter.drawLine(middleX, square.y(), middleX, square.y() + square.height());

    painter.drawEllipse(sunPos.x() - 5, sunPos.y() - 5, 10, 10);
    painter.drawLine(sunPos, centre);
    painter.drawImage(QPoint(sunPos.x() - 8, sunPos.y() - 8), sunImage);
}
