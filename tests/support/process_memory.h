/// How much memory this process holds, as the system counts it.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QRegularExpression>

namespace vok::test_support
{

/// The field `name` of /proc/self/status in bytes: "VmRSS" for what is held now, "VmHWM" for the most so far.
inline qint64 processMemory(const char* name)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no account of this process's memory");
    const QRegularExpression field(
        QStringLiteral("^%1:\\s*(\\d+) kB$").arg(QString::fromLatin1(name)), QRegularExpression::MultilineOption);
    const auto match = field.match(QString::fromLatin1(file.readAll()));
    if (!match.hasMatch())
        qFatal("no such account of memory: %s", name);
    return match.captured(1).toLongLong() * 1024;
}

/// The growth of the most that was held at once, over what was held when this object was made.
class PeakGrowth
{
public:
    PeakGrowth()
    {
        QFile reset(QStringLiteral("/proc/self/clear_refs"));
        if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1)
            qFatal("the account of the peak cannot be begun anew");
        reset.close();
        m_before = processMemory("VmHWM");
    }
    qint64 bytes() const { return processMemory("VmHWM") - m_before; }

private:
    qint64 m_before = 0;
};

} // namespace vok::test_support
