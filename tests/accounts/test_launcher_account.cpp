#include "support/sign_in.h"

#include <QComboBox>
#include <QInputDialog>
#include <QNetworkReply>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// The account actions against a real HTTPS server, by the buttons that a player presses.
class TestLauncherAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void sendsTheFieldsAsTheyAre_data();
    void sendsTheFieldsAsTheyAre();
    void asksNobodyWithoutAUsableProfile_data();
    void asksNobodyWithoutAUsableProfile();
    void tellsTheRefusalOfTheService_data();
    void tellsTheRefusalOfTheService();
    void registersWithoutLoggingIn();
    void asksForTheCodeOfAReset();
    void resetsNothingWhenCancelled();
    void logsOutAfterAReset();
    void sendsAnEmptyCodeToo();
    void logsOutOnceTheServiceHasConfirmed();
    void staysLoggedInWhereLogoutFails_data();
    void staysLoggedInWhereLogoutFails();
    void logsNobodyOutWithoutAMatchingSession_data();
    void logsNobodyOutWithoutAMatchingSession();
    void bearsTwoPressesOfLogout();
    void bearsTwoPressesOfRegister();
    void forgetsThePasswordForGood_data();
    void forgetsThePasswordForGood();
};

namespace
{

const QString kNoUrl = u"HTTPS URL with host and no credentials/fragment required"_s;

ModalAnswer enter(const QString& code)
{
    return [code](QDialog& dialog) {
        dialog.findChild<QLineEdit*>()->setText(code);
        dialog.accept();
    };
}

bool isZero(const char* bytes, qsizetype size)
{
    return std::all_of(bytes, bytes + size, [](char byte) { return byte == '\0'; });
}

QByteArray actionPath(const QByteArray& button)
{
    return "/v1/" + button.first(button.size() - QByteArrayView("Button").size());
}

} // namespace

void TestLauncherAccount::sendsTheFieldsAsTheyAre_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("secret");
    for (const char* button : {"loginButton", "registerButton"}) {
        const auto row = [button](const char* name, const QString& user, const QString& secret) {
            QTest::addRow("%s: %s", button, name) << QByteArray(button) << user << secret;
        };
        row("usual", u"ayse"_s, u"gizli"_s);
        row("nothing", {}, {});
        row("no user name", {}, u"gizli"_s);
        row("blanks around", u" ayse "_s, u" gizli\t"_s);
        row("other scripts", u"Işıl 世界 \U0001F3F0"_s, u"şifre \"\\</>"_s);
    }
}

void TestLauncherAccount::sendsTheFieldsAsTheyAre()
{
    QFETCH(QByteArray, button);
    QFETCH(QString, user);
    QFETCH(QString, secret);
    SignIn sign(refusal(403, u"Olmaz"_s));
    sign.username().setText(user);
    sign.password().setText(secret);
    ModalPlayer player({press(QMessageBox::Ok)});
    sign.window->press(button.constData());
    QTRY_COMPARE(player.texts(), QStringList(u"Olmaz"_s));
    QCOMPARE(sign.service.requests().size(), 1);
    const HttpRequest& request = sign.service.lastRequest();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.target, actionPath(button));
    QCOMPARE(request.json(), QJsonObject({{u"username"_s, user}, {u"password"_s, secret}}));
    QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
    QVERIFY(!request.hasHeader("Authorization"));
}

void TestLauncherAccount::asksNobodyWithoutAUsableProfile_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("failure");
    QTest::newRow("missing") << QByteArray() << kNoUrl;
    QTest::newRow("broken") << QByteArray("{\"auth\":\"https://localhost:7443\"") << kNoUrl;
    QTest::newRow("no JSON") << QByteArray("\0\xff", 2) << kNoUrl;
    QTest::newRow("address is a number") << QByteArray("{\"auth\":7443,\"ca\":\"\"}") << kNoUrl;
    QTest::newRow("http") << serialiseProfile({u"http://localhost:7443"_s, {}}) << kNoUrl;
    QTest::newRow("path") << serialiseProfile({u"https://localhost:7443/v1"_s, {}})
                          << u"Auth endpoint must be an HTTPS origin (no path/query)"_s;
    QTest::newRow("CA gone") << serialiseProfile({u"https://localhost:7443"_s, u"/yok/ca.pem"_s})
                             << u"Cannot read configured CA file"_s;
}

void TestLauncherAccount::asksNobodyWithoutAUsableProfile()
{
    QFETCH(QByteArray, stored);
    QFETCH(QString, failure);
    SignIn sign;
    if (stored.isNull())
        QSettings().remove(u"profiles/Deneme"_s);
    else
        QSettings().setValue(u"profiles/Deneme"_s, stored);
    for (const char* button : {"loginButton", "registerButton", "resetButton", "logoutButton"}) {
        ModalPlayer player({press(QMessageBox::Ok)});
        if (QByteArrayView(button) == "resetButton")
            player.answers.prepend(enter(u"kod"_s));
        sign.window->press(button);
        QCOMPARE(player.texts().constLast(), failure);
        QCOMPARE(player.unplanned, 0);
        QVERIFY(sign.isIdle());
        QCOMPARE(sign.password().text(), u"gizli"_s);
    }
    QCOMPARE(sign.service.connections(), 0);
}

void TestLauncherAccount::tellsTheRefusalOfTheService_data()
{
    QTest::addColumn<QByteArray>("button");
    for (const char* button : {"loginButton", "registerButton", "resetButton"})
        QTest::newRow(button) << QByteArray(button);
}

void TestLauncherAccount::tellsTheRefusalOfTheService()
{
    QFETCH(QByteArray, button);
    const QString message = u"Kullanıcı adı ya da parola yanlış"_s;
    SignIn sign(refusal(403, message));
    sign.beLoggedIn();
    ModalPlayer player({press(QMessageBox::Ok)});
    QStringList shown(message);
    if (button == "resetButton") {
        player.answers.prepend(enter(u"kod"_s));
        shown.prepend(QString());
    }
    sign.window->press(button.constData());
    QTRY_COMPARE(player.texts(), shown);
    QTRY_VERIFY(sign.isIdle());
    QCOMPARE(sign.window->status(), message);
    QCOMPARE(sign.token(), QByteArray(64, 'a'));
    QCOMPARE(sign.window->page(), u"playPage"_s);
    QCOMPARE(sign.password().text(), u"gizli"_s);
    QVERIFY(!QSettings().contains(u"account/username"_s));
}

void TestLauncherAccount::registersWithoutLoggingIn()
{
    SignIn sign(sessionAnswer(kToken));
    sign.window->press("registerButton");
    QTRY_COMPARE(sign.window->status(), u"Hesap oluşturuldu; şimdi Giriş Yap butonuna basın."_s);
    QCOMPARE(sign.password().text(), QString());
    QCOMPARE(sign.username().text(), u"ayşe"_s);
    QVERIFY(sign.token().isEmpty());
    QCOMPARE(sign.window->page(), u"loginPage"_s);
    QVERIFY(!QSettings().contains(u"account/username"_s));
    QCOMPARE(sign.service.requests().size(), 1);
}

void TestLauncherAccount::asksForTheCodeOfAReset()
{
    SignIn sign;
    QString label;
    int echo = -1;
    QWidget* parent = nullptr;
    ModalPlayer player({[&](QDialog& dialog) {
        const auto& input = dynamic_cast<const QInputDialog&>(dialog);
        label = input.labelText();
        echo = input.textEchoMode();
        parent = input.parentWidget();
        dialog.reject();
    }});
    sign.window->press("resetButton");
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(player.seen.constFirst().title, u"Parola sıfırla"_s);
    QCOMPARE(label, u"Yöneticinin verdiği tek kullanımlık kod (yeni parolayı Parola alanına yazın)"_s);
    QCOMPARE(echo, int(QLineEdit::Password));
    QCOMPARE(parent, &sign.window->launcher);
}

void TestLauncherAccount::resetsNothingWhenCancelled()
{
    SignIn sign;
    sign.beLoggedIn();
    const QString before = sign.window->status();
    ModalPlayer player({[](QDialog& dialog) {
        dialog.findChild<QLineEdit*>()->setText(u"kod"_s);
        dialog.reject();
    }});
    sign.window->press("resetButton");
    QVERIFY(sign.isIdle());
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(sign.service.connections(), 0);
    QCOMPARE(sign.window->status(), before);
    QCOMPARE(sign.password().text(), u"gizli"_s);
    QCOMPARE(sign.token(), QByteArray(64, 'a'));
}

void TestLauncherAccount::logsOutAfterAReset()
{
    SignIn sign;
    sign.beLoggedIn();
    const char* const held = sign.token().constData();
    const ModalPlayer player({enter(u" Kod-1 "_s)});
    sign.window->press("resetButton");
    QTRY_COMPARE(sign.window->status(), u"Parola değiştirildi"_s);
    const HttpRequest& request = sign.service.lastRequest();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.target, QByteArray("/v1/reset"));
    QCOMPARE(
        request.json(),
        QJsonObject({{u"username"_s, u"ayşe"_s}, {u"token"_s, u" Kod-1 "_s}, {u"new_password"_s, u"gizli"_s}}));
    QVERIFY(!request.hasHeader("Authorization"));
    QVERIFY(sign.token().isEmpty());
    QVERIFY(isZero(held, 64));
    QCOMPARE(sign.password().text(), QString());
    QCOMPARE(sign.window->page(), u"loginPage"_s);
}

void TestLauncherAccount::sendsAnEmptyCodeToo()
{
    SignIn sign;
    const ModalPlayer player({enter({})});
    sign.window->press("resetButton");
    QTRY_COMPARE(sign.window->status(), u"Parola değiştirildi"_s);
    QCOMPARE(sign.service.lastRequest().json().value("token"_L1), QJsonValue(QString()));
}

void TestLauncherAccount::logsOutOnceTheServiceHasConfirmed()
{
    SignIn sign;
    sign.service.hold({.body = "{}"});
    sign.beLoggedIn();
    const char* const held = sign.token().constData();
    sign.window->press("logoutButton");
    QTRY_COMPARE(sign.service.heldAnswers(), 1);
    QCOMPARE(sign.window->page(), u"playPage"_s);
    QCOMPARE(sign.token(), QByteArray(64, 'a'));
    sign.service.release();
    QTRY_COMPARE(sign.window->status(), u"Oturum kapatıldı"_s);
    const HttpRequest& request = sign.service.lastRequest();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.target, QByteArray("/v1/logout"));
    QCOMPARE(request.body, QByteArray());
    QVERIFY(!request.hasHeader("Content-Type"));
    QCOMPARE(request.header("Authorization"), "Bearer " + QByteArray(64, 'a'));
    QCOMPARE(sign.window->page(), u"loginPage"_s);
    QVERIFY(sign.token().isEmpty());
    QVERIFY(sign.window->access.sessionAuth().isEmpty());
    QVERIFY(isZero(held, 64));
}

void TestLauncherAccount::staysLoggedInWhereLogoutFails_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("session unknown to the service") << 401;
    QTest::newRow("fault of the service") << 500;
}

void TestLauncherAccount::staysLoggedInWhereLogoutFails()
{
    QFETCH(int, status);
    SignIn sign(refusal(status, u"Şimdi olmaz"_s));
    sign.beLoggedIn();
    ModalPlayer player({press(QMessageBox::Ok)});
    sign.window->press("logoutButton");
    QTRY_COMPARE(player.texts(), QStringList(u"Şimdi olmaz"_s));
    QTRY_VERIFY(sign.isIdle());
    QCOMPARE(sign.token(), QByteArray(64, 'a'));
    QCOMPARE(sign.window->access.sessionAuth(), sign.service.origin());
    QCOMPARE(sign.window->page(), u"playPage"_s);
}

void TestLauncherAccount::logsNobodyOutWithoutAMatchingSession_data()
{
    QTest::addColumn<bool>("hasSession");
    QTest::newRow("no session") << false;
    QTest::newRow("session of another origin") << true;
}

void TestLauncherAccount::logsNobodyOutWithoutAMatchingSession()
{
    QFETCH(bool, hasSession);
    SignIn sign;
    if (hasSession)
        sign.window->access.logIn(u"https://elsewhere.example:7443"_s);
    ModalPlayer player({press(QMessageBox::Ok)});
    sign.window->press("logoutButton");
    QCOMPARE(player.texts(), QStringList(u"Önce seçili sunucuya giriş yapın"_s));
    QVERIFY(sign.isIdle());
    QCOMPARE(sign.service.connections(), 0);
    QCOMPARE(sign.token().isEmpty(), !hasSession);
}

void TestLauncherAccount::bearsTwoPressesOfLogout()
{
    SignIn sign;
    sign.beLoggedIn();
    sign.window->press("logoutButton");
    sign.window->press("logoutButton");
    QTRY_VERIFY(sign.isIdle());
    QCOMPARE(sign.service.requests().size(), 2);
    QCOMPARE(sign.window->status(), u"Oturum kapatıldı"_s);
    QVERIFY(sign.token().isEmpty());
}

void TestLauncherAccount::bearsTwoPressesOfRegister()
{
    SignIn sign;
    sign.service.setHandler([&](const HttpRequest&) {
        return sign.service.requests().size() == 1 ? HttpAnswer{.body = "{}"} : refusal(409, u"Bu ad alınmış"_s);
    });
    ModalPlayer player({press(QMessageBox::Ok)});
    sign.window->press("registerButton");
    sign.window->press("registerButton");
    QTRY_COMPARE(player.texts(), QStringList(u"Bu ad alınmış"_s));
    QTRY_VERIFY(sign.isIdle());
    QCOMPARE(sign.password().text(), QString());
    QCOMPARE(sign.window->page(), u"loginPage"_s);
}

void TestLauncherAccount::forgetsThePasswordForGood_data()
{
    QTest::addColumn<QByteArray>("button");
    for (const char* button : {"loginButton", "registerButton", "resetButton"})
        QTest::newRow(button) << QByteArray(button);
}

void TestLauncherAccount::forgetsThePasswordForGood()
{
    QFETCH(QByteArray, button);
    SignIn sign(sessionAnswer(kToken));
    sign.password().setText({});
    QTest::keyClicks(&sign.password(), u"gizli"_s);
    ModalPlayer player;
    if (button == "resetButton")
        player.answers.append(enter(u"kod"_s));
    sign.window->press(button.constData());
    QTRY_COMPARE(sign.password().text(), QString());
    sign.password().setEchoMode(QLineEdit::Normal);
    QVERIFY(!sign.password().isUndoAvailable());
    sign.password().undo();
    QCOMPARE(sign.password().text(), QString());
    QVERIFY(sign.service.lastRequest().body.contains("gizli"));
}

VOK_WINDOW_TEST_MAIN(TestLauncherAccount)
#include "test_launcher_account.moc"
