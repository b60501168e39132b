# One way to declare a library, a test and a benchmark, so that warnings and sanitizers reach all of them.

option(VELMO_SANITIZE "Sanitizers to build with, as in -fsanitize=" "")
option(VELMO_COVERAGE "Instrument for coverage" OFF)
option(VELMO_FUZZ "Build the fuzz targets (clang only)" OFF)

add_library(velmo_flags INTERFACE)
target_compile_features(velmo_flags INTERFACE cxx_std_20)
target_compile_options(velmo_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wnull-dereference -Wimplicit-fallthrough -Werror)
target_compile_definitions(velmo_flags INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_include_directories(velmo_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)
if(VELMO_SANITIZE)
    target_compile_options(velmo_flags INTERFACE -fsanitize=${VELMO_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(velmo_flags INTERFACE -fsanitize=${VELMO_SANITIZE})
endif()
if(VELMO_SANITIZE OR VELMO_COVERAGE OR VELMO_FUZZ)
    # Inlining differs under instrumentation, and these warnings then see what is not there.
    target_compile_options(velmo_flags INTERFACE
        -Wno-null-dereference $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(VELMO_COVERAGE)
    target_compile_options(velmo_flags INTERFACE --coverage)
    target_link_options(velmo_flags INTERFACE --coverage)
endif()

# velmo_library(NAME SOURCES ... LINKS ...): a static library of the folder it is declared in. What it delay-loads
# (core/DelayLoadedLibrary.h) is compiled against, and not linked.
function(velmo_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS;DELAY_LOADS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC velmo_flags ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
    foreach(library IN LISTS ARG_DELAY_LOADS)
        target_include_directories(${name} SYSTEM PRIVATE
            $<TARGET_PROPERTY:${library},INTERFACE_INCLUDE_DIRECTORIES>)
    endforeach()
endfunction()

# velmo_test(NAME SOURCES ... LINKS ... LABELS ... [LOCK name] [TIMEOUT s]): one GoogleTest executable, one ctest entry a test case.
function(velmo_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT;LOCK" "SOURCES;LINKS;LABELS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE velmo_flags ${ARG_LINKS} velmo_test_support GTest::gmock)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    # One desktop at a time: two of them share two processors badly, and each waits for what people would see.
    set(properties TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
    if("x11" IN_LIST ARG_LABELS OR "dbus" IN_LIST ARG_LABELS)
        set(ARG_LOCK desktop)
    endif()
    if(ARG_LOCK)
        list(APPEND properties RESOURCE_LOCK ${ARG_LOCK})
    endif()
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60 TEST_LIST ${name}_cases
        PROPERTIES ${properties})
    # A list of labels does not survive the way through the discovery, so they are set when the cases are known.
    set(labels_file ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
    file(WRITE ${labels_file}
        "foreach(case IN LISTS ${name}_cases)\n"
        "    set_tests_properties(\"\${case}\" PROPERTIES LABELS \"${ARG_LABELS}\")\n"
        "endforeach()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels_file})
endfunction()
