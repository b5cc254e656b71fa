/// What a refusal said, so that a test can compare it whole.
#pragma once

#include <QString>

#include <exception>

namespace vok::test_support
{

/// The text of the `Exception` that `action` throws, or an empty one where it throws nothing. What is thrown besides
/// passes through.
template <typename Exception = std::exception, typename Action> QString failureOf(Action&& action)
{
    try {
        action();
    } catch (const Exception& exception) {
        return QString::fromUtf8(exception.what());
    }
    return {};
}

} // namespace vok::test_support
