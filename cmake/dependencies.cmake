# The libraries that are found in the same way by several parts of the project.
#
# A cross-compiler must not see the build machine's own headers. A toolchain file that sets NRX_HOST_HEADERS has the
# libraries that consist of headers taken from that directory, each through a link of its own; with
# NRX_GOOGLETEST_SOURCES, GoogleTest is built from there.
include_guard()

# Finds the package that consists of the directory of headers and gives it the target.
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

# GoogleTest and GoogleMock, with the target GTest::gmock_main.
function(find_googletest)
    if(NOT NRX_GOOGLETEST_SOURCES)
        find_package(GTest REQUIRED)
        return()
    endif()
    set(INSTALL_GTEST OFF)
    set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
    add_subdirectory(${NRX_GOOGLETEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endfunction()
