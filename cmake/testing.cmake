# How tests are declared.
include(GoogleTest)

# zrp_test(name [PLAIN] [THREADS] [SHARDED] sources... [FIXTURE name] [LIBRARIES targets...]
#          [PROGRAMS targets...])
#
# A GoogleTest program, each of whose tests runs as a process of its own.
#   PLAIN      it touches no daemon name: no private network, no standing in line for one.
#   THREADS    it also runs under the thread sanitizer in scripts/test (label "threads").
#   SHARDED    its tests are many and short, and can share a process: with ZRP_SHARDS they do.
#   FIXTURE    ctest's fixture that has to be set up before.
#   LIBRARIES  targets to link.
#   PROGRAMS   executables that it runs; zrptop is found through the macro ZRPTOP_PROGRAM.
add_custom_target(thread_tests)
set(ZRP_SHARDS 0 CACHE STRING "Processes for all tests of a sharded program; 0: one for each test")

function(zrp_test name)
    cmake_parse_arguments(PARSE_ARGV 1 TEST "PLAIN;THREADS;SHARDED" "FIXTURE" "LIBRARIES;PROGRAMS")
    add_executable(${name} ${TEST_UNPARSED_ARGUMENTS})
    if(TEST_PLAIN)
        target_link_libraries(${name} PRIVATE GTest::gtest_main ${TEST_LIBRARIES})
    else()
        target_link_libraries(${name} PRIVATE test_main ${TEST_LIBRARIES})
    endif()
    foreach(program ${TEST_PROGRAMS})
        string(TOUPPER ${program} macro)
        add_dependencies(${name} ${program})
        target_compile_definitions(${name} PRIVATE ${macro}_PROGRAM="$<TARGET_FILE:${program}>")
    endforeach()
    set(properties "")
    if(TEST_THREADS)
        add_dependencies(thread_tests ${name})
        list(APPEND properties LABELS threads)
    endif()
    if(TEST_FIXTURE)
        list(APPEND properties FIXTURES_REQUIRED ${TEST_FIXTURE})
    endif()
    # The time limits leave room for standing in line where namespaces are not permitted.
    if(TEST_SHARDED AND ZRP_SHARDS)
        math(EXPR last "${ZRP_SHARDS} - 1")
        foreach(shard RANGE ${last})
            add_test(NAME ${name}_${shard} COMMAND ${name} --gtest_brief=1)
            set_tests_properties(${name}_${shard} PROPERTIES TIMEOUT 900 ${properties}
                ENVIRONMENT "GTEST_TOTAL_SHARDS=${ZRP_SHARDS};GTEST_SHARD_INDEX=${shard}")
        endforeach()
        return()
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300 ${properties})
endfunction()

# zrp_fuzz(name sources... CORPUS folder [LIBRARIES targets...])
#
# A libFuzzer program. As a test (label "fuzz") it runs for a few seconds, starting from the samples
# in corpus/<folder>. scripts/fuzz runs it for longer.
set(ZRP_FUZZ_SECONDS 5 CACHE STRING "Seconds that each fuzz target runs as a test")

function(zrp_fuzz name)
    cmake_parse_arguments(PARSE_ARGV 1 FUZZ "" "CORPUS" "LIBRARIES")
    add_executable(${name} ${FUZZ_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE ${FUZZ_LIBRARIES})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    # New finds go to the first folder, so that the tree stays as it is.
    set(finds ${CMAKE_CURRENT_BINARY_DIR}/finds/${name})
    file(MAKE_DIRECTORY ${finds})
    # Under the target's name, for scripts/fuzz.
    set(corpus ${CMAKE_CURRENT_BINARY_DIR}/corpus/${name})
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/corpus)
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${FUZZ_CORPUS} ${corpus} SYMBOLIC)
    add_test(NAME ${name}
             COMMAND ${name} -max_total_time=${ZRP_FUZZ_SECONDS} -print_final_stats=1
                     -artifact_prefix=${CMAKE_CURRENT_BINARY_DIR}/ ${finds} ${corpus})
    set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT 600)
endfunction()
