# Makes a Debian package of each component of cmake/install.cmake, for the processor of the build machine.
if(CMAKE_CROSSCOMPILING OR NOT TARGET nrx_console OR NOT TARGET nrx_web_extension)
    message(FATAL_ERROR "NRX_PACKAGES is on: expected a build for this machine with the simulator, the bus and the web "
                        "extension")
endif()
find_program(NRX_HELP2MAN help2man REQUIRED)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "NRX model access maintainers <maintainers@nrx-model-access.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # Each package has its own summary.
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_CUSTOM_INSTALL_VARIABLES NRX_PACKAGE_PREFIX=${CMAKE_INSTALL_PREFIX})  # The prefix of an installed package.
set(CPACK_DEBIAN_PACKAGE_SOURCE nrx-model-access)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# dpkg-shlibdeps finds Debian's libraries in installed packages, but needs the directories of this project's libraries.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/simulator ${PROJECT_BINARY_DIR}/bus)

set(packaging_directory ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${packaging_directory})
set(changelog ${packaging_directory}/changelog.Debian.gz)
add_custom_command(
    OUTPUT ${changelog}
    COMMAND ${PROJECT_SOURCE_DIR}/cmake/debian_changelog ${CPACK_DEBIAN_PACKAGE_SOURCE} ${PROJECT_VERSION}
            ${CPACK_PACKAGE_CONTACT} ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${changelog}
    DEPENDS ${PROJECT_SOURCE_DIR}/cmake/debian_changelog ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    VERBATIM)
set(packaging_files ${changelog})

# Makes a program's manual page from its --help and from the optional file PROGRAM.h2m beside its sources.
function(add_manual_page program component summary)
    set(page ${packaging_directory}/${program}.1)
    get_target_property(directory ${program} SOURCE_DIR)
    file(GLOB included CONFIGURE_DEPENDS ${directory}/${program}.h2m)
    add_custom_command(
        OUTPUT ${page}.gz
        COMMAND ${NRX_HELP2MAN} --no-info --version-string=${PROJECT_VERSION} --name=${summary}
                "$<$<BOOL:${included}>:--include=${included}>" --output=${page} $<TARGET_FILE:${program}>
        COMMAND gzip -9nf ${page}
        DEPENDS ${program} ${included}
        COMMAND_EXPAND_LISTS
        VERBATIM)
    install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
    set(packaging_files ${packaging_files} ${page}.gz PARENT_SCOPE)
endfunction()
add_manual_page(nrx_console tools "drive the NRX model access library by hand")
add_manual_page(nrx_timeline tools "show a log of the NRX model access library over time")
add_manual_page(nrx_bus_console bus_tools "drive the NRX model access library by hand, over D-Bus")
add_manual_page(nrx_television bus_tools "serve a simulated television on D-Bus")
add_custom_target(packaging_files ALL DEPENDS ${packaging_files})

install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libnrx-model-access-dev COMPONENT development
        FILES_MATCHING PATTERN *.cpp)
# Installs the reference if scripts/docs has made the reference.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
        OPTIONAL)

# Adds a component's package with its section, the components on which the package depends, and its description: a
# summary, a paragraph and an optional second paragraph.
macro(add_package component name section depends summary paragraph second)
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_COMPONENT_${key}_DEPENDS ${depends})
    string(STRIP "${summary}\n${paragraph}\n\n${second}" CPACK_COMPONENT_${key}_DESCRIPTION)
    install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} RENAME copyright COMPONENT ${component})
    install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endmacro()
set(library "A television's web engine talks to the NRX service, the television's
background service, through this library, and reads facts about the device.")
set(simulator "A television in the process, to run and test clients of its data model
without a device.")
set(bus "A television on D-Bus, for several processes such as the web engine, the NRX
service and a console.")

add_package(runtime libnrx-model-access${PROJECT_VERSION_MAJOR} libs ""
"client-side access to a television's NRX service" "${library}"
"This is the shared library, which takes its television from the platform
library of the program.")
add_package(development libnrx-model-access-dev libdevel runtime
"client-side access to a television's NRX service - development files" "${library}"
"These are the headers, the files for CMake and pkg-config, and examples.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libboost-dev)
# A program also links a platform library.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "libnrx-simulator-dev | libnrx-bus-platform-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libnrx-model-access-doc)
add_package(simulator libnrx-simulator${PROJECT_VERSION_MAJOR} libs ""
"simulated television for clients of the NRX service" "${simulator}"
"This is the shared library.")
add_package(simulator_development libnrx-simulator-dev libdevel "simulator;development"
"simulated television for clients of the NRX service - development files" "${simulator}"
"These are the headers, and the files for CMake and pkg-config.")
add_package(documentation libnrx-model-access-doc doc ""
"client-side access to a television's NRX service - documentation" "${library}"
"These are the guide, the promises of the library, the bring-up on a
television, the measured cost, and the reference.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)  # CPack would examine each page for half a minute.
add_package(tools nrx-tools devel "runtime;simulator"
"programs around the NRX model access library"
"The console nrx_console drives the library by hand, or by a script, against
a simulated television; nrx_timeline shows its log over time. With an
example session." "")
add_package(bus libnrx-bus-platform${PROJECT_VERSION_MAJOR} libs ""
"television on D-Bus for clients of the NRX service" "${bus}"
"This is the platform library for its clients.")
add_package(bus_development libnrx-bus-platform-dev libdevel "bus;development"
"television on D-Bus for clients of the NRX service - development files" "${bus}"
"These are the headers, the files for CMake and pkg-config, and the D-Bus
interfaces.")
add_package(bus_tools nrx-bus-tools devel "runtime;simulator;bus;tools"
"television on D-Bus, and a console for it" "${bus}"
"The program nrx_television serves a simulated television; nrx_bus_console
drives the library against any television on D-Bus. The examples have the
files with which the system or a client starts nrx_television.")
add_package(web nrx-web-extension web "runtime;bus"
"television for the pages of a web engine" "${bus}"
"The extension gives pages of WPE WebKit the object nrx, with which they
receive, read and write the lists of the NRX service. With types for
TypeScript and an example page.")
set(CPACK_DEBIAN_WEB_PACKAGE_ENHANCES cog)

# The package of each library has a file `shlibs`, from which the packages of dependent programs get the dependency on
# the library. CPack would write these files only after a search of all packages, also of the documentation.
#
# A trigger calls ldconfig. If a package named no maintainer scripts, CPack would write scripts that call ldconfig too.
# Therefore these packages name scripts that do not exist. CPack then warns about the missing files and writes no
# scripts.
file(WRITE ${packaging_directory}/triggers "activate-noawait ldconfig\n")
set(library_keys RUNTIME SIMULATOR BUS)
set(libraries nrx_model_access nrx_simulator nrx_bus_platform)
foreach(key library IN ZIP_LISTS library_keys libraries)
    set(shlibs ${packaging_directory}/${library}/shlibs)
    set(release ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
    file(WRITE ${shlibs}
         "lib${library} ${PROJECT_VERSION_MAJOR} ${CPACK_DEBIAN_${key}_PACKAGE_NAME} (>= ${release})\n")
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${shlibs}
        ${packaging_directory}/triggers ${packaging_directory}/none/postinst ${packaging_directory}/none/postrm)
endforeach()

include(CPack)
