#include "client/process_log.h"
#include "support/play_stage.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <new>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::launcher_client;
using namespace vok::test_support;

/// The log of any child process, whatever it is.
class TestProcessLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void sharesNoBufferWithTheCaller();
    void keepsTheChannelsApart();
    void givesTheLinesToAHandlerInsteadOfTheLog();
    void passesLongLines_data();
    void passesLongLines();
    void refusesALineAboveTheLimitOnEitherChannel_data();
    void refusesALineAboveTheLimitOnEitherChannel();
    void killsAProcessThatCannotBeLogged_data();
    void killsAProcessThatCannotBeLogged();
    void hidesNothingWithoutASecret();
    void emitsNothingAfterTheKill();
    void letsTheWindowLiveUnderABurst();
    void diesWithTheWindow();
};

namespace
{

const QString kTooLong = u"Process output line exceeds 64 KiB; process terminated"_s;
const QString kCannotLog = u"Cannot log process output; process terminated"_s;

/// A client whose output a window logs.
struct LoggedProcess
{
    explicit LoggedProcess(const QStringList& script, const QByteArray& secret = {})
        : client(script)
        , output(window.access.attachProcessLog(&process, secret))
    {
    }
    LoggedProcess(const QStringList& script, const std::function<void(const QString&)>& lineHandler)
        : client(script)
        , output(window.access.attachProcessLog(&process, {}, lineHandler))
    {
    }

    void run()
    {
        process.start(FakeClient::path(u"vok-client"_s), QStringList());
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 120000);
    }
    /// The log without the line of the start.
    QStringList lines() const { return window.logTexts().mid(1); }

    FakeClient client;
    LauncherWindow window;
    ModalPlayer player;
    QProcess process;
    std::shared_ptr<Output> output;
};

} // namespace

void TestProcessLog::sharesNoBufferWithTheCaller()
{
    QByteArray secret(64, 's');
    LoggedProcess logged({}, secret);
    overwrite(secret);
    QCOMPARE(logged.output->secret, QByteArray(64, 's'));
    logged.run();
    QVERIFY(logged.output->secret.isEmpty());
    QVERIFY(!logged.output->dead);
}

void TestProcessLog::keepsTheChannelsApart()
{
    LoggedProcess logged(
        {u"out "_s + hex("bir "), u"err "_s + hex("iki "), u"out "_s + hex("üç\n"), u"err "_s + hex("dört\n")});
    logged.process.setProcessChannelMode(QProcess::MergedChannels);
    logged.output = logged.window.access.attachProcessLog(&logged.process, {});
    QCOMPARE(logged.process.processChannelMode(), QProcess::SeparateChannels);
    logged.run();
    QVERIFY(logged.lines().contains(u"bir üç"_s));
    QVERIFY(logged.lines().contains(u"iki dört"_s));
}

void TestProcessLog::givesTheLinesToAHandlerInsteadOfTheLog()
{
    QStringList handled;
    LoggedProcess logged({u"out "_s + hex("bir\n\niki\r\nüç")}, [&](const QString& line) { handled.append(line); });
    logged.run();
    QCOMPARE(handled, (QStringList{u"bir"_s, QString(), u"iki"_s, u"üç"_s}));
    QCOMPARE(logged.lines(), QStringList());
}

void TestProcessLog::passesLongLines_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QList<qsizetype>>("lengths");
    const QString newline = u"out 0a"_s;
    QTest::newRow("65536 bytes") << QStringList{u"repeat 65536 78"_s, newline} << QList<qsizetype>{65536};
    QTest::newRow("65536 bytes, no newline") << QStringList{u"repeat 65536 78"_s} << QList<qsizetype>{65536};
    QTest::newRow("two lines of 40000 bytes")
        << QStringList{u"repeat 2 "_s + hex(QByteArray(40000, 'x') + '\n')} << QList<qsizetype>{40000, 40000};
    QTest::newRow("a hundred of 65536 bytes")
        << QStringList{u"repeat 100 "_s + hex(QByteArray(65536, 'x') + '\n')} << QList<qsizetype>(100, 65536);
}

void TestProcessLog::passesLongLines()
{
    QFETCH(QStringList, script);
    QFETCH(QList<qsizetype>, lengths);
    QList<qsizetype> handled;
    LoggedProcess logged(script, [&](const QString& line) { handled.append(line.size()); });
    logged.run();
    QCOMPARE(handled, lengths);
    QVERIFY(!logged.output->dead);
    QVERIFY(logged.player.seen.isEmpty());
}

void TestProcessLog::refusesALineAboveTheLimitOnEitherChannel_data()
{
    QTest::addColumn<QString>("channel");
    QTest::newRow("standard output") << u"out "_s;
    QTest::newRow("standard error") << u"err "_s;
}

void TestProcessLog::refusesALineAboveTheLimitOnEitherChannel()
{
    QFETCH(QString, channel);
    LoggedProcess logged({channel + hex(QByteArray(65537, 'x')), u"wait gate"_s});
    logged.player.answers.append(press(QMessageBox::Ok));
    logged.run();
    QCOMPARE(logged.process.exitStatus(), QProcess::CrashExit);
    QVERIFY(logged.output->dead);
    QVERIFY(logged.output->secret.isEmpty());
    QTRY_COMPARE(logged.player.texts(), QStringList(kTooLong));
    QCOMPARE(logged.window.status(), kTooLong);
    QCOMPARE(logged.lines(), QStringList(kTooLong));
}

void TestProcessLog::killsAProcessThatCannotBeLogged_data()
{
    QTest::addColumn<std::function<void()>>("fault");
    QTest::newRow("exception") << std::function<void()>([] { throw std::runtime_error("no such text is shown"); });
    QTest::newRow("no memory") << std::function<void()>([] { throw std::bad_alloc(); });
    QTest::newRow("anything else") << std::function<void()>([] { throw 1; });
}

void TestProcessLog::killsAProcessThatCannotBeLogged()
{
    QFETCH(std::function<void()>, fault);
    int calls = 0;
    LoggedProcess logged({u"out "_s + hex("bir\niki\n"), u"wait gate"_s}, [&](const QString&) {
        ++calls;
        fault();
    });
    logged.player.answers.append(press(QMessageBox::Ok));
    logged.run();
    QCOMPARE(calls, 1);
    QVERIFY(logged.output->dead);
    QTRY_COMPARE(logged.player.texts(), QStringList(kCannotLog));
    QCOMPARE(logged.window.status(), kCannotLog);
}

void TestProcessLog::hidesNothingWithoutASecret()
{
    LoggedProcess logged({u"out "_s + hex("[REDACTED] 0123\n")});
    logged.run();
    QCOMPARE(logged.lines(), QStringList(u"[REDACTED] 0123"_s));
}

void TestProcessLog::emitsNothingAfterTheKill()
{
    QStringList handled;
    LoggedProcess logged(
        {u"out "_s + hex("önce\n"), u"repeat 65537 78"_s, u"out "_s + hex("\nsonra\n"), u"err "_s + hex("sonra\n"),
         u"err "_s + hex("yarım")},
        [&](const QString& line) { handled.append(line); });
    logged.player.answers.append(press(QMessageBox::Ok));
    logged.run();
    QTRY_COMPARE(logged.player.texts(), QStringList(kTooLong));
    handled.removeAll(u"sonra"_s); // on standard error it may have come before
    handled.removeAll(u"yarım"_s);
    QCOMPARE(handled, QStringList(u"önce"_s));
}

// Events of the window go on between the reads, and no read holds them up for long.
void TestProcessLog::letsTheWindowLiveUnderABurst()
{
    LoggedProcess logged({u"repeat 1048576 0a"_s, u"repeat 1 "_s + hex("son\n")});
    qint64 longest = 0;
    QElapsedTimer clock;
    QTimer ticks;
    connect(&ticks, &QTimer::timeout, this, [&] { longest = std::max(longest, clock.restart()); });
    clock.start();
    ticks.start(1);
    logged.run();
    qInfo("longest pause %lld ms", static_cast<long long>(longest));
    QVERIFY(longest < 5000);
    QCOMPARE(logged.lines().constLast(), u"son"_s);
    QCOMPARE(logged.window.log().size(), 5000);
}

void TestProcessLog::diesWithTheWindow()
{
    QProcess process;
    std::weak_ptr<Output> output;
    const FakeClient client({u"wait gate"_s, u"out "_s + hex("kimse okumaz\n")});
    {
        const LauncherWindow window;
        output = window.access.attachProcessLog(&process, "secret");
        process.start(FakeClient::path(u"vok-client"_s), QStringList());
        QVERIFY(!output.expired());
    }
    QTRY_VERIFY(client.passGate());
    QTRY_COMPARE(process.state(), QProcess::NotRunning);
    QVERIFY(output.expired());
}

VOK_PLAY_TEST_MAIN(TestProcessLog)
#include "test_process_log.moc"
