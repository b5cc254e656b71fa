#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/memory_search.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QComboBox>

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
    auto service = std::make_unique<AccountService>(
        [&token](const HttpRequest&) { return HttpAnswer{.body = token.within("{\"session\":\"", "\"}")}; });
    service->select();
    const TempTree root;
    root.write(u"asset-manifest.json"_s, {});
    const LauncherWindow window(root.path());
    window.press("loginButton");
    QTRY_COMPARE(window.page(), u"playPage"_s);
    window.press("logoutButton");
    QTRY_COMPARE(window.page(), u"loginPage"_s);
    service.reset();
    settle();
    QCOMPARE(occurrencesInMemory(token), 0);
}

void TestSecretsInMemory::keepsNoTokenWhileAFailureIsShown()
{
    const HiddenSecret token;
    auto service = std::make_unique<AccountService>(
        [&token](const HttpRequest&) { return HttpAnswer{.body = token.within("{\"session\":\"", "\"}")}; });
    service->select();
    const TempTree root;
    root.write(u"asset-manifest.json"_s, {});
    const LauncherWindow window(root.path());
    window.press("loginButton");
    QTRY_COMPARE(window.page(), u"playPage"_s);
    service->hold({.body = "{}"});
    window.press("logoutButton");
    QTRY_COMPARE(service->heldAnswers(), 1);
    window.find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    int found = -1;
    ModalPlayer player({[&](QDialog& dialog) {
        service.reset();
        found = occurrencesInMemory(token);
        dialog.accept();
    }});
    service->release();
    QTRY_COMPARE(player.texts(), QStringList(u"Server profile changed; stale response discarded"_s));
    QTRY_VERIFY(found >= 0);
    QCOMPARE(found, 0);
}

void TestSecretsInMemory::keepsNoPasswordAfterALogin()
{
    const HiddenSecret secret;
    auto service =
        std::make_unique<AccountService>([](const HttpRequest&) { return sessionAnswer(QByteArray(64, 'b')); });
    service->select();
    const TempTree root;
    root.write(u"asset-manifest.json"_s, {});
    const LauncherWindow window(root.path());
    auto& password = window.find<QLineEdit>("password");
    for (int index = 0; index < HiddenSecret::kLength; ++index)
        QTest::keyClick(&password, secret.at(index));
    QVERIFY(occurrencesInMemory(secret) > 0);
    window.press("loginButton");
    QTRY_COMPARE(window.page(), u"playPage"_s);
    service.reset();
    settle();
    QCOMPARE(occurrencesInMemory(secret), 0);
}

VOK_WINDOW_TEST_MAIN(TestSecretsInMemory)
#include "test_secrets_in_memory.moc"
