#include "app/launcher.h"
#include "app/unfinished_action.h"
#include "assets/import.h"
#include "assets/report.h"
#include "assets/verify.h"

#include <QDeadlineTimer>
#include <QDialog>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QThread>

#include <exception>
#include <optional>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

using launcher_assets::Report;

/// What comes back from a worker: the report of work that came to its end, or the text of what stopped it.
struct AssetOutcome
{
    Report report;
    std::optional<QString> error;
};

namespace
{

AssetOutcome outcomeOf(const std::function<Report()>& work)
{
    try {
        return {work(), std::nullopt};
    } catch (const std::exception& error) {
        return {Report(), QString::fromUtf8(error.what())};
    }
}

} // namespace

void Launcher::assetTask(std::function<Report()> work, std::function<void()> after)
{
    startAssetWork();
    QThread* worker = QThread::create([this, work = std::move(work), after = std::move(after)] {
        // The destructor waits for this thread, so the window is there to post to; what it never comes to run is
        // dropped.
        QMetaObject::invokeMethod(
            this, [this, outcome = outcomeOf(work), after] { guarded([&] { finishAssetTask(outcome, after); }); },
            Qt::QueuedConnection);
    });
    worker->setParent(this);
    connect(worker, &QThread::finished, this, [this, worker] {
        workers.removeOne(worker);
        worker->deleteLater();
    });
    worker->start(QThread::InheritPriority);
    // QThread only warns where the system has no thread to give. A quick worker may be at its end already; asked in
    // this order, it cannot slip through between the two.
    if (!worker->isRunning() && !worker->isFinished()) {
        worker->deleteLater();
        endAssetWork();
        throw std::runtime_error("Cannot start asset worker thread");
    }
    // Its end is told by the event loop, so never before this.
    workers.append(worker);
}

void Launcher::finishAssetTask(const AssetOutcome& outcome, const std::function<void()>& after)
{
    endAssetWork();
    if (outcome.error) {
        reportFailure(*outcome.error);
        return;
    }
    const Report& report = outcome.report;
    logLine(u"Asset files=%1 bytes=%2 missing=%3 changed=%4 extra=%5"_s.arg(report.files)
                .arg(report.bytes)
                .arg(report.missing.size())
                .arg(report.changed.size())
                .arg(report.extra.size()));
    logLines(report.errors + report.missing + report.changed + report.extra);
    if (!report.isClean()) {
        reportFailure(u"Varlık doğrulaması başarısız; tanılama ayrıntılarını inceleyin"_s);
        return;
    }
    if (after)
        after();
    status->setText(u"Varlıklar doğrulandı / Assets verified"_s);
    refreshPages();
}

void Launcher::importAssets(bool installer)
{
    persistSettings();
    requireIdle();
    if (installer)
        refuseUnfinishedAction();
    const QString source = QFileDialog::getExistingDirectory(
        this, u"Mevcut özgün oyun kurulum klasörü"_s, assetSource->text(), QFileDialog::ShowDirsOnly);
    if (source.isEmpty())
        return;
    assetSource->setText(source);
    persistSettings();
    assetTask(
        [source, root = installRoot->text()] {
            return launcher_assets::importTree(source, root, QDeadlineTimer(QDeadlineTimer::Forever));
        },
        {});
}

void Launcher::verifyAssets(bool repair)
{
    persistSettings();
    const QString root = installRoot->text();
    if (!repair) {
        assetTask([root] { return launcher_assets::verifyTree(root); }, {});
        return;
    }
    const QString source = QFileDialog::getExistingDirectory(
        settingsDialog, u"Select preserved source for hash-checked repair"_s, assetSource->text(),
        QFileDialog::ShowDirsOnly);
    if (source.isEmpty())
        return;
    assetSource->setText(source);
    persistSettings();
    assetTask([source, root] { return launcher_assets::repairTree(source, root); }, {});
}

} // namespace vok
