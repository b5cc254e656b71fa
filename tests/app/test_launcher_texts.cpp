#include "app/presentable_text.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"

#include <QScreen>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// What the window does with texts that nobody would write, but a file's name can hold.
class TestLauncherTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void keepsItsSize_data();
    void keepsItsSize();
    void keepsItsSizeForTheInstallationFolder_data();
    void keepsItsSizeForTheInstallationFolder();
    void showsPresentableTextsInLabelAndBox();
    void keepsEachTextOneLineOfTheLog_data();
    void keepsEachTextOneLineOfTheLog();
};

namespace
{

constexpr QSize kFirstSize(980, 620);

void addAbsurdTexts()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("255 wide letters") << QString(255, u'W');
    QTest::newRow("4096 characters without a break") << QString(4096, u'W');
    QTest::newRow("250 newlines") << QString(250, u'\n');
    QTest::newRow("path of 4096 characters") << QString(u"/abcdefg"_s).repeated(512);
    QTest::newRow("250 short words") << QString(u"W "_s).repeated(250);
    QTest::newRow("markup") << u"<b>"_s + QString(255, u'W') + u"</b>"_s;
    QTest::newRow("line separators") << QString(250, QChar(QChar::LineSeparator));
}

bool settles(LauncherWindow& window)
{
    const bool isExposed = QTest::qWaitForWindowExposed(&window.launcher);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    return isExposed;
}

} // namespace

void TestLauncherTexts::keepsItsSize_data()
{
    addAbsurdTexts();
}

void TestLauncherTexts::keepsItsSize()
{
    QFETCH(QString, text);
    LauncherWindow window;
    QVERIFY(settles(window));
    QRect box;
    QRect button;
    ModalPlayer player({[&](QDialog& dialog) {
        box = dialog.frameGeometry();
        const QWidget* ok = qobject_cast<QMessageBox*>(&dialog)->button(QMessageBox::Ok);
        button = QRect(ok->mapToGlobal(QPoint()), ok->size());
        dialog.accept();
    }});
    window.access.reportFailure(u"Unsafe asset path "_s + text);
    QVERIFY(settles(window));
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(window.launcher.size(), kFirstSize);
    QVERIFY(window.launcher.minimumSize().width() < kFirstSize.width());
    QVERIFY(window.launcher.minimumSize().height() < kFirstSize.height());
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY2(screen.contains(box), qPrintable(QDebug::toString(box)));
    QVERIFY(!button.isEmpty());
    QVERIFY2(screen.contains(button), qPrintable(QDebug::toString(button)));
}

void TestLauncherTexts::keepsItsSizeForTheInstallationFolder_data()
{
    addAbsurdTexts();
}

void TestLauncherTexts::keepsItsSizeForTheInstallationFolder()
{
    QFETCH(QString, text);
    QSettings().setValue(u"installation/root"_s, text);
    LauncherWindow window;
    QVERIFY(settles(window));
    QCOMPARE(window.page(), u"installPage"_s);
    QCOMPARE(window.launcher.size(), kFirstSize);
    QVERIFY(window.launcher.minimumSize().width() < kFirstSize.width());
    QVERIFY(window.launcher.minimumSize().height() < kFirstSize.height());
    const QLabel* label = window.find<QWidget>("installPage").findChildren<QLabel*>().constLast();
    QCOMPARE(label->text(), presentable(u"Kurulum klasörü: "_s + window.find<QLineEdit>("installRoot").text()));
}

void TestLauncherTexts::showsPresentableTextsInLabelAndBox()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Unsafe asset path a\nb\u202Ec "_s + QString(33, u'W'));
    const QString shown = u"Unsafe asset path a\\nb\\u202ec "_s + QString(32, u'W');
    QCOMPARE(window.status(), shown + u'W');
    QCOMPARE(player.texts(), QStringList(shown + u"\u200BW"_s));
}

void TestLauncherTexts::keepsEachTextOneLineOfTheLog_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("logged");
    QTest::newRow("newline") << u"a\n2000-01-01T00:00:00Z forged"_s << u"a\\n2000-01-01T00:00:00Z forged"_s;
    QTest::newRow("carriage return") << u"a\r\nb"_s << u"a\\r\\nb"_s;
    QTest::newRow("separators") << u"a\u2028b\u2029c"_s << u"a\\u2028b\\u2029c"_s;
    QTest::newRow("frame marks") << u"a\uFDD0b\uFDD1c"_s << u"a\\ufdd0b\\ufdd1c"_s;
    QTest::newRow("tab") << u"a\tb"_s << u"a\tb"_s;
    QTest::newRow("full length") << QString(70000, u'W') << QString(70000, u'W');
}

void TestLauncherTexts::keepsEachTextOneLineOfTheLog()
{
    QFETCH(QString, text);
    const LauncherWindow window;
    const int blocksBefore = window.find<QPlainTextEdit>("diagnosticLogs").blockCount();
    window.access.logLine(text);
    QCOMPARE(window.find<QPlainTextEdit>("diagnosticLogs").blockCount(), blocksBefore + 1);
    QTEST(window.logTexts().constLast(), "logged");
}

VOK_WINDOW_TEST_MAIN(TestLauncherTexts)
#include "test_launcher_texts.moc"
