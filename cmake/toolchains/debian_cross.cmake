# Debian's cross-compiler for the architecture in NRX_TARGET.
set(CMAKE_SYSTEM_NAME Linux)

set(CMAKE_C_COMPILER ${NRX_TARGET}-gcc)  # GoogleTest needs a C compiler.
set(CMAKE_CXX_COMPILER ${NRX_TARGET}-g++)

set(CMAKE_FIND_ROOT_PATH /usr/${NRX_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Header-only libraries and the sources of GoogleTest are the same for every processor. cmake/dependencies.cmake uses
# these headers.
set(NRX_HOST_HEADERS /usr/include)
set(NRX_GOOGLETEST_SOURCES /usr/src/googletest)
