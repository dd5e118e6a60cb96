#include "tools/nrx_console/sysroot.h"

#include <dlfcn.h>

#include <cstdio>
#include <string_view>

namespace {

/// The directory of `redirectDeviceFileOpens`, or an empty text. Never destroyed, because files are opened until the
/// process ends.
std::string& sysroot() {
    static auto* const directory = new std::string;
    return *directory;
}

/// Whether the path is that of a television's own file. Other paths are not redirected.
bool isTelevisions(std::string_view path) { return path.starts_with("/APPS/") || path.starts_with("/var/local/"); }

}  // namespace

extern "C" __attribute__((visibility("default"))) std::FILE* fopen(char const* path, char const* mode) {
    using Open = std::FILE* (*)(char const*, char const*);
    static auto const next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "fopen"));
    if (path == nullptr || sysroot().empty() || !isTelevisions(path)) {
        return next(path, mode);
    }
    return next((sysroot() + path).c_str(), mode);
}

void nrx_console::redirectDeviceFileOpens(std::string const& directory) { sysroot() = directory; }
