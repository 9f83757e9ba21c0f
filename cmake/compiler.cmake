# Flags that every target of the tree shares.

include(CheckPIESupported)
check_pie_supported()

# A warning is an error unless the caller says otherwise, whose compiler may know more warnings.
option(CMAKE_COMPILE_WARNING_AS_ERROR "Take warnings for errors" ON)
add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Wformat=2)
add_compile_definitions(_GNU_SOURCE)
include_directories(${CMAKE_SOURCE_DIR})

if(ZRP_SANITIZE)
    add_compile_options(-fsanitize=${ZRP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ZRP_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options(-fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitizers.ignore)
    endif()
endif()

if(ZRP_SANITIZE STREQUAL "thread")
    add_library(thread_sanitizer OBJECT ${CMAKE_CURRENT_LIST_DIR}/thread_sanitizer.cpp)
    link_libraries($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:thread_sanitizer>)
endif()

if(ZRP_LINKER)
    add_link_options(-fuse-ld=${ZRP_LINKER})
endif()

if(ZRP_COVERAGE)
    add_link_options(--coverage)
endif()

if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    add_link_options(-Wl,-z,relro,-z,now)
endif()

# The fuzzer finds its way by the coverage of the code under test, and gets further the faster that
# code is.
function(zrp_fuzzed target)
    if(ZRP_FUZZ)
        target_compile_options(${target} PRIVATE -O1 -fsanitize=fuzzer-no-link)
    endif()
endfunction()

# The monitor and its library throw nothing; the compiler keeps it so.
function(zrp_product target)
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti)
    if(NOT ZRP_SANITIZE)
        # A program that links the library keeps the functions that it calls, and no others.
        target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    endif()
    if(ZRP_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    endif()
endfunction()
