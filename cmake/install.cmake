# What `cmake --install` lays down, in the components runtime, development, simulator, simulator_development, bus,
# bus_development, tools, bus_tools, web and documentation. It can be moved: the CMake package and the pkg-config files reckon
# from their own place, and programs and libraries look from theirs.
include(CMakePackageConfigHelpers)

set(cmake_directory ${CMAKE_INSTALL_LIBDIR}/cmake/nrx_model_access)
set(pkgconfig_directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_PREFIX}/${pkgconfig_directory} ${CMAKE_INSTALL_PREFIX})

# The library, and the declarations of the platform apart from its own.
set(platform_headers ${CMAKE_INSTALL_INCLUDEDIR}/nrx_platform)
set_target_properties(nrx_platform PROPERTIES EXPORT_NAME platform)
install(TARGETS nrx_model_access EXPORT nrx_model_access-targets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        FILE_SET HEADERS COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS nrx_platform EXPORT nrx_model_access-targets
        FILE_SET HEADERS DESTINATION ${platform_headers} COMPONENT development
        INCLUDES DESTINATION ${platform_headers})
install(EXPORT nrx_model_access-targets
        NAMESPACE nrx_model_access:: DESTINATION ${cmake_directory} COMPONENT development)
configure_package_config_file(cmake/nrx_model_access-config.cmake.in nrx_model_access-config.cmake
                              INSTALL_DESTINATION ${cmake_directory} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(nrx_model_access-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nrx_model_access-config.cmake
              ${PROJECT_BINARY_DIR}/nrx_model_access-config-version.cmake
        DESTINATION ${cmake_directory} COMPONENT development)
configure_file(cmake/nrx_model_access.pc.in nrx_model_access.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nrx_model_access.pc DESTINATION ${pkgconfig_directory} COMPONENT development)

if(TARGET nrx_simulator)
    # The library finds it for programs that do not call it themselves; a television's own is the system's to find.
    set_target_properties(nrx_model_access PROPERTIES INSTALL_RPATH $ORIGIN)
    set(simulator_headers ${CMAKE_INSTALL_INCLUDEDIR}/nrx_simulator)
    set_target_properties(nrx_simulator PROPERTIES EXPORT_NAME simulator)
    install(TARGETS nrx_simulator EXPORT nrx_model_access-simulator-targets
            LIBRARY COMPONENT simulator NAMELINK_COMPONENT simulator_development
            FILE_SET HEADERS DESTINATION ${simulator_headers} COMPONENT simulator_development
            INCLUDES DESTINATION ${simulator_headers})
    install(EXPORT nrx_model_access-simulator-targets
            NAMESPACE nrx_model_access:: DESTINATION ${cmake_directory} COMPONENT simulator_development)
    configure_file(cmake/nrx_simulator.pc.in nrx_simulator.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/nrx_simulator.pc
            DESTINATION ${pkgconfig_directory} COMPONENT simulator_development)
endif()

if(TARGET nrx_bus_platform)
    set(bus_headers ${CMAKE_INSTALL_INCLUDEDIR}/nrx_bus)
    set_target_properties(nrx_bus_platform PROPERTIES EXPORT_NAME bus_platform)
    install(TARGETS nrx_bus_platform EXPORT nrx_model_access-bus-targets
            LIBRARY COMPONENT bus NAMELINK_COMPONENT bus_development
            FILE_SET HEADERS DESTINATION ${bus_headers} COMPONENT bus_development
            INCLUDES DESTINATION ${bus_headers})
    install(EXPORT nrx_model_access-bus-targets
            NAMESPACE nrx_model_access:: DESTINATION ${cmake_directory} COMPONENT bus_development)
    configure_file(cmake/nrx_bus_platform.pc.in nrx_bus_platform.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/nrx_bus_platform.pc
            DESTINATION ${pkgconfig_directory} COMPONENT bus_development)
    install(FILES bus/nrx.Television1.xml
            DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces COMPONENT bus_development)
endif()

if(TARGET nrx_web_extension)
    # A folder of its own: the engine loads every library of it.
    set(web_directory ${CMAKE_INSTALL_LIBDIR}/nrx-web-extension)
    install(TARGETS nrx_web_extension LIBRARY DESTINATION ${web_directory} COMPONENT web)
    set_target_properties(nrx_web_extension PROPERTIES INSTALL_RPATH $ORIGIN/..)
    install(FILES web/nrx.d.ts DESTINATION ${web_directory} COMPONENT web)
    # A page to start from, which finds the script beside its folder.
    set(web_examples ${CMAKE_INSTALL_DATADIR}/doc/nrx-web-extension/examples)
    install(DIRECTORY web/example DESTINATION ${web_examples} COMPONENT web)
    install(FILES web/nrx.js DESTINATION ${web_examples} COMPONENT web)
endif()

if(TARGET nrx_console)
    file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    install(TARGETS nrx_console RUNTIME COMPONENT tools)
    set_target_properties(nrx_console PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
    if(TARGET nrx_timeline)
        set_target_properties(nrx_timeline PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
        install(TARGETS nrx_timeline RUNTIME COMPONENT tools)
    endif()
    if(TARGET nrx_bus_platform)
        set_target_properties(nrx_bus_console nrx_television PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
        install(TARGETS nrx_bus_console nrx_television RUNTIME COMPONENT bus_tools)
        # For those who want them: a bus must start no simulated television for a program that means a real one.
        install(FILES ${PROJECT_BINARY_DIR}/tools/nrx_television/nrx.Television1.service
                      ${PROJECT_BINARY_DIR}/tools/nrx_television/nrx-television.service
                      tools/nrx_television/system/nrx-television.sysusers
                      tools/nrx_television/system/nrx.Television1.conf
                DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/nrx-bus-tools/examples COMPONENT bus_tools)
    endif()
    if(TARGET nrx_simulator)  # Its television.
        install(DIRECTORY tools/nrx_console/example DESTINATION ${CMAKE_INSTALL_DATADIR}/nrx_console COMPONENT tools)
    endif()
endif()

# The README's links lead to docs/ there, too.
install(FILES README.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
if(NOT NRX_PACKAGES)  # A package has it as Debian's changelog.
    install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
endif()
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation FILES_MATCHING PATTERN *.cpp)
install(DIRECTORY docs/reference DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.svg docs/*.png)
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
