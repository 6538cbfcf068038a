# The language resource library "ZintorRes.dll": one resource-only DLL per language folder
# resources/ZintorRes/<langid>/ZintorRes.rc, built to bin/Resource/<langid>/ZintorRes.dll (the
# layout CLocalize searches beside the library) and installed the same way.
#
# Resource-only means: no entry point, no code, no imports. The library loads it with
# LoadLibraryExW(..., LOAD_LIBRARY_AS_DATAFILE), so it needs no run-time and no matching
# bitness. -nostdlib keeps the C run-time's start-up code out; "-e 0" leaves the entry point empty.
set(VESKON_ZINTORRES_DIR ${CMAKE_SOURCE_DIR}/resources/ZintorRes)
file(GLOB zintor_rc_files CONFIGURE_DEPENDS ${VESKON_ZINTORRES_DIR}/*/ZintorRes.rc)
set(VESKON_ZINTORRES_TARGETS)
foreach(rc IN LISTS zintor_rc_files)
  get_filename_component(lang_dir ${rc} DIRECTORY)
  get_filename_component(lang ${lang_dir} NAME)
  set(target ZintorRes_${lang})
  add_library(${target} MODULE ${rc})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ZintorRes PREFIX "" SUFFIX ".dll"
    LINKER_LANGUAGE C
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/Resource/${lang})
  # The .rc files include the library's resource id header.
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR}/src)
  target_link_options(${target} PRIVATE -nostdlib -Wl,-e,0 -s)
  install(FILES $<TARGET_FILE:${target}> DESTINATION bin/Resource/${lang})
  list(APPEND VESKON_ZINTORRES_TARGETS ${target})
endforeach()

# Whatever builds the library (the tests, the demo) builds its language resources with it.
if(VESKON_ZINTORRES_TARGETS)
  add_dependencies(VeskonWin32GUISupportDLL ${VESKON_ZINTORRES_TARGETS})
endif()
