/// What a test needs of the window and a player cannot reach.
#pragma once

#include "accounts/secret_bytes.h"
#include "app/launcher.h"
#include "panel/hooks.h"

#include <QJsonObject>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QUrl>

namespace vok
{

struct LauncherTestAccess
{
    Launcher& launcher;

    QSettings& settings() const { return launcher.settings; }
    QNetworkAccessManager& network() const { return launcher.network; }
    QByteArray& sessionToken() const { return launcher.sessionToken; }
    QString& sessionAuth() const { return launcher.sessionAuth; }
    QList<QNetworkReply*>& activeReplies() const { return launcher.activeReplies; }
    const QList<QThread*>& workers() const { return launcher.workers; }
    QProcess* clientProcess() const { return launcher.clientProcess; }
    bool assetBusy() const { return launcher.assetBusy; }
    void startAssetWork() const { launcher.startAssetWork(); }
    void setRequestTimeoutMs(int milliseconds) const { launcher.requestTimeoutMs = milliseconds; }
    void setEchoToStderr(bool echo) const { launcher.echoToStderr = echo; }

    void logIn(const QString& origin = QStringLiteral("https://origin.example:7443")) const
    {
        launcher.sessionToken = ownedCopy(QByteArray(64, 'a'));
        launcher.sessionAuth = origin;
        launcher.refreshPages();
    }
    void logIn(QByteArrayView token, const QString& origin) const
    {
        launcher.sessionToken = ownedCopy(token);
        launcher.sessionAuth = origin;
        launcher.refreshPages();
    }
    void refreshPages() const { launcher.refreshPages(); }
    void clearSession() const { launcher.clearSession(); }
    QString currentAuth() const { return launcher.currentAuth(); }
    QString currentCa() const { return launcher.currentCa(); }
    launcher_server::Hooks hostHooks() const { return launcher.hostHooks(); }
    void persistSettings() const { launcher.persistSettings(); }
    void reportFailure(const QString& text) const { launcher.reportFailure(text); }
    void logLine(const QString& text) const { launcher.logLine(text); }
    void logLines(const QStringList& texts) const { launcher.logLines(texts); }
    void guarded(const std::function<void()>& action) const { launcher.guarded(action); }
    std::shared_ptr<launcher_client::Output> attachProcessLog(
        QProcess* process, const QByteArray& secret, std::function<void(const QString&)> lineHandler = {}) const
    {
        return launcher.attachProcessLog(process, secret, std::move(lineHandler));
    }
    void assetTask(std::function<launcher_assets::Report()> work, std::function<void()> after = {}) const
    {
        launcher.assetTask(std::move(work), std::move(after));
    }

    using AnswerHandler = Launcher::AnswerHandler;
    void fetch(
        const QUrl& url, const QString& caFile, const QByteArray& method, const QByteArray& body, bool auth,
        long long limit, const QString& stagePath, AnswerHandler done, int redirects,
        std::shared_ptr<TransferBudget> budget) const
    {
        launcher.fetch(
            url, caFile, method, body, auth, limit, stagePath, std::move(done), redirects, std::move(budget));
    }
    void api(
        const QString& path, const QByteArray& method, const QJsonObject& body, bool auth, AnswerHandler done) const
    {
        launcher.api(path, method, body, auth, std::move(done));
    }

    /// Gives the window a background of one colour and the panels that come with a skin.
    void applySkin(const QColor& colour) const
    {
        launcher.skinImage = QImage(980, 620, QImage::Format_ARGB32);
        launcher.skinImage.fill(colour);
        launcher.primaryPanel = new QWidget(&launcher);
        launcher.worldPanel = new QWidget(&launcher);
        launcher.loginAction = new QPushButton(&launcher);
        launcher.skinLog = new QPlainTextEdit(&launcher);
        for (QWidget* widget : {launcher.primaryPanel, launcher.worldPanel, static_cast<QWidget*>(launcher.skinLog)})
            widget->setGeometry(0, 0, 0, 0);
        launcher.updateSkinActions();
    }
    QWidget* primaryPanel() const { return launcher.primaryPanel; }
    QWidget* worldPanel() const { return launcher.worldPanel; }
    QPushButton* loginAction() const { return launcher.loginAction; }
    QPlainTextEdit* skinLog() const { return launcher.skinLog; }
};

} // namespace vok
