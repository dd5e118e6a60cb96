# Defines what `cmake --install` installs, in the components runtime, development, simulator, simulator_development,
# bus, bus_development, tools, bus_tools, web and documentation. The installed folder can be moved: all paths in the
# installed files are relative, except the path of nrx_television in the example service files.
include(CMakePackageConfigHelpers)

set(cmake_directory ${CMAKE_INSTALL_LIBDIR}/cmake/nrx_model_access)
set(pkgconfig_directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_PREFIX}/${pkgconfig_directory} ${CMAKE_INSTALL_PREFIX})

# The library. The declarations of the platform have their own directory.
set(platform_headers ${CMAKE_INSTALL_INCLUDEDIR}/nrx_platform)
set_target_properties(nrx_platform PROPERTIES EXPORT_NAME platform)
install(TARGETS nrx_model_access EXPORT nrx_model_access-targets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        FILE_SET HEADERS COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS nrx_platform EXPORT nrx_model_access-targets
        FILE_SET HEADERS DESTINATION ${platform_headers} COMPONENT development
        INCLUDES DESTINATION ${platform_headers})
set(client_headers ${CMAKE_INSTALL_INCLUDEDIR}/nrx_client)
set_target_properties(nrx_client PROPERTIES EXPORT_NAME client)
install(TARGETS nrx_client EXPORT nrx_model_access-targets
        FILE_SET HEADERS DESTINATION ${client_headers} COMPONENT development
        INCLUDES DESTINATION ${client_headers})
install(EXPORT nrx_model_access-targets
        NAMESPACE nrx_model_access:: DESTINATION ${cmake_directory} COMPONENT development)
configure_package_config_file(cmake/nrx_model_access-config.cmake.in nrx_model_access-config.cmake
                              INSTALL_DESTINATION ${cmake_directory} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(nrx_model_access-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nrx_model_access-config.cmake
              ${PROJECT_BINARY_DIR}/nrx_model_access-config-version.cmake
        DESTINATION ${cmake_directory} COMPONENT development)
if(simulated)  # The library is linked with no platform library.
    set(platform_packages "; link it with nrx_simulator or nrx_bus_platform")
endif()
foreach(name nrx_model_access nrx_client)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_directory} COMPONENT development)
endforeach()

# Installs a platform library with its headers, CMake target and pkg-config file.
function(install_platform_library target component exported_name description)
    set(headers ${CMAKE_INSTALL_INCLUDEDIR}/nrx_${component})
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${exported_name})
    install(TARGETS ${target} EXPORT nrx_model_access-${component}-targets
            LIBRARY COMPONENT ${component} NAMELINK_COMPONENT ${component}_development
            FILE_SET HEADERS DESTINATION ${headers} COMPONENT ${component}_development
            INCLUDES DESTINATION ${headers})
    install(EXPORT nrx_model_access-${component}-targets
            NAMESPACE nrx_model_access:: DESTINATION ${cmake_directory} COMPONENT ${component}_development)
    configure_file(cmake/nrx_platform_library.pc.in ${target}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${target}.pc DESTINATION ${pkgconfig_directory}
            COMPONENT ${component}_development)
endfunction()

if(TARGET nrx_simulator)
    install_platform_library(nrx_simulator simulator simulator
        "A television in the process, to test clients of its data model without a device")
endif()

if(TARGET nrx_bus_platform)
    install_platform_library(nrx_bus_platform bus bus_platform "A television on D-Bus, for clients of its data model")
    install(FILES bus/nrx.Television1.xml
            DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces COMPONENT bus_development)
endif()

if(TARGET nrx_web_extension)
    # The extension has its own folder, because the engine loads every library of the folder.
    set(web_directory ${CMAKE_INSTALL_LIBDIR}/nrx-web-extension)
    install(TARGETS nrx_web_extension LIBRARY DESTINATION ${web_directory} COMPONENT web)
    set_target_properties(nrx_web_extension PROPERTIES INSTALL_RPATH $ORIGIN/..)
    install(FILES web/nrx.d.ts DESTINATION ${web_directory} COMPONENT web)
    # The example page loads `nrx.js` from the folder above its own folder.
    set(web_examples ${CMAKE_INSTALL_DATADIR}/doc/nrx-web-extension/examples)
    install(DIRECTORY web/example DESTINATION ${web_examples} COMPONENT web)
    install(FILES web/nrx.js DESTINATION ${web_examples} COMPONENT web)
endif()

if(TARGET nrx_console)
    file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set(programs nrx_console)
    if(TARGET nrx_timeline)
        list(APPEND programs nrx_timeline)
    endif()
    install(TARGETS ${programs} RUNTIME COMPONENT tools)
    if(TARGET nrx_bus_platform)
        list(APPEND programs nrx_bus_console nrx_television)
        install(TARGETS nrx_bus_console nrx_television RUNTIME COMPONENT bus_tools)
        # Installs the service files as examples in a directory that no bus reads, because a bus must not start a
        # simulated television instead of a real television.
        set(bus_examples ${CMAKE_INSTALL_DATADIR}/doc/nrx-bus-tools/examples)
        install(FILES tools/nrx_television/system/nrx-television.sysusers
                      tools/nrx_television/system/nrx.Television1.conf
                DESTINATION ${bus_examples} COMPONENT bus_tools)
        # Writes the program's full path to the service files during the installation, because the option --prefix of
        # `cmake --install` may change the configured prefix. If the installation is a step of a package's build, the path
        # begins with NRX_PACKAGE_PREFIX, the prefix under which the package is installed later.
        cmake_path(ABSOLUTE_PATH bus_examples BASE_DIRECTORY "\${CMAKE_INSTALL_PREFIX}")
        install(CODE "
            set(program_prefix \"\${CMAKE_INSTALL_PREFIX}\")
            if(DEFINED NRX_PACKAGE_PREFIX)
                set(program_prefix \"\${NRX_PACKAGE_PREFIX}\")
            endif()
            cmake_path(ABSOLUTE_PATH program_prefix NORMALIZE)
            set(CMAKE_INSTALL_FULL_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
            cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_FULL_BINDIR BASE_DIRECTORY \"\${program_prefix}\")
            foreach(template nrx.Television1.service system/nrx-television.service)
                cmake_path(GET template FILENAME file)
                set(file \"${PROJECT_BINARY_DIR}/tools/nrx_television/installed/\${file}\")
                configure_file(\"${PROJECT_SOURCE_DIR}/tools/nrx_television/\${template}.in\" \"\${file}\" @ONLY)
                file(INSTALL \"\${file}\" DESTINATION \"${bus_examples}\")
            endforeach()"
            COMPONENT bus_tools)
    endif()
    if(TARGET nrx_simulator)  # Only the simulator can use the example's model.
        install(DIRECTORY tools/nrx_console/example DESTINATION ${CMAKE_INSTALL_DATADIR}/nrx_console COMPONENT tools)
    endif()
    set_target_properties(${programs} PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
endif()

# The directory layout keeps the README's links to docs/ valid.
install(FILES README.md CONTRIBUTING.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
if(NOT NRX_PACKAGES)  # Packages have a Debian changelog instead.
    install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
endif()
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation FILES_MATCHING PATTERN *.cpp)
install(DIRECTORY docs/reference DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation
        FILES_MATCHING PATTERN *.md)
file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.svg docs/*.png)
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
