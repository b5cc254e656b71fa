/// All that a start of the client needs: an installation, an account service, a client, and a player who is logged in.
#pragma once

#include "accounts/server_profile.h"
#include "app/settings_keys.h"
#include "support/fake_client.h"
#include "support/https_server.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/own_folder.h"
#include "support/temp_tree.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPlainTextEdit>
#include <QProcess>

namespace vok::test_support
{

/// The stage of one test. What the service answers is `worldStatus`; it holds the answer while `isAnswerHeld`.
class PlayStage
{
public:
    explicit PlayStage(const QStringList& script = {}, const QByteArray& token = aToken())
        : client(script)
        , server(
              authority.issue(),
              [this](const HttpRequest&) {
                  return isAnswerHeld ? held(json(200, worldStatus)) : json(200, worldStatus);
              })
        , window(tree.path())
    {
        tree.makeDirectory(QStringLiteral("assets"));
        tree.write(QStringLiteral("asset-manifest.json"), "{}");
        setProfile({server.origin(), authority.pemPath()});
        window.find<QComboBox>("profiles").setCurrentText(kProfile);
        window.access.logIn(token, server.origin());
    }

    static QByteArray aToken() { return QByteArray("0123456789abcdef").repeated(4); }

    void setProfile(const ServerProfile& profile) const
    {
        window.access.settings().setValue(keys::profileKey(kProfile), serialiseProfile(profile));
    }
    void setText(const char* lineEdit, const QString& text) const { window.find<QLineEdit>(lineEdit).setText(text); }
    void choose(const char* combo, const QString& text) const { window.find<QComboBox>(combo).setCurrentText(text); }

    void play() const { window.press("playButton"); }
    bool isClientRunning() const
    {
        const QProcess* process = window.access.clientProcess();
        return process != nullptr && process->state() == QProcess::Running;
    }
    /// Whether the client has ended and the window has taken note of it.
    bool hasClientEnded() const { return !window.logTexts().filter(QStringLiteral("Client exit ")).isEmpty(); }

    const QString kProfile = QStringLiteral("Localhost");
    const QString kSettingsName = QStringLiteral("settings/graphics.json");
    const QString kLoginFirst = QStringLiteral("Önce seçili sunucuya giriş yapın");
    const QString kAlreadyRunning = QStringLiteral("Client is already running");

    QJsonObject worldStatus{{QStringLiteral("online"), true}};
    bool isAnswerHeld = false;
    TempTree tree;
    FakeClient client;
    TestAuthority authority{QStringLiteral("Test CA")};
    HttpsServer server;
    LauncherWindow window;
    ModalPlayer player;
};

} // namespace vok::test_support

/// main() of a test that starts the client.
#define VOK_PLAY_TEST_MAIN(TestClass)                    \
    int main(int argc, char** argv)                      \
    {                                                    \
        const vok::test_support::OwnFolder folder(argv); \
        const vok::test_support::IsolatedHome home;      \
        const QApplication application(argc, argv);      \
        TestClass test;                                  \
        return QTest::qExec(&test, argc, argv);          \
    }
