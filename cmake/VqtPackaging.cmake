# Install layout (under CMAKE_INSTALL_PREFIX):
#   lib/vantor/Host.app/Contents/            the host bundle
#     Info.plist, Resources/GlobalSettings.csv
#     MacOS/qtsettings, MacOS/qtmovie
#     Frameworks/libvantor_quicktime.so*     the library itself
#   lib/libvantor_quicktime.so*              symlinks into Frameworks/
#   bin/qtmovie                              symlink to the bundle's qtmovie
#   include/vantor/..., include/CoreFoundation, include/Carbon
#   lib/cmake/VantorQuickTime/               find_package(VantorQuickTime) -> Vantor::QuickTime
#   lib/pkgconfig/vantor-quicktime.pc
# The library finds the host bundle from the path it was loaded from, so
# consumers must load it from Frameworks/: the CMake imported location and the
# pkg-config -L and rpath point there, never at the lib/ symlinks.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VQT_INSTALL_BUNDLE "${CMAKE_INSTALL_LIBDIR}/vantor/Host.app" CACHE STRING "Host bundle, relative to the prefix")
set(VQT_INSTALL_FRAMEWORKS "${VQT_INSTALL_BUNDLE}/Contents/Frameworks")
set(VQT_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/VantorQuickTime")

install(TARGETS vantor_quicktime LIBRARY DESTINATION ${VQT_INSTALL_FRAMEWORKS})
install(FILES ${VQT_HOST_BUNDLE_DIR}/Contents/Info.plist DESTINATION ${VQT_INSTALL_BUNDLE}/Contents)
install(FILES ${VQT_HOST_BUNDLE_DIR}/Contents/Resources/GlobalSettings.csv
        DESTINATION ${VQT_INSTALL_BUNDLE}/Contents/Resources)
foreach(tool qtsettings qtmovie)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${VQT_INSTALL_BUNDLE}/Contents/MacOS)
  endif()
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vantor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Platform headers reached from the public ones (the bundle location's Core Foundation types).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/corefoundation/include/CoreFoundation
                  ${PROJECT_SOURCE_DIR}/platform/carbon/include/Carbon
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Relative symlinks, made at install time so that DESTDIR and moved prefixes keep working.
set(VQT_LIBRARY_SONAME "libvantor_quicktime.so.${PROJECT_VERSION_MAJOR}")
install(CODE "
  set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
  file(MAKE_DIRECTORY \"\${root}/${CMAKE_INSTALL_BINDIR}\")
  foreach(name libvantor_quicktime.so ${VQT_LIBRARY_SONAME})
    file(CREATE_LINK \"vantor/Host.app/Contents/Frameworks/\${name}\" \"\${root}/${CMAKE_INSTALL_LIBDIR}/\${name}\" SYMBOLIC)
  endforeach()
  if(EXISTS \"\${root}/${VQT_INSTALL_BUNDLE}/Contents/MacOS/qtmovie\")
    file(CREATE_LINK \"../${VQT_INSTALL_BUNDLE}/Contents/MacOS/qtmovie\" \"\${root}/${CMAKE_INSTALL_BINDIR}/qtmovie\" SYMBOLIC)
  endif()
")

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VantorQuickTimeConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VantorQuickTimeConfig.cmake
  INSTALL_DESTINATION ${VQT_INSTALL_CMAKEDIR}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR VQT_INSTALL_FRAMEWORKS)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VantorQuickTimeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VantorQuickTimeConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VantorQuickTimeConfigVersion.cmake
        DESTINATION ${VQT_INSTALL_CMAKEDIR})

file(RELATIVE_PATH VQT_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vantor-quicktime.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vantor-quicktime.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vantor-quicktime.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
