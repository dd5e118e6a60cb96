#pragma once

#include <functional>

namespace television {

/// Whether the television is usable.
enum class Presence {
    gone,     ///< No television was found yet, or the television was lost.
    reached,  ///< The first television was found.
    back,     ///< A television was found after the loss of an earlier television.
};

/// Receives the changes of the presence in their order. Receives `reached` or `back` before any notification of the
/// television that was found.
using PresenceListener = std::function<void(Presence presence)>;

}  // namespace television
