#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/settings_on_disk.h"
#include "support/temp_tree.h"

#include <QComboBox>
#include <QFileDialog>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestLauncherServerDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void opensAsTheDesignHasIt();
    void showsTheCurrentProfile_data();
    void showsTheCurrentProfile();
    void keepsWhatIsTypedWhenPressedAgain();
    void addsAProfile();
    void savesOnReturn();
    void savesTheCurrentProfileAnew_data();
    void savesTheCurrentProfileAnew();
    void editsAnotherProfileAndSelectsIt();
    void tellsCaseApartInNames();
    void takesNamesThatSettingsMustSpell_data();
    void takesNamesThatSettingsMustSpell();
    void keepsTheListOfNamesOfOneServer();
    void takesAnyFileForACa();
    void refusesAField_data();
    void refusesAField();
    void writesNothingWhenLeft_data();
    void writesNothingWhenLeft();
    void bearsTwoPressesOfSave();
    void choosesTheCaFile();
    void leavesTheCaWhenTheChoiceIsCancelled();
    void savesForThisRunWhereTheStoreCannotBeWritten();
    void keepsItsShapeForAnyProfile();
};

namespace
{

const QString kNoName = u"Sunucu adı boş olamaz ve / içeremez"_s;
const QString kNoAddress = u"Adres: sunucu veya sunucu:port (hesap servisi, varsayılan 7443)"_s;
const QString kNoCa = u"CA sertifika dosyası bulunamadı"_s;

/// The window on its play page with the server dialog open.
struct Opened
{
    Opened()
        : window(prepared())
    {
        window.access.logIn();
        window.press("addServer");
    }

    QString prepared() const
    {
        tree.write(u"asset-manifest.json"_s, {});
        return tree.path();
    }

    QDialog& dialog() const { return window.find<QDialog>("serverDialog"); }
    QComboBox& profiles() const { return window.find<QComboBox>("profiles"); }
    QString text(const char* field) const { return window.find<QLineEdit>(field).text(); }
    QStringList fields() const { return {text("serverName"), text("serverAddress"), text("serverCa")}; }
    void type(const QString& name, const QString& address, const QString& ca = {}) const
    {
        window.find<QLineEdit>("serverName").setText(name);
        window.find<QLineEdit>("serverAddress").setText(address);
        window.find<QLineEdit>("serverCa").setText(ca);
    }
    QStringList names() const
    {
        QStringList all;
        for (int index = 0; index < profiles().count(); ++index)
            all.append(profiles().itemText(index));
        return all;
    }
    bool isLoggedIn() const { return !window.access.sessionToken().isEmpty(); }

    const TempTree tree;
    const LauncherWindow window;
};

QByteArray storedProfile(const QString& name)
{
    return QSettings().value(u"profiles/"_s + name).toByteArray();
}

QMap<QString, QVariant> allSettings()
{
    const QSettings settings;
    QMap<QString, QVariant> all;
    for (const QString& key : settings.allKeys())
        all.insert(key, settings.value(key));
    return all;
}

} // namespace

void TestLauncherServerDialog::opensAsTheDesignHasIt()
{
    const Opened opened;
    QVERIFY(opened.dialog().isVisible());
    QVERIFY(opened.dialog().isModal());
    QCOMPARE(opened.dialog().parentWidget(), &opened.window.launcher);
    QCOMPARE(opened.dialog().windowTitle(), u"Sunucu ekle / düzenle"_s);
    QCOMPARE(opened.dialog().minimumWidth(), 460);
    QCOMPARE(opened.window.find<QLineEdit>("serverName").placeholderText(), QString());
    QCOMPARE(opened.window.find<QLineEdit>("serverAddress").placeholderText(), u"oyun.example veya sunucu:7443"_s);
    QCOMPARE(opened.window.find<QLineEdit>("serverCa").placeholderText(), u"boş = sistem güveni"_s);
    QVERIFY(opened.window.find<QPushButton>("saveServer").isDefault());
    QCOMPARE(opened.dialog().focusWidget()->objectName(), u"serverName"_s);
}

void TestLauncherServerDialog::showsTheCurrentProfile_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("ca");
    QTest::newRow("address and CA") << serialiseProfile({u"https://a.example:7443"_s, u"/srv/ığdır.pem"_s})
                                    << u"a.example:7443"_s << u"/srv/ığdır.pem"_s;
    QTest::newRow("IPv6") << serialiseProfile({u"https://[::1]:7443"_s, {}}) << u"[::1]:7443"_s << QString();
    QTest::newRow("missing") << QByteArray() << QString() << QString();
    QTest::newRow("broken") << QByteArray("{\"auth\":\"https://a.example:7443\"") << QString() << QString();
    QTest::newRow("no URL") << serialiseProfile({u"a b"_s, u"x"_s}) << QString() << u"x"_s;
}

void TestLauncherServerDialog::showsTheCurrentProfile()
{
    QFETCH(QByteArray, stored);
    const LauncherWindow window;
    window.find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    if (stored.isNull())
        QSettings().remove(u"profiles/Localhost"_s);
    else
        QSettings().setValue(u"profiles/Localhost"_s, stored);
    window.press("addServer");
    QCOMPARE(window.find<QLineEdit>("serverName").text(), u"Localhost"_s);
    QTEST(window.find<QLineEdit>("serverAddress").text(), "address");
    QTEST(window.find<QLineEdit>("serverCa").text(), "ca");
}

void TestLauncherServerDialog::keepsWhatIsTypedWhenPressedAgain()
{
    const Opened opened;
    opened.type(u"Yarım"_s, u"kal"_s, u"x"_s);
    opened.window.press("addServer");
    QVERIFY(opened.dialog().isVisible());
    QCOMPARE(opened.fields(), QStringList({u"Yarım"_s, u"kal"_s, u"x"_s}));
}

void TestLauncherServerDialog::addsAProfile()
{
    const Opened opened;
    opened.type(u" Benim sunucum "_s, u" Sunucum.example "_s, u"  "_s);
    opened.window.press("saveServer");
    const SettingsOnDisk saved(opened.window.access.settings());
    QVERIFY(!opened.dialog().isVisible());
    QCOMPARE(opened.dialog().result(), int(QDialog::Accepted));
    const QByteArray profile = "{\"auth\":\"https://sunucum.example:7443\",\"ca\":\"\"}";
    const QStringList names{u"Tarvun: Selvira"_s, u"Localhost"_s, u"Benim sunucum"_s};
    QCOMPARE(saved.value(u"profiles/Benim sunucum"_s).toByteArray(), profile);
    QCOMPARE(saved.value(u"profileNames"_s).toStringList(), names);
    QCOMPARE(storedProfile(u"Benim sunucum"_s), profile);
    QCOMPARE(opened.names(), names);
    QCOMPARE(opened.profiles().currentText(), u"Benim sunucum"_s);
    QCOMPARE(QSettings().value(u"lastProfile"_s).toString(), u"Benim sunucum"_s);
    QVERIFY(!opened.isLoggedIn());
    QCOMPARE(opened.window.page(), u"loginPage"_s);
    QCOMPARE(opened.window.access.currentAuth(), u"https://sunucum.example:7443"_s);
}

void TestLauncherServerDialog::savesOnReturn()
{
    const Opened opened;
    QVERIFY(QTest::qWaitForWindowActive(&opened.dialog()));
    opened.type(u"Yeni"_s, u"yeni.example"_s);
    QTest::keyClick(&opened.window.find<QLineEdit>("serverAddress"), Qt::Key_Return);
    QVERIFY(!opened.dialog().isVisible());
    QCOMPARE(opened.profiles().currentText(), u"Yeni"_s);
}

void TestLauncherServerDialog::savesTheCurrentProfileAnew_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("unchanged") << u"Tarvun: Selvira"_s;
    QTest::newRow("blank behind the name") << u"Tarvun: Selvira "_s;
}

void TestLauncherServerDialog::savesTheCurrentProfileAnew()
{
    QFETCH(QString, name);
    const Opened opened;
    const QByteArray before = storedProfile(u"Tarvun: Selvira"_s);
    const QString address = opened.text("serverAddress");
    opened.type(name, address);
    opened.window.press("saveServer");
    QVERIFY(!opened.dialog().isVisible());
    QVERIFY(!opened.isLoggedIn());
    QVERIFY(opened.window.access.sessionAuth().isEmpty());
    QCOMPARE(opened.window.page(), u"loginPage"_s);
    QCOMPARE(opened.names(), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s}));
    QCOMPARE(opened.profiles().currentText(), u"Tarvun: Selvira"_s);
    QCOMPARE(parseProfile(storedProfile(u"Tarvun: Selvira"_s)).auth, parseProfile(before).auth);
    QVERIFY(!QSettings().contains(u"profiles/Tarvun: Selvira "_s));
}

void TestLauncherServerDialog::editsAnotherProfileAndSelectsIt()
{
    const Opened opened;
    opened.type(u"Localhost"_s, u"localhost:7500/"_s);
    opened.window.press("saveServer");
    QCOMPARE(opened.names(), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s}));
    QCOMPARE(opened.profiles().currentText(), u"Localhost"_s);
    QCOMPARE(storedProfile(u"Localhost"_s), QByteArray("{\"auth\":\"https://localhost:7500\",\"ca\":\"\"}"));
    QVERIFY(!opened.isLoggedIn());
}

void TestLauncherServerDialog::tellsCaseApartInNames()
{
    const Opened opened;
    opened.type(u"localhost"_s, u"a.example"_s);
    opened.window.press("saveServer");
    QCOMPARE(opened.names(), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s, u"localhost"_s}));
    QCOMPARE(opened.window.find<QComboBox>("profiles").currentText(), u"localhost"_s);
    QCOMPARE(parseProfile(storedProfile(u"Localhost"_s)).auth, u"https://localhost:7443"_s);
    QCOMPARE(parseProfile(storedProfile(u"localhost"_s)).auth, u"https://a.example:7443"_s);
}

void TestLauncherServerDialog::takesNamesThatSettingsMustSpell_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("backslash") << u"ev\\oda"_s;
    QTest::newRow("backslashes only") << u"\\\\"_s;
    QTest::newRow("percent") << u"%2F %U0041"_s;
    QTest::newRow("comma") << u"a, b"_s;
    QTest::newRow("quotes and signs") << u"\"a\"='b';[c]#"_s;
    QTest::newRow("at sign") << u"@Invalid()"_s;
    QTest::newRow("Turkish letters") << u"Işıl'ın Çağrısı"_s;
    QTest::newRow("other scripts") << u"世界 мир عالم \U0001F3F0"_s;
    QTest::newRow("dots") << u".."_s;
    QTest::newRow("General") << u"General"_s;
    QTest::newRow("a thousand letters") << QString(1000, u'ı');
}

void TestLauncherServerDialog::takesNamesThatSettingsMustSpell()
{
    QFETCH(QString, name);
    const Opened opened;
    opened.type(name, u"a.example"_s);
    opened.window.press("saveServer");
    QCOMPARE(opened.profiles().currentText(), name);
    QCOMPARE(opened.window.access.currentAuth(), u"https://a.example:7443"_s);
    opened.window.access.settings().sync();
    const SettingsOnDisk saved(opened.window.access.settings());
    QCOMPARE(saved.value(u"profileNames"_s).toStringList(), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s, name}));
    QCOMPARE(saved.value(u"profiles/"_s + name).toByteArray(), storedProfile(name));
    QCOMPARE(saved.value(u"lastProfile"_s).toString(), name);

    const LauncherWindow next;
    QCOMPARE(next.find<QComboBox>("profiles").currentText(), name);
    QCOMPARE(next.access.currentAuth(), u"https://a.example:7443"_s);
}

void TestLauncherServerDialog::keepsTheListOfNamesOfOneServer()
{
    const Opened opened;
    while (opened.profiles().count() > 0)
        opened.profiles().removeItem(0);
    opened.type(u"a, b"_s, u"a.example"_s);
    opened.window.press("saveServer");
    QCOMPARE(opened.names(), QStringList(u"a, b"_s));
    QCOMPARE(
        SettingsOnDisk(opened.window.access.settings()).value(u"profileNames"_s).toStringList(),
        QStringList(u"a, b"_s));
}

void TestLauncherServerDialog::takesAnyFileForACa()
{
    const Opened opened;
    const QString file = opened.tree.write(u"CA ığdır.txt"_s, "no certificate");
    opened.tree.link(file, u"link.pem"_s);
    opened.type(u"Dosya"_s, u"a.example"_s, u" "_s + file + u"\t"_s);
    opened.window.press("saveServer");
    QCOMPARE(opened.window.access.currentCa(), file);
    opened.window.press("addServer");
    opened.type(u"Bağ"_s, u"a.example"_s, opened.tree.path(u"link.pem"_s));
    opened.window.press("saveServer");
    QCOMPARE(opened.window.access.currentCa(), opened.tree.path(u"link.pem"_s));
}

void TestLauncherServerDialog::refusesAField_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QString>("failure");
    QTest::newRow("no name") << QStringList({u" "_s, u"a.example"_s, {}}) << kNoName;
    QTest::newRow("slash in the name") << QStringList({u"a/b"_s, u"a.example"_s, {}}) << kNoName;
    QTest::newRow("no address") << QStringList({u"a"_s, {}, {}}) << kNoAddress;
    QTest::newRow("http") << QStringList({u"a"_s, u"http://a.example"_s, {}}) << kNoAddress;
    QTest::newRow("path") << QStringList({u"a"_s, u"https://a.example/v1"_s, {}}) << kNoAddress;
    QTest::newRow("no CA file") << QStringList({u"a"_s, u"a.example"_s, u"/yok/ca.pem"_s}) << kNoCa;
    QTest::newRow("folder as CA") << QStringList({u"a"_s, u"a.example"_s, u"/"_s}) << kNoCa;
    QTest::newRow("name before address") << QStringList({{}, {}, u"/yok"_s}) << kNoName;
    QTest::newRow("address before CA") << QStringList({u"a"_s, {}, u"/yok"_s}) << kNoAddress;
    QTest::newRow("the current profile") << QStringList({u"Tarvun: Selvira"_s, u"a.example"_s, u"/yok"_s}) << kNoCa;
}

void TestLauncherServerDialog::refusesAField()
{
    QFETCH(QStringList, typed);
    QFETCH(QString, failure);
    const Opened opened;
    const QMap<QString, QVariant> before = allSettings();
    opened.type(typed.at(0), typed.at(1), typed.at(2));
    ModalPlayer player({press(QMessageBox::Ok)});
    player.left = &opened.dialog();
    opened.window.press("saveServer");
    QCOMPARE(player.texts(), QStringList(failure));
    QCOMPARE(player.seen.constFirst().parent.data(), &opened.dialog());
    QCOMPARE(opened.window.status(), failure);
    QVERIFY(opened.dialog().isVisible());
    QCOMPARE(opened.fields(), typed);
    QCOMPARE(allSettings(), before);
    QCOMPARE(opened.names(), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s}));
    QVERIFY(opened.isLoggedIn());
}

void TestLauncherServerDialog::writesNothingWhenLeft_data()
{
    QTest::addColumn<bool>("byKey");
    QTest::newRow("cancelServer") << false;
    QTest::newRow("Escape") << true;
}

void TestLauncherServerDialog::writesNothingWhenLeft()
{
    QFETCH(bool, byKey);
    const Opened opened;
    const QMap<QString, QVariant> before = allSettings();
    const QStringList shown = opened.fields();
    opened.type(u"Yeni"_s, u"a.example"_s);
    if (byKey)
        QTest::keyClick(&opened.dialog(), Qt::Key_Escape);
    else
        opened.window.press("cancelServer");
    QVERIFY(!opened.dialog().isVisible());
    QCOMPARE(opened.dialog().result(), int(QDialog::Rejected));
    QCOMPARE(allSettings(), before);
    QVERIFY(opened.isLoggedIn());
    opened.window.press("addServer");
    QCOMPARE(opened.fields(), shown);
}

void TestLauncherServerDialog::bearsTwoPressesOfSave()
{
    const Opened opened;
    opened.type(u"Yeni"_s, u"a.example"_s);
    opened.window.press("saveServer");
    opened.window.press("saveServer");
    QCOMPARE(opened.names(), QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s, u"Yeni"_s}));
    QCOMPARE(QSettings().value(u"profileNames"_s).toStringList(), opened.names());
}

void TestLauncherServerDialog::choosesTheCaFile()
{
    const Opened opened;
    const QString file = opened.tree.write(u"ca.crt"_s, {});
    QStringList filters;
    ModalPlayer player({[&](QDialog& dialog) {
        filters = dynamic_cast<const QFileDialog&>(dialog).nameFilters();
        choose(file)(dialog);
    }});
    player.left = &opened.dialog();
    opened.window.press("serverCaBrowse");
    QCOMPARE(player.seen.constFirst().title, u"Sunucu CA sertifikası"_s);
    QCOMPARE(player.seen.constFirst().parent.data(), &opened.dialog());
    QCOMPARE(filters, QStringList({u"PEM (*.pem *.crt)"_s, u"Tümü (*)"_s}));
    QCOMPARE(opened.text("serverCa"), file);
    QVERIFY(opened.dialog().isVisible());
}

void TestLauncherServerDialog::leavesTheCaWhenTheChoiceIsCancelled()
{
    const Opened opened;
    opened.type(u"a"_s, u"b"_s, opened.tree.path(u"ca.pem"_s));
    ModalPlayer player({cancel()});
    player.left = &opened.dialog();
    opened.window.press("serverCaBrowse");
    QCOMPARE(player.seen.constFirst().text, opened.tree.path());
    QCOMPARE(opened.text("serverCa"), opened.tree.path(u"ca.pem"_s));
}

void TestLauncherServerDialog::savesForThisRunWhereTheStoreCannotBeWritten()
{
    const Opened opened;
    const QString store = QSettings().fileName();
    // A folder in the file's place stops even root.
    QSettings().sync();
    QFile::remove(store);
    QVERIFY(QDir().mkpath(store + u"/x"_s));
    opened.type(u"Geçici"_s, u"a.example"_s);
    opened.window.press("saveServer");
    QVERIFY(!opened.dialog().isVisible());
    QCOMPARE(opened.profiles().currentText(), u"Geçici"_s);
    QCOMPARE(opened.window.access.currentAuth(), u"https://a.example:7443"_s);
    QVERIFY(QFileInfo(store).isDir());
    QVERIFY(QDir(store).removeRecursively());
    opened.window.access.settings().sync();
    QCOMPARE(
        SettingsOnDisk(opened.window.access.settings()).value(u"profiles/Geçici"_s).toByteArray(),
        storedProfile(u"Geçici"_s));
}

void TestLauncherServerDialog::keepsItsShapeForAnyProfile()
{
    const QString name(4096, u'W');
    QSettings().setValue(u"profileNames"_s, QStringList(name));
    QSettings().setValue(u"profiles/"_s + name, serialiseProfile({u"https://a.example:7443"_s, name}));
    QSettings().setValue(u"lastProfile"_s, name);
    const Opened opened;
    QVERIFY(QTest::qWaitForWindowExposed(&opened.dialog()));
    QCOMPARE(opened.profiles().currentText(), name);
    QCOMPARE(opened.window.launcher.size(), QSize(980, 620));
    QVERIFY(opened.window.launcher.minimumSizeHint().width() < 980);
    QVERIFY(opened.dialog().width() < 980);
}

VOK_WINDOW_TEST_MAIN(TestLauncherServerDialog)
#include "test_launcher_server_dialog.moc"
