#include "support/event_counter.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"

#include <QDateTime>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryFile>

#include <unistd.h>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// What the window does with a failure and with its log.
class TestLauncherFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void showsOneBoxForOneText();
    void reportsAFailureInAllThreePlaces();
    void parentsAMessageToTheActiveModalDialog();
    void endsAssetWorkAtAnyFailure_data();
    void endsAssetWorkAtAnyFailure();
    void reportsSeveralFailuresAtOnce();
    void showsMarkupInAFailureLiterally();
    void reportsAFailureInACallOfTheGuardOnly();
    void endsTheProgramInsteadWhereErrorsAreEchoed();
    void echoesTheLogToStandardErrorOnDemand();
    void losesNothingOnStandardError();
    void timesEachLogLine();
    void keepsTheLast5000LogLines_data();
    void logsNothingForNoLines();
    void keepsTheLast5000LogLines();
    void logsToTheSkinToo();
};

namespace
{

QStringList numbersUpTo(int last)
{
    QStringList numbers;
    for (int number = 1; number <= last; ++number)
        numbers.append(QString::number(number));
    return numbers;
}

/// While it lives, the standard error of this process goes into a file.
class StderrCapture
{
public:
    StderrCapture()
        : m_before(dup(STDERR_FILENO))
    {
        if (m_before < 0 || !m_file.open() || dup2(m_file.handle(), STDERR_FILENO) < 0)
            qFatal("standard error cannot be captured");
    }
    ~StderrCapture()
    {
        dup2(m_before, STDERR_FILENO);
        close(m_before);
    }
    Q_DISABLE_COPY_MOVE(StderrCapture)

    QStringList lines()
    {
        m_file.seek(0);
        return QString::fromUtf8(m_file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

private:
    int m_before;
    QTemporaryFile m_file;
};

} // namespace

void TestLauncherFailures::showsOneBoxForOneText()
{
    const LauncherWindow window;
    const QString first = u"Disk doldu"_s;
    ModalPlayer player(
        {[&](QDialog& dialog) {
             window.access.reportFailure(first);
             window.access.reportFailure(u"Ağ yok"_s);
             dialog.accept();
         },
         press(QMessageBox::Ok), press(QMessageBox::Ok)});
    window.access.reportFailure(first);
    QCOMPARE(player.texts(), QStringList({first, u"Ağ yok"_s}));
    QCOMPARE(window.logTexts().last(3), QStringList({first, first, u"Ağ yok"_s}));
    window.access.reportFailure(first);
    QCOMPARE(player.texts().size(), 3);
}

void TestLauncherFailures::reportsAFailureInAllThreePlaces()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(player.seen.constFirst().title, u"Tarvun: Selvira"_s);
    QCOMPARE(player.seen.constFirst().text, u"Disk doldu"_s);
    QCOMPARE(player.seen.constFirst().buttons, QMessageBox::Ok);
    QCOMPARE(player.seen.constFirst().parent.data(), &window.launcher);
    QCOMPARE(window.status(), u"Disk doldu"_s);
    QCOMPARE(window.logTexts().constLast(), u"Disk doldu"_s);
}

void TestLauncherFailures::parentsAMessageToTheActiveModalDialog()
{
    LauncherWindow window;
    QDialog modal(&window.launcher);
    modal.setModal(true);
    modal.show();
    ModalPlayer player(
        {[&](QDialog&) { window.access.reportFailure(u"Disk doldu"_s); }, press(QMessageBox::Ok), cancel()});
    QTRY_COMPARE(player.seen.size(), 3);
    QCOMPARE(player.seen.at(1).text, u"Disk doldu"_s);
    QCOMPARE(player.seen.at(1).parent.data(), &modal);
}

void TestLauncherFailures::endsAssetWorkAtAnyFailure_data()
{
    QTest::addColumn<bool>("isBusy");
    QTest::newRow("while it runs") << true;
    QTest::newRow("while none runs") << false;
}

void TestLauncherFailures::endsAssetWorkAtAnyFailure()
{
    QFETCH(bool, isBusy);
    const LauncherWindow window;
    if (isBusy)
        window.access.startAssetWork();
    QCOMPARE(window.access.assetBusy(), isBusy);
    QCOMPARE(window.find<QStackedWidget>("pages").isEnabled(), !isBusy);
    QCOMPARE(window.find<QDialog>("settingsDialog").isEnabled(), !isBusy);
    QCOMPARE(window.find<QProgressBar>("progress").isVisible(), isBusy);
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QCOMPARE(player.seen.size(), 1);
    QVERIFY(!window.access.assetBusy());
    QVERIFY(window.find<QStackedWidget>("pages").isEnabled());
    QVERIFY(window.find<QDialog>("settingsDialog").isEnabled());
    QVERIFY(!window.find<QProgressBar>("progress").isVisible());
    QCOMPARE(window.find<QProgressBar>("progress").maximum(), 1);
}

void TestLauncherFailures::reportsSeveralFailuresAtOnce()
{
    const LauncherWindow window;
    const auto failAgain = [&](const QString& text) {
        return [&window, text](QDialog&) { window.access.reportFailure(text); };
    };
    ModalPlayer player(
        {failAgain(u"İkinci"_s), failAgain(u"Üçüncü"_s), press(QMessageBox::Ok), press(QMessageBox::Ok),
         press(QMessageBox::Ok)});
    window.access.reportFailure(u"Birinci"_s);
    QCOMPARE(player.texts(), QStringList({u"Birinci"_s, u"İkinci"_s, u"Üçüncü"_s, u"İkinci"_s, u"Birinci"_s}));
    QCOMPARE(player.unplanned, 0);
    QCOMPARE(QApplication::activeModalWidget(), nullptr);
    QCOMPARE(window.status(), u"Üçüncü"_s);
    QCOMPARE(window.logTexts().last(3), QStringList({u"Birinci"_s, u"İkinci"_s, u"Üçüncü"_s}));
}

void TestLauncherFailures::showsMarkupInAFailureLiterally()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"<img src='/etc/passwd'>kötü"_s);
    QVERIFY(player.texts().constFirst().contains(u"&lt;img"_s));
    QVERIFY(!player.texts().constFirst().contains(u"<img"_s));
    QCOMPARE(window.status(), u"<img src='/etc/passwd'>kötü"_s);
    QCOMPARE(window.find<QLabel>("status").textFormat(), Qt::PlainText);
}

void TestLauncherFailures::reportsAFailureInACallOfTheGuardOnly()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.guarded([] {});
    QCOMPARE(player.seen.size(), 0);
    window.access.guarded([] { throw std::runtime_error("Dosya açılamadı"); });
    QCOMPARE(player.texts(), QStringList(u"Dosya açılamadı"_s));
}

void TestLauncherFailures::endsTheProgramInsteadWhereErrorsAreEchoed()
{
    const LauncherWindow window;
    window.access.setEchoToStderr(true);
    // A box that opens while the program ends is closed at once: none of it may be seen even for that long.
    const EventCounter shows(qApp, QEvent::Show);
    StderrCapture errors;
    QTimer::singleShot(0, &window.launcher, [&] { window.access.reportFailure(u"Disk doldu"_s); });
    QCOMPARE(QApplication::exec(), 1);
    QCOMPARE(errors.lines(), QStringList(window.log().constLast()));
    QCOMPARE(shows.count(), 0);
    QCOMPARE(window.status(), u"Disk doldu"_s);
    QCOMPARE(window.logTexts().constLast(), u"Disk doldu"_s);
}

void TestLauncherFailures::echoesTheLogToStandardErrorOnDemand()
{
    const LauncherWindow window;
    StderrCapture errors;
    window.access.logLine(u"unheard"_s);
    window.access.setEchoToStderr(true);
    window.access.logLine(u"%s İğne"_s);
    window.access.logLines({u"one"_s, u"two"_s});
    QCOMPARE(errors.lines(), window.log().last(3));
    QCOMPARE(window.logTexts().last(3), QStringList({u"%s İğne"_s, u"one"_s, u"two"_s}));
}

void TestLauncherFailures::losesNothingOnStandardError()
{
    const LauncherWindow window;
    window.access.setEchoToStderr(true);
    const QStringList lines = numbersUpTo(5001);
    StderrCapture errors;
    window.access.logLines(lines);
    QStringList echoed;
    for (const QString& line : errors.lines())
        echoed.append(line.section(u' ', 1));
    QCOMPARE(echoed, lines);
    QCOMPARE(window.logTexts(), lines.sliced(1));
}

void TestLauncherFailures::timesEachLogLine()
{
    const LauncherWindow window;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    window.access.logLine(u"<b>satır</b>"_s);
    const QString line = window.log().constLast();
    const QRegularExpression form(u"^(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ) <b>satır</b>$"_s);
    const auto match = form.match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));
    QVERIFY(qAbs(before.secsTo(QDateTime::fromString(match.captured(1), Qt::ISODate))) <= 5);
}

void TestLauncherFailures::keepsTheLast5000LogLines_data()
{
    QTest::addColumn<bool>("atOnce");
    QTest::newRow("one after the other") << false;
    QTest::newRow("at once") << true;
}

void TestLauncherFailures::logsNothingForNoLines()
{
    const LauncherWindow window;
    const QStringList before = window.log();
    window.access.logLines({});
    QCOMPARE(window.log(), before);
}

void TestLauncherFailures::keepsTheLast5000LogLines()
{
    QFETCH(bool, atOnce);
    const LauncherWindow window;
    const QStringList lines = numbersUpTo(5001);
    if (atOnce)
        window.access.logLines(lines);
    else
        for (const QString& line : lines)
            window.access.logLine(line);
    QCOMPARE(window.logTexts(), lines.sliced(1));
}

void TestLauncherFailures::logsToTheSkinToo()
{
    const LauncherWindow window;
    window.access.applySkin(Qt::red);
    window.access.logLine(u"satır"_s);
    QCOMPARE(window.access.skinLog()->toPlainText(), window.log().constLast());
}

VOK_WINDOW_TEST_MAIN(TestLauncherFailures)
#include "test_launcher_failures.moc"
