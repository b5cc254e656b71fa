/// Another program that changes a tree at the worst moments.
#pragma once

#include <QFile>
#include <QString>

#include <fcntl.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace vok::test_support
{

/// Exchanges two names with each other as fast as it can for as long as it lives.
class Swapper
{
public:
    Swapper(const QString& first, const QString& second)
        : m_thread([this, one = QFile::encodeName(first), two = QFile::encodeName(second)] {
            while (!m_stopped.load())
                ::renameat2(AT_FDCWD, one.constData(), AT_FDCWD, two.constData(), RENAME_EXCHANGE);
        })
    {
    }
    ~Swapper()
    {
        m_stopped.store(true);
        m_thread.join();
    }
    Swapper(const Swapper&) = delete;
    Swapper& operator=(const Swapper&) = delete;

private:
    std::atomic<bool> m_stopped = false;
    std::thread m_thread;
};

} // namespace vok::test_support
