# The system layer (src/) sees the platform's headers and never an engine's.
# CMake already keeps engines private, but a stray include path would let
# system code include an engine header unnoticed; this object library compiles
# every system-layer source with the platform include folders only, and the
# system_layer_includes test (tests/CMakeLists.txt) builds it. It is not part of the default build.

file(GLOB vqt_platform_includes LIST_DIRECTORIES true
  ${PROJECT_SOURCE_DIR}/platform/*/include ${PROJECT_SOURCE_DIR}/platform/*/*/include)
list(FILTER vqt_platform_includes EXCLUDE REGEX "/platform/engines/")

add_library(vqt_system_layer_includes OBJECT EXCLUDE_FROM_ALL)
target_include_directories(vqt_system_layer_includes PRIVATE ${PROJECT_SOURCE_DIR}/include ${vqt_platform_includes})
foreach(part IN LISTS VQT_SYSTEM_PARTS)
  get_target_property(dir ${part} SOURCE_DIR)
  get_target_property(sources ${part} SOURCES)
  # The vector kernels need their instruction-set options, which are set on
  # their own folder only; they include nothing the baseline kernels do not.
  list(FILTER sources EXCLUDE REGEX "Avx[0-9]+Kernels\\.cpp$")
  list(TRANSFORM sources PREPEND ${dir}/)
  target_sources(vqt_system_layer_includes PRIVATE ${sources})
  target_include_directories(vqt_system_layer_includes PRIVATE ${dir})
  target_compile_definitions(vqt_system_layer_includes PRIVATE $<TARGET_PROPERTY:${part},COMPILE_DEFINITIONS>)
  # Outside libraries (Boost, the C library's dl) keep their own include folders.
  get_target_property(links ${part} LINK_LIBRARIES)
  foreach(link IN LISTS links)
    if(TARGET ${link} AND NOT link MATCHES "^(vqt_|Vantor::)")
      target_link_libraries(vqt_system_layer_includes PRIVATE ${link})
    endif()
  endforeach()
endforeach()

# The settings tool's own sources, with the dialog binding it compiles in.
get_target_property(vqt_binding_dir vqt_dialog_binding SOURCE_DIR)
target_sources(vqt_system_layer_includes PRIVATE ${PROJECT_SOURCE_DIR}/src/tool/SettingsTool.cpp
                                                 ${PROJECT_SOURCE_DIR}/src/tool/SettingsRequest.cpp)
target_include_directories(vqt_system_layer_includes PRIVATE ${PROJECT_SOURCE_DIR}/src/tool ${vqt_binding_dir}/src)
