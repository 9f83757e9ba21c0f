# How tests are declared.

# A failed assertion prints its line anyway, and the report of a sanitizer names the test. The product
# keeps its debug information.
set(ZRP_TEST_DEBUG_INFO -g0 CACHE STRING "Debug information of the test programs, such as -g")

# The programs that run under the thread sanitizer.
add_custom_target(thread_tests)

# zrp_test(name [PLAIN] [THREADS] [SHARDS number] sources... [ALONE sources...] [FIXTURE name]
#          [LIBRARIES targets...] [PROGRAMS targets...])
#
# A GoogleTest program. Its tests run one after another in a few processes, the shards, which run
# beside each other: starting a sanitized program costs more than most tests.
#   PLAIN      it touches no daemon name: no private network, no turn to wait for.
#   THREADS    it also runs under the thread sanitizer in scripts/test (label "threads").
#   SHARDS     how many processes share its tests; 1 if it is left out.
#   ALONE      sources that are compiled by themselves, because they change what they include.
#   FIXTURE    ctest's fixture that has to be set up before.
#   LIBRARIES  targets to link.
#   PROGRAMS   executables that it runs; zrptop is found through the macro ZRPTOP_PROGRAM.
#
# The other sources are compiled many at a time: for each text the compiler generates what it needs of
# the templates of GoogleTest and the standard library again. So everything in a test file is in an
# anonymous namespace within one named after the file, as zrp::xml_find_test: its helpers may have the
# names of another file's.
function(zrp_test name)
    cmake_parse_arguments(PARSE_ARGV 1 TEST "PLAIN;THREADS" "FIXTURE;SHARDS"
                          "ALONE;LIBRARIES;PROGRAMS")
    list(REMOVE_DUPLICATES TEST_UNPARSED_ARGUMENTS)
    add_executable(${name} ${TEST_UNPARSED_ARGUMENTS})
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 34)
    foreach(source ${TEST_ALONE})
        cmake_path(ABSOLUTE_PATH source)
        set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endforeach()
    # g++ takes a source that is compiled with others for a header.
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    target_compile_options(${name} PRIVATE ${ZRP_TEST_DEBUG_INFO})
    target_precompile_headers(${name} REUSE_FROM test_precompiled)
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
    if(TEST_THREADS)
        add_dependencies(thread_tests ${name})
    endif()
    zrp_add_shards(${name})
endfunction()

# The long time limit leaves room for every other shard's turn where namespaces are not permitted; a
# single test that hangs is ended, and named, by tests/support/main.cpp.
macro(zrp_add_shards name)
    if(NOT TEST_SHARDS)
        set(TEST_SHARDS 1)
    endif()
    math(EXPR last "${TEST_SHARDS} - 1")
    foreach(shard RANGE ${last})
        set(test ${name}_${shard})
        add_test(NAME ${test} COMMAND ${name} --gtest_brief=1)
        set_tests_properties(${test} PROPERTIES TIMEOUT 3600
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${TEST_SHARDS};GTEST_SHARD_INDEX=${shard}")
        if(TEST_THREADS)
            set_property(TEST ${test} PROPERTY LABELS threads)
        endif()
        if(TEST_FIXTURE)
            set_property(TEST ${test} PROPERTY FIXTURES_REQUIRED ${TEST_FIXTURE})
        endif()
    endforeach()
endmacro()
