# Project-wide compiler settings.
#
# Four-character codes are written as multi-character literals ('apcn'); GCC and
# clang pack them first character in the most significant byte, as the file
# format does, so the multichar warning is off.
#
# -ffp-contract=off everywhere: the pixel kernels and the 16.16 fixed-point
# conversions must round exactly as written, and a fused multiply-add would
# change their results.
add_compile_options(
  -Wall -Wextra
  $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>
  -ffp-contract=off
  -Wno-multichar
)

# Hidden by default: the shared library exports only what the public headers
# mark with VANTOR_EXPORT (include/vantor/Export.h), never the platform layer or
# the engines linked into it.
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(VQT_SANITIZE)
  add_compile_options(-fsanitize=${VQT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VQT_SANITIZE})
endif()

# vqt_add_library(NAME SOURCES ...) : a static library with an ALIAS Vantor::NAME.
function(vqt_add_library name)
  add_library(${name} STATIC ${ARGN})
  add_library(Vantor::${name} ALIAS ${name})
endfunction()

# vqt_add_subdirectories() : adds every direct subfolder that has a CMakeLists.txt,
# so a new module only needs its own folder (target references resolve at generate time).
# VQT_SKIP_DIRS lists folders (relative to the source root) to leave out, for
# building one module while a neighbour is half-written.
set(VQT_SKIP_DIRS "" CACHE STRING "Folders to leave out of the build, e.g. platform/engines/codecs")
function(vqt_add_subdirectories)
  file(GLOB children LIST_DIRECTORIES true RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*)
  list(SORT children)
  foreach(child IN LISTS children)
    file(RELATIVE_PATH rel ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${child})
    if(rel IN_LIST VQT_SKIP_DIRS)
      continue()
    endif()
    if(IS_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/${child} AND EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()
