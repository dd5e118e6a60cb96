#pragma once

#include <functional>

namespace television {

/// Whether a television can be used.
enum class Presence {
    gone,     ///< There is no television, or none was found yet.
    reached,  ///< The first television was found.
    back,     ///< A television was found after an earlier one was lost.
};

/// Receives the changes of the presence, in their order. A television is found before its notifications arrive.
using PresenceListener = std::function<void(Presence presence)>;

}  // namespace television
