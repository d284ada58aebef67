# quorvel_add_test(<area> LABELS <label>... SOURCES <file>... [LIBRARIES <lib>...])
# One GoogleTest executable per area, each test case registered with CTest under the given labels
# (unit, integration, gui, slow).
include(GoogleTest)
set(QUORVEL_CMAKE_DIR ${CMAKE_CURRENT_LIST_DIR})

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
    list(GET ARG_LABELS 0 first_label)
    gtest_discover_tests(${target}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${first_label} TIMEOUT ${ARG_TIMEOUT})
    list(LENGTH ARG_LABELS label_count)
    if(label_count GREATER 1)
        set(labels "${ARG_LABELS}")
        set(tests_file "${CMAKE_CURRENT_BINARY_DIR}/${target}[1]_tests.cmake")
        set(labels_script "${CMAKE_CURRENT_BINARY_DIR}/${target}_labels.cmake")
        configure_file(${QUORVEL_CMAKE_DIR}/TestLabels.cmake.in ${labels_script} @ONLY)
        set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels_script})
    endif()
endfunction()
