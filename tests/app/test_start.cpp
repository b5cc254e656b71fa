#include "support/temp_tree.h"

#include <QProcess>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using vok::test_support::TempTree;

/// The built executable itself, from outside.
class TestStart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void tellsItsVersion();
    void tellsItsOptions();
    void leavesABadOptionToQt_data();
    void leavesABadOptionToQt();
    void takesTheFirstWordForAHostCommand_data();
    void takesTheFirstWordForAHostCommand();
    void runsAHostCommandWithoutAWindowSystem();
    void stopsAtADamagedStoreAndLeavesItAsItIs_data();
    void stopsAtADamagedStoreAndLeavesItAsItIs();
    void seedsTheStoreAndStaysOpen();

private:
    struct Result
    {
        int exitCode = -1;
        QByteArray output;
        QString errors;
    };

    std::unique_ptr<QProcess> started(const QStringList& arguments, const QString& platform = u"offscreen"_s) const;
    Result run(const QStringList& arguments, const QString& platform = u"offscreen"_s) const;

    std::unique_ptr<TempTree> tree;
};

namespace
{

const QString kStore = u"config/VOKCommunity/VOKLauncher.conf"_s;
const QString kLanUsage = u"kullanım: vok-launcher --host-lan on|off DIR\n"_s;
const QString kSupervisorUsage =
    u"kullanım: vok-launcher --host-supervisor DIR --asset-root PATH [--bootstrap-admin NAME]\n"_s;
const QString kNoServer = u"Bu sürümde yerel sunucu henüz yok\n"_s;

} // namespace

void TestStart::init()
{
    tree = std::make_unique<TempTree>();
}

std::unique_ptr<QProcess> TestStart::started(const QStringList& arguments, const QString& platform) const
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"QT_QPA_PLATFORM"_s, platform);
    environment.insert(u"HOME"_s, tree->path());
    for (const QString& folder : {u"config"_s, u"data"_s, u"cache"_s})
        environment.insert(u"XDG_%1_HOME"_s.arg(folder.toUpper()), tree->path(folder));
    environment.insert(u"XDG_RUNTIME_DIR"_s, tree->path());
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral(VOK_LAUNCHER_PROGRAM), arguments);
    return process;
}

TestStart::Result TestStart::run(const QStringList& arguments, const QString& platform) const
{
    const auto process = started(arguments, platform);
    if (!process->waitForFinished() || process->exitStatus() != QProcess::NormalExit)
        qFatal("the program did not come to an end");
    return {process->exitCode(), process->readAllStandardOutput(), QString::fromUtf8(process->readAllStandardError())};
}

void TestStart::tellsItsVersion()
{
    const Result result = run({u"--version"_s});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.output, QByteArray("VOKLauncher 0.10.4\n"));
    QCOMPARE(tree->exists(kStore), false);
}

void TestStart::tellsItsOptions()
{
    const Result result = run({u"--help"_s});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.output.contains("\nNative own-server VOK launcher; no official credentials or endpoints\n"));
    QVERIFY(result.output.contains("--help"));
    QVERIFY(result.output.contains("--version"));
    QVERIFY(!result.output.contains("--host"));
}

void TestStart::leavesABadOptionToQt_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown") << QStringList({u"--nope"_s}) << u"Unknown option 'nope'."_s;
    QTest::newRow("host command in second place")
        << QStringList({u"--version"_s, u"--host-lan"_s}) << u"Unknown option 'host-lan'."_s;
    QTest::newRow("host command with a value") << QStringList({u"--host-lan=on"_s}) << u"Unknown option 'host-lan'."_s;
    QTest::newRow("host command in capitals") << QStringList({u"--Host-lan"_s}) << u"Unknown option 'Host-lan'."_s;
}

void TestStart::leavesABadOptionToQt()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    const Result result = run(arguments);
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.errors.contains(message), qPrintable(result.errors));
    QVERIFY(!result.errors.contains(kLanUsage));
}

void TestStart::takesTheFirstWordForAHostCommand_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("errors");
    const auto row = [](const char* name, const QStringList& arguments, int exitCode, const QString& errors) {
        QTest::newRow(name) << arguments << exitCode << errors;
    };
    row("LAN alone", {u"--host-lan"_s}, 2, kLanUsage);
    row("LAN without a folder", {u"--host-lan"_s, u"on"_s}, 2, kLanUsage);
    row("LAN with another word", {u"--host-lan"_s, u"maybe"_s, u"/d"_s}, 2, kLanUsage);
    row("LAN with a word in capitals", {u"--host-lan"_s, u"ON"_s, u"/d"_s}, 2, kLanUsage);
    row("LAN with a word too many", {u"--host-lan"_s, u"on"_s, u"/d"_s, u"x"_s}, 2, kLanUsage);
    row("LAN on", {u"--host-lan"_s, u"on"_s, u"/d"_s}, 1, kNoServer);
    row("LAN off", {u"--host-lan"_s, u"off"_s, u"/d"_s}, 1, kNoServer);
    row("supervisor alone", {u"--host-supervisor"_s}, 2, kSupervisorUsage);
    row("supervisor with a folder", {u"--host-supervisor"_s, u"/d"_s}, 1, kNoServer);
    row("options of the launcher mean nothing to it", {u"--host-lan"_s, u"--version"_s}, 2, kLanUsage);
}

void TestStart::takesTheFirstWordForAHostCommand()
{
    QFETCH(QStringList, arguments);
    const Result result = run(arguments);
    QTEST(result.exitCode, "exitCode");
    QTEST(result.errors, "errors");
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(tree->listing(), QStringList());
}

void TestStart::runsAHostCommandWithoutAWindowSystem()
{
    const Result result = run({u"--host-lan"_s}, u"no-such-platform"_s);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.errors, kLanUsage);
}

void TestStart::stopsAtADamagedStoreAndLeavesItAsItIs_data()
{
    QTest::addColumn<QByteArray>("graphics");
    QTest::addColumn<QString>("message");
    QTest::newRow("render scale") << QByteArray("render_scale=0.2\n")
                                  << u"Invalid saved render_scale: finite [.25,1] required; OpenGL requires 1"_s;
    QTest::newRow("upscaler") << QByteArray(
        "fsr=%FF\n") << u"Invalid saved FSR settings: preset name and sharpness [0,1] required; OpenGL requires off"_s;
    QTest::newRow("light") << QByteArray("rt_style=\xff\n")
                           << u"Invalid saved rt_style: faithful or physical required"_s;
    QTest::newRow("detail") << QByteArray("lightmap_detail=3\n")
                            << u"Invalid saved graphics/lightmap_detail: 0..2 required"_s;
}

void TestStart::stopsAtADamagedStoreAndLeavesItAsItIs()
{
    QFETCH(QByteArray, graphics);
    QFETCH(QString, message);
    const QByteArray damaged = "[graphics]\n" + graphics + "zone=kept\n";
    tree->write(kStore, damaged);
    const QStringList before = tree->listing();
    const Result result = run({});
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(result.errors, u"vok-launcher: "_s + message + u'\n');
    QCOMPARE(tree->read(kStore), damaged);
    QCOMPARE(tree->listing(), before);
}

void TestStart::seedsTheStoreAndStaysOpen()
{
    const auto process = started({});
    QTRY_VERIFY(tree->exists(kStore) && tree->read(kStore).contains("profileNames=Tarvun: Selvira, Localhost\n"));
    const QByteArray caPath =
        QFileInfo(QStringLiteral(VOK_LAUNCHER_PROGRAM)).path().toUtf8() + "/../ormelan-zevti-ca.pem";
    QVERIFY(tree->read(kStore).contains(caPath));
    QCOMPARE(process->state(), QProcess::Running);
    process->terminate();
    QVERIFY(process->waitForFinished());
}

QTEST_GUILESS_MAIN(TestStart)
#include "test_start.moc"
