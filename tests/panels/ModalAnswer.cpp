#include "ModalAnswer.h"

#include <QtCore/QTimer>
#include <QtTest/QtTest>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>

namespace PanelTest {

ModalAnswer::ModalAnswer(std::function<void(QWidget*)> answerDialog) : answer(std::move(answerDialog))
{
    QTimer::singleShot(20, this, &ModalAnswer::poll);
}

void ModalAnswer::poll()
{
    QWidget* dialog = QApplication::activeModalWidget();
    if (!dialog) {
        // A dialog that never comes is reported through `seen`.
        if (++attempts < 250) QTimer::singleShot(20, this, &ModalAnswer::poll);
        return;
    }
    seen = true;
    title = dialog->windowTitle();
    if (auto* box = qobject_cast<QMessageBox*>(dialog)) text = box->text();
    answer(dialog);
}

std::function<void(QWidget*)> pressButton(QMessageBox::StandardButton button)
{
    return [button](QWidget* dialog) {
        auto* box = qobject_cast<QMessageBox*>(dialog);
        QVERIFY2(box, "a message box was expected");
        box->button(button)->click();
    };
}

}  // namespace PanelTest
