#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QComboBox>
#include <QDirIterator>
#include <QInputDialog>
#include <QNetworkReply>

#include <algorithm>
#include <memory>

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
    void logsIn();
    void welcomesAnyUserByName_data();
    void welcomesAnyUserByName();
    void keepsItsShapeForAnyUserName_data();
    void keepsItsShapeForAnyUserName();
    void refusesALoginWithoutASessionToken_data();
    void refusesALoginWithoutASessionToken();
    void discardsALoginForAProfileThatHasChanged_data();
    void discardsALoginForAProfileThatHasChanged();
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
    void takesTheLaterAnswerOfTwoLogins();
    void bearsTwoPressesOfLogout();
    void bearsTwoPressesOfRegister();
    void forgetsThePasswordForGood_data();
    void forgetsThePasswordForGood();
    void closesWithALoginUnderWay();
    void writesTheTokenNowhere();
};

namespace
{

const QByteArray kToken = "0123456789abcdef" + QByteArray(48, 'f');
const QString kStale = u"Server profile changed; stale response discarded"_s;
const QString kNoUrl = u"HTTPS URL with host and no credentials/fragment required"_s;

/// A window that is about to talk to a service of the test's own.
struct SignIn
{
    explicit SignIn(const HttpAnswer& answer = {.body = "{}"})
        : root(std::make_unique<TempTree>())
    {
        root->write(u"asset-manifest.json"_s, {});
        service.answerWith(answer);
        service.select();
        window = std::make_unique<LauncherWindow>(root->path());
        password().setText(u"gizli"_s);
        username().setText(u"ayşe"_s);
    }

    QLineEdit& username() const { return window->find<QLineEdit>("username"); }
    QLineEdit& password() const { return window->find<QLineEdit>("password"); }
    QByteArray& token() const { return window->access.sessionToken(); }
    bool isIdle() const { return window->access.activeReplies().isEmpty(); }
    void beLoggedIn() const { window->access.logIn(service.origin()); }

    AccountService service;
    std::unique_ptr<TempTree> root;
    std::unique_ptr<LauncherWindow> window;
};

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

void TestLauncherAccount::logsIn()
{
    SignIn sign(sessionAnswer(kToken));
    QVERIFY(sign.window->find<QPushButton>("loginButton").isEnabled());
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.window->page(), u"playPage"_s);
    QCOMPARE(sign.token(), kToken);
    QCOMPARE(sign.window->access.sessionAuth(), sign.service.origin());
    QCOMPARE(sign.password().text(), QString());
    QCOMPARE(sign.window->status(), u"Oturum açıldı — Tarvun: Selvira dünyasına hazırsınız."_s);
    QCOMPARE(QSettings().value(u"account/username"_s).toString(), u"ayşe"_s);
    QCOMPARE(sign.service.requests().size(), 1);
}

void TestLauncherAccount::welcomesAnyUserByName_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("shown");
    QTest::newRow("usual") << u"ayşe"_s << u"ayşe"_s;
    QTest::newRow("nobody") << QString() << QString();
    QTest::newRow("markup") << u"<b>&\"'</span>%1"_s << u"&lt;b&gt;&amp;&quot;'&lt;/span&gt;%1"_s;
    QTest::newRow("500 letters") << QString(500, u'W') << QString(500, u'W');
    QTest::newRow("501 letters") << QString(501, u'W') << QString(249, u'W') + u'…' + QString(249, u'W');
    QTest::newRow("direction of writing") << u"a\u202Eb"_s << u"a\\u202eb"_s;
    QTest::newRow("line breaks") << u"a\nb\u2028c"_s << u"a\\nb\\u2028c"_s;
}

void TestLauncherAccount::welcomesAnyUserByName()
{
    QFETCH(QString, user);
    QFETCH(QString, shown);
    SignIn sign(sessionAnswer(kToken));
    sign.username().setText(user);
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.window->page(), u"playPage"_s);
    const auto& account = sign.window->find<QLabel>("account");
    QCOMPARE(account.textFormat(), Qt::RichText);
    QCOMPARE(
        account.text(),
        u"<span style='color:#f4c552;font-size:12pt;font-weight:bold'>Hoş Geldin, "_s + shown
            + u"</span><br><br><span style='color:#d8c7a8'>Selvira kapıları açıldı. Karakter seçimi ve yaratma işlemi "
              "3B oyun ekranında yapılır.</span>"_s);
    QCOMPARE(QSettings().value(u"account/username"_s).toString(), user);
}

void TestLauncherAccount::keepsItsShapeForAnyUserName_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("4096 letters without a break") << QString(4096, u'W');
    QTest::newRow("a thousand short words") << u"W "_s.repeated(1000);
    QTest::newRow("letters that look like markup") << u"<br>"_s.repeated(500);
}

void TestLauncherAccount::keepsItsShapeForAnyUserName()
{
    QFETCH(QString, user);
    SignIn sign(sessionAnswer(kToken));
    sign.username().setText(user);
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.window->page(), u"playPage"_s);
    QVERIFY(QTest::qWaitForWindowExposed(&sign.window->launcher));
    QCoreApplication::processEvents();
    QCOMPARE(sign.window->launcher.size(), QSize(980, 620));
    const auto& button = sign.window->find<QPushButton>("logoutButton");
    QVERIFY(
        sign.window->launcher.rect().contains(QRect(button.mapTo(&sign.window->launcher, QPoint()), button.size())));
}

void TestLauncherAccount::refusesALoginWithoutASessionToken_data()
{
    QTest::addColumn<QByteArray>("answer");
    const auto row = [](const char* name, const QByteArray& session) {
        QTest::newRow(name) << QByteArray("{\"session\":" + session + "}");
    };
    row("64 digits in upper case", '"' + QByteArray(64, 'A') + '"');
    row("63 digits", '"' + kToken.first(63) + '"');
    row("65 digits", '"' + kToken + "0\"");
    row("number", QByteArray(64, '1'));
    row("null", "null");
    QTest::newRow("missing") << QByteArray("{}");
    QTest::newRow("no JSON") << QByteArray("<html>");
    QTest::newRow("no bytes") << QByteArray();
}

void TestLauncherAccount::refusesALoginWithoutASessionToken()
{
    QFETCH(QByteArray, answer);
    SignIn sign({.body = answer});
    sign.beLoggedIn();
    sign.service.hold({.body = answer});
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.service.heldAnswers(), 1);
    QCOMPARE(sign.token().size(), 64);
    QString pageAtTheMessage;
    ModalPlayer player({[&](QDialog& dialog) {
        pageAtTheMessage = sign.window->page();
        QVERIFY(sign.token().isEmpty());
        dialog.accept();
    }});
    sign.service.release();
    QTRY_COMPARE(player.texts(), QStringList(u"Sunucudan geçersiz oturum yanıtı geldi"_s));
    QCOMPARE(pageAtTheMessage, u"loginPage"_s);
    QCOMPARE(sign.window->page(), u"loginPage"_s);
    QVERIFY(sign.token().isEmpty());
    QVERIFY(sign.window->access.sessionAuth().isEmpty());
    QCOMPARE(sign.password().text(), QString());
    QVERIFY(!QSettings().contains(u"account/username"_s));
}

void TestLauncherAccount::discardsALoginForAProfileThatHasChanged_data()
{
    using Change = std::function<void(SignIn&)>;
    QTest::addColumn<Change>("change");
    QTest::newRow("another one selected")
        << Change([](SignIn& sign) { sign.window->find<QComboBox>("profiles").setCurrentText(u"Localhost"_s); });
    QTest::newRow("another address") << Change(
        [](SignIn& sign) { storeProfile(u"https://localhost:1"_s, sign.service.profile().ca); });
    QTest::newRow("another CA") << Change([](SignIn& sign) { storeProfile(sign.service.origin(), {}); });
    QTest::newRow("removed") << Change([](SignIn&) { QSettings().remove(u"profiles/Deneme"_s); });
    QTest::newRow("broken") << Change(
        [](SignIn&) { QSettings().setValue(u"profiles/Deneme"_s, QByteArray("{\"auth\"")); });
}

void TestLauncherAccount::discardsALoginForAProfileThatHasChanged()
{
    QFETCH(std::function<void(SignIn&)>, change);
    SignIn sign;
    sign.service.hold(sessionAnswer(kToken));
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.service.heldAnswers(), 1);
    change(sign);
    ModalPlayer player({press(QMessageBox::Ok)});
    sign.service.release();
    QTRY_COMPARE(player.texts(), QStringList(kStale));
    QTRY_VERIFY(sign.isIdle());
    QCOMPARE(sign.window->status(), kStale);
    QCOMPARE(sign.window->page(), u"loginPage"_s);
    QVERIFY(sign.token().isEmpty());
    QVERIFY(sign.window->access.sessionAuth().isEmpty());
    QVERIFY(!QSettings().contains(u"account/username"_s));
    QCOMPARE(sign.window->find<QLabel>("account").text(), QString());
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

void TestLauncherAccount::takesTheLaterAnswerOfTwoLogins()
{
    SignIn sign;
    const QByteArray sooner(64, 'b');
    sign.service.setHandler([&](const HttpRequest&) {
        return sign.service.heldAnswers() == 0 ? held(sessionAnswer(kToken)) : sessionAnswer(sooner);
    });
    sign.window->press("loginButton");
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.token(), sooner);
    sign.service.release();
    QTRY_COMPARE(sign.token(), kToken);
    QTRY_VERIFY(sign.isIdle());
    QCOMPARE(sign.service.requests().constFirst().body, sign.service.lastRequest().body);
    QCOMPARE(sign.window->page(), u"playPage"_s);
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

void TestLauncherAccount::closesWithALoginUnderWay()
{
    SignIn sign;
    sign.service.hold(sessionAnswer(kToken));
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.service.heldAnswers(), 1);
    const QPointer<QNetworkReply> reply = sign.window->access.activeReplies().constFirst();
    sign.window.reset();
    QVERIFY(reply.isNull());
    sign.service.release();
    QCoreApplication::processEvents();
    QVERIFY(!QSettings().contains(u"account/username"_s));
}

void TestLauncherAccount::writesTheTokenNowhere()
{
    SignIn sign(sessionAnswer(kToken));
    sign.window->press("loginButton");
    QTRY_COMPARE(sign.window->page(), u"playPage"_s);
    sign.window->access.persistSettings();
    QSettings().sync();
    QVERIFY(!sign.window->log().join(u'\n').contains(QString::fromLatin1(kToken)));
    sign.window->press("logoutButton");
    QTRY_COMPARE(sign.window->page(), u"loginPage"_s);
    sign.window.reset();

    int files = 0;
    QByteArray settings;
    for (const QString& folder : {QFileInfo(qEnvironmentVariable("HOME")).path(), sign.root->path()}) {
        QDirIterator entries(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            QFile file(entries.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray bytes = file.readAll();
            QVERIFY2(!bytes.contains(kToken) && !bytes.contains("gizli"), qPrintable(file.fileName()));
            settings += file.fileName() == QSettings().fileName() ? bytes : QByteArray();
            ++files;
        }
    }
    QVERIFY(files >= 2);
    QVERIFY(settings.contains("username="));
}

VOK_WINDOW_TEST_MAIN(TestLauncherAccount)
#include "test_launcher_account.moc"
