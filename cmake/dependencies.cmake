# Finds the libraries that several parts of the project use.
#
# A cross-compiler must not search the build machine's headers. If a toolchain file sets NRX_HOST_HEADERS to their
# directory, each header-only library is used through a link of its own. NRX_GOOGLETEST_SOURCES is the directory of
# GoogleTest's sources, to build them too.
include_guard()

# Finds the header-only package, whose headers are in the directory `headers`, as the target.
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

# Finds or builds GoogleTest and GoogleMock, with the target GTest::gmock_main.
function(find_googletest)
    if(NOT NRX_GOOGLETEST_SOURCES)
        find_package(GTest REQUIRED)
        return()
    endif()
    set(INSTALL_GTEST OFF)
    set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
    add_subdirectory(${NRX_GOOGLETEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endfunction()
