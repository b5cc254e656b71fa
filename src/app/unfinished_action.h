/// What stands in for an action that has its button but not yet its work.
#pragma once

#include <stdexcept>

namespace vok
{

/// Throws std::runtime_error with the text that tells the player so.
[[noreturn]] inline void refuseUnfinishedAction()
{
    throw std::runtime_error("Bu işlem bu sürümde henüz yok");
}

} // namespace vok
