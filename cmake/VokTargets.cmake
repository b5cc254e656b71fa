# The project's own kinds of targets. Every one of them is compiled with the options of vok_options.

add_library(vok_options INTERFACE)
target_include_directories(vok_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_definitions(
    vok_options
    INTERFACE QT_NO_CAST_FROM_ASCII
              QT_NO_CAST_TO_ASCII
              QT_NO_KEYWORDS
              QT_NO_FOREACH
              QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
              QT_NO_URL_CAST_FROM_STRING)
target_compile_options(
    vok_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fstack-protector-strong
                          $<$<PLATFORM_ID:Linux>:-fstack-clash-protection>)

if(VOK_SANITIZE)
    target_compile_options(vok_options INTERFACE -fsanitize=${VOK_SANITIZE} -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
    target_link_options(vok_options INTERFACE -fsanitize=${VOK_SANITIZE})
else()
    target_compile_definitions(vok_options INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2 _GLIBCXX_ASSERTIONS>)
endif()
if(VOK_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "VOK_FUZZ needs clang, whose libFuzzer it links: use the preset fuzz")
    endif()
    target_compile_options(vok_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_link_options(vok_options INTERFACE -Wl,-z,relro,-z,now)
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# vok_add_library(NAME SOURCES file... [LINK library...]): one folder of src/ as a static library.
function(vok_add_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC vok_options ${arg_LINK})
endfunction()

# vok_add_test(NAME [SOURCES file...] [LINK library...] [TIMEOUT seconds] [SERIAL]): the Qt Test program NAME.cpp of the
# calling folder, run offscreen in a home folder of its own. SERIAL: it loads the machine and runs beside nothing else.
function(vok_add_test name)
    cmake_parse_arguments(arg "SERIAL" "TIMEOUT" "SOURCES;LINK" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()
    add_executable(${name} ${name}.cpp ${arg_SOURCES})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE vok_options Qt6::Test ${arg_LINK})
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    vok_register_source(${name}.cpp)
    add_test(NAME ${name} COMMAND ${name})
    vok_test_environment(${name} TIMEOUT ${arg_TIMEOUT})
    if(arg_SERIAL)
        set_tests_properties(${name} PROPERTIES RUN_SERIAL TRUE)
    endif()
endfunction()

# vok_test_environment(TEST [TIMEOUT seconds]): offscreen, and with a home folder that is not the user's.
function(vok_test_environment test)
    cmake_parse_arguments(arg "" "TIMEOUT" "" ${ARGN})
    set(home ${CMAKE_BINARY_DIR}/test-home/${test})
    set_tests_properties(
        ${test}
        PROPERTIES TIMEOUT
                   ${arg_TIMEOUT}
                   ENVIRONMENT
                   "QT_QPA_PLATFORM=offscreen;HOME=${home};XDG_CONFIG_HOME=${home}/config;XDG_DATA_HOME=${home}/data;XDG_CACHE_HOME=${home}/cache;LC_ALL=C.UTF-8;ASAN_OPTIONS=detect_leaks=0;UBSAN_OPTIONS=print_stacktrace=1"
    )
endfunction()

# vok_add_fuzz_target(NAME [LINK library...]): the fuzz target NAME.cpp of the calling folder. NAME_replay runs it over the
# seeds in fuzz/corpus/NAME, as a test of that name; where VOK_FUZZ is set, NAME is the libFuzzer program.
function(vok_add_fuzz_target name)
    cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
    add_executable(${name}_replay ${name}.cpp ${CMAKE_SOURCE_DIR}/fuzz/replay_main.cpp)
    target_link_libraries(${name}_replay PRIVATE vok_options ${arg_LINK})
    vok_register_source(${name}.cpp)
    add_test(NAME ${name}_replay COMMAND ${name}_replay ${CMAKE_SOURCE_DIR}/fuzz/corpus/${name})
    vok_test_environment(${name}_replay TIMEOUT 120)
    if(VOK_FUZZ)
        add_executable(${name} ${name}.cpp)
        target_link_libraries(${name} PRIVATE vok_options ${arg_LINK})
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    endif()
endfunction()

# vok_register_source(FILE): remembers that a target compiles FILE of the calling folder.
function(vok_register_source file)
    set_property(GLOBAL APPEND PROPERTY VOK_REGISTERED_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/${file})
endfunction()

# A test or a fuzz target that no list names would never run and nobody would notice.
function(vok_require_every_source_registered)
    file(GLOB_RECURSE present CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/test_*.cpp ${CMAKE_SOURCE_DIR}/fuzz/fuzz_*.cpp)
    get_property(registered GLOBAL PROPERTY VOK_REGISTERED_SOURCES)
    foreach(file IN LISTS present)
        if(NOT file IN_LIST registered)
            message(FATAL_ERROR "${file} is compiled by no target: name it in its folder's CMakeLists.txt")
        endif()
    endforeach()
endfunction()
