#include "accounts/secret_bytes.h"
#include "app/launcher.h"
#include "app/presentable_text.h"
#include "app/whole_file.h"
#include "client/process_log.h"

#include <QDateTime>
#include <QDialog>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

using launcher_client::LineSplitter;
using launcher_client::Output;

namespace
{

constexpr int kMostLogBlocks = 5000;
constexpr int kSmallestLogHeight = 160;

/// Why the output of a process cannot be logged any further; empty where it can. `drained` says whether its lines fit.
QString faultOf(const std::function<bool()>& drained)
{
    try {
        return drained() ? QString() : u"Process output line exceeds 64 KiB; process terminated"_s;
    } catch (...) {
        return u"Cannot log process output; process terminated"_s;
    }
}

} // namespace

QWidget* Launcher::buildDiagnosticsGroup()
{
    auto* group = new QGroupBox(u"Tanılama"_s);
    auto* column = new QVBoxLayout(group);
    diagnosticLogs = new QPlainTextEdit;
    diagnosticLogs->setObjectName(u"diagnosticLogs"_s);
    diagnosticLogs->setAccessibleName(group->title());
    diagnosticLogs->setReadOnly(true);
    diagnosticLogs->setTabChangesFocus(true);
    diagnosticLogs->setMinimumHeight(kSmallestLogHeight);
    diagnosticLogs->setMaximumBlockCount(kMostLogBlocks);
    column->addWidget(diagnosticLogs);

    auto* row = new QHBoxLayout;
    row->addStretch();
    addActionButton(row, u"Tanılama kaydet"_s, u"saveDiagnostics"_s, [this] { saveDiagnostics(); });
    column->addLayout(row);
    return group;
}

void Launcher::logLine(const QString& text)
{
    logLines({text});
}

void Launcher::logLines(const QStringList& texts)
{
    if (texts.isEmpty())
        return;
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    QStringList lines;
    for (const QString& text : texts)
        lines.append(time + u' ' + oneLine(text));
    if (echoToStderr)
        static_cast<void>(std::fprintf(stderr, "%s\n", qUtf8Printable(lines.join(u'\n'))));
    // A damaged store has up to 200000 entries to tell of. What would fall out of the views at once is not put into
    // them.
    const QString shown = lines.last(std::min<qsizetype>(lines.size(), kMostLogBlocks)).join(u'\n');
    diagnosticLogs->appendPlainText(shown);
    if (skinLog != nullptr)
        skinLog->appendPlainText(shown);
}

std::shared_ptr<Output> Launcher::attachProcessLog(
    QProcess* process, const QByteArray& secret, std::function<void(const QString&)> lineHandler)
{
    auto output = std::make_shared<Output>(secret);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    const auto log = [this, process, output,
                      lineHandler = std::move(lineHandler)](QProcess::ProcessChannel channel, bool isFinal) {
        if (output->dead)
            return;
        const QString fault = faultOf([&] {
            // Into the log all at once: one by one, short lines would keep the window from everything else.
            QStringList lines;
            const LineSplitter::LineHandler collect = [&](const QString& line) { lines.append(line); };
            const bool fits = drain(*process, channel, *output, isFinal, lineHandler ? lineHandler : collect);
            logLines(lines);
            return fits;
        });
        if (fault.isEmpty())
            return;
        killForOutput(*process, *output);
        // A message box runs events, in which the process may be replaced while its own code is still on the stack.
        QMetaObject::invokeMethod(
            this, [this, fault] { reportFailure(fault); }, Qt::QueuedConnection);
    };
    connect(process, &QProcess::readyReadStandardOutput, this, [log] { log(QProcess::StandardOutput, false); });
    connect(process, &QProcess::readyReadStandardError, this, [log] { log(QProcess::StandardError, false); });
    connect(process, &QProcess::finished, this, [log, output] {
        log(QProcess::StandardOutput, true);
        log(QProcess::StandardError, true);
        overwrite(output->secret);
    });
    connect(process, &QProcess::errorOccurred, this, [output](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            overwrite(output->secret);
    });
    return output;
}

void Launcher::saveDiagnostics()
{
    const QString path = QFileDialog::getSaveFileName(settingsDialog, u"Diagnostics"_s, u"vok-diagnostics.txt"_s);
    if (path.isEmpty())
        return;
    if (!replaceFile(path, diagnosticLogs->toPlainText().toUtf8()))
        throw std::runtime_error("Cannot save diagnostics");
}

} // namespace vok
