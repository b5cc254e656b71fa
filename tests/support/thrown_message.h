/// What a refusal said, so that a test can compare it whole.
#pragma once

#include <QString>

#include <exception>

namespace vok::test_support
{

/// The text of the `Exception` that `action` throws, or "nothing was thrown". What is thrown besides passes through.
template <typename Exception = std::exception, typename Action> QString thrownMessage(Action&& action)
{
    try {
        action();
    } catch (const Exception& exception) {
        return QString::fromUtf8(exception.what());
    }
    return QStringLiteral("nothing was thrown");
}

} // namespace vok::test_support
