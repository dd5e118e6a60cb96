#pragma once

#include <string>

namespace nrx_console {

/// From now on, the television's own files, which the process opens with `fopen` below /APPS and /var/local, are looked
/// for below `directory` instead: the library reads the device identifier from fixed paths. An empty directory ends
/// that. Not while another thread opens files.
///
/// A program that uses this exports its `fopen` (the ENABLE_EXPORTS property of CMake), so that the shared libraries
/// find it before the C library's.
void setSysroot(std::string const& directory);

}  // namespace nrx_console
