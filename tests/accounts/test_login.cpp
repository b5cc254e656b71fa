#include "support/sign_in.h"

#include <QComboBox>
#include <QDirIterator>
#include <QNetworkReply>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// The login against a real HTTPS server, and the session that it gives.
class TestLogin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void logsIn();
    void welcomesAnyUserByName_data();
    void welcomesAnyUserByName();
    void keepsItsShapeForAnyUserName_data();
    void keepsItsShapeForAnyUserName();
    void refusesALoginWithoutASessionToken_data();
    void refusesALoginWithoutASessionToken();
    void discardsALoginForAProfileThatHasChanged_data();
    void discardsALoginForAProfileThatHasChanged();
    void takesTheLaterAnswerOfTwoLogins();
    void closesWithALoginUnderWay();
    void writesTheTokenNowhere();
};

void TestLogin::logsIn()
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

void TestLogin::welcomesAnyUserByName_data()
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

void TestLogin::welcomesAnyUserByName()
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

void TestLogin::keepsItsShapeForAnyUserName_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("4096 letters without a break") << QString(4096, u'W');
    QTest::newRow("a thousand short words") << u"W "_s.repeated(1000);
    QTest::newRow("letters that look like markup") << u"<br>"_s.repeated(500);
}

void TestLogin::keepsItsShapeForAnyUserName()
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

void TestLogin::refusesALoginWithoutASessionToken_data()
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

void TestLogin::refusesALoginWithoutASessionToken()
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

void TestLogin::discardsALoginForAProfileThatHasChanged_data()
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

void TestLogin::discardsALoginForAProfileThatHasChanged()
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

void TestLogin::takesTheLaterAnswerOfTwoLogins()
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

void TestLogin::closesWithALoginUnderWay()
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

void TestLogin::writesTheTokenNowhere()
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

VOK_WINDOW_TEST_MAIN(TestLogin)
#include "test_login.moc"
