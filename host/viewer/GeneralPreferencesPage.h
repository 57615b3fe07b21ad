#pragma once
#include <QtWidgets/QWidget>

class QComboBox;

// The viewer's own preferences: how much of the log reaches the terminal.
class GeneralPreferencesPage : public QWidget {
    Q_OBJECT
public:
    static const char* const LogLevelKey;  // "QDViewer/LogLevel"

    explicit GeneralPreferencesPage(QWidget* parent = nullptr);

public slots:
    void onSavePrefs();

private:
    QComboBox* m_logLevel = nullptr;
};
