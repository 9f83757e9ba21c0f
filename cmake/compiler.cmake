# Flags that every target of the tree shares.

include(CheckPIESupported)
check_pie_supported()

add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Werror)
add_compile_definitions(_GNU_SOURCE)
include_directories(${CMAKE_SOURCE_DIR})

if(ZRP_SANITIZE)
    add_compile_options(-fsanitize=${ZRP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ZRP_SANITIZE})
endif()

# The fuzzers find their way by the coverage of all code, not of their own alone.
if(ZRP_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(ZRP_COVERAGE)
    add_link_options(--coverage)
endif()

if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    add_link_options(-Wl,-z,relro,-z,now)
endif()

# The monitor and its library throw nothing; the compiler keeps it so.
function(zrp_product target)
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti)
    if(ZRP_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    endif()
endfunction()
