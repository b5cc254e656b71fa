#include "support/play_stage.h"

#include <QPointer>
#include <QSignalSpy>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// Clients that misbehave. The window lives on, and the player is told once.
class TestPlayFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void tellsWhyAClientDoesNotStart_data();
    void tellsWhyAClientDoesNotStart();
    void startsAgainAfterAClientThatDidNotStart();
    void survivesTwoClientsThatDoNotStart();
    void tellsOnceOfAClientThatDies();
    void tellsOnlyOnceTheProcessIsDone_data();
    void tellsOnlyOnceTheProcessIsDone();
    void livesOnWhereTheClientClosesItsInput();
    void livesOnWhereTheClientIsGoneBeforeItReads();
    void hidesTheSessionInWhatTheClientSays();
    void hidesASessionThatComesInTwoReads();
    void logsBothChannelsAndTheLastLine();
    void killsAClientForALongLine();
    void killsAClientForALongLineInOneBoxOnly();
};

namespace
{

const QString kVanished = u"execvp: No such file or directory"_s;
const QString kTooLong = u"Process output line exceeds 64 KiB; process terminated"_s;

} // namespace

void TestPlayFaults::tellsWhyAClientDoesNotStart_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("message");
    const QString notExecutable = u"execvp: Exec format error"_s;
    QTest::newRow("no program") << QByteArray("\x7f\x45LF") << notExecutable;
    QTest::newRow("empty") << QByteArray() << notExecutable;
    // A shell would take it for a script.
    QTest::newRow("plain text") << QByteArray("exit 0\n") << notExecutable;
    QTest::newRow("no interpreter") << QByteArray("#!/yok/yok\n") << kVanished;
}

void TestPlayFaults::tellsWhyAClientDoesNotStart()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    PlayStage stage;
    const QString place = FakeClient::path(u"vok-client"_s);
    QFile::remove(place);
    {
        QFile file(place);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }
    QVERIFY(QFile::setPermissions(place, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_COMPARE(stage.player.texts(), QStringList(message));
    QCOMPARE(stage.window.status(), message);
    QCOMPARE(stage.window.access.clientProcess()->state(), QProcess::NotRunning);
}

void TestPlayFaults::startsAgainAfterAClientThatDidNotStart()
{
    PlayStage stage({u"record"_s, u"read"_s});
    stage.isAnswerHeld = true;
    const QString place = FakeClient::path(u"vok-client"_s);
    stage.play();
    QTRY_COMPARE(stage.server.heldAnswers(), 1);
    QVERIFY(QFile::rename(place, place + u".away"_s));
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.server.release();
    QTRY_COMPARE(stage.player.seen.size(), 1);
    QVERIFY(QFile::rename(place + u".away"_s, place));
    stage.isAnswerHeld = false;
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QCOMPARE(stage.client.kept("session"), PlayStage::aToken() + '\n');
    QCOMPARE(stage.player.seen.size(), 1);
}

// The second answer comes while the message box for the first client is open, and replaces that client.
void TestPlayFaults::survivesTwoClientsThatDoNotStart()
{
    PlayStage stage;
    stage.server.setHandler([&](const HttpRequest&) {
        const HttpAnswer answer = json(200, stage.worldStatus);
        return stage.server.requests().size() == 1 ? answer : held(answer);
    });
    QPointer<QProcess> first;
    const auto toldTwice = [&] { return stage.window.logTexts().count(kVanished) == 2; };
    stage.player.answers = {[&](QDialog& box) {
        first = stage.window.access.clientProcess();
        stage.server.release();
        QVERIFY(QTest::qWaitFor(toldTwice));
        box.accept();
    }};
    stage.play();
    stage.play();
    QFile::remove(FakeClient::path(u"vok-client"_s));
    QTRY_VERIFY(toldTwice());
    QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
    QTRY_VERIFY(first == nullptr);
    QCOMPARE(stage.player.texts(), QStringList(kVanished)); // the second says the same
    QCOMPARE(stage.window.launcher.findChildren<QProcess*>().size(), 1);
}

void TestPlayFaults::tellsOnceOfAClientThatDies()
{
    PlayStage stage({u"read"_s, u"out "_s + hex("son söz"), u"die"_s});
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QTRY_COMPARE(stage.player.texts(), QStringList(u"Process crashed"_s));
    QTRY_COMPARE(stage.window.status(), u"İstemci kapandı"_s);
    QCOMPARE(stage.window.logTexts().last(3), (QStringList{u"son söz"_s, u"Process crashed"_s, u"Client exit 9"_s}));
}

void TestPlayFaults::tellsOnlyOnceTheProcessIsDone_data()
{
    QTest::addColumn<QString>("end");
    QTest::newRow("death") << u"die"_s;
    QTest::newRow("long line") << u"repeat 65537 78"_s;
}

// While a message box is open the process may be replaced. Its code must not be waiting for the box.
void TestPlayFaults::tellsOnlyOnceTheProcessIsDone()
{
    QFETCH(QString, end);
    PlayStage stage({u"read"_s, u"wait gate"_s, end});
    stage.play();
    QTRY_VERIFY(stage.client.hasKept("session"));
    QProcess* process = stage.window.access.clientProcess();
    const QSignalSpy finished(process, &QProcess::finished);
    bool isDone = false;
    stage.player.answers.append([&](QDialog& dialog) {
        QTRY_COMPARE(finished.count(), 1);
        delete process;
        isDone = true;
        press(QMessageBox::Ok)(dialog);
    });
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(isDone);
    QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
    QCOMPARE(stage.player.seen.size(), 1);
}

void TestPlayFaults::livesOnWhereTheClientClosesItsInput()
{
    PlayStage stage({u"close-input"_s, u"wait gate"_s, u"die"_s});
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(stage.hasClientEnded());
    QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
    QCOMPARE(stage.player.texts(), QStringList(u"Process crashed"_s));
    QCOMPARE(stage.window.page(), u"playPage"_s);
}

// Whether the session is written before or after the client has gone is left to chance, ten times.
void TestPlayFaults::livesOnWhereTheClientIsGoneBeforeItReads()
{
    PlayStage stage({u"exit 1"_s});
    for (int start = 0; start < 10; ++start) {
        stage.window.find<QPlainTextEdit>("diagnosticLogs").clear();
        stage.play();
        QTRY_VERIFY(stage.hasClientEnded());
        QCOMPARE(stage.window.logTexts(), QStringList(u"Client exit 1"_s));
        QCOMPARE(stage.window.status(), u"İstemci kapandı"_s);
    }
    QVERIFY(stage.player.seen.isEmpty());
}

void TestPlayFaults::hidesTheSessionInWhatTheClientSays()
{
    PlayStage stage(
        {u"read"_s, u"out "_s + hex("oturum "), u"echo 0 64"_s, u"echo 0 65"_s, u"err "_s + hex("<"),
         u"err "_s + hex(PlayStage::aToken() + ">\n")});
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    const QStringList log = stage.window.logTexts();
    QVERIFY(log.contains(u"oturum [REDACTED][REDACTED]"_s));
    QVERIFY(log.contains(u"<[REDACTED]>"_s));
    QVERIFY(!log.join(u'\n').contains(QString::fromLatin1(PlayStage::aToken())));
}

void TestPlayFaults::hidesASessionThatComesInTwoReads()
{
    PlayStage stage({u"read"_s, u"out "_s + hex("önce\n"), u"echo 0 32"_s, u"wait gate"_s, u"echo 32 33"_s});
    stage.play();
    // What the client said before it waits has been read once its first line stands in the log.
    QTRY_VERIFY(stage.window.logTexts().contains(u"önce"_s));
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(stage.hasClientEnded());
    QVERIFY(stage.window.logTexts().contains(u"[REDACTED]"_s));
    QVERIFY(!stage.window.log().join(u'\n').contains(QString::fromLatin1(PlayStage::aToken().first(32))));
}

void TestPlayFaults::logsBothChannelsAndTheLastLine()
{
    PlayStage stage(
        {u"out "_s + hex("bir\r\r\nyarım"), u"err "_s + hex("hata \xff\n"), u"err "_s + hex("yarım hata"),
         u"exit 255"_s});
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    const QStringList log = stage.window.logTexts();
    for (const QString& line : {u"bir\\r"_s, u"yarım"_s, u"hata \ufffd"_s, u"yarım hata"_s})
        QVERIFY2(log.contains(line), qPrintable(log.join(u'|')));
    QVERIFY(log.indexOf(u"yarım"_s) < log.indexOf(u"yarım hata"_s));
    QCOMPARE(log.constLast(), u"Client exit 255"_s);
}

void TestPlayFaults::killsAClientForALongLine()
{
    PlayStage stage(
        {u"read"_s, u"out "_s + hex("önce\n"), u"repeat 65537 78"_s, u"out "_s + hex("\nsonra\n"), u"wait gate"_s});
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QTRY_COMPARE(stage.player.texts(), QStringList(kTooLong));
    QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
    QCOMPARE(stage.window.status(), kTooLong);
    const QStringList log = stage.window.logTexts();
    QVERIFY(log.contains(u"önce"_s));
    QVERIFY(!log.contains(u"sonra"_s));
    QCOMPARE(log.last(2), (QStringList{kTooLong, u"Client exit 9"_s}));
    QCOMPARE(stage.player.seen.size(), 1);
}

void TestPlayFaults::killsAClientForALongLineInOneBoxOnly()
{
    PlayStage stage({u"read"_s, u"repeat 200000 78"_s, u"err "_s + hex(QByteArray(10, 'y')), u"die"_s});
    for (int box = 0; box < 3; ++box)
        stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QTRY_COMPARE(stage.player.texts(), QStringList(kTooLong));
    QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
    QCOMPARE(stage.player.seen.size(), 1);
}

VOK_PLAY_TEST_MAIN(TestPlayFaults)
#include "test_play_faults.moc"
