/// Answers the modal dialogs of the program under test, as a player would.
#pragma once

#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QLineEdit>
#include <QList>
#include <QMessageBox>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <functional>

namespace vok::test_support
{

using ModalAnswer = std::function<void(QDialog& dialog)>;

/// Presses a button of a message box.
inline ModalAnswer press(QMessageBox::StandardButton button)
{
    return [button](QDialog& dialog) {
        auto* box = qobject_cast<QMessageBox*>(&dialog);
        if (box == nullptr || box->button(button) == nullptr)
            qFatal("no message box with that button: %s", qPrintable(dialog.windowTitle()));
        box->button(button)->click();
    };
}

/// Types `path` into a file dialog and accepts it.
inline ModalAnswer choose(const QString& path)
{
    return [path](QDialog& dialog) {
        dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(path);
        dialog.accept();
    };
}

inline ModalAnswer cancel()
{
    return [](QDialog& dialog) { dialog.reject(); };
}

/// Waits for modal dialogs and gives each the next answer. One that nobody planned for is closed and counted, so that
/// no test waits for ever. What each dialog was is kept in `seen`.
class ModalPlayer : public QObject
{
public:
    struct Seen
    {
        QString title;
        QString text; ///< of a message box; of a file dialog the folder it starts in
        QMessageBox::StandardButtons buttons;
        QPointer<QWidget> parent;
    };

    explicit ModalPlayer(QList<ModalAnswer> planned = {})
        : answers(std::move(planned))
    {
        waitForNext();
    }

    QList<Seen> seen;
    QList<ModalAnswer> answers;
    QPointer<QDialog> left; ///< a dialog that the test presses itself
    int unplanned = 0;

    QStringList texts() const
    {
        QStringList all;
        for (const Seen& dialog : seen)
            all.append(dialog.text);
        return all;
    }

private:
    void waitForNext() { QTimer::singleShot(5, this, &ModalPlayer::look); }

    // Armed again before it answers: an answer may open another dialog and come back only when that one is closed.
    void look()
    {
        waitForNext();
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr || dialog == m_answered || dialog == left)
            return;
        m_answered = dialog;
        remember(*dialog);
        if (answers.isEmpty()) {
            ++unplanned;
            dialog->reject();
            return;
        }
        answers.takeFirst()(*dialog);
    }

    void remember(QDialog& dialog)
    {
        Seen entry{dialog.windowTitle(), {}, {}, dialog.parentWidget()};
        if (const auto* box = qobject_cast<QMessageBox*>(&dialog)) {
            entry.text = box->text();
            entry.buttons = box->standardButtons();
        } else if (const auto* chooser = qobject_cast<QFileDialog*>(&dialog)) {
            entry.text = chooser->directory().absolutePath();
        }
        seen.append(entry);
    }

    QPointer<QDialog> m_answered;
};

} // namespace vok::test_support
