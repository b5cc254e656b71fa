#include "support/launcher_window.h"
#include "support/temp_tree.h"

#include <QComboBox>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestLauncherProfiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void offersTheSeededProfiles();
    void selectsTheLastProfileWithoutWritingIt();
    void dropsTheSessionOnAChangeOfProfile();
    void overwritesTheTokenWhereItLies();
    void clearsThePasswordForGood();
    void leavesTheUserName();
};

namespace
{

QStringList itemsOf(const QComboBox& combo)
{
    QStringList items;
    for (int index = 0; index < combo.count(); ++index)
        items.append(combo.itemText(index));
    return items;
}

} // namespace

void TestLauncherProfiles::offersTheSeededProfiles()
{
    const LauncherWindow window;
    QCOMPARE(itemsOf(window.find<QComboBox>("profiles")), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s}));
    QCOMPARE(window.find<QComboBox>("profiles").currentText(), u"Tarvun: Selvira"_s);
}

void TestLauncherProfiles::selectsTheLastProfileWithoutWritingIt()
{
    QSettings().setValue(u"profileNames"_s, QStringList({u"Ormelan Zevti"_s, u"Benim"_s}));
    QSettings().setValue(u"lastProfile"_s, u"Ormelan Zevti"_s);
    const LauncherWindow window;
    QCOMPARE(
        itemsOf(window.find<QComboBox>("profiles")), QStringList({u"Tarvun: Selvira"_s, u"Benim"_s, u"Localhost"_s}));
    QCOMPARE(window.find<QComboBox>("profiles").currentText(), u"Tarvun: Selvira"_s);
    QCOMPARE(QSettings().value(u"lastProfile"_s).toString(), u"Ormelan Zevti"_s);
}

void TestLauncherProfiles::dropsTheSessionOnAChangeOfProfile()
{
    const TempTree root;
    root.write(u"asset-manifest.json"_s, {});
    const LauncherWindow window(root.path());
    window.find<QLineEdit>("password").setText(u"gizli"_s);
    window.access.logIn();
    QCOMPARE(window.page(), u"playPage"_s);
    window.find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    QCOMPARE(QSettings().value(u"lastProfile"_s).toString(), u"Localhost"_s);
    QCOMPARE(window.page(), u"loginPage"_s);
    QVERIFY(window.access.sessionToken().isEmpty());
    QVERIFY(window.access.sessionAuth().isEmpty());
    QCOMPARE(window.find<QLineEdit>("password").text(), QString());
}

void TestLauncherProfiles::overwritesTheTokenWhereItLies()
{
    const LauncherWindow window;
    window.access.logIn();
    const char* const held = window.access.sessionToken().constData();
    QCOMPARE(QByteArray(held, 64), QByteArray(64, 'a'));
    window.access.clearSession();
    QVERIFY(std::all_of(held, held + 64, [](char byte) { return byte == '\0'; }));
}

void TestLauncherProfiles::clearsThePasswordForGood()
{
    const LauncherWindow window;
    auto& password = window.find<QLineEdit>("password");
    QTest::keyClicks(&password, u"gizli"_s);
    QCOMPARE(password.text(), u"gizli"_s);
    window.access.clearSession();
    password.setEchoMode(QLineEdit::Normal);
    password.undo();
    QCOMPARE(password.text(), QString());
}

void TestLauncherProfiles::leavesTheUserName()
{
    const LauncherWindow window;
    window.find<QLineEdit>("username").setText(u"Ayşe"_s);
    window.access.clearSession();
    QCOMPARE(window.find<QLineEdit>("username").text(), u"Ayşe"_s);
}

VOK_WINDOW_TEST_MAIN(TestLauncherProfiles)
#include "test_launcher_profiles.moc"
