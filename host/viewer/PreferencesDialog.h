#pragma once
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtWidgets/QDialog>

class QListWidget;
class QStackedWidget;

// Tools > Preferences: the viewer's page and every plug-in's preference pages, picked from
// a list. Each showing calls every page's init() slot where it has one, so figures that change
// while the viewer runs (the stream cache's size in use) are current; OK calls each page's
// onSavePrefs() slot where it has one, then writes the settings to disk.
class PreferencesDialog : public QDialog {
    Q_OBJECT
public:
    explicit PreferencesDialog(QWidget* parent = nullptr);

    // Takes ownership of the page.
    void addPage(QWidget* page);
    int pageCount() const;

public slots:
    void accept() override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    QListWidget* m_list = nullptr;
    QStackedWidget* m_stack = nullptr;
    QList<QPointer<QWidget>> m_pages;
};
