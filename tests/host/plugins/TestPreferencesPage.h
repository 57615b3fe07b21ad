#pragma once
#include <QtWidgets/QWidget>

// The test plug-in's preferences page; onSavePrefs marks the settings.
class TestPreferencesPage : public QWidget {
    Q_OBJECT
public:
    explicit TestPreferencesPage(QWidget* parent = nullptr);

public slots:
    void onSavePrefs();
};
