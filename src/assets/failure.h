/// How the store refuses: with an exception that carries a finished text.
#pragma once

#include <QString>

#include <stdexcept>

namespace vok::launcher_assets
{

/// Throws std::runtime_error with `message` in UTF-8.
[[noreturn]] inline void fail(const QString& message)
{
    throw std::runtime_error(message.toStdString());
}

} // namespace vok::launcher_assets
