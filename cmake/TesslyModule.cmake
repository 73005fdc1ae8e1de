# One helper per module: tessly_add_module() declares a subsystem library and
# checks the layering rule, so a forbidden include shows up at configure time.
#
#   common <- platform
#   common <- upload <- postprocess, markup, capture, popover <- core <- app
#
# platform is reached only through its interfaces; the network and upload
# layers never link Qt Widgets.

set(_tessly_allowed_common      "")
set(_tessly_allowed_platform    "common")
set(_tessly_allowed_upload      "common")
set(_tessly_allowed_postprocess "common;upload")
set(_tessly_allowed_markup      "common;upload")
set(_tessly_allowed_capture     "common;upload;platform;postprocess")
set(_tessly_allowed_popover     "common;upload;platform")
set(_tessly_allowed_core        "common;upload;platform;postprocess;markup;capture;popover")
set(_tessly_no_widgets          "common;upload")

# tessly_add_module(NAME <name> [SOURCES ...] [DEPENDS <modules>] [QT <components>] [LIBS <other libs>])
function(tessly_add_module)
  cmake_parse_arguments(M "" "NAME" "SOURCES;DEPENDS;QT;LIBS" ${ARGN})
  if(NOT DEFINED _tessly_allowed_${M_NAME})
    message(FATAL_ERROR "tessly_add_module: unknown module '${M_NAME}'")
  endif()
  foreach(dep IN LISTS M_DEPENDS)
    if(NOT dep IN_LIST _tessly_allowed_${M_NAME})
      message(FATAL_ERROR "module '${M_NAME}' may not depend on '${dep}' (allowed: ${_tessly_allowed_${M_NAME}})")
    endif()
  endforeach()
  if(M_NAME IN_LIST _tessly_no_widgets AND "Widgets" IN_LIST M_QT)
    message(FATAL_ERROR "module '${M_NAME}' must stay free of Qt Widgets")
  endif()

  set(target tessly_${M_NAME})
  # A subsystem that has no code yet is an interface library, so the layering
  # is declared (and checked) before the first file lands.
  if(M_SOURCES)
    add_library(${target} STATIC ${M_SOURCES})
    set(scope PUBLIC)
    target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS)
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  add_library(tessly::${M_NAME} ALIAS ${target})
  target_include_directories(${target} ${scope} "${CMAKE_CURRENT_SOURCE_DIR}")
  foreach(component IN LISTS M_QT)
    target_link_libraries(${target} ${scope} Qt6::${component})
  endforeach()
  foreach(dep IN LISTS M_DEPENDS)
    target_link_libraries(${target} ${scope} tessly::${dep})
  endforeach()
  if(M_LIBS)
    target_link_libraries(${target} ${scope} ${M_LIBS})
  endif()
endfunction()

# tessly_add_loadable(<target> OUTPUT <name> FOR <module> [LINKED_WHEN_SANITIZED]
#                     SOURCES ... LIBS ...)
# A module the application opens with dlopen on first use, so that the
# libraries behind it stay out of every start: it is built and installed
# with the private executables as <name>.so, and whatever links <module>
# gets it built. LeakSanitizer cannot walk the thread-local storage of
# libraries that came with dlopen and crashes as the program exits; with
# LINKED_WHEN_SANITIZED a sanitized build links it into <module> from the
# start (a shared library then), and the dlopen finds it already loaded.
function(tessly_add_loadable target)
  cmake_parse_arguments(L "LINKED_WHEN_SANITIZED" "OUTPUT;FOR" "SOURCES;LIBS" ${ARGN})
  set(linked OFF)
  if(L_LINKED_WHEN_SANITIZED AND TESSLY_SANITIZE)
    set(linked ON)
  endif()
  if(linked)
    add_library(${target} SHARED ${L_SOURCES})
  else()
    add_library(${target} MODULE ${L_SOURCES})
  endif()
  target_include_directories(${target} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/..")
  target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS)
  target_link_libraries(${target} PRIVATE ${L_LIBS})
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME ${L_OUTPUT}
    LIBRARY_OUTPUT_DIRECTORY "${TESSLY_BUILD_LIBEXEC_DIR}"
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  install(TARGETS ${target} LIBRARY DESTINATION "${TESSLY_LIBEXEC_DIR}" COMPONENT client)
  if(linked)
    target_link_libraries(tessly_${L_FOR} PUBLIC ${target})
  else()
    add_dependencies(tessly_${L_FOR} ${target})
  endif()
endfunction()
