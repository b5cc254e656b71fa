/// A disk that is full at a known place.
#pragma once

#include <QtGlobal>

#include <sys/resource.h>

#include <csignal>

namespace vok::test_support
{

/// While it lives, no file of this process can be written beyond `bytes`.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(qint64 bytes)
        : m_action(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = static_cast<rlim_t>(bytes);
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            qFatal("file sizes cannot be limited");
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        static_cast<void>(std::signal(SIGXFSZ, m_action));
    }
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

private:
    rlimit m_before{};
    void (*m_action)(int);
};

} // namespace vok::test_support
