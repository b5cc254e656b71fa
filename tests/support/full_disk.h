/// A disk that takes nothing more.
#pragma once

#include <QtGlobal>

#include <sys/resource.h>

#include <csignal>

namespace vok::test_support
{

/// While it lives, no file of this process can grow: every write fails as on a full disk.
class FullDisk
{
public:
    FullDisk()
    {
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit none = m_before;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    Q_DISABLE_COPY_MOVE(FullDisk)

private:
    rlimit m_before{};
};

} // namespace vok::test_support
