# Finds the libraries that several parts of the project use.
#
# A cross-compiler must not search the build machine's headers. If a toolchain file sets NRX_HOST_HEADERS to the
# directory of these headers, each header-only library gets its own include directory, which has only a symbolic link to
# the headers of the library.
include_guard()

# Defines `target` for the header-only `package`. `headers` is the path of the package's headers, relative to
# NRX_HOST_HEADERS.
function(find_header_library package target headers)
    if(TARGET ${target})
        return()
    endif()
    if(NOT NRX_HOST_HEADERS)
        find_package(${package} REQUIRED)
        return()
    endif()
    if(NOT EXISTS ${NRX_HOST_HEADERS}/${headers})
        message(FATAL_ERROR "${NRX_HOST_HEADERS}/${headers} is missing: expected the headers of ${package}")
    endif()
    set(directory ${PROJECT_BINARY_DIR}/host_headers/${package})
    file(MAKE_DIRECTORY ${directory})
    file(CREATE_LINK ${NRX_HOST_HEADERS}/${headers} ${directory}/${headers} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED GLOBAL)
    target_include_directories(${target} INTERFACE ${directory})
endfunction()
