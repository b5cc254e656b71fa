#include "app/launcher.h"
#include "assets/manifest.h"
#include "client/ca_bundle.h"
#include "client/client_arguments.h"
#include "client/client_settings_file.h"
#include "client/process_log.h"
#include "client/session_hand_over.h"
#include "client/world_status.h"
#include "transport/url_policy.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QStandardPaths>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

using launcher_client::ClientSetup;
using launcher_client::GraphicsOptions;
using launcher_client::Output;

namespace
{

const QString kClientName = u"vok-client"_s;

// Beside the launcher alone: on the PATH anybody's program could take the name, and it would be given the session.
QString findClient()
{
    const QString folder = QCoreApplication::applicationDirPath();
    QString program = QStandardPaths::findExecutable(kClientName, {folder});
    if (program.isEmpty())
        throw std::runtime_error(
            (u"vok-client başlatıcının yanında bulunamadı: "_s + folder + u'/' + kClientName).toStdString());
    return program;
}

QString requireAssets(const QString& installation)
{
    QString assets = launcher_assets::assetsPath(installation);
    if (!QFileInfo(assets).isDir())
        throw std::runtime_error("Import legitimate original assets first");
    return assets;
}

} // namespace

void Launcher::requireNoClient() const
{
    if (clientProcess != nullptr && clientProcess->state() != QProcess::NotRunning)
        throw std::runtime_error("Client is already running");
}

void Launcher::play()
{
    const GraphicsOptions chosen = chosenGraphics();
    launcher_client::requireStartable(chosen);
    persistSettings();
    requireNoClient();
    requireSession();

    ClientSetup setup;
    setup.auth = parseHttpsUrl(currentAuth());
    setup.assetRoot = requireAssets(installRoot->text());
    const QString program = findClient();
    setup.caFile = currentCa();
    if (setup.caFile.isEmpty())
        setup.caFile = launcher_client::systemCaBundle();
    setup.settingsFile = launcher_client::clientSettingsPath(installRoot->text());
    setup.graphics = chosen;
    setup.modelMap = modelMap->text();
    setup.soundMap = soundMap->text();
    setup.audioPath = audioPath->text();

    launcher_client::writeClientSettings(
        setup.settingsFile,
        launcher_client::mergedClientSettings(launcher_client::readClientSettings(setup.settingsFile), chosen));
    const QStringList arguments = launcher_client::clientArguments(setup);
    status->setText(u"Sunucu denetleniyor…"_s);
    api(u"/v1/status"_s, "GET", {}, false,
        [this, program, arguments, auth = setup.auth](const QByteArray& worldStatus) {
            const int port = launcher_client::parseWorldPort(worldStatus);
            startClient(program, launcher_client::worldArguments(auth, port) + arguments);
        });
}

void Launcher::startClient(const QString& program, const QStringList& arguments)
{
    requireNoClient();
    requireSession();
    if (clientProcess != nullptr)
        clientProcess->deleteLater();
    clientProcess = new QProcess(this);
    clientProcess->setProgram(program);
    clientProcess->setArguments(arguments);
    followClient(clientProcess, attachProcessLog(clientProcess, sessionToken));
    clientProcess->start(QIODevice::ReadWrite);
}

void Launcher::followClient(QProcess* process, const std::shared_ptr<Output>& output)
{
    const auto handOver = launcher_client::prepareSessionHandOver(*process);
    connect(process, &QProcess::started, this, [this, output, handOver] {
        handOver(output->secret);
        status->setText(u"İstemci başlatıldı"_s);
    });
    // One fault may lead to another, such as a write that finds the client gone. The player is told the first.
    connect(process, &QProcess::errorOccurred, this, [this, process, output, isFirst = true]() mutable {
        const auto tell = isFirst ? &Launcher::reportFailure : &Launcher::logLine;
        isFirst = false;
        // A message box runs events, in which the process may be replaced while its own code is still on the stack.
        QMetaObject::invokeMethod(
            this,
            [this, output, tell, text = process->errorString()] {
                if (!output->dead)
                    (this->*tell)(text);
            },
            Qt::QueuedConnection);
    });
    // Queued as well, so that it comes behind what is told of a fault.
    connect(
        process, &QProcess::finished, this,
        [this, output](int exitCode) {
            logLine(u"Client exit %1"_s.arg(exitCode));
            if (!output->dead)
                status->setText(u"İstemci kapandı"_s);
        },
        Qt::QueuedConnection);
}

} // namespace vok
