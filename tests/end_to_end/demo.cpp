/// vok-demo: shows what the launcher does where nobody can look at it. It presses the whole window as a player would,
/// by object name, tells each step in a line and keeps a picture of it.
#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"

#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QTabWidget>

#include <cstdio>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;
using namespace vok::test_support;

namespace
{

constexpr int kPatienceMs = 300000;
const QString kVerified = u"Varlıklar doğrulandı / Assets verified"_s;
const QString kPassword = u"çok gizli"_s;

/// What the account service of the demo answers: its one player is accepted with the right password only.
HttpAnswer accountAnswer(const HttpRequest& request)
{
    if (request.target == "/v1/login" && request.json().value("password"_L1).toString() != kPassword)
        return refusal(401, u"Kullanıcı adı ya da parola yanlış"_s);
    if (request.target == "/v1/login")
        return sessionAnswer(QByteArray(64, 'd'));
    return json(200, {});
}

/// The window, with an installation beside the pictures, and the steps told so far.
class Demo
{
public:
    Demo(QString gameFolder, const QDir& pictureFolder)
        : game(std::move(gameFolder))
        , pictures(pictureFolder)
        , window(pictures.filePath(u"installation"_s))
    {
        clock.start();
    }

    void showFirstPage();
    void showSettings();
    void importGame();
    void verify();
    void noticeDamage();
    void repair();
    void addServer();
    void signIn();
    void signOut();

private:
    void tell(const QString& text);
    void keepPicture(QWidget& shown, const QString& name);
    void require(bool condition, const QString& expected) const;
    void waitForWork() const;
    void waitForAnswer() const;
    QString installation() const { return pictures.absoluteFilePath(u"installation"_s); }
    void showDiagnostics(const QString& name);
    ModalAnswer pictured(const QString& name, ModalAnswer answer);

    QString game;
    QDir pictures;
    AccountService service{accountAnswer};
    LauncherWindow window;
    QElapsedTimer clock;
    int steps = 0;
    int pictureCount = 0;
};

void print(const QString& line)
{
    static_cast<void>(std::printf("%s\n", qUtf8Printable(line)));
    static_cast<void>(std::fflush(stdout));
}

void Demo::tell(const QString& text)
{
    constexpr double kMsPerSecond = 1000;
    const double seconds = static_cast<double>(clock.elapsed()) / kMsPerSecond;
    print(u"%1. [%2 s] %3"_s.arg(++steps).arg(seconds, 0, 'f', 1).arg(text));
}

void Demo::keepPicture(QWidget& shown, const QString& name)
{
    const QString path = pictures.filePath(u"%1-%2.png"_s.arg(++pictureCount, 2, 10, QChar(u'0')).arg(name));
    if (!shown.grab().save(path))
        throw std::runtime_error("cannot write " + path.toStdString());
    print(u"   "_s + path);
}

void Demo::require(bool condition, const QString& expected) const
{
    if (!condition)
        throw std::runtime_error((expected + u"; the launcher says: "_s + window.status()).toStdString());
}

void Demo::waitForWork() const
{
    const bool ended = QTest::qWaitFor(
        [this] { return !window.access.assetBusy() && window.access.workers().isEmpty(); }, kPatienceMs);
    require(ended, u"the work on the game's files has come to its end"_s);
}

void Demo::waitForAnswer() const
{
    const bool ended = QTest::qWaitFor([this] { return window.access.activeReplies().isEmpty(); }, kPatienceMs);
    require(ended, u"the account service has answered"_s);
}

/// The answer that first keeps a picture of the dialog.
ModalAnswer Demo::pictured(const QString& name, ModalAnswer answer)
{
    return [this, name, answer = std::move(answer)](QDialog& dialog) {
        keepPicture(dialog, name);
        answer(dialog);
    };
}

void Demo::showDiagnostics(const QString& name)
{
    auto& dialog = window.find<QDialog>("settingsDialog");
    auto& tabs = window.find<QTabWidget>("settingsTabs");
    window.press("settingsButton");
    tabs.setCurrentIndex(tabs.count() - 1);
    for (QScrollArea* area : dialog.findChildren<QScrollArea*>())
        area->ensureWidgetVisible(&window.find<QPlainTextEdit>("diagnosticLogs"));
    keepPicture(dialog, name);
    window.press("closeSettings");
}

void Demo::showFirstPage()
{
    require(window.page() == u"installPage"_s, u"an empty installation shows the install page"_s);
    tell(u"The launcher starts. There is no game yet, so it offers to prepare one."_s);
    keepPicture(window.launcher, u"install-page"_s);
}

void Demo::showSettings()
{
    window.press("settingsButton");
    auto& dialog = window.find<QDialog>("settingsDialog");
    auto& tabs = window.find<QTabWidget>("settingsTabs");
    tell(u"The settings: graphics, and everything else under \"%1\"."_s.arg(tabs.tabText(tabs.count() - 1)));
    for (int tab = 0; tab < tabs.count(); ++tab) {
        tabs.setCurrentIndex(tab);
        keepPicture(dialog, u"settings-%1"_s.arg(tab + 1));
    }
    window.press("closeSettings");
}

void Demo::importGame()
{
    tell(u"The player picks the folder of a kept game, here a made-up one: %1"_s.arg(game));
    const ModalPlayer player({[this](QDialog& dialog) {
        dialog.findChild<QLineEdit*>(u"fileNameEdit"_s)->setText(game);
        pictured(u"choose-game"_s, choose(game))(dialog);
    }});
    window.press("importButton");
    if (window.access.assetBusy())
        keepPicture(window.launcher, u"import-runs"_s);
    waitForWork();
    require(window.status() == kVerified && window.page() == u"loginPage"_s, u"the import leads to the login page"_s);
    tell(u"Every file is copied, hashed and written into the manifest. The login page follows."_s);
    keepPicture(window.launcher, u"login-page"_s);
}

void Demo::verify()
{
    window.press("verifyButton");
    waitForWork();
    require(window.status() == kVerified, u"an untouched store is sound"_s);
    tell(u"Verification reads all files again and finds them as they were."_s);
}

void Demo::noticeDamage()
{
    const QDir fonts(installation() + u"/assets/fonts"_s);
    const QString damaged = fonts.filePath(fonts.entryList(QDir::Files).value(0));
    QFile file(damaged);
    if (!file.open(QIODevice::ReadWrite) || file.write("damaged") <= 0 || !file.flush())
        throw std::runtime_error("cannot damage " + damaged.toStdString());
    tell(u"One file is damaged on purpose: %1"_s.arg(damaged));

    const ModalPlayer player({pictured(u"damage-found"_s, press(QMessageBox::Ok))});
    window.press("verifyButton");
    waitForWork();
    require(player.seen.size() == 1, u"damage is told in a box"_s);
    tell(u"Verification says so and names the file in the diagnostics: \"%1\""_s.arg(player.texts().constFirst()));
    showDiagnostics(u"damage-in-diagnostics"_s);
}

void Demo::repair()
{
    const ModalPlayer player({choose(game)});
    window.press("repairButton");
    waitForWork();
    require(window.status() == kVerified, u"the repaired store is sound"_s);
    tell(u"Repair proves that the kept folder is the same game and restores the file: \"%1\""_s.arg(window.status()));
    showDiagnostics(u"repair-in-diagnostics"_s);
}

void Demo::addServer()
{
    window.press("addServer");
    window.find<QLineEdit>("serverName").setText(u"Deneme"_s);
    window.find<QLineEdit>("serverAddress").setText(service.url().authority());
    window.find<QLineEdit>("serverCa").setText(service.profile().ca);
    tell(u"The player adds a server: an account service on this computer, trusted by its own CA and no other."_s);
    keepPicture(window.find<QDialog>("serverDialog"), u"server-dialog"_s);
    window.press("saveServer");
    require(
        window.find<QComboBox>("profiles").currentText() == u"Deneme"_s,
        u"a server that was added is the current one"_s);
}

void Demo::signIn()
{
    auto& password = window.find<QLineEdit>("password");
    window.find<QLineEdit>("username").setText(u"yolcu"_s);
    password.setText(kPassword);
    window.press("registerButton");
    waitForAnswer();
    require(password.text().isEmpty(), u"the account is made"_s);
    tell(u"Registration goes over HTTPS and logs nobody in: \"%1\""_s.arg(window.status()));
    keepPicture(window.launcher, u"registered"_s);

    const ModalPlayer player({pictured(u"wrong-password"_s, press(QMessageBox::Ok))});
    password.setText(u"yanlış"_s);
    window.press("loginButton");
    require(
        QTest::qWaitFor([&player] { return player.seen.size() == 1; }, kPatienceMs),
        u"a wrong password is told in a box"_s);
    tell(u"A refusal is told in the words of the service: \"%1\""_s.arg(player.texts().constFirst()));

    password.setText(kPassword);
    window.press("loginButton");
    waitForAnswer();
    require(window.page() == u"playPage"_s, u"the login leads to the play page"_s);
    tell(u"With the right one the play page follows: \"%1\""_s.arg(window.status()));
    keepPicture(window.launcher, u"play-page"_s);
}

void Demo::signOut()
{
    window.press("logoutButton");
    waitForAnswer();
    require(window.page() == u"loginPage"_s, u"a confirmed logout leads back to the login page"_s);
    tell(u"The service confirms the logout, and the session is gone: \"%1\""_s.arg(window.status()));
}

void play(const QString& game, const QString& pictures)
{
    if (!QDir().mkpath(pictures))
        throw std::runtime_error("cannot make " + pictures.toStdString());
    Demo demo(game, QDir(pictures));
    demo.showFirstPage();
    demo.showSettings();
    demo.importGame();
    demo.verify();
    demo.noticeDamage();
    demo.repair();
    demo.addServer();
    demo.signIn();
    demo.signOut();
}

// Without a window system there is nothing to raise a window in, and Qt says so each time.
void passOnOtherMessages(QtMsgType, const QMessageLogContext&, const QString& message)
{
    if (!message.startsWith(u"This plugin does not support "_s))
        static_cast<void>(std::fprintf(stderr, "%s\n", qUtf8Printable(message)));
}

} // namespace

int main(int argc, char** argv)
{
    qInstallMessageHandler(passOnOtherMessages);
    const IsolatedHome home;
    const QApplication application(argc, argv);
    const QStringList words = QApplication::arguments();
    if (words.size() != 3) {
        static_cast<void>(std::fputs("usage: vok-demo GAME PICTURES\n", stderr));
        return 2;
    }
    try {
        play(QFileInfo(words.at(1)).absoluteFilePath(), words.at(2));
        return 0;
    } catch (const std::exception& failure) {
        static_cast<void>(std::fprintf(stderr, "vok-demo: %s\n", failure.what()));
        return 1;
    }
}
