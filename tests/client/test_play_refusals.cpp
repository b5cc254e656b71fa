#include "support/play_stage.h"

#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QSslConfiguration>

#include <functional>
#include <openssl/x509.h>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// What is refused before the account service is asked.
class TestPlayRefusals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void tellsItsFaultsInOrder();
    void savesTheSettingsBeforeItLooksAtTheSession();
    void startsNothingWithABrokenProfile_data();
    void startsNothingWithABrokenProfile();
    void needsTheSessionOfTheSelectedServer_data();
    void needsTheSessionOfTheSelectedServer();
    void refusesRequiredRayTracingWithOpenGlOnly_data();
    void refusesRequiredRayTracingWithOpenGlOnly();
    void findsTheClientBesideItselfOnly_data();
    void findsTheClientBesideItselfOnly();
    void needsAnAssetFolder_data();
    void needsAnAssetFolder();
    void givesTheClientTheSystemsBundle_data();
    void givesTheClientTheSystemsBundle();
    void givesTheClientTheProfilesCaAlone();
    void leavesAClientFileItCannotTake_data();
    void leavesAClientFileItCannotTake();

private:
    const QSslConfiguration usualTrust = QSslConfiguration::defaultConfiguration();
};

namespace
{

const QString kNoBundle = u"System CA bundle not found; set the server CA file with Sunucu ekle"_s;

QString missingClient()
{
    return u"vok-client başlatıcının yanında bulunamadı: "_s + FakeClient::path(u"vok-client"_s);
}

} // namespace

void TestPlayRefusals::init()
{
    clearSettings();
    qunsetenv(X509_get_default_cert_file_env());
}

void TestPlayRefusals::cleanup()
{
    QSslConfiguration::setDefaultConfiguration(usualTrust);
}

void TestPlayRefusals::tellsItsFaultsInOrder()
{
    qputenv(X509_get_default_cert_file_env(), "/yok.pem");
    PlayStage stage({u"record"_s});
    const QString ca = stage.authority.pemPath();
    const QString missingCa = stage.tree.path(u"yok.pem"_s);
    const QString settingsFolder = stage.tree.path(u"settings"_s);
    const QString plain = u"http://127.0.0.1"_s;
    const QString withPath = stage.server.origin() + u"/path"_s;

    stage.choose("rayTracing", u"required"_s);
    stage.window.find<QDoubleSpinBox>("renderScale").setValue(0.5);
    stage.window.access.clearSession();
    stage.setProfile({plain, {}});
    stage.tree.remove(u"assets"_s);
    QFile::remove(FakeClient::path(u"vok-client"_s));
    stage.tree.makeDirectory(stage.kSettingsName);
    stage.setText("audioPath", u"ses/../müzik"_s);

    const auto useServer = [&](const QString& auth, const QString& caFile) {
        stage.setProfile({auth, caFile});
        stage.window.access.logIn(PlayStage::aToken(), auth);
    };
    const std::pair<QString, std::function<void()>> faults[] = {
        {u"Required hardware ray tracing is incompatible with OpenGL; select off or auto"_s,
         [&] { stage.choose("rayTracing", u"auto"_s); }},
        {u"OpenGL requires render_scale=1; select Vulkan for render scaling"_s,
         [&] { stage.window.find<QDoubleSpinBox>("renderScale").setValue(1); }},
        {stage.kLoginFirst, [&] { useServer(plain, {}); }},
        {u"HTTPS URL with host and no credentials/fragment required"_s, [&] { useServer(withPath, {}); }},
        {u"Import legitimate original assets first"_s, [&] { stage.tree.makeDirectory(u"assets"_s); }},
        {missingClient(), [&] { QFile::link(QStringLiteral(VOK_FAKE_CLIENT), FakeClient::path(u"vok-client"_s)); }},
        {kNoBundle, [&] { useServer(withPath, missingCa); }},
        {u"Cannot safely read preserved client settings"_s,
         [&] {
             stage.tree.remove(stage.kSettingsName);
             stage.tree.write(stage.kSettingsName, "[]");
         }},
        {u"Existing client settings are invalid; not overwritten"_s,
         [&] {
             stage.tree.write(stage.kSettingsName, "{}");
             QFile::setPermissions(settingsFolder, QFile::ReadOwner | QFile::ExeOwner);
         }},
        {u"Cannot atomically write settings"_s,
         [&] { QFile::setPermissions(settingsFolder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner); }},
        {u"Original audio path must stay inside imported assets"_s, [&] { stage.setText("audioPath", u"ses"_s); }},
        {u"Auth endpoint must be an HTTPS origin (no path/query)"_s,
         [&] { useServer(stage.server.origin(), missingCa); }},
        {u"Cannot read configured CA file"_s, [&] { useServer(stage.server.origin(), ca); }},
    };
    for (const auto& [message, mend] : faults) {
        stage.player.answers.append(press(QMessageBox::Ok));
        stage.play();
        QCOMPARE(stage.player.seen.constLast().text, message);
        QCOMPARE(stage.window.status(), message);
        QVERIFY(stage.window.access.clientProcess() == nullptr);
        mend();
    }
    QCOMPARE(stage.server.connections(), 0);
    stage.play();
    QCOMPARE(stage.window.status(), u"Sunucu denetleniyor…"_s);
    QTRY_VERIFY(stage.hasClientEnded());
    QVERIFY(stage.client.hasKept("arguments"));
    QCOMPARE(stage.player.seen.size(), std::size(faults));
}

void TestPlayRefusals::savesTheSettingsBeforeItLooksAtTheSession()
{
    PlayStage stage;
    stage.window.access.clearSession();
    stage.setText("modelMap", u"/harita.json"_s);
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QCOMPARE(stage.player.texts(), QStringList(stage.kLoginFirst));
    QCOMPARE(QSettings().value(keys::mappingKey(u"modelMap"_s)).toString(), u"/harita.json"_s);
    QVERIFY(!stage.tree.exists(stage.kSettingsName));
}

void TestPlayRefusals::startsNothingWithABrokenProfile_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::newRow("removed") << QVariant();
    QTest::newRow("broken") << QVariant(QByteArray("{\"auth\":"));
}

void TestPlayRefusals::startsNothingWithABrokenProfile()
{
    QFETCH(QVariant, stored);
    PlayStage stage;
    stage.window.access.settings().setValue(keys::profileKey(stage.kProfile), stored);
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QCOMPARE(stage.player.texts(), QStringList(stage.kLoginFirst));
    QCOMPARE(stage.server.connections(), 0);
    QVERIFY(stage.window.access.clientProcess() == nullptr);
}

void TestPlayRefusals::needsTheSessionOfTheSelectedServer_data()
{
    QTest::addColumn<QByteArray>("token");
    QTest::addColumn<QString>("issuer");
    QTest::newRow("no session") << QByteArray() << u"%1"_s;
    QTest::newRow("of another server") << PlayStage::aToken() << u"https://example.test:7443"_s;
    QTest::newRow("of the same, written differently") << PlayStage::aToken() << u"%1/"_s;
}

void TestPlayRefusals::needsTheSessionOfTheSelectedServer()
{
    QFETCH(QByteArray, token);
    QFETCH(QString, issuer);
    PlayStage stage;
    stage.window.access.logIn(token, issuer.contains(u'%') ? issuer.arg(stage.server.origin()) : issuer);
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QCOMPARE(stage.player.texts(), QStringList(stage.kLoginFirst));
    QCOMPARE(stage.server.connections(), 0);
}

void TestPlayRefusals::refusesRequiredRayTracingWithOpenGlOnly_data()
{
    QTest::addColumn<QString>("renderer");
    QTest::addColumn<QString>("mode");
    for (const char* mode : {"off", "auto", "required"})
        for (const char* renderer : {"opengl", "vulkan"})
            QTest::addRow("%s with %s", mode, renderer) << QString::fromLatin1(renderer) << QString::fromLatin1(mode);
}

void TestPlayRefusals::refusesRequiredRayTracingWithOpenGlOnly()
{
    QFETCH(QString, renderer);
    QFETCH(QString, mode);
    PlayStage stage;
    stage.choose("renderer", renderer);
    stage.choose("rayTracing", mode);
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    if (renderer == "opengl"_L1 && mode == "required"_L1) {
        QCOMPARE(
            stage.player.texts(),
            QStringList(u"Required hardware ray tracing is incompatible with OpenGL; select off or auto"_s));
        QVERIFY(!stage.tree.exists(stage.kSettingsName));
    } else {
        QTRY_VERIFY(stage.hasClientEnded());
        QVERIFY(stage.player.seen.isEmpty());
    }
}

void TestPlayRefusals::findsTheClientBesideItselfOnly_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind : {"nothing", "on the path", "not executable", "folder", "link that leads nowhere"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void TestPlayRefusals::findsTheClientBesideItselfOnly()
{
    QFETCH(QString, kind);
    PlayStage stage;
    const QString place = FakeClient::path(u"vok-client"_s);
    QFile::remove(place);
    const QByteArray searched = qgetenv("PATH");
    if (kind == "on the path"_L1) {
        QVERIFY(QFile::link(QStringLiteral(VOK_FAKE_CLIENT), stage.tree.path(u"vok-client"_s)));
        qputenv("PATH", stage.tree.path().toUtf8() + ':' + searched);
    } else if (kind == "not executable"_L1) {
        QVERIFY(QFile::copy(QStringLiteral(VOK_FAKE_CLIENT), place));
        QVERIFY(QFile::setPermissions(place, QFile::ReadOwner | QFile::WriteOwner));
    } else if (kind == "folder"_L1) {
        QVERIFY(QDir().mkdir(place));
    } else if (kind == "link that leads nowhere"_L1) {
        QVERIFY(QFile::link(stage.tree.path(u"yok"_s), place));
    }
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    qputenv("PATH", searched);
    QDir().rmdir(place);
    QCOMPARE(stage.player.texts(), QStringList(missingClient()));
    QVERIFY(!stage.tree.exists(stage.kSettingsName));
}

void TestPlayRefusals::needsAnAssetFolder_data()
{
    QTest::addColumn<bool>("isFile");
    QTest::newRow("nothing") << false;
    QTest::newRow("file") << true;
}

void TestPlayRefusals::needsAnAssetFolder()
{
    QFETCH(bool, isFile);
    PlayStage stage;
    stage.tree.remove(u"assets"_s);
    if (isFile)
        stage.tree.write(u"assets"_s, "x");
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QCOMPARE(stage.player.texts(), QStringList(u"Import legitimate original assets first"_s));
}

void TestPlayRefusals::givesTheClientTheSystemsBundle_data()
{
    QTest::addColumn<QString>("named");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("file") << u"bundle.pem"_s << true;
    QTest::newRow("link to a file") << u"link.pem"_s << true;
    QTest::newRow("nothing there") << u"yok.pem"_s << false;
    QTest::newRow("folder") << u"assets"_s << false;
    QTest::newRow("empty name") << QString() << false;
}

void TestPlayRefusals::givesTheClientTheSystemsBundle()
{
    QFETCH(QString, named);
    QFETCH(bool, isTaken);
    PlayStage stage({u"record"_s});
    stage.tree.write(u"bundle.pem"_s, "not looked into");
    stage.tree.link(u"bundle.pem"_s, u"link.pem"_s);
    const QString path = named.isEmpty() ? QString() : stage.tree.path(named);
    qputenv(X509_get_default_cert_file_env(), path.toUtf8());
    // Qt has the system's trust from elsewhere.
    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.setCaCertificates({stage.authority.certificate()});
    QSslConfiguration::setDefaultConfiguration(trust);
    stage.setProfile({stage.server.origin(), {}});
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    if (!isTaken) {
        QCOMPARE(stage.player.texts(), QStringList(kNoBundle));
        QVERIFY(!stage.tree.exists(stage.kSettingsName));
        return;
    }
    QTRY_VERIFY(stage.hasClientEnded());
    QCOMPARE(stage.client.arguments().mid(4, 2), (QStringList{u"--ca"_s, path}));
    QVERIFY(stage.player.seen.isEmpty());
}

void TestPlayRefusals::givesTheClientTheProfilesCaAlone()
{
    qputenv(X509_get_default_cert_file_env(), "/yok.pem");
    PlayStage stage({u"record"_s});
    stage.play();
    QTRY_VERIFY(stage.hasClientEnded());
    QCOMPARE(stage.client.arguments().mid(4, 2), (QStringList{u"--ca"_s, stage.authority.pemPath()}));
    QVERIFY(stage.player.seen.isEmpty());
}

void TestPlayRefusals::leavesAClientFileItCannotTake_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("message");
    const QString invalid = u"Existing client settings are invalid; not overwritten"_s;
    QTest::newRow("array") << QByteArray("[1]") << invalid;
    QTest::newRow("broken") << QByteArray("{\"width\":") << invalid;
    QTest::newRow("65537 bytes") << "{\"a\":1}" + QByteArray(65530, ' ')
                                 << u"Cannot safely read preserved client settings"_s;
}

void TestPlayRefusals::leavesAClientFileItCannotTake()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    PlayStage stage;
    stage.tree.write(stage.kSettingsName, content);
    stage.player.answers.append(press(QMessageBox::Ok));
    stage.play();
    QCOMPARE(stage.player.texts(), QStringList(message));
    QCOMPARE(stage.tree.read(stage.kSettingsName), content);
    QVERIFY(stage.window.access.clientProcess() == nullptr);
    QCOMPARE(stage.server.connections(), 0);
}

VOK_PLAY_TEST_MAIN(TestPlayRefusals)
#include "test_play_refusals.moc"
