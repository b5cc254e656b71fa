/// The whole window in the test's process, pressed by object name.
#pragma once

#include "support/isolated_home.h"
#include "support/launcher_access.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace vok::test_support
{

/// A Launcher that has been opened and is shown. Its installation lies in `root`, where one is given.
class LauncherWindow
{
public:
    explicit LauncherWindow(const QString& root = {})
    {
        launcher.open();
        launcher.show();
        if (root.isEmpty())
            return;
        find<QLineEdit>("installRoot").setText(root);
        access.refreshPages();
    }

    template <typename Widget> Widget& find(const char* objectName) const
    {
        auto* widget = launcher.findChild<Widget*>(QString::fromLatin1(objectName));
        if (widget == nullptr)
            qFatal("no such widget: %s", objectName);
        return *widget;
    }

    void press(const char* objectName) const { find<QPushButton>(objectName).click(); }
    QString page() const { return find<QStackedWidget>("pages").currentWidget()->objectName(); }
    QString status() const { return find<QLabel>("status").text(); }
    QStringList log() const { return find<QPlainTextEdit>("diagnosticLogs").toPlainText().split(u'\n'); }

    /// The lines of the log without their times.
    QStringList logTexts() const
    {
        QStringList texts;
        for (const QString& line : log())
            texts.append(line.section(u' ', 1));
        return texts;
    }

    Launcher launcher;
    LauncherTestAccess access{launcher};
};

/// Forgets all settings of earlier tests.
inline void clearSettings()
{
    QSettings settings;
    settings.clear();
    settings.sync();
}

} // namespace vok::test_support

/// main() of a test of the window. The home must be in place before there is an application.
#define VOK_WINDOW_TEST_MAIN(TestClass)             \
    int main(int argc, char** argv)                 \
    {                                               \
        const vok::test_support::IsolatedHome home; \
        const QApplication application(argc, argv); \
        TestClass test;                             \
        return QTest::qExec(&test, argc, argv);     \
    }
