#include "support/event_counter.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QCheckBox>
#include <QComboBox>
#include <QNetworkReply>
#include <QProcess>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTcpServer>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void opensAsTheDesignHasIt();
    void holdsTheWidgetsOfTheDesign_data();
    void holdsTheWidgetsOfTheDesign();
    void logsItsStart();
    void fillsTheUserNameFromTheStore();
    void showsThePageThatFollowsFromManifestAndSession();
    void showsTheInstallationFolderAsItIsSpelt();
    void takesADirectoryForNoManifest();
    void waitsAMinuteForAnAnswer();
    void refusesActionsThatThisVersionDoesNotHave_data();
    void refusesActionsThatThisVersionDoesNotHave();
    void pressesLoginOnReturnInThePassword();
    void leavesTheServerButtonToThePanel();
    void endsTheProgramWhenClosed();
    void diesInPeaceWithEverythingRunning();
    void refusesAssetWorkWhileARequestRuns();
    void opensSettingsFromTheHeader();
    void bringsOpenSettingsToTheFront();

private:
    QString freshRoot() { return tree->path(u"root"_s); }
    void writeManifest(const QByteArray& bytes = {}) { tree->write(u"root/asset-manifest.json"_s, bytes); }

    std::unique_ptr<TempTree> tree;
};

namespace
{

const QString kUnfinished = u"Bu işlem bu sürümde henüz yok"_s;

} // namespace

void TestLauncher::init()
{
    clearSettings();
    tree = std::make_unique<TempTree>();
}

void TestLauncher::opensAsTheDesignHasIt()
{
    const LauncherWindow window;
    QCOMPARE(window.launcher.objectName(), u"vokLauncher"_s);
    QCOMPARE(window.launcher.windowTitle(), u"Tarvun: Selvira"_s);
    QCOMPARE(window.launcher.size(), QSize(980, 620));
    QCOMPARE(window.page(), u"installPage"_s);
    QCOMPARE(window.status(), u"Tarvun: Selvira başlatıcısı hazır."_s);
    QVERIFY(!window.find<QProgressBar>("progress").isVisible());
    QVERIFY(!window.find<QProgressBar>("progress").isTextVisible());
    QVERIFY(!window.find<QDialog>("settingsDialog").isVisible());
    const auto labels = window.launcher.findChildren<QLabel*>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(
        labels.constFirst()->text(),
        u"<span style='font-size:20pt;font-weight:bold'>Tarvun: Selvira</span><br>Bağımsız Linux başlatıcısı"_s);
    const auto installLabels = window.find<QWidget>("installPage").findChildren<QLabel*>();
    QCOMPARE(
        installLabels.constFirst()->text(),
        u"<h3>Oyun Dosyalarını Hazırla</h3>Tarvun: Selvira dünyasına girmek için kurulum paketini veya mevcut oyun "
        "klasörünü seçin."_s);
    QVERIFY(!installLabels.constLast()->isEnabled());
    for (const QLabel* label : installLabels)
        QVERIFY(label->wordWrap());
    QCOMPARE(window.find<QLineEdit>("password").echoMode(), QLineEdit::Password);
    QVERIFY(!window.find<QCheckBox>("hostAfterInstall").isChecked());
    QCOMPARE(window.find<QCheckBox>("hostAfterInstall").text(), u"Bu bilgisayarda yerel sunucu da kur (Sunucu Kur)"_s);
    QCOMPARE(window.find<QWidget>("loginPage").findChild<QLabel*>(u"skinTitle"_s)->text(), u"HESAP GİRİŞİ & KAYIT"_s);
    QCOMPARE(window.find<QWidget>("playPage").findChild<QLabel*>(u"skinTitle"_s)->text(), u"AKTİF OTURUM"_s);
    QVERIFY(window.find<QPushButton>("resetButton").isFlat());
    QVERIFY(window.find<QLabel>("account").wordWrap());
    QVERIFY(window.find<QLabel>("status").wordWrap());
}

void TestLauncher::holdsTheWidgetsOfTheDesign_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<int>("minimumHeight");
    const auto row = [](const char* name, const QString& caption, const char* page, int minimumHeight = 0) {
        QTest::newRow(name) << QByteArray(name) << caption << QByteArray(page) << minimumHeight;
    };
    row("settingsButton", u"⚙ Ayarlar"_s, "vokLauncher");
    row("hostButton", u"Sunucu Kur"_s, "vokLauncher");
    row("extractButton", u"Kurulum dosyasını seç (tarvunkur6_0.exe)"_s, "installPage", 42);
    row("importButton", u"Mevcut kurulum klasörünü seç"_s, "installPage");
    row("addServer", u"Ekle"_s, "loginPage");
    row("loginButton", u"GİRİŞ YAP"_s, "loginPage", 38);
    row("registerButton", u"KAYIT OL"_s, "loginPage", 38);
    row("resetButton", u"Parola sıfırla (yönetici kodu ile)"_s, "loginPage");
    row("playButton", u"TARVUN'E GİR"_s, "playPage", 48);
    row("logoutButton", u"Oturumu Kapat"_s, "playPage");
}

void TestLauncher::holdsTheWidgetsOfTheDesign()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, page);
    const LauncherWindow window;
    const auto& button = window.find<QPushButton>(name.constData());
    QTEST(button.text(), "caption");
    QTEST(button.minimumHeight(), "minimumHeight");
    QCOMPARE(button.parentWidget()->objectName(), QString::fromLatin1(page));
}

void TestLauncher::logsItsStart()
{
    const LauncherWindow window;
    QCOMPARE(window.logTexts(), QStringList(u"Tarvun: Selvira Qt 6.11.3 platform=offscreen"_s));
}

void TestLauncher::fillsTheUserNameFromTheStore()
{
    QSettings().setValue(u"account/username"_s, u"Ayşe"_s);
    const LauncherWindow window;
    QCOMPARE(window.find<QLineEdit>("username").text(), u"Ayşe"_s);
    QCOMPARE(window.find<QLineEdit>("password").text(), QString());
}

void TestLauncher::showsThePageThatFollowsFromManifestAndSession()
{
    writeManifest("not even JSON");
    const LauncherWindow window(freshRoot());
    QCOMPARE(window.page(), u"loginPage"_s);
    window.access.logIn();
    QCOMPARE(window.page(), u"playPage"_s);
    tree->remove(u"root/asset-manifest.json"_s);
    QCOMPARE(window.page(), u"playPage"_s);
    window.access.refreshPages();
    QCOMPARE(window.page(), u"installPage"_s);
    writeManifest();
    window.access.refreshPages();
    QCOMPARE(window.page(), u"playPage"_s);
    window.access.clearSession();
    window.access.refreshPages();
    QCOMPARE(window.page(), u"loginPage"_s);
}

void TestLauncher::showsTheInstallationFolderAsItIsSpelt()
{
    const QString spelt = u"/yok/<b>İğne</b> & %1"_s;
    const LauncherWindow window(spelt);
    const QLabel* label = window.find<QWidget>("installPage").findChildren<QLabel*>().constLast();
    QCOMPARE(label->text(), u"Kurulum klasörü: "_s + spelt);
    QCOMPARE(label->textFormat(), Qt::PlainText);
}

void TestLauncher::takesADirectoryForNoManifest()
{
    tree->makeDirectory(u"root/asset-manifest.json"_s);
    const LauncherWindow window(freshRoot());
    QCOMPARE(window.page(), u"installPage"_s);
}

void TestLauncher::waitsAMinuteForAnAnswer()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const LauncherWindow window;
    window.access.settings().setValue(
        u"profiles/Localhost"_s,
        u"{\"auth\":\"https://127.0.0.1:%1\",\"ca\":\"\"}"_s.arg(silent.serverPort()).toUtf8());
    window.find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    window.press("loginButton");
    QCOMPARE(window.access.activeReplies().size(), 1);
    QCOMPARE(window.access.activeReplies().constFirst()->request().transferTimeout(), 60000);
}

void TestLauncher::refusesActionsThatThisVersionDoesNotHave_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::newRow("extractButton") << QByteArray("extractButton");
}

void TestLauncher::refusesActionsThatThisVersionDoesNotHave()
{
    QFETCH(QByteArray, button);
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.press(button.constData());
    QCOMPARE(player.texts(), QStringList(kUnfinished));
    QCOMPARE(window.status(), kUnfinished);
}

void TestLauncher::pressesLoginOnReturnInThePassword()
{
    writeManifest();
    const LauncherWindow window(freshRoot());
    const QSignalSpy clicked(&window.find<QPushButton>("loginButton"), &QPushButton::clicked);
    ModalPlayer player({press(QMessageBox::Ok)});
    QTest::keyClick(&window.find<QLineEdit>("password"), Qt::Key_Return);
    QCOMPARE(clicked.size(), 1);
    QTest::keyClick(&window.find<QLineEdit>("username"), Qt::Key_Return);
    QCOMPARE(clicked.size(), 1);
}

void TestLauncher::leavesTheServerButtonToThePanel()
{
    const LauncherWindow window;
    const QString before = window.status();
    ModalPlayer player;
    window.press("hostButton");
    QTest::qWait(30);
    QCOMPARE(player.seen.size(), 0);
    QCOMPARE(window.status(), before);
}

void TestLauncher::endsTheProgramWhenClosed()
{
    LauncherWindow window;
    window.press("settingsButton");
    QTimer::singleShot(0, &window.launcher, &QWidget::close);
    QCOMPARE(QApplication::exec(), 0);
}

void TestLauncher::diesInPeaceWithEverythingRunning()
{
    auto window = std::make_unique<LauncherWindow>();
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    int calls = 0;
    QNetworkReply* reply =
        window->access.network().get(QNetworkRequest(QUrl(u"https://127.0.0.1:%1/"_s.arg(silent.serverPort()))));
    connect(reply, &QNetworkReply::finished, &window->launcher, [&] { ++calls; });
    auto* process = new QProcess(&window->launcher);
    connect(process, &QProcess::finished, &window->launcher, [&] { ++calls; });
    connect(process, &QProcess::errorOccurred, &window->launcher, [&] { ++calls; });
    process->start(u"sleep"_s, {u"60"_s});
    QVERIFY(process->waitForStarted());
    window->press("settingsButton");
    window.reset();
    QCoreApplication::processEvents();
    QCOMPARE(calls, 0);
}

void TestLauncher::refusesAssetWorkWhileARequestRuns()
{
    const LauncherWindow window;
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    QNetworkReply* reply =
        window.access.network().get(QNetworkRequest(QUrl(u"https://127.0.0.1:%1/"_s.arg(silent.serverPort()))));
    window.access.activeReplies().append(reply);
    const auto& progress = window.find<QProgressBar>("progress");
    const auto stateOfBar = [&] { return QList<int>{progress.minimum(), progress.maximum(), progress.isVisible()}; };
    const QList<int> before = stateOfBar();
    for (const char* button : {"extractButton", "importButton", "verifyButton"}) {
        window.find<QLineEdit>("extractor").setText(u"typed before "_s + QLatin1StringView(button));
        ModalPlayer player({press(QMessageBox::Ok)});
        window.press(button);
        QCOMPARE(player.texts(), QStringList(u"Another installation/update or HTTPS request is active"_s));
        QCOMPARE(stateOfBar(), before);
        QVERIFY(!window.access.assetBusy());
        QVERIFY(window.access.workers().isEmpty());
        QCOMPARE(QSettings().value(u"assets/extractor"_s).toString(), u"typed before "_s + QLatin1StringView(button));
    }
}

void TestLauncher::opensSettingsFromTheHeader()
{
    const LauncherWindow window;
    window.press("settingsButton");
    const auto& dialog = window.find<QDialog>("settingsDialog");
    QVERIFY(dialog.isVisible());
    QVERIFY(!dialog.isModal());
    QTRY_VERIFY(dialog.isActiveWindow());
}

void TestLauncher::bringsOpenSettingsToTheFront()
{
    LauncherWindow window;
    window.press("settingsButton");
    auto& dialog = window.find<QDialog>("settingsDialog");
    QTRY_VERIFY(dialog.isActiveWindow());
    window.launcher.activateWindow();
    QTRY_VERIFY(window.launcher.isActiveWindow());
    const EventCounter raises(&dialog, QEvent::ZOrderChange);
    window.press("settingsButton");
    QCOMPARE(raises.count(), 1);
    QTRY_VERIFY(dialog.isActiveWindow());
}

VOK_WINDOW_TEST_MAIN(TestLauncher)
#include "test_launcher.moc"
