#include "TestPanel.h"

#include "QDGui/Application.h"
#include "QDGui/Layer.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QMdiSubWindow>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>

using Korvane::Application;

TestPanel::TestPanel(QWidget* parent) : QWidget(parent), m_label(new QLabel(QStringLiteral("no layer"), this))
{
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    // Fields to tab between, as in a real properties panel.
    layout->addWidget(new QSpinBox(this));
    layout->addWidget(new QSpinBox(this));
}

void TestPanel::onLayerActivated(Korvane::Map::Layer* layer)
{
    const QString name = layer ? layer->displayName() : QStringLiteral("none");
    m_label->setText(name);
    Application::logMessage(QStringLiteral("test panel: layer %1").arg(name), Application::Notice);
}

void TestPanel::onSubWindowActivated(QMdiSubWindow* window)
{
    Application::logMessage(
        QStringLiteral("test panel: window %1").arg(window ? window->windowTitle() : QStringLiteral("none")),
        Application::Notice);
}
