# tessly_add_test(NAME <name> SOURCES ... [LIBS ...] LABELS unit|integration|e2e
#                 [TIMEOUT s] [ENVIRONMENT VAR=value ...] [HARNESS option ...])
#
# Every test gets its own XDG folders under the build tree, emptied before each
# run, so no test reads the developer's real settings or what an earlier run
# left behind; run by hand, outside ctest, a test makes throw-away ones. e2e tests run inside
# tests/e2e/harness, which brings up Xvfb, a window manager, a tray host, a
# session bus and a notification daemon for that one test; HARNESS passes
# options to it (e.g. HARNESS --monitor 800x600 --monitor 640x480).

set(TESSLY_E2E_HARNESS "${PROJECT_SOURCE_DIR}/tests/e2e/harness")
set(TESSLY_FRESH_HOME "${PROJECT_SOURCE_DIR}/tests/fresh-home")
set(TESSLY_LSAN_SUPPRESSIONS "${PROJECT_SOURCE_DIR}/tests/lsan.supp")

function(tessly_add_test)
  cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS;ENVIRONMENT;HARNESS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE Qt6::Test tessly_testsupport tessly_testhome ${T_LIBS})

  # Each run starts from an empty home (tests/fresh-home).
  if("e2e" IN_LIST T_LABELS)
    set(cmd "${TESSLY_FRESH_HOME}" "${TESSLY_E2E_HARNESS}" ${T_HARNESS} -- $<TARGET_FILE:${T_NAME}>)
  else()
    set(cmd "${TESSLY_FRESH_HOME}" $<TARGET_FILE:${T_NAME}>)
  endif()
  add_test(NAME ${T_NAME} COMMAND ${cmd})

  set(home "${CMAKE_BINARY_DIR}/testhome/${T_NAME}")
  set(env
    "XDG_CONFIG_HOME=${home}/config"
    "XDG_DATA_HOME=${home}/data"
    "XDG_CACHE_HOME=${home}/cache"
    "TESSLY_TEST_HOME=${home}"
    "TESSLY_SOURCE_DIR=${PROJECT_SOURCE_DIR}"
    "TESSLY_BINARY_DIR=${CMAKE_BINARY_DIR}"
    "ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:detect_stack_use_after_return=0"
    "LSAN_OPTIONS=suppressions=${TESSLY_LSAN_SUPPRESSIONS}:print_suppressions=0"
    "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1"
    ${T_ENVIRONMENT})
  if(TARGET tessly-server)
    list(APPEND env "TESSLY_SERVER_BIN=$<TARGET_FILE:tessly-server>")
  endif()
  if(NOT "e2e" IN_LIST T_LABELS)
    list(APPEND env "QT_QPA_PLATFORM=offscreen")
  endif()
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  # A test that skips as a whole (a QSKIP in initTestCase) shows as skipped,
  # not as passed; scripts/test fails when any test skipped.
  set_tests_properties(${T_NAME} PROPERTIES
    SKIP_REGULAR_EXPRESSION "SKIP   : [A-Za-z0-9_]+::initTestCase\\(\\)"
    LABELS "${T_LABELS}"
    ENVIRONMENT "${env}"
    TIMEOUT ${T_TIMEOUT})
endfunction()
