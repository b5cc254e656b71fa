#include "support/play_stage.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QPointer>
#include <QSpinBox>

#include <csignal>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// From the question for the world to the client that runs.
class TestPlay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void startsTheClientWithAllThatItNeeds();
    void asksForTheWorldWithoutTheSession();
    void writesTheClientsSettings();
    void handsTheSessionOverOnStandardInputAlone();
    void writesTheTokenIntoNoFile();
    void passesTheEnvironmentOn();
    void startsOnThePortOfTheWorld_data();
    void startsOnThePortOfTheWorld();
    void tellsWhyTheWorldCannotBeEntered_data();
    void tellsWhyTheWorldCannotBeEntered();
    void startsOneClientForTwoClicks();
    void refusesASecondClientBeforeItAsks();
    void noticesASessionThatWasDroppedMeanwhile();
    void noticesAProfileThatWasChangedMeanwhile();
    void handsOverTheSessionThatItStartedWith();
    void startsAgainAfterTheClientHasEnded();
    void leavesARunningClientAloneAtLogout();
    void endsTheClientWithTheWindow();
};

namespace
{

/// The files below `folder` that hold `bytes`.
QStringList filesWith(const QString& folder, const QByteArray& bytes)
{
    QStringList found;
    for (QDirIterator files(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
         files.hasNext();) {
        QFile file(files.next());
        if (QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly) && file.readAll().contains(bytes))
            found.append(file.fileName());
    }
    return found;
}

const QStringList kStayUntilReleased{u"record"_s, u"read"_s, u"wait gate"_s};

} // namespace

void TestPlay::startsTheClientWithAllThatItNeeds()
{
    PlayStage stage({u"record"_s, u"read"_s});
    stage.worldStatus.insert("world"_L1, QJsonObject{{u"host"_s, u"elsewhere.test"_s}, {u"world_port"_s, 7001}});
    stage.choose("renderer", u"vulkan"_s);
    stage.choose("upscaler", u"FSR 3.1.4 Kalite"_s);
    stage.window.find<QCheckBox>("frameGeneration").setChecked(true);
    stage.setText("modelMap", u"/harita/model map.json"_s);
    stage.setText("soundMap", u"/harita/ses.json"_s);
    stage.setText("audioPath", u"ses/müzik"_s);
    stage.play();
    QCOMPARE(stage.window.status(), u"Sunucu denetleniyor…"_s);
    QTRY_COMPARE(stage.window.status(), u"İstemci kapandı"_s);
    const QStringList expected{
        u"--host"_s,
        u"127.0.0.1"_s,
        u"--port"_s,
        u"7001"_s,
        u"--ca"_s,
        stage.authority.pemPath(),
        u"--session-stdin"_s,
        u"--auth"_s,
        stage.server.origin(),
        u"--asset-root"_s,
        stage.tree.path(u"assets"_s),
        u"--settings"_s,
        stage.tree.path(stage.kSettingsName),
        u"--renderer"_s,
        u"vulkan"_s,
        u"--appearance"_s,
        u"original"_s,
        u"--rt"_s,
        u"off"_s,
        u"--rt-style"_s,
        u"faithful"_s,
        u"--render-scale"_s,
        u"1"_s,
        u"--upscaler"_s,
        u"fsr3"_s,
        u"--fsr-sharpness"_s,
        u"0.5"_s,
        u"--frame-generation"_s,
        u"on"_s,
        u"--fsr-mode"_s,
        u"quality"_s,
        u"--model-map"_s,
        u"/harita/model map.json"_s,
        u"--sound-map"_s,
        u"/harita/ses.json"_s,
        u"--audio"_s,
        stage.tree.path(u"assets/ses/müzik"_s),
    };
    QCOMPARE(stage.client.arguments(), expected);
    QVERIFY(stage.window.logTexts().contains(u"Client exit 0"_s));
    QVERIFY(stage.player.seen.isEmpty());
}

void TestPlay::asksForTheWorldWithoutTheSession()
{
    PlayStage stage;
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QCOMPARE(stage.server.requests().size(), 1);
    const HttpRequest& request = stage.server.lastRequest();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.target, QByteArray("/v1/status"));
    QCOMPARE(request.body, QByteArray());
    QVERIFY(!request.hasHeader("authorization"));
    QVERIFY(!request.headerLines.join('\n').contains(PlayStage::aToken()));
}

void TestPlay::writesTheClientsSettings()
{
    PlayStage stage;
    stage.tree.write(stage.kSettingsName, R"({"own":"kept","zone":1,"volume":1})");
    stage.window.find<QSpinBox>("volume").setValue(80);
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    const QByteArrayList lines = stage.tree.read(stage.kSettingsName).split('\n');
    QVERIFY(lines.contains("    \"own\": \"kept\","));
    QVERIFY(lines.contains("    \"volume\": 0.8,"));
    QVERIFY(!lines.join().contains("zone"));
}

void TestPlay::handsTheSessionOverOnStandardInputAlone()
{
    PlayStage stage(kStayUntilReleased);
    stage.play();
    QTRY_COMPARE(stage.window.status(), u"İstemci başlatıldı"_s);
    // The client has read to the end of its input, though the launcher still runs.
    QTRY_VERIFY(stage.client.hasKept("session"));
    QCOMPARE(stage.client.kept("session"), PlayStage::aToken() + '\n');
    for (const char* shown : {"arguments", "cmdline", "environment"}) {
        QVERIFY(!stage.client.kept(shown).isEmpty());
        QVERIFY(!stage.client.kept(shown).contains(PlayStage::aToken()));
    }
    const QString process = u"/proc/%1/"_s.arg(stage.window.access.clientProcess()->processId());
    for (const QString& shown : {u"cmdline"_s, u"environ"_s}) {
        QFile file(process + shown);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(!bytes.isEmpty());
        QVERIFY(!bytes.contains(PlayStage::aToken()));
    }
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(stage.hasClientEnded());
}

void TestPlay::writesTheTokenIntoNoFile()
{
    PlayStage stage({u"read"_s, u"echo 0 64"_s});
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    stage.window.access.settings().sync();
    QVERIFY(stage.window.logTexts().contains(u"[REDACTED]"_s));
    QVERIFY(!stage.window.log().join(u'\n').toUtf8().contains(PlayStage::aToken()));
    const QString home = QFileInfo(qEnvironmentVariable("HOME")).path();
    QVERIFY(!filesWith(home, "Localhost").isEmpty());
    QCOMPARE(filesWith(home, PlayStage::aToken()), QStringList());
    QCOMPARE(filesWith(stage.tree.path(), PlayStage::aToken()), QStringList());
    // The program itself has the token as a literal, as bytes of half its length.
    QCOMPARE(
        filesWith(QCoreApplication::applicationDirPath(), PlayStage::aToken()),
        QStringList(FakeClient::path(u"session"_s)));
}

void TestPlay::passesTheEnvironmentOn()
{
    qputenv("VOK_TEST_PASSED_ON", "şöyle");
    PlayStage stage({u"record"_s});
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    qunsetenv("VOK_TEST_PASSED_ON");
    QVERIFY(stage.client.kept("environment").split('\0').contains("VOK_TEST_PASSED_ON=şöyle"));
}

void TestPlay::startsOnThePortOfTheWorld_data()
{
    QTest::addColumn<QJsonObject>("world");
    QTest::addColumn<QString>("port");
    QTest::newRow("none named") << QJsonObject() << u"7000"_s;
    QTest::newRow("lowest") << QJsonObject{{u"world_port"_s, 1}} << u"1"_s;
    QTest::newRow("highest") << QJsonObject{{u"world_port"_s, 65535}} << u"65535"_s;
}

void TestPlay::startsOnThePortOfTheWorld()
{
    QFETCH(QJsonObject, world);
    PlayStage stage({u"record"_s});
    if (!world.isEmpty())
        stage.worldStatus.insert("world"_L1, world);
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QTEST(stage.client.arguments().value(3), "port");
}

void TestPlay::tellsWhyTheWorldCannotBeEntered_data()
{
    QTest::addColumn<QJsonObject>("worldStatus");
    QTest::addColumn<QString>("message");
    const QString offline = u"Dünya sunucusu çevrimdışı"_s;
    const QString port = u"Server reported an invalid world port"_s;
    const auto withPort = [](const QJsonValue& named) {
        return QJsonObject{{u"online"_s, true}, {u"world"_s, QJsonObject{{u"world_port"_s, named}}}};
    };
    QTest::newRow("nothing said") << QJsonObject() << offline;
    QTest::newRow("offline") << QJsonObject{{u"online"_s, false}} << offline;
    QTest::newRow("a text") << QJsonObject{{u"online"_s, u"true"_s}} << offline;
    QTest::newRow("port 0") << withPort(0) << port;
    QTest::newRow("port -1") << withPort(-1) << port;
    QTest::newRow("port 65536") << withPort(65536) << port;
    QTest::newRow("port 70000") << withPort(70000) << port;
    QTest::newRow("port 7000.5") << withPort(7000.5) << port;
}

void TestPlay::tellsWhyTheWorldCannotBeEntered()
{
    QFETCH(QJsonObject, worldStatus);
    QFETCH(QString, message);
    PlayStage stage;
    stage.worldStatus = worldStatus;
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QTRY_COMPARE(stage.player.texts(), QStringList(message));
    QCOMPARE(stage.window.status(), message);
    QVERIFY(stage.window.access.clientProcess() == nullptr);
    QCOMPARE(stage.window.page(), u"playPage"_s);
}

void TestPlay::startsOneClientForTwoClicks()
{
    PlayStage stage(kStayUntilReleased);
    stage.isAnswerHeld = true;
    stage.play();
    stage.play();
    QTRY_COMPARE(stage.server.heldAnswers(), 2);
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.server.release();
    QTRY_COMPARE(stage.player.texts(), QStringList(stage.kAlreadyRunning));
    QTRY_VERIFY(stage.client.hasKept("session"));
    QCOMPARE(stage.window.launcher.findChildren<QProcess*>().size(), 1);
    QVERIFY(stage.isClientRunning());
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(stage.hasClientEnded());
}

void TestPlay::refusesASecondClientBeforeItAsks()
{
    PlayStage stage(kStayUntilReleased);
    stage.play();
    QTRY_VERIFY(stage.client.hasKept("session"));
    stage.tree.write(stage.kSettingsName, "{}");
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QCOMPARE(stage.player.texts(), QStringList(stage.kAlreadyRunning));
    QCOMPARE(stage.server.requests().size(), 1);
    QCOMPARE(stage.tree.read(stage.kSettingsName), QByteArray("{}"));
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(stage.hasClientEnded());
}

void TestPlay::noticesASessionThatWasDroppedMeanwhile()
{
    PlayStage stage;
    stage.isAnswerHeld = true;
    stage.play();
    QTRY_COMPARE(stage.server.heldAnswers(), 1);
    stage.window.access.clearSession();
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.server.release();
    QTRY_COMPARE(stage.player.texts(), QStringList(stage.kLoginFirst));
    QVERIFY(stage.window.access.clientProcess() == nullptr);
}

void TestPlay::noticesAProfileThatWasChangedMeanwhile()
{
    PlayStage stage;
    stage.isAnswerHeld = true;
    stage.play();
    QTRY_COMPARE(stage.server.heldAnswers(), 1);
    stage.setProfile({stage.server.origin(u"localhost"_s), stage.authority.pemPath()});
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.server.release();
    QTRY_COMPARE(stage.player.texts(), QStringList(u"Server profile changed; stale response discarded"_s));
    QVERIFY(stage.window.access.clientProcess() == nullptr);
}

void TestPlay::handsOverTheSessionThatItStartedWith()
{
    PlayStage stage(kStayUntilReleased);
    stage.play();
    QTRY_VERIFY(stage.window.access.clientProcess() != nullptr);
    stage.window.access.clearSession();
    QTRY_VERIFY(stage.client.hasKept("session"));
    QCOMPARE(stage.client.kept("session"), PlayStage::aToken() + '\n');
    QTRY_VERIFY(stage.client.passGate());
    QTRY_VERIFY(stage.hasClientEnded());
}

void TestPlay::startsAgainAfterTheClientHasEnded()
{
    PlayStage stage({u"exit 3"_s});
    stage.play();
    QTRY_VERIFY(stage.window.logTexts().contains(u"Client exit 3"_s));
    QCOMPARE(stage.window.status(), u"İstemci kapandı"_s);
    const QPointer<QProcess> first = stage.window.access.clientProcess();
    QVERIFY(first != nullptr);
    QCOMPARE(first->parent(), &stage.window.launcher);
    stage.client.setScript({u"read"_s});
    stage.play();
    QTRY_VERIFY(stage.window.logTexts().contains(u"Client exit 0"_s));
    QCOMPARE(stage.client.kept("session"), PlayStage::aToken() + '\n');
    QTRY_VERIFY(first == nullptr);
    QCOMPARE(stage.window.launcher.findChildren<QProcess*>().size(), 1);
}

void TestPlay::leavesARunningClientAloneAtLogout()
{
    PlayStage stage(kStayUntilReleased);
    stage.play();
    QTRY_VERIFY(stage.client.hasKept("session"));
    QCOMPARE(stage.window.page(), u"playPage"_s);
    stage.window.find<QComboBox>("profiles").setCurrentIndex(0);
    QCOMPARE(stage.window.page(), u"loginPage"_s);
    QVERIFY(stage.isClientRunning());
    QTRY_VERIFY(stage.client.passGate());
    QTRY_COMPARE(stage.window.status(), u"İstemci kapandı"_s);
}

void TestPlay::endsTheClientWithTheWindow()
{
    qint64 client = 0;
    QElapsedTimer clock;
    {
        PlayStage stage(kStayUntilReleased);
        stage.play();
        QTRY_VERIFY(stage.client.hasKept("session"));
        client = stage.window.access.clientProcess()->processId();
        QCOMPARE(::kill(static_cast<pid_t>(client), 0), 0);
        clock.start();
    }
    QVERIFY(clock.elapsed() < 10000);
    QCOMPARE(::kill(static_cast<pid_t>(client), 0), -1);
}

VOK_PLAY_TEST_MAIN(TestPlay)
#include "test_play.moc"
