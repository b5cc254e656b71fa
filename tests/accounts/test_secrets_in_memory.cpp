#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/memory_search.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QComboBox>

#include <functional>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

/// Built as the program is, so that memory is overwritten when it is given back.
class TestSecretsInMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void findsASecretInEitherSpelling();
    void keepsNoTokenAfterALogout();
    void keepsNoTokenAfterTheWindow();
    void keepsNoTokenWhileAFailureIsShown();
    void keepsNoPasswordAfterALogin();
};

namespace
{

void settle()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// A window that shows the play page, once its login has been answered.
struct SignedIn
{
    explicit SignedIn(const std::function<HttpAnswer()>& answer)
        : service(std::make_unique<AccountService>([answer](const HttpRequest&) { return answer(); }))
    {
        service->select();
        root.write(u"asset-manifest.json"_s, {});
        window = std::make_unique<LauncherWindow>(root.path());
    }

    bool logIn() const
    {
        window->press("loginButton");
        return QTest::qWaitFor([this] { return window->page() == u"playPage"_s; });
    }

    TempTree root;
    std::unique_ptr<AccountService> service; ///< remembers what it was sent: to be gone before memory is searched
    std::unique_ptr<LauncherWindow> window;
};

std::function<HttpAnswer()> sessionOf(const HiddenSecret& token)
{
    return [&token] { return HttpAnswer{.body = token.within("{\"session\":\"", "\"}")}; };
}

} // namespace

void TestSecretsInMemory::findsASecretInEitherSpelling()
{
    const HiddenSecret secret;
    QCOMPARE(occurrencesInMemory(secret), 0);
    QByteArray bytes = secret.within("a", "b");
    QCOMPARE(occurrencesInMemory(secret), 1);
    {
        const QString text = QString::fromLatin1(bytes);
        QCOMPARE(occurrencesInMemory(secret), 2);
        QVERIFY(!text.isEmpty());
    }
    QCOMPARE(occurrencesInMemory(secret), 1);
    bytes.fill('\0');
    QCOMPARE(occurrencesInMemory(secret), 0);
}

void TestSecretsInMemory::keepsNoTokenAfterALogout()
{
    const HiddenSecret token;
    SignedIn signedIn(sessionOf(token));
    QVERIFY(signedIn.logIn());
    signedIn.window->press("logoutButton");
    QTRY_COMPARE(signedIn.window->page(), u"loginPage"_s);
    signedIn.service.reset();
    settle();
    QCOMPARE(occurrencesInMemory(token), 0);
}

void TestSecretsInMemory::keepsNoTokenAfterTheWindow()
{
    const HiddenSecret token;
    SignedIn signedIn(sessionOf(token));
    QVERIFY(signedIn.logIn());
    signedIn.window.reset();
    signedIn.service.reset();
    settle();
    QCOMPARE(occurrencesInMemory(token), 0);
}

void TestSecretsInMemory::keepsNoTokenWhileAFailureIsShown()
{
    const HiddenSecret token;
    SignedIn signedIn(sessionOf(token));
    QVERIFY(signedIn.logIn());
    signedIn.service->hold({.body = "{}"});
    signedIn.window->press("logoutButton");
    QTRY_COMPARE(signedIn.service->heldAnswers(), 1);
    signedIn.window->find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    int found = -1;
    const ModalPlayer player({[&](QDialog& dialog) {
        signedIn.service.reset();
        found = occurrencesInMemory(token);
        dialog.accept();
    }});
    signedIn.service->release();
    QTRY_VERIFY(found >= 0);
    QCOMPARE(found, 0);
    QCOMPARE(player.texts(), QStringList(u"Server profile changed; stale response discarded"_s));
}

void TestSecretsInMemory::keepsNoPasswordAfterALogin()
{
    const HiddenSecret secret;
    SignedIn signedIn([] { return sessionAnswer(QByteArray(64, 'b')); });
    auto& password = signedIn.window->find<QLineEdit>("password");
    for (int index = 0; index < HiddenSecret::kLength; ++index)
        QTest::keyClick(&password, secret.at(index));
    QVERIFY(occurrencesInMemory(secret) > 0);
    QVERIFY(signedIn.logIn());
    signedIn.service.reset();
    settle();
    QCOMPARE(occurrencesInMemory(secret), 0);
}

VOK_WINDOW_TEST_MAIN(TestSecretsInMemory)
#include "test_secrets_in_memory.moc"
