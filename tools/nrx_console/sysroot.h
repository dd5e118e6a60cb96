#pragma once

#include <string>

namespace nrx_console {

/// Redirects `fopen` of the television's own files, which are below /APPS and /var/local, to `directory`. The library
/// reads the device identifier from two of these files. An empty directory ends the redirection. Must not be called
/// while another thread opens files.
///
/// The program exports its `fopen` (the ENABLE_EXPORTS property of CMake), so that the shared libraries call the
/// program's `fopen` instead of the C library's.
void redirectDeviceFileOpens(std::string const& directory);

}  // namespace nrx_console
