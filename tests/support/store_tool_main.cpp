/// vok-store-tool: the store's operations from a command line, for fault injection and for measuring. One line of JSON
/// on standard output tells the report, the seconds it took and the peak of the process's memory.
#include "assets/import.h"
#include "assets/verify.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;

namespace
{

QDeadlineTimer deadlineFrom(const QString& milliseconds)
{
    return milliseconds.isEmpty() ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(milliseconds.toLongLong());
}

Report performed(const QStringList& words, QDeadlineTimer deadline)
{
    const QString operation = words.value(0);
    if (operation == u"import"_s && words.size() == 3)
        return importTree(words.at(1), words.at(2), deadline);
    if (operation == u"repair"_s && words.size() == 3)
        return repairTree(words.at(1), words.at(2));
    if (operation == u"verify"_s && words.size() == 2)
        return reported([&] { return verifyTree(words.at(1)); });
    throw std::invalid_argument("usage: vok-store-tool import SOURCE ROOT | repair SOURCE ROOT | verify ROOT | idle");
}

/// Of this program alone: getrusage's figure goes on from the process that started it. Null where it cannot be read, as
/// under a fault that a test puts into every call from some point on.
QJsonValue peakMemoryBytes()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return QJsonValue::Null;
    constexpr qint64 kKibibyte = 1024;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmHWM:"))
            return line.simplified().split(' ').at(1).toLongLong() * kKibibyte;
    }
    return QJsonValue::Null;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption deadline(u"deadline-ms"_s, u"Deadline of an import."_s, u"milliseconds"_s);
    parser.addOption(deadline);
    parser.addHelpOption();
    parser.process(application);
    try {
        QElapsedTimer timer;
        timer.start();
        const QStringList words = parser.positionalArguments();
        const bool idle = words == QStringList{u"idle"_s};
        const Report report = idle ? Report() : performed(words, deadlineFrom(parser.value(deadline)));
        constexpr double kNanosecondsPerSecond = 1e9;
        const QJsonObject line = {
            {u"errors"_s, QJsonArray::fromStringList(report.errors)},
            {u"missing"_s, QJsonArray::fromStringList(report.missing)},
            {u"changed"_s, QJsonArray::fromStringList(report.changed)},
            {u"extra"_s, QJsonArray::fromStringList(report.extra)},
            {u"files"_s, report.files},
            {u"bytes"_s, static_cast<double>(report.bytes)},
            {u"seconds"_s, static_cast<double>(timer.nsecsElapsed()) / kNanosecondsPerSecond},
            {u"peak_memory_bytes"_s, peakMemoryBytes()}};
        static_cast<void>(std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData()));
        return report.isClean() ? 0 : 1;
    } catch (const std::exception& failure) {
        static_cast<void>(std::fprintf(stderr, "vok-store-tool: %s\n", failure.what()));
        return 2;
    }
}
