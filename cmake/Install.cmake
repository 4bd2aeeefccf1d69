# What is installed besides modules and programs: the platform library with its headers for
# applications, found by find_package(ZlkCamTr) and by pkg-config, what the system around wants to
# know of the programs, and the classes of the modules.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/zlkcamtr)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/ZlkCamTr)

set_target_properties(zlkplatform PROPERTIES EXPORT_NAME ZlkCamTr)
target_include_directories(zlkplatform INTERFACE $<INSTALL_INTERFACE:${headers}>)
target_compile_features(zlkplatform INTERFACE cxx_std_20)
install(TARGETS zlkplatform EXPORT ZlkCamTr LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT ZlkCamTr NAMESPACE ZlkCamTr:: FILE ZlkCamTrConfig.cmake DESTINATION ${package})
write_basic_package_version_file(ZlkCamTrConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZlkCamTrConfigVersion.cmake DESTINATION ${package})

file(GLOB platform_headers CONFIGURE_DEPENDS platform/*.h)
file(GLOB interface_headers CONFIGURE_DEPENDS interfaces/*.h)
install(FILES ${platform_headers} DESTINATION ${headers}/platform)
install(FILES ${interface_headers} DESTINATION ${headers}/interfaces)
install(FILES usbscan/usbscan.h DESTINATION ${headers}/usbscan)
install(FILES ${CMAKE_BINARY_DIR}/generated/ZlkCamTr.h DESTINATION ${headers})

file(RELATIVE_PATH up ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/zlkcamtr.pc.in zlkcamtr.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zlkcamtr.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES packaging/udev/70-zlkcamtr.rules DESTINATION lib/udev/rules.d)
install(FILES packaging/bash-completion/zlkcam
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# As small as gzip can and without the file's time, which is how a distribution takes its pages.
function(zlk_install_compressed file destination)
  get_filename_component(name ${file} NAME)
  set(original ${PROJECT_SOURCE_DIR}/${file})
  set(compressed ${CMAKE_CURRENT_BINARY_DIR}/compressed/${name}.gz)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/compressed)
  add_custom_command(OUTPUT ${compressed} COMMAND gzip -9nc ${original} > ${compressed}
                     DEPENDS ${original} VERBATIM)
  add_custom_target(${name}_compressed DEPENDS ${compressed})
  add_dependencies(product ${name}_compressed)
  install(FILES ${compressed} DESTINATION ${destination})
endfunction()

set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/zlkcamtr)
zlk_install_compressed(man/zlkcam.1 ${CMAKE_INSTALL_MANDIR}/man1)
zlk_install_compressed(man/zlkcamsim.1 ${CMAKE_INSTALL_MANDIR}/man1)
zlk_install_compressed(man/zlk-usbscan.8 ${CMAKE_INSTALL_MANDIR}/man8)
file(STRINGS packaging/debian/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^zlkcamtr [(]${PROJECT_VERSION}[)] ")
  message(FATAL_ERROR "packaging/debian/changelog doesn't begin with version ${PROJECT_VERSION}.")
endif()
zlk_install_compressed(packaging/debian/changelog ${documents})
install(FILES packaging/debian/copyright DESTINATION ${documents})
install(FILES packaging/debian/lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME zlkcamtr)

# The modules register on a machine of their own, and what they wrote becomes the store of
# installed classes beside them: every user of the installed tree has the components.
if(TARGET zlkcam)
  install(CODE "
    set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    set(classes \"\${root}/${CMAKE_INSTALL_LIBDIR}/zlkcamtr/classes.db\")
    set(machine \"${CMAKE_BINARY_DIR}/install-machine\")
    file(REMOVE_RECURSE \"\${machine}\" \"\${classes}\")
    message(STATUS \"Installing: \${classes}\")
    execute_process(
      COMMAND \${CMAKE_COMMAND} -E env \"ZLK_MACHINE=\${machine}\"
              \"\${root}/${CMAKE_INSTALL_BINDIR}/zlkcam\" register --installed \"\${classes}\"
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE \"\${machine}\")
    file(CHMOD \"\${classes}\" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)")
endif()

set(CPACK_PACKAGE_NAME zlkcamtr)
# The same as in the changelog and the copyright.
set(CPACK_PACKAGE_CONTACT "The ZlkCamTr maintainers <maintainers@zlkcamtr.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "component server for digital cameras and memory cards")
set(CPACK_PACKAGE_DESCRIPTION
"Applications create one of its components by name, list the devices that are
attached, claim one against every other process, copy its pictures with
progress, make thumbnails, and delete. It reaches memory cards and discs as
volumes, and cameras on USB by PTP, sharing one camera between programs.

The command line client zlkcam unloads a card or a camera, and compares every
byte where it is told to. The virtual camera zlkcamsim is for tests. Headers, a
CMake package and a pkg-config file are for those who write applications, and
the Python package zlkcamtr for those who write scripts.")
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers
                                       ${PROJECT_SOURCE_DIR}/packaging/debian/prerm)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# libpcap is loaded by name, where SHLIBDEPS doesn't see it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libpcap0.8, python3:any (>= 3.10)")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# What a package of an application depends on.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
include(CPack)
