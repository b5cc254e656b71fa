#include "support/full_disk.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestLauncherProcessLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void savesTheWholeView();
    void asksWithASuggestedName();
    void savesNothingWhenCancelled();
    void replacesAnOldFileOnceThePlayerAgrees();
    void tellsWhereItCannotSave_data();
    void tellsWhereItCannotSave();
    void tellsWhereTheFinishedFileCannotTakeItsName();
    void keepsTheOldFileOnAFullDisk();

private:
    std::unique_ptr<TempTree> tree;
};

namespace
{

const QString kCannotSave = u"Cannot save diagnostics"_s;

} // namespace

void TestLauncherProcessLog::init()
{
    clearSettings();
    tree = std::make_unique<TempTree>();
}

void TestLauncherProcessLog::savesTheWholeView()
{
    const LauncherWindow window;
    window.access.logLine(u"İğne <b>ışık</b>"_s);
    window.access.logLine(QString(100000, u'ş'));
    ModalPlayer player({choose(tree->path(u"günlük.txt"_s))});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(tree->read(u"günlük.txt"_s), window.find<QPlainTextEdit>("diagnosticLogs").toPlainText().toUtf8());
    QVERIFY(tree->read(u"günlük.txt"_s).size() > 200000);
    QCOMPARE(tree->listing(), QStringList(u"günlük.txt"_s));
}

void TestLauncherProcessLog::asksWithASuggestedName()
{
    const LauncherWindow window;
    QString suggested;
    ModalPlayer player({[&](QDialog& dialog) {
        suggested = dialog.findChild<QLineEdit*>(u"fileNameEdit"_s)->text();
        dialog.reject();
    }});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.constFirst().title, u"Diagnostics"_s);
    QCOMPARE(suggested, u"vok-diagnostics.txt"_s);
}

void TestLauncherProcessLog::savesNothingWhenCancelled()
{
    const LauncherWindow window;
    const QString before = window.status();
    ModalPlayer player({cancel()});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(window.status(), before);
}

void TestLauncherProcessLog::replacesAnOldFileOnceThePlayerAgrees()
{
    const LauncherWindow window;
    const QString path = tree->write(u"old.txt"_s, "old");
    ModalPlayer player({choose(path), press(QMessageBox::Yes)});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.size(), 2);
    QCOMPARE(tree->read(u"old.txt"_s), window.find<QPlainTextEdit>("diagnosticLogs").toPlainText().toUtf8());
}

void TestLauncherProcessLog::tellsWhereItCannotSave_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("folder that is not there") << u"yok/günlük.txt"_s;
    QTest::newRow("folder that is a file") << u"file/günlük.txt"_s;
}

void TestLauncherProcessLog::tellsWhereItCannotSave()
{
    QFETCH(QString, path);
    tree->write(u"file"_s, "kept");
    const LauncherWindow window;
    // The dialog itself asks no more than whether a file would be replaced, so what is accepted is set past its own
    // test.
    ModalPlayer player(
        {[&](QDialog& dialog) {
             dialog.findChild<QLineEdit*>(u"fileNameEdit"_s)->setText(tree->path(path));
             dialog.QDialog::accept();
         },
         press(QMessageBox::Ok)});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.size(), 2);
    QCOMPARE(player.seen.constLast().text, kCannotSave);
    QCOMPARE(tree->read(u"file"_s), QByteArray("kept"));
    QCOMPARE(tree->listing(), QStringList(u"file"_s));
}

// The link's words name the folder and lead nowhere: a file beside the folder can be written but not take its name.
void TestLauncherProcessLog::tellsWhereTheFinishedFileCannotTakeItsName()
{
    tree->makeDirectory(u"folder"_s);
    tree->link(u"folder/yok/.."_s, u"günlük.txt"_s);
    const QStringList before = tree->listing();
    const LauncherWindow window;
    ModalPlayer player(
        {[&](QDialog& dialog) {
             dialog.findChild<QLineEdit*>(u"fileNameEdit"_s)->setText(tree->path(u"günlük.txt"_s));
             dialog.QDialog::accept();
         },
         press(QMessageBox::Ok)});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.size(), 2);
    QCOMPARE(player.seen.constLast().text, kCannotSave);
    QCOMPARE(tree->listing(), before);
}

void TestLauncherProcessLog::keepsTheOldFileOnAFullDisk()
{
    const LauncherWindow window;
    const QString path = tree->write(u"old.txt"_s, "old");
    std::unique_ptr<FullDisk> full;
    ModalPlayer player(
        {choose(path),
         [&](QDialog& dialog) {
             full = std::make_unique<FullDisk>();
             press(QMessageBox::Yes)(dialog);
         },
         [&](QDialog& dialog) {
             full.reset();
             press(QMessageBox::Ok)(dialog);
         }});
    window.press("saveDiagnostics");
    QCOMPARE(player.seen.size(), 3);
    QCOMPARE(player.seen.constLast().text, kCannotSave);
    QCOMPARE(tree->read(u"old.txt"_s), QByteArray("old"));
    QCOMPARE(tree->listing(), QStringList(u"old.txt"_s));
}

VOK_WINDOW_TEST_MAIN(TestLauncherProcessLog)
#include "test_launcher_process_log.moc"
