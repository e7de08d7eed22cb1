include(CMakePackageConfigHelpers)

set(vantrel_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vantrel)
install(TARGETS vantrel_tool RUNTIME COMPONENT program)
if(VANTREL_KIT)
    install(TARGETS vantrel_kit RUNTIME COMPONENT program)
    install(FILES docs/vantrel-kit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
    install(FILES completions/vantrel-kit.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME vantrel-kit COMPONENT program)
    install(FILES completions/_vantrel-kit DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT program)
    install(FILES completions/vantrel-kit.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT program)
endif()
install(TARGETS vantrel_library EXPORT vantrelTargets
    ARCHIVE COMPONENT library
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantrel COMPONENT library)
install(EXPORT vantrelTargets NAMESPACE vantrel:: DESTINATION ${vantrel_package_dir} COMPONENT library)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vantrelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/vantrelConfig.cmake ${PROJECT_BINARY_DIR}/vantrelConfigVersion.cmake
    DESTINATION ${vantrel_package_dir} COMPONENT library)
install(FILES docs/vantrel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
