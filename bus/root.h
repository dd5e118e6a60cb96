#pragma once

#include <boost/shared_ptr.hpp>

#include "frame/process.h"

// Private to the platform library.

namespace bus {

/// A reference to the root interface, which belongs to the process: it is there whether a television is or not.
boost::shared_ptr<frame::Interface> makeRoot();

}  // namespace bus
