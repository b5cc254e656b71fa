#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QMouseEvent>
#include <QNetworkReply>
#include <QProcess>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryFile>
#include <QWindow>

#include <unistd.h>

#include <memory>
#include <stdexcept>

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
    void showsOneBoxForOneText();
    void waitsAMinuteForAnAnswer();
    void refusesActionsThatThisVersionDoesNotHave_data();
    void refusesActionsThatThisVersionDoesNotHave();
    void pressesLoginOnReturnInThePassword();
    void leavesTheServerButtonToThePanel();
    void reportsAFailureInAllThreePlaces();
    void parentsAMessageToTheActiveModalDialog();
    void endsAssetWorkAtAnyFailure_data();
    void endsAssetWorkAtAnyFailure();
    void reportsSeveralFailuresAtOnce();
    void showsMarkupInAFailureLiterally();
    void reportsAFailureInACallOfTheGuardOnly();
    void endsTheProgramInsteadWhereErrorsAreEchoed();
    void echoesTheLogToStandardErrorOnDemand();
    void losesNothingOnStandardError();
    void endsTheProgramWhenClosed();
    void diesInPeaceWithEverythingRunning();
    void refusesAssetWorkWhileARequestRuns();
    void opensSettingsFromTheHeader();
    void bringsOpenSettingsToTheFront();
    void timesEachLogLine();
    void logsNothingForNoLines();
    void keepsTheLast5000LogLines_data();
    void keepsTheLast5000LogLines();
    void logsToTheSkinToo();
    void paintsTheSkinAtTheOrigin();
    void takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly_data();
    void takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly();
    void leavesAPressAloneBeforeThereIsAWindowToMove();
    void leavesSkinActionsAloneWithoutASkin();
    void setsSkinActionsForEachPage_data();
    void setsSkinActionsForEachPage();
    void setsSkinActionsWhenWorkStartsAndEnds();
    void keepsTheBarVisibleInTheSkin();

private:
    QString freshRoot() { return tree->path(u"root"_s); }
    void writeManifest(const QByteArray& bytes = {}) { tree->write(u"root/asset-manifest.json"_s, bytes); }

    std::unique_ptr<TempTree> tree;
};

namespace
{

const QString kUnfinished = u"Bu işlem bu sürümde henüz yok"_s;

QStringList numbersUpTo(int last)
{
    QStringList numbers;
    for (int number = 1; number <= last; ++number)
        numbers.append(QString::number(number));
    return numbers;
}

/// Counts the events of one type that reach `watched`, or any object where `watched` is the application.
class EventCounter : public QObject
{
public:
    EventCounter(QObject* watched, QEvent::Type type)
        : m_type(type)
    {
        watched->installEventFilter(this);
    }
    int count() const { return m_count; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        m_count += event->type() == m_type ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }

private:
    QEvent::Type m_type;
    int m_count = 0;
};

/// While it lives, the standard error of this process goes into a file.
class StderrCapture
{
public:
    StderrCapture()
        : m_before(dup(STDERR_FILENO))
    {
        if (m_before < 0 || !m_file.open() || dup2(m_file.handle(), STDERR_FILENO) < 0)
            qFatal("standard error cannot be captured");
    }
    ~StderrCapture()
    {
        dup2(m_before, STDERR_FILENO);
        close(m_before);
    }
    Q_DISABLE_COPY_MOVE(StderrCapture)

    QStringList lines()
    {
        m_file.seek(0);
        return QString::fromUtf8(m_file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

private:
    int m_before;
    QTemporaryFile m_file;
};

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

void TestLauncher::showsOneBoxForOneText()
{
    const LauncherWindow window;
    const QString first = u"Disk doldu"_s;
    ModalPlayer player(
        {[&](QDialog& dialog) {
             window.access.reportFailure(first);
             window.access.reportFailure(u"Ağ yok"_s);
             dialog.accept();
         },
         press(QMessageBox::Ok), press(QMessageBox::Ok)});
    window.access.reportFailure(first);
    QCOMPARE(player.texts(), QStringList({first, u"Ağ yok"_s}));
    QCOMPARE(window.logTexts().last(3), QStringList({first, first, u"Ağ yok"_s}));
    window.access.reportFailure(first);
    QCOMPARE(player.texts().size(), 3);
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

void TestLauncher::reportsAFailureInAllThreePlaces()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QCOMPARE(player.seen.size(), 1);
    QCOMPARE(player.seen.constFirst().title, u"Tarvun: Selvira"_s);
    QCOMPARE(player.seen.constFirst().text, u"Disk doldu"_s);
    QCOMPARE(player.seen.constFirst().buttons, QMessageBox::Ok);
    QCOMPARE(player.seen.constFirst().parent.data(), &window.launcher);
    QCOMPARE(window.status(), u"Disk doldu"_s);
    QCOMPARE(window.logTexts().constLast(), u"Disk doldu"_s);
}

void TestLauncher::parentsAMessageToTheActiveModalDialog()
{
    LauncherWindow window;
    QDialog modal(&window.launcher);
    modal.setModal(true);
    modal.show();
    ModalPlayer player(
        {[&](QDialog&) { window.access.reportFailure(u"Disk doldu"_s); }, press(QMessageBox::Ok), cancel()});
    QTRY_COMPARE(player.seen.size(), 3);
    QCOMPARE(player.seen.at(1).text, u"Disk doldu"_s);
    QCOMPARE(player.seen.at(1).parent.data(), &modal);
}

void TestLauncher::endsAssetWorkAtAnyFailure_data()
{
    QTest::addColumn<bool>("isBusy");
    QTest::newRow("while it runs") << true;
    QTest::newRow("while none runs") << false;
}

void TestLauncher::endsAssetWorkAtAnyFailure()
{
    QFETCH(bool, isBusy);
    const LauncherWindow window;
    if (isBusy)
        window.access.startAssetWork();
    QCOMPARE(window.access.assetBusy(), isBusy);
    QCOMPARE(window.find<QStackedWidget>("pages").isEnabled(), !isBusy);
    QCOMPARE(window.find<QDialog>("settingsDialog").isEnabled(), !isBusy);
    QCOMPARE(window.find<QProgressBar>("progress").isVisible(), isBusy);
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QCOMPARE(player.seen.size(), 1);
    QVERIFY(!window.access.assetBusy());
    QVERIFY(window.find<QStackedWidget>("pages").isEnabled());
    QVERIFY(window.find<QDialog>("settingsDialog").isEnabled());
    QVERIFY(!window.find<QProgressBar>("progress").isVisible());
    QCOMPARE(window.find<QProgressBar>("progress").maximum(), 1);
}

void TestLauncher::reportsSeveralFailuresAtOnce()
{
    const LauncherWindow window;
    const auto failAgain = [&](const QString& text) {
        return [&window, text](QDialog&) { window.access.reportFailure(text); };
    };
    ModalPlayer player(
        {failAgain(u"İkinci"_s), failAgain(u"Üçüncü"_s), press(QMessageBox::Ok), press(QMessageBox::Ok),
         press(QMessageBox::Ok)});
    window.access.reportFailure(u"Birinci"_s);
    QCOMPARE(player.texts(), QStringList({u"Birinci"_s, u"İkinci"_s, u"Üçüncü"_s, u"İkinci"_s, u"Birinci"_s}));
    QCOMPARE(player.unplanned, 0);
    QCOMPARE(QApplication::activeModalWidget(), nullptr);
    QCOMPARE(window.status(), u"Üçüncü"_s);
    QCOMPARE(window.logTexts().last(3), QStringList({u"Birinci"_s, u"İkinci"_s, u"Üçüncü"_s}));
}

void TestLauncher::showsMarkupInAFailureLiterally()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"<img src='/etc/passwd'>kötü"_s);
    QVERIFY(player.texts().constFirst().contains(u"&lt;img"_s));
    QVERIFY(!player.texts().constFirst().contains(u"<img"_s));
    QCOMPARE(window.status(), u"<img src='/etc/passwd'>kötü"_s);
    QCOMPARE(window.find<QLabel>("status").textFormat(), Qt::PlainText);
}

void TestLauncher::reportsAFailureInACallOfTheGuardOnly()
{
    const LauncherWindow window;
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.guarded([] {});
    QCOMPARE(player.seen.size(), 0);
    window.access.guarded([] { throw std::runtime_error("Dosya açılamadı"); });
    QCOMPARE(player.texts(), QStringList(u"Dosya açılamadı"_s));
}

void TestLauncher::endsTheProgramInsteadWhereErrorsAreEchoed()
{
    const LauncherWindow window;
    window.access.setEchoToStderr(true);
    // A box that opens while the program ends is closed at once: none of it may be seen even for that long.
    const EventCounter shows(qApp, QEvent::Show);
    StderrCapture errors;
    QTimer::singleShot(0, &window.launcher, [&] { window.access.reportFailure(u"Disk doldu"_s); });
    QCOMPARE(QApplication::exec(), 1);
    QCOMPARE(errors.lines(), QStringList(window.log().constLast()));
    QCOMPARE(shows.count(), 0);
    QCOMPARE(window.status(), u"Disk doldu"_s);
    QCOMPARE(window.logTexts().constLast(), u"Disk doldu"_s);
}

void TestLauncher::echoesTheLogToStandardErrorOnDemand()
{
    const LauncherWindow window;
    StderrCapture errors;
    window.access.logLine(u"unheard"_s);
    window.access.setEchoToStderr(true);
    window.access.logLine(u"%s İğne"_s);
    window.access.logLines({u"one"_s, u"two"_s});
    QCOMPARE(errors.lines(), window.log().last(3));
    QCOMPARE(window.logTexts().last(3), QStringList({u"%s İğne"_s, u"one"_s, u"two"_s}));
}

void TestLauncher::losesNothingOnStandardError()
{
    const LauncherWindow window;
    window.access.setEchoToStderr(true);
    const QStringList lines = numbersUpTo(5001);
    StderrCapture errors;
    window.access.logLines(lines);
    QStringList echoed;
    for (const QString& line : errors.lines())
        echoed.append(line.section(u' ', 1));
    QCOMPARE(echoed, lines);
    QCOMPARE(window.logTexts(), lines.sliced(1));
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

void TestLauncher::timesEachLogLine()
{
    const LauncherWindow window;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    window.access.logLine(u"<b>satır</b>"_s);
    const QString line = window.log().constLast();
    const QRegularExpression form(u"^(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ) <b>satır</b>$"_s);
    const auto match = form.match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));
    QVERIFY(qAbs(before.secsTo(QDateTime::fromString(match.captured(1), Qt::ISODate))) <= 5);
}

void TestLauncher::keepsTheLast5000LogLines_data()
{
    QTest::addColumn<bool>("atOnce");
    QTest::newRow("one after the other") << false;
    QTest::newRow("at once") << true;
}

void TestLauncher::logsNothingForNoLines()
{
    const LauncherWindow window;
    const QStringList before = window.log();
    window.access.logLines({});
    QCOMPARE(window.log(), before);
}

void TestLauncher::keepsTheLast5000LogLines()
{
    QFETCH(bool, atOnce);
    const LauncherWindow window;
    const QStringList lines = numbersUpTo(5001);
    if (atOnce)
        window.access.logLines(lines);
    else
        for (const QString& line : lines)
            window.access.logLine(line);
    QCOMPARE(window.logTexts(), lines.sliced(1));
}

void TestLauncher::logsToTheSkinToo()
{
    const LauncherWindow window;
    window.access.applySkin(Qt::red);
    window.access.logLine(u"satır"_s);
    QCOMPARE(window.access.skinLog()->toPlainText(), window.log().constLast());
}

void TestLauncher::paintsTheSkinAtTheOrigin()
{
    LauncherWindow window;
    const QColor plain = window.launcher.grab().toImage().pixelColor(1, 1);
    QVERIFY(plain != QColor(Qt::red));
    window.access.applySkin(Qt::red);
    const QImage skinned = window.launcher.grab().toImage();
    QCOMPARE(skinned.pixelColor(0, 0), QColor(Qt::red));
    QCOMPARE(skinned.pixelColor(979, 619), QColor(Qt::red));
}

void TestLauncher::takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly_data()
{
    QTest::addColumn<bool>("isSkinned");
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("left, skinned") << true << Qt::LeftButton << true;
    QTest::newRow("right, skinned") << true << Qt::RightButton << false;
    QTest::newRow("middle, skinned") << true << Qt::MiddleButton << false;
    QTest::newRow("left, plain") << false << Qt::LeftButton << false;
}

// What moves the window is taken; what the base class gets, it leaves to others.
void TestLauncher::takesHoldOfTheSkinnedBackgroundWithTheLeftButtonOnly()
{
    QFETCH(bool, isSkinned);
    QFETCH(Qt::MouseButton, button);
    LauncherWindow window;
    if (isSkinned)
        window.access.applySkin(Qt::red);
    QMouseEvent event(QEvent::MouseButtonPress, QPointF(2, 2), QPointF(2, 2), button, button, Qt::NoModifier);
    QApplication::sendEvent(&window.launcher, &event);
    QTEST(event.isAccepted(), "isTaken");
}

void TestLauncher::leavesAPressAloneBeforeThereIsAWindowToMove()
{
    Launcher launcher;
    LauncherTestAccess{launcher}.applySkin(Qt::red);
    QCOMPARE(launcher.windowHandle(), nullptr);
    QMouseEvent event(
        QEvent::MouseButtonPress, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&launcher, &event);
    QVERIFY(!event.isAccepted());
}

void TestLauncher::leavesSkinActionsAloneWithoutASkin()
{
    const LauncherWindow window;
    window.find<QStackedWidget>("pages").setCurrentIndex(1);
    QVERIFY(!window.find<QPushButton>("playButton").isHidden());
}

void TestLauncher::setsSkinActionsForEachPage_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<bool>("loginShown");
    QTest::addColumn<bool>("playShown");
    QTest::addColumn<bool>("primaryEnabled");
    QTest::addColumn<bool>("worldEnabled");
    QTest::newRow("install") << 0 << false << false << false << false;
    QTest::newRow("login") << 1 << true << false << true << true;
    QTest::newRow("play") << 2 << false << true << true << false;
}

void TestLauncher::setsSkinActionsForEachPage()
{
    QFETCH(int, page);
    const LauncherWindow window;
    window.access.applySkin(Qt::red);
    auto& pages = window.find<QStackedWidget>("pages");
    pages.setCurrentIndex((page + 1) % 3);
    pages.setCurrentIndex(page);
    QTEST(!window.access.loginAction()->isHidden(), "loginShown");
    QTEST(!window.find<QPushButton>("playButton").isHidden(), "playShown");
    QTEST(window.access.primaryPanel()->isEnabled(), "primaryEnabled");
    QTEST(window.access.worldPanel()->isEnabled(), "worldEnabled");
}

void TestLauncher::setsSkinActionsWhenWorkStartsAndEnds()
{
    writeManifest();
    const LauncherWindow window(freshRoot());
    QCOMPARE(window.page(), u"loginPage"_s);
    window.access.applySkin(Qt::red);
    QVERIFY(window.access.primaryPanel()->isEnabled() && window.access.worldPanel()->isEnabled());
    window.access.startAssetWork();
    QVERIFY(!window.access.primaryPanel()->isEnabled() && !window.access.worldPanel()->isEnabled());
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QCOMPARE(window.page(), u"loginPage"_s);
    QVERIFY(window.access.primaryPanel()->isEnabled() && window.access.worldPanel()->isEnabled());
}

void TestLauncher::keepsTheBarVisibleInTheSkin()
{
    const LauncherWindow window;
    window.access.applySkin(Qt::red);
    ModalPlayer player({press(QMessageBox::Ok)});
    window.access.reportFailure(u"Disk doldu"_s);
    QVERIFY(window.find<QProgressBar>("progress").isVisible());
}

VOK_WINDOW_TEST_MAIN(TestLauncher)
#include "test_launcher.moc"
