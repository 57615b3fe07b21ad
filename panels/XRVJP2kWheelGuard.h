// Keeps the mouse wheel from changing values while the user scrolls a panel: the sliders,
// spin boxes and combo boxes of a panel take wheel turns only once they have the focus (a
// click or Tab gives it); otherwise the turn goes on to the scroll area underneath.
#pragma once

#include <QComboBox>
#include <QEvent>
#include <QObject>
#include <QSlider>
#include <QSpinBox>
#include <QWidget>

class XRVJP2kWheelGuard : public QObject {
public:
    // Guards every such control inside panel; the guard belongs to the panel.
    static void install(QWidget* panel)
    {
        auto* guard = new XRVJP2kWheelGuard(panel);
        QList<QWidget*> controls;
        for (QSlider* w : panel->findChildren<QSlider*>()) controls << w;
        for (QAbstractSpinBox* w : panel->findChildren<QAbstractSpinBox*>()) controls << w;
        for (QComboBox* w : panel->findChildren<QComboBox*>()) controls << w;
        for (QWidget* control : controls) {
            control->setFocusPolicy(Qt::StrongFocus);
            control->installEventFilter(guard);
        }
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::Wheel) return false;
        auto* control = qobject_cast<QWidget*>(watched);
        if (!control || control->hasFocus()) return false;
        // Ignored, the event travels on to the parents, the scroll area among them.
        event->ignore();
        return true;
    }

private:
    explicit XRVJP2kWheelGuard(QObject* parent) : QObject(parent) {}
};
