/// The launcher's one window and the owner of all its state: settings, network, session and worker threads.
///
/// Its methods stand in files of their own, each beside its subject: launcher.cpp and launcher_pages.cpp here, the
/// others as launcher_*.cpp in transport/, accounts/, client/ and assets/. A handler reports any failure by throwing;
/// the guard of addActionButton shows it. All of it runs on the user-interface thread.
#pragma once

#include "network/https_network.h"

#include <QImage>
#include <QList>
#include <QSettings>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QBoxLayout;
class QCheckBox;
class QComboBox;
class QDialog;
class QDoubleSpinBox;
class QFormLayout;
class QJsonObject;
class QLabel;
class QLineEdit;
class QNetworkReply;
class QPlainTextEdit;
class QProcess;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QStackedWidget;
class QThread;
class QUrl;

namespace vok::launcher_assets
{
struct Report;
}

namespace vok::launcher_client
{
struct GraphicsOptions;
struct Output;
} // namespace vok::launcher_client

namespace vok::launcher_server
{
struct Hooks;
}

namespace vok
{

struct AssetOutcome;
struct TransferBudget;
class Hop;

class Launcher : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Launcher)

public:
    /// Builds the window from the settings store. Throws std::runtime_error where a saved graphics value is not valid.
    Launcher();

    /// Waits without limit for running asset work, whose result is then dropped, and overwrites the session.
    ~Launcher() override;

    /// Seeds and fills the profile selector and shows the first page. To be called once, before the window is shown.
    void open();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    friend struct LauncherTestAccess; // tests reach what a player cannot: the session, the skin, the busy rule

    // Construction, in the order of its calls.
    void buildSettings();
    QWidget* buildGraphicsTab(const launcher_client::GraphicsOptions& saved);
    void addRendererRows(QFormLayout* form, const launcher_client::GraphicsOptions& saved);
    void addQualityRows(QFormLayout* form, const launcher_client::GraphicsOptions& saved);
    void addScreenRows(QFormLayout* form, const launcher_client::GraphicsOptions& saved);
    QWidget* buildAdvancedTab();
    QWidget* buildInstallationGroup();
    QWidget* buildMappingGroup();
    QWidget* buildDiagnosticsGroup();
    void buildServerDialog();
    QFormLayout* buildServerForm();
    void buildWindow();
    QBoxLayout* buildHeader();
    QWidget* buildInstallPage();
    QWidget* buildLoginPage();
    QFormLayout* buildLoginForm();
    QWidget* buildPlayPage();

    /// Makes a button in `layout` whose click runs `handler` inside the guard.
    QPushButton* addActionButton(
        QBoxLayout* layout, const QString& caption, const QString& objectName, std::function<void()> handler);

    /// Runs `action`; the text of a std::exception goes to reportFailure. Nothing else may stand between Qt and code
    /// that throws.
    void guarded(const std::function<void()>& action);

    /// Ends asset work, whether or not any ran, and tells the player `text` in the status line, the log and a message
    /// box, but for one that says just this already. Only the log holds all of a text that is not presentable.
    void reportFailure(const QString& text);

    /// Adds `text`, as one line whatever it holds, with the present UTC time to the log views.
    void logLine(const QString& text);

    /// The same for each of `texts`. Of more than the views hold they get only the last.
    void logLines(const QStringList& texts);

    /// Shows the page that follows from the manifest file and the session. Nothing is verified here.
    void refreshPages();

    /// Throws std::runtime_error while asset work or an HTTPS request runs.
    void requireIdle() const;
    void startAssetWork();
    void endAssetWork();

    /// Sets what the skin's actions allow on the current page. Does nothing before there is a skin.
    void updateSkinActions();

    // transport/launcher_fetch.cpp, transport/launcher_api.cpp
    /// Takes the body of a successful answer. What it throws is told as the failure of its exchange.
    using AnswerHandler = std::function<void(const QByteArray& body)>;

    /// Performs one HTTPS exchange within bounds of bytes, time and origin. `caFile`: PEM file that alone is trusted;
    /// empty: the system's trust. `auth`: send the session as a bearer token. `limit`: most body bytes of a 2xx answer.
    /// `stagePath`: where not empty, the body goes to this file and `done` gets no bytes. `redirects`: hops made so
    /// far. `budget`: null on the first hop. Throws std::runtime_error for what can be told at once; everything later
    /// goes to the budget's onError or to reportFailure.
    void fetch(
        const QUrl& url, const QString& caFile, const QByteArray& method, const QByteArray& body, bool auth,
        long long limit, const QString& stagePath, AnswerHandler done, int redirects,
        std::shared_ptr<TransferBudget> budget);
    struct Exchange;
    void finishHop(Hop& hop, const Exchange& exchange);

    /// Calls the account service of the selected profile: `path` such as "/v1/login", `method` "GET" or "POST", an
    /// empty `body` for none, `auth` to send the session. `done` gets the body of a success, and only while that
    /// profile is still selected and unchanged. Throws as fetch does, and where the profile's address is not an HTTPS
    /// origin.
    void api(const QString& path, const QByteArray& method, const QJsonObject& body, bool auth, AnswerHandler done);

    // accounts/launcher_profiles.cpp, accounts/launcher_server_dialog.cpp
    void restoreProfiles();
    void changeProfile();
    /// The stored `auth` and `ca` of the selected profile, read anew; empty where there is no such profile.
    QString currentAuth() const;
    QString currentCa() const;
    /// Makes the profile called `name` the current one. Either way the session is dropped and the page follows.
    void selectProfile(const QString& name);
    void openServerDialog();
    /// Stores what the server dialog says and selects it. Throws std::runtime_error, with nothing written, where a
    /// field is refused.
    void saveServerProfile();

    // accounts/launcher_account.cpp
    void logIn();
    /// Takes the answer to a login. Throws std::runtime_error, logged out, where it holds no session token.
    void acceptSession(const QByteArray& answer);
    void registerAccount();
    void resetPassword();
    void logOut();
    /// Throws std::runtime_error without a session of the selected profile.
    void requireSession() const;
    /// Overwrites and drops the session. The page stays; callers go on with refreshPages.
    void clearSession();
    /// Empties the password field, and keeps nothing of what requests have carried.
    void clearPassword();

    // accounts/launcher_local_server.cpp
    launcher_server::Hooks hostHooks();
    /// Stores the local server's profile; an empty `auth` stands for its usual address. With `select` it becomes the
    /// current one, `user` is offered, and an `adminPassword` logs `user` in.
    void useLocalServer(
        const QString& auth, const QString& ca, const QString& user, const QString& adminPassword, bool select);

    // client/launcher_settings_dialog.cpp
    launcher_client::GraphicsOptions chosenGraphics() const;
    void refreshFsrControls();
    void saveSettings();
    /// Writes the whole of the settings dialog to the store. Throws std::runtime_error, with nothing written, where
    /// OpenGL is combined with what it does not have.
    void persistSettings();

    // client/launcher_process_log.cpp
    void saveDiagnostics();
    /// Logs what `process` prints, line by line and with `secret` hidden, and kills it at a line of more than 64 KiB.
    /// `lineHandler`, where there is one, gets the lines instead of the log. Returns the state of the log, whose `dead`
    /// tells the caller's own handlers that the process was killed for its output.
    std::shared_ptr<launcher_client::Output> attachProcessLog(
        QProcess* process, const QByteArray& secret, std::function<void(const QString&)> lineHandler = {});

    // client/launcher_play.cpp
    /// Starts the client, once the account service has told that the world is online. Throws std::runtime_error for
    /// every refusal that can be told without the service.
    void play();
    void startClient(const QString& program, const QStringList& arguments);
    void followClient(QProcess* process, const std::shared_ptr<launcher_client::Output>& output);
    void requireNoClient() const;

    // assets/launcher_asset_tasks.cpp
    /// Runs `work` on a thread of its own; after a clean result `after`, where there is one, runs on this thread.
    /// Throws std::runtime_error while other asset work or an HTTPS request runs, or where no thread can be started.
    void assetTask(std::function<launcher_assets::Report()> work, std::function<void()> after);
    void finishAssetTask(const AssetOutcome& outcome, const std::function<void()>& after);
    void importAssets(bool installer);
    void verifyAssets(bool repair);

    QSettings settings;
    HttpsNetwork network;
    QByteArray sessionToken; ///< empty: logged out; its buffer is shared with nobody
    bool assetBusy = false;
    bool echoToStderr = false; ///< the log goes to standard error too, and a failure ends the program
    int requestTimeoutMs = 60000;
    QList<QThread*> workers;
    QList<QNetworkReply*> activeReplies;
    std::optional<QString> failureOnShow; ///< text of the message box that stands
    QString sessionAuth;                  ///< origin that issued sessionToken
    QProcess* clientProcess = nullptr;
    QImage skinImage; ///< the painted background; null: no skin

    struct GraphicsControls
    {
        QComboBox* renderer = nullptr;
        QDoubleSpinBox* renderScale = nullptr;
        QComboBox* upscaler = nullptr;
        QDoubleSpinBox* fsrSharpness = nullptr;
        QCheckBox* frameGeneration = nullptr;
        QComboBox* appearance = nullptr;
        QComboBox* rayTracing = nullptr;
        QComboBox* rtStyle = nullptr;
        QComboBox* textureDetail = nullptr;
        QComboBox* lightmapDetail = nullptr;
        QSpinBox* width = nullptr;
        QSpinBox* height = nullptr;
        QCheckBox* fullscreen = nullptr;
        QSpinBox* volume = nullptr;
    };

    QDialog* settingsDialog = nullptr;
    QDialog* serverDialog = nullptr;
    QLineEdit* serverName = nullptr;
    QLineEdit* serverAddress = nullptr;
    QLineEdit* serverCa = nullptr;
    GraphicsControls graphics;
    QLineEdit* installRoot = nullptr;
    QLineEdit* assetSource = nullptr;
    QLineEdit* extractor = nullptr;
    QLineEdit* modelMap = nullptr;
    QLineEdit* audioPath = nullptr;
    QLineEdit* soundMap = nullptr;
    QPlainTextEdit* diagnosticLogs = nullptr;
    QStackedWidget* pages = nullptr;
    QWidget* installPage = nullptr;
    QCheckBox* hostAfterInstall = nullptr;
    QLabel* installLabel = nullptr;
    QWidget* loginPage = nullptr;
    QComboBox* profiles = nullptr;
    QLineEdit* username = nullptr;
    QLineEdit* password = nullptr;
    QPushButton* loginButton = nullptr;
    QWidget* playPage = nullptr;
    QLabel* account = nullptr;
    QPushButton* playButton = nullptr;
    QLabel* status = nullptr;
    QProgressBar* progress = nullptr;

    // Set together with skinImage.
    QWidget* primaryPanel = nullptr;
    QWidget* worldPanel = nullptr;
    QPushButton* loginAction = nullptr;
    QPlainTextEdit* skinLog = nullptr;
};

} // namespace vok
