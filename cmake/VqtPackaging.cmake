# Install layout (under CMAKE_INSTALL_PREFIX):
#   lib/vantor/Host.app/Contents/            the host bundle
#     Info.plist, Resources/GlobalSettings.csv
#     MacOS/qtsettings, MacOS/qtmovie
#     Frameworks/libvantor_quicktime.so*     the library itself
#   lib/libvantor_quicktime.so*              symlinks into Frameworks/
#   bin/qtmovie                              symlink to the bundle's qtmovie
#   include/vantor/...                       the public headers, nothing else
#   lib/cmake/VantorQuickTime/               find_package(VantorQuickTime) -> Vantor::QuickTime
#   lib/pkgconfig/vantor-quicktime.pc
# The library finds the host bundle from the path it was loaded from: inside
# Frameworks/, through the lib/ symlinks, or as a copy in a lib/ folder with
# the bundle at vantor/Host.app beside it (VANTOR_QUICKTIME_BUNDLE names any
# other place). The CMake imported location and the pkg-config -L and rpath
# point at Frameworks/.
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

# The public headers reach no platform header, so only the project's own folder is installed.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vantor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Where a copy of the library in lib/ finds the bundle, relative to that lib/.
file(RELATIVE_PATH VQT_BUNDLE_FROM_LIBDIR /root/${CMAKE_INSTALL_LIBDIR} /root/${VQT_INSTALL_BUNDLE})
target_compile_definitions(vqt_host PRIVATE VQT_BUNDLE_FROM_LIBDIR="${VQT_BUNDLE_FROM_LIBDIR}")

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

# Installed binaries are stripped of their debug information (the build tree
# keeps it). With VQT_INSTALL_DEBUG_INFO the information goes into a separate
# FILE.debug beside each binary instead, found by debuggers through the
# binary's .gnu_debuglink section.
option(VQT_INSTALL_DEBUG_INFO "Install debug information as separate .debug files" OFF)
find_program(VQT_STRIP NAMES ${CMAKE_STRIP} strip REQUIRED)
find_program(VQT_OBJCOPY NAMES ${CMAKE_OBJCOPY} objcopy REQUIRED)
set(VQT_INSTALLED_BINARIES
  "${VQT_INSTALL_FRAMEWORKS}/libvantor_quicktime.so.${PROJECT_VERSION}"
  "${VQT_INSTALL_BUNDLE}/Contents/MacOS/qtsettings"
  "${VQT_INSTALL_BUNDLE}/Contents/MacOS/qtmovie")
if(VQT_INSTALL_DEBUG_INFO)
  set(strip_one "
      execute_process(COMMAND \"${VQT_OBJCOPY}\" --only-keep-debug \"\${file}\" \"\${file}.debug\" COMMAND_ERROR_IS_FATAL ANY)
      execute_process(COMMAND \"${VQT_STRIP}\" --strip-debug --strip-unneeded \"\${file}\" COMMAND_ERROR_IS_FATAL ANY)
      get_filename_component(name \"\${file}.debug\" NAME)
      get_filename_component(folder \"\${file}\" DIRECTORY)
      execute_process(COMMAND \"${VQT_OBJCOPY}\" --add-gnu-debuglink=\${name} \"\${file}\"
                      WORKING_DIRECTORY \"\${folder}\" COMMAND_ERROR_IS_FATAL ANY)")
else()
  set(strip_one "
      execute_process(COMMAND \"${VQT_STRIP}\" --strip-unneeded \"\${file}\" COMMAND_ERROR_IS_FATAL ANY)")
endif()
install(CODE "
  foreach(binary ${VQT_INSTALLED_BINARIES})
    set(file \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${binary}\")
    if(EXISTS \"\${file}\")
      ${strip_one}
    endif()
  endforeach()
")
