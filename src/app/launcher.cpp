#include "app/launcher.h"

#include "accounts/secret_bytes.h"
#include "app/identity.h"
#include "app/presentable_text.h"
#include "assets/manifest.h"

#include <QApplication>
#include <QBoxLayout>
#include <QDeadlineTimer>
#include <QDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMouseEvent>
#include <QNetworkReply>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QStackedWidget>
#include <QTextDocument>
#include <QThread>
#include <QWindow>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr QSize kFirstSize(980, 620);

// A message box takes a text that looks like markup for rich text, and a failure's text may quote a path or a server's
// words.
QString literally(const QString& text)
{
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

} // namespace

Launcher::Launcher()
{
    setWindowTitle(kProductName);
    setObjectName(u"vokLauncher"_s);
    resize(kFirstSize);
    // First of all widgets: the others read the controls of the settings dialog.
    buildSettings();
    buildServerDialog();
    buildWindow();
}

Launcher::~Launcher()
{
    for (QThread* worker : std::as_const(workers))
        worker->wait(QDeadlineTimer(QDeadlineTimer::Forever));
    overwrite(sessionToken);
    // Widgets and replies outlive the members of this object, and their last signals must not reach it.
    for (const QObject* sender : findChildren<QObject*>() + network.findChildren<QObject*>())
        sender->disconnect(this);
}

void Launcher::open()
{
    restoreProfiles();
    refreshPages();
    logLine(u"Tarvun: Selvira Qt 6.11.3 platform="_s + QGuiApplication::platformName());
}

void Launcher::mousePressEvent(QMouseEvent* event)
{
    // The skinned window has no frame to take hold of.
    if (!skinImage.isNull() && event->button() == Qt::LeftButton && windowHandle() != nullptr)
        windowHandle()->startSystemMove();
    else
        QWidget::mousePressEvent(event);
}

void Launcher::paintEvent(QPaintEvent* event)
{
    if (skinImage.isNull())
        QWidget::paintEvent(event);
    else
        QPainter(this).drawImage(0, 0, skinImage);
}

QPushButton* Launcher::addActionButton(
    QBoxLayout* layout, const QString& caption, const QString& objectName, std::function<void()> handler)
{
    auto* button = new QPushButton(caption);
    button->setObjectName(objectName);
    layout->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, handler = std::move(handler)] { guarded(handler); });
    return button;
}

void Launcher::guarded(const std::function<void()>& action)
{
    try {
        action();
    } catch (const std::exception& error) {
        reportFailure(QString::fromUtf8(error.what()));
    }
}

void Launcher::reportFailure(const QString& text)
{
    endAssetWork();
    const QString shown = presentable(text);
    status->setText(shown);
    logLine(text);
    if (echoToStderr) {
        QCoreApplication::exit(1);
        return;
    }
    // Requests may fail by the dozen, and each box would stand on the one before.
    if (failureOnShow == shown)
        return;
    const QScopedValueRollback onShow(failureOnShow, std::optional(shown));
    QWidget* modal = QApplication::activeModalWidget();
    QMessageBox::warning(modal != nullptr ? modal : this, kProductName, literally(breakable(shown)), QMessageBox::Ok);
}

void Launcher::refreshPages()
{
    installLabel->setText(presentable(u"Kurulum klasörü: "_s + installRoot->text()));
    if (!QFileInfo(launcher_assets::manifestPath(installRoot->text())).isFile())
        pages->setCurrentWidget(installPage);
    else
        pages->setCurrentWidget(sessionToken.isEmpty() ? loginPage : playPage);
}

void Launcher::requireIdle() const
{
    if (assetBusy || !activeReplies.isEmpty())
        throw std::runtime_error("Another installation/update or HTTPS request is active");
}

void Launcher::startAssetWork()
{
    requireIdle();
    assetBusy = true;
    pages->setEnabled(false);
    settingsDialog->setEnabled(false);
    progress->setRange(0, 0);
    progress->show();
    updateSkinActions();
    status->setText(u"Oyun dosyaları işleniyor…"_s);
}

void Launcher::endAssetWork()
{
    assetBusy = false;
    pages->setEnabled(true);
    settingsDialog->setEnabled(true);
    progress->setRange(0, 1);
    progress->setVisible(!skinImage.isNull());
    updateSkinActions();
}

void Launcher::updateSkinActions()
{
    if (skinImage.isNull())
        return;
    const QWidget* page = pages->currentWidget();
    loginAction->setVisible(page == loginPage);
    playButton->setVisible(page == playPage);
    primaryPanel->setEnabled(!assetBusy && page != installPage);
    worldPanel->setEnabled(!assetBusy && page == loginPage);
}

} // namespace vok
