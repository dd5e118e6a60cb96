# Compiler and linker options of this project's targets. Targets of consumers do not get these options.
include_guard()

find_package(Threads REQUIRED)

add_library(nrx_build_options INTERFACE)
target_compile_options(nrx_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Woverloaded-virtual
    -Wnon-virtual-dtor -Wformat=2 -Wimplicit-fallthrough -Wextra-semi
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # GCC 12 reports impossible overlaps in std::string.
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta -Wreserved-identifier>
    # Removes the path of the source directory from the file names in log lines and in debug information.
    -fdebug-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(NRX_WARNINGS_AS_ERRORS)
    target_compile_options(nrx_build_options INTERFACE -Werror)
endif()
if(NRX_SANITIZERS)
    target_compile_options(nrx_build_options INTERFACE
        -fsanitize=${NRX_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)  # With sanitizers, GCC 12 warns about initialised variants.
    target_compile_definitions(nrx_build_options INTERFACE _GLIBCXX_ASSERTIONS)
    target_link_options(nrx_build_options INTERFACE -fsanitize=${NRX_SANITIZERS})
endif()
