#include "app/launcher.h"
#include "app/presentable_text.h"
#include "client/whole_file.h"

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
namespace
{

constexpr int kMostLogBlocks = 5000;
constexpr int kSmallestLogHeight = 160;

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

void Launcher::saveDiagnostics()
{
    const QString path = QFileDialog::getSaveFileName(settingsDialog, u"Diagnostics"_s, u"vok-diagnostics.txt"_s);
    if (path.isEmpty())
        return;
    if (!launcher_client::replaceFile(path, diagnosticLogs->toPlainText().toUtf8()))
        throw std::runtime_error("Cannot save diagnostics");
}

} // namespace vok
