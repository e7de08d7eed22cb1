# Components: program, library (to compile with) and runtime (to run what was linked with the shared library).
include(CMakePackageConfigHelpers)

install(TARGETS vantrel_tool RUNTIME COMPONENT program)
install(FILES docs/vantrel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
if(VANTREL_KIT)
    install(TARGETS vantrel_kit RUNTIME COMPONENT program)
    install(FILES docs/vantrel-kit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
    install(FILES completions/vantrel-kit.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME vantrel-kit COMPONENT program)
    install(FILES completions/_vantrel-kit DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT program)
    install(FILES completions/vantrel-kit.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT program)
endif()

# Both libraries are vantrel::vantrel; vantrelConfig.cmake loads the targets of one.
set(vantrel_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vantrel)
set(vantrel_headers FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantrel COMPONENT library)
install(TARGETS vantrel_library EXPORT vantrel_static ARCHIVE COMPONENT library ${vantrel_headers})
install(EXPORT vantrel_static FILE vantrel-static-targets.cmake NAMESPACE vantrel::
    DESTINATION ${vantrel_package_dir} COMPONENT library)
if(BUILD_SHARED_LIBS)
    install(TARGETS vantrel_shared EXPORT vantrel_shared
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT library ${vantrel_headers})
    install(EXPORT vantrel_shared FILE vantrel-shared-targets.cmake NAMESPACE vantrel::
        DESTINATION ${vantrel_package_dir} COMPONENT library)
    # The library is found from the program, wherever both are moved to.
    file(RELATIVE_PATH vantrel_libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(vantrel_tool PROPERTIES INSTALL_RPATH $ORIGIN/${vantrel_libraries})
endif()
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vantrelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/vantrelConfig.cmake ${PROJECT_BINARY_DIR}/vantrelConfigVersion.cmake
    DESTINATION ${vantrel_package_dir} COMPONENT library)

file(RELATIVE_PATH vantrel_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" vantrel_prefix "${vantrel_prefix}")
configure_file(cmake/vantrel.pc.in ${PROJECT_BINARY_DIR}/vantrel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vantrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
