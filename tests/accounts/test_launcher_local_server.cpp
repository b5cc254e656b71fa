#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/settings_on_disk.h"
#include "support/temp_tree.h"

#include <QComboBox>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::launcher_server;
using namespace vok::test_support;

/// What the server panel gets and does through its hooks.
class TestLauncherLocalServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void givesTheInstallationFolderAsTyped();
    void findsAManifest_data();
    void findsAManifest();
    void logsLines();
    void storesTheProfile_data();
    void storesTheProfile();
    void leavesTheSelectionAloneUnlessTold_data();
    void leavesTheSelectionAloneUnlessTold();
    void selectsAndDropsTheSession_data();
    void selectsAndDropsTheSession();
    void offersTheUserName_data();
    void offersTheUserName();
    void logsInWithThePassword();
    void waitsWithThePasswordWhileAssetWorkRuns();
    void tellsWhereTheLocalServerCannotBeReached();
};

namespace
{

const QString kReady = u"Tarvun: Selvira başlatıcısı hazır."_s;
const QString kRunning = u"Yerel sunucu çalışıyor"_s;
const QByteArray kToken(64, 'c');

QByteArray stored()
{
    return QSettings().value(u"profiles/Localhost"_s).toByteArray();
}

/// A window with a session, on the profile `selected`, with a manifest.
struct LoggedIn
{
    explicit LoggedIn(const QString& selected = u"Localhost"_s)
        : window(prepared(selected))
    {
        window.access.logIn();
    }

    QString prepared(const QString& selected) const
    {
        QSettings().setValue(u"lastProfile"_s, selected);
        root.write(u"asset-manifest.json"_s, {});
        return root.path();
    }

    QString selected() const { return window.find<QComboBox>("profiles").currentText(); }
    bool isLoggedIn() const { return !window.access.sessionToken().isEmpty(); }

    const TempTree root;
    const LauncherWindow window;
    const Hooks hooks = window.access.hostHooks();
};

} // namespace

void TestLauncherLocalServer::givesTheInstallationFolderAsTyped()
{
    const LauncherWindow window(u"/yok/ıssız"_s);
    const Hooks hooks = window.access.hostHooks();
    QCOMPARE(hooks.assetRoot(), u"/yok/ıssız"_s);
    window.find<QLineEdit>("installRoot").setText(u" /başka "_s);
    QCOMPARE(hooks.assetRoot(), u" /başka "_s);
}

void TestLauncherLocalServer::findsAManifest_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("file") << u"file"_s << true;
    QTest::newRow("directory") << u"directory"_s << false;
    QTest::newRow("nothing") << QString() << false;
}

void TestLauncherLocalServer::findsAManifest()
{
    QFETCH(QString, kind);
    const TempTree root;
    if (kind == u"file"_s)
        root.write(u"asset-manifest.json"_s, {});
    else if (kind == u"directory"_s)
        root.makeDirectory(u"asset-manifest.json"_s);
    const LauncherWindow window(root.path());
    QTEST(window.access.hostHooks().assetsInstalled(), "isFound");
}

void TestLauncherLocalServer::logsLines()
{
    const LauncherWindow window;
    window.access.hostHooks().log(u"Yerel sunucu kuruluyor"_s);
    QCOMPARE(window.logTexts().constLast(), u"Yerel sunucu kuruluyor"_s);
}

void TestLauncherLocalServer::storesTheProfile_data()
{
    QTest::addColumn<QString>("auth");
    QTest::addColumn<QString>("ca");
    QTest::addColumn<QByteArray>("profile");
    QTest::newRow("address and CA") << u"https://localhost:7500"_s << u"/srv/ca.pem"_s
                                    << QByteArray("{\"auth\":\"https://localhost:7500\",\"ca\":\"/srv/ca.pem\"}");
    QTest::newRow("no address") << QString() << u"/srv/ca.pem"_s
                                << QByteArray("{\"auth\":\"https://localhost:7443\",\"ca\":\"/srv/ca.pem\"}");
    QTest::newRow("nothing") << QString() << QString()
                             << QByteArray("{\"auth\":\"https://localhost:7443\",\"ca\":\"\"}");
}

void TestLauncherLocalServer::storesTheProfile()
{
    QFETCH(QString, auth);
    QFETCH(QString, ca);
    QFETCH(QByteArray, profile);
    for (const bool select : {false, true}) {
        clearSettings();
        const LoggedIn player(u"Tarvun: Selvira"_s);
        player.hooks.useLocalServer(auth, ca, {}, {}, select);
        const SettingsOnDisk saved(player.window.access.settings());
        QCOMPARE(saved.value(u"profiles/Localhost"_s).toByteArray(), profile);
        QCOMPARE(stored(), profile);
    }
}

void TestLauncherLocalServer::leavesTheSelectionAloneUnlessTold_data()
{
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<bool>("keepsSession");
    const QByteArray same = serialiseProfile({u"https://localhost:7500"_s, u"/srv/ca.pem"_s});
    QTest::newRow("same profile, current") << u"Localhost"_s << same << true;
    QTest::newRow("another address, current")
        << u"Localhost"_s << serialiseProfile({u"https://localhost:7501"_s, u"/srv/ca.pem"_s}) << false;
    QTest::newRow("another CA, current") << u"Localhost"_s << serialiseProfile({u"https://localhost:7500"_s, {}})
                                         << false;
    QTest::newRow("same but for a blank, current") << u"Localhost"_s << same + " " << false;
    QTest::newRow("broken, current") << u"Localhost"_s << QByteArray("{") << false;
    QTest::newRow("empty, current") << u"Localhost"_s << QByteArray("") << false;
    QTest::newRow("same profile, another current") << u"Tarvun: Selvira"_s << same << true;
    QTest::newRow("another address, another current") << u"Tarvun: Selvira"_s << QByteArray("{") << true;
}

void TestLauncherLocalServer::leavesTheSelectionAloneUnlessTold()
{
    QFETCH(QString, selected);
    QFETCH(QByteArray, before);
    QFETCH(bool, keepsSession);
    const LoggedIn player(selected);
    QSettings().setValue(u"profiles/Localhost"_s, before);
    player.window.find<QLineEdit>("username").clear();
    player.hooks.useLocalServer(u"https://localhost:7500"_s, u"/srv/ca.pem"_s, u"yonetici"_s, u"gizli"_s, false);
    QCOMPARE(player.selected(), selected);
    QCOMPARE(player.isLoggedIn(), keepsSession);
    QCOMPARE(player.window.page(), keepsSession ? u"playPage"_s : u"loginPage"_s);
    QCOMPARE(player.window.find<QLineEdit>("username").text(), QString());
    QCOMPARE(player.window.find<QLineEdit>("password").text(), QString());
    QCOMPARE(player.window.status(), kReady);
    QCOMPARE(stored(), serialiseProfile({u"https://localhost:7500"_s, u"/srv/ca.pem"_s}));
    QVERIFY(player.window.access.activeReplies().isEmpty());
}

void TestLauncherLocalServer::selectsAndDropsTheSession_data()
{
    QTest::addColumn<QString>("selected");
    QTest::addColumn<bool>("isSame");
    QTest::newRow("current, same profile") << u"Localhost"_s << true;
    QTest::newRow("current, changed profile") << u"Localhost"_s << false;
    QTest::newRow("not current, same profile") << u"Tarvun: Selvira"_s << true;
    QTest::newRow("not current, changed profile") << u"Tarvun: Selvira"_s << false;
}

void TestLauncherLocalServer::selectsAndDropsTheSession()
{
    QFETCH(QString, selected);
    QFETCH(bool, isSame);
    const LoggedIn player(selected);
    if (isSame)
        QSettings().setValue(u"profiles/Localhost"_s, serialiseProfile({u"https://localhost:7500"_s, {}}));
    player.hooks.useLocalServer(u"https://localhost:7500"_s, {}, {}, {}, true);
    QCOMPARE(player.selected(), u"Localhost"_s);
    QCOMPARE(QSettings().value(u"lastProfile"_s).toString(), u"Localhost"_s);
    QVERIFY(!player.isLoggedIn());
    QCOMPARE(player.window.page(), u"loginPage"_s);
    QCOMPARE(player.window.status(), kRunning);
    QVERIFY(player.window.access.activeReplies().isEmpty());
}

void TestLauncherLocalServer::offersTheUserName_data()
{
    QTest::addColumn<QString>("present");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("secret");
    QTest::addColumn<QString>("after");
    QTest::newRow("empty field") << QString() << u"yonetici"_s << QString() << u"yonetici"_s;
    QTest::newRow("filled field") << u"ayşe"_s << u"yonetici"_s << QString() << u"ayşe"_s;
    QTest::newRow("filled field and a password") << u"ayşe"_s << u"yonetici"_s << u"gizli"_s << u"yonetici"_s;
    QTest::newRow("empty field and a password") << QString() << u"yonetici"_s << u"gizli"_s << u"yonetici"_s;
    QTest::newRow("no user") << u"ayşe"_s << QString() << QString() << u"ayşe"_s;
    QTest::newRow("no user but a password") << u"ayşe"_s << QString() << u"gizli"_s << u"ayşe"_s;
}

void TestLauncherLocalServer::offersTheUserName()
{
    QFETCH(QString, present);
    QFETCH(QString, user);
    QFETCH(QString, secret);
    AccountService service;
    service.answerWith(sessionAnswer(kToken));
    const LoggedIn player;
    player.window.find<QLineEdit>("username").setText(present);
    player.hooks.useLocalServer(service.origin(), service.profile().ca, user, secret, true);
    QTEST(player.window.find<QLineEdit>("username").text(), "after");
    QCOMPARE(player.window.access.activeReplies().isEmpty(), secret.isEmpty());
    QTRY_VERIFY(player.window.access.activeReplies().isEmpty());
    QCOMPARE(service.requests().size(), secret.isEmpty() ? 0 : 1);
}

void TestLauncherLocalServer::logsInWithThePassword()
{
    AccountService service;
    service.answerWith(sessionAnswer(kToken));
    const LoggedIn player(u"Tarvun: Selvira"_s);
    player.hooks.useLocalServer(service.origin(), service.profile().ca, u"yonetici"_s, u"gizli"_s, true);
    QCOMPARE(player.window.status(), kRunning);
    QTRY_COMPARE(player.window.page(), u"playPage"_s);
    QCOMPARE(player.window.access.sessionToken(), kToken);
    QCOMPARE(player.window.access.sessionAuth(), service.origin());
    QCOMPARE(service.lastRequest().json(), QJsonObject({{u"username"_s, u"yonetici"_s}, {u"password"_s, u"gizli"_s}}));
    QCOMPARE(player.window.find<QLineEdit>("password").text(), QString());
}

void TestLauncherLocalServer::waitsWithThePasswordWhileAssetWorkRuns()
{
    AccountService service;
    const LoggedIn player;
    player.window.access.startAssetWork();
    player.hooks.useLocalServer(service.origin(), service.profile().ca, u"yonetici"_s, u"gizli"_s, true);
    QVERIFY(player.window.access.activeReplies().isEmpty());
    QCOMPARE(player.window.find<QLineEdit>("password").text(), u"gizli"_s);
}

void TestLauncherLocalServer::tellsWhereTheLocalServerCannotBeReached()
{
    const LoggedIn player;
    ModalPlayer modals({press(QMessageBox::Ok)});
    player.hooks.useLocalServer(u"https://localhost:7443"_s, u"/yok/ca.pem"_s, u"yonetici"_s, u"gizli"_s, true);
    QCOMPARE(modals.texts(), QStringList(u"Cannot read configured CA file"_s));
    QCOMPARE(player.window.status(), u"Cannot read configured CA file"_s);
    QCOMPARE(player.window.find<QLineEdit>("password").text(), u"gizli"_s);
    QVERIFY(!player.isLoggedIn());
}

VOK_WINDOW_TEST_MAIN(TestLauncherLocalServer)
#include "test_launcher_local_server.moc"
