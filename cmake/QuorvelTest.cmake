# quorvel_add_test(<area> LABELS <label>... SOURCES <file>... [LIBRARIES <lib>...])
# One GoogleTest executable per area, each test case registered with CTest under the given labels
# (unit, integration, gui, slow).
include(GoogleTest)

function(quorvel_add_test area)
    cmake_parse_arguments(ARG "" "TIMEOUT" "LABELS;SOURCES;LIBRARIES" ${ARGN})
    if(NOT ARG_LABELS)
        message(FATAL_ERROR "quorvel_add_test(${area}): give at least one label")
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set(target test_${area})
    add_executable(${target} ${ARG_SOURCES})
    quorvel_target_defaults(${target})
    target_link_libraries(${target} PRIVATE quorvel_testmain quorvel_core GTest::gmock ${ARG_LIBRARIES})
    gtest_discover_tests(${target}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
