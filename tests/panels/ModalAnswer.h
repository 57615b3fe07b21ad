// Answers the next modal dialog of a test: a message box, a chooser or a browser that runs its
// own event loop, so the answer has to come from a timer.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtWidgets/QMessageBox>

#include <functional>

namespace PanelTest {

// Runs `answer` on the next modal dialog once it is up (polling for a few seconds), then
// stops. `seen` says whether a dialog came; its title and, for a message box, its text are kept.
class ModalAnswer : public QObject {
    Q_OBJECT
public:
    explicit ModalAnswer(std::function<void(QWidget*)> answer);
    bool seen = false;
    QString title;
    QString text;

private:
    void poll();
    std::function<void(QWidget*)> answer;
    int attempts = 0;
};

// Presses one button of a message box (OK when none is named).
std::function<void(QWidget*)> pressButton(QMessageBox::StandardButton button = QMessageBox::Ok);

}  // namespace PanelTest
