#pragma once

#include <string>

namespace nrx_console {

/// Redirects `fopen` of the television's own files, which are below /APPS and /var/local, to `directory`: the library
/// reads the device identifier from fixed paths. An empty directory ends the redirection. Must not be called while
/// another thread opens files.
///
/// The program exports its `fopen` (the ENABLE_EXPORTS property of CMake), so that the shared libraries find it before
/// that of the C library.
void setSysroot(std::string const& directory);

}  // namespace nrx_console
