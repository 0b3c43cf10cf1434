# The host build: the driver and its library compiled natively, the simulated server, the tests, the
# benchmarks and the fuzz targets.

find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
set(CURSES_NEED_NCURSES TRUE)
set(CURSES_NEED_WIDE TRUE)
find_package(Curses REQUIRED)
find_package(GTest QUIET)
find_package(benchmark QUIET)
find_path(KELM_VALIJSON_INCLUDE valijson/validator.hpp REQUIRED)

# kelm_library_target(<name> SOURCES <source>... LINK <target>... OPTIONS <option>...)
# A static library. Without any source it only hands on what it links to.
function(kelm_library_target name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK;OPTIONS")
    if(NOT arg_SOURCES)
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE ${arg_LINK})
        return()
    endif()
    add_library(${name} STATIC ${arg_SOURCES})
    target_compile_options(${name} PRIVATE ${arg_OPTIONS})
    target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE kelm_warnings)
endfunction()

# kelm_host_headers(<target>)
# Compiles the large host headers once for all sources of a target. Sources still include what they
# use; this only saves time.
function(kelm_host_headers target)
    target_precompile_headers(${target} PRIVATE
        <nlohmann/json.hpp> <fmt/format.h> <functional> <map> <memory> <string> <vector>)
    # What ccache needs to handle a precompiled header of GCC.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
endfunction()

# kelm_program(<name> SOURCES <source>... LINK <target>...)
function(kelm_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LINK} kelm_warnings)
endfunction()

# The driver, as it also goes into the image, but for the processor underneath. It is optimised where
# anything is; the simulator around it builds faster with less.
set(driver_options ${KELM_FREESTANDING} $<$<CONFIG:RelWithDebInfo>:-O2>)
kelm_sources(pure_sources library/pure)
kelm_sources(firmware_sources library/firmware library/cpu)
list(FILTER firmware_sources EXCLUDE REGEX "/library/cpu/CpuX64\\.cpp$")
kelm_sources(driver_sources KelmBdsDxe)
# The driver's readers of what comes from outside, which need no firmware: apart, so that a fuzz
# target is built without all the rest.
set(format_sources ${driver_sources})
list(FILTER format_sources INCLUDE REGEX "/KelmBdsDxe/bootopt/(Fqdd|LoadOptionFormat)\\.cpp$")
list(REMOVE_ITEM driver_sources ${format_sources})
kelm_library_target(kelm_pure
    SOURCES ${pure_sources} LINK kelm_includes OPTIONS ${driver_options})
kelm_library_target(kelm_formats
    SOURCES ${format_sources} LINK kelm_pure OPTIONS ${driver_options})
kelm_library_target(kelm_library
    SOURCES ${firmware_sources} LINK kelm_pure OPTIONS ${driver_options})
kelm_library_target(kelm_driver
    SOURCES ${driver_sources} LINK kelm_formats kelm_library OPTIONS ${driver_options})

# The simulated server. It knows the driver only by its entry point, so only programs link both. Its
# reader of images is apart for the same reason as the driver's readers.
kelm_sources(sim_sources sim)
kelm_sources(cli_sources sim/cli)
kelm_sources(terminal_sources sim/terminal)
list(FILTER sim_sources EXCLUDE REGEX "/sim/(cli|terminal)/")
set(image_sources ${sim_sources})
list(FILTER image_sources INCLUDE REGEX "/sim/firmware/(PeHeader|PeImage)\\.cpp$")
list(REMOVE_ITEM sim_sources ${image_sources})
kelm_library_target(sim_images SOURCES ${image_sources} LINK kelm_includes)
kelm_library_target(sim_core
    SOURCES ${sim_sources} LINK sim_images kelm_pure fmt::fmt nlohmann_json::nlohmann_json)
if(sim_sources)
    target_include_directories(sim_core SYSTEM PUBLIC "${KELM_VALIJSON_INCLUDE}")
    kelm_host_headers(sim_core)
    kelm_embed_text(sim_core sim/machine/machine.schema.json kMachineSchemaText)
    kelm_embed_text(sim_core machines/default.json kDefaultMachineText)
    include(KelmPayloads)
    kelm_embed_files(sim_core kPayloads FILES ${KELM_PAYLOAD_IMAGES})
endif()
# The only part that needs a terminal's library, so that the tests and the fuzz targets do not.
kelm_library_target(sim_terminal SOURCES ${terminal_sources} LINK sim_core ${CURSES_LIBRARIES})
if(terminal_sources)
    target_include_directories(sim_terminal SYSTEM PRIVATE ${CURSES_INCLUDE_DIRS})
endif()
if(cli_sources)
    kelm_program(kelm-sim SOURCES ${cli_sources} LINK kelm_driver sim_terminal CLI11::CLI11)
endif()

include(CTest)

kelm_sources(test_sources tests)
if(test_sources AND GTest_FOUND)
    # Where a test finds the repository and the program; see tests/Paths.h. In a source of its own,
    # so that a checkout elsewhere compiles every other test to the same object.
    set(kelm_paths_source "${CMAKE_BINARY_DIR}/generated/TestPaths.cpp")
    file(CONFIGURE OUTPUT "${kelm_paths_source}" @ONLY CONTENT [[
#include "tests/Paths.h"

namespace paths {
const char* const kRepository = "@CMAKE_SOURCE_DIR@";
const char* const kSimProgram = "@CMAKE_BINARY_DIR@/kelm-sim";
} // namespace paths
]])
    kelm_program(kelm-tests
        SOURCES ${test_sources} "${kelm_paths_source}"
        LINK kelm_driver sim_core GTest::gtest GTest::gtest_main)
    kelm_host_headers(kelm-tests)
    if(TARGET kelm-sim)
        add_dependencies(kelm-tests kelm-sim)
    endif()
    # A process for each test: a driver that hangs or crashes costs one test, with its name.
    include(GoogleTest)
    gtest_discover_tests(kelm-tests DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
elseif(test_sources)
    message(STATUS "GoogleTest is missing: no tests")
endif()

kelm_sources(bench_sources bench)
# A program of its own: it prints more than figures.
set(enumeration_bench_sources ${bench_sources})
list(FILTER enumeration_bench_sources INCLUDE REGEX "/bench/EnumerationBench\\.cpp$")
if(enumeration_bench_sources)
    list(REMOVE_ITEM bench_sources ${enumeration_bench_sources})
endif()
if(bench_sources AND benchmark_FOUND)
    kelm_program(kelm-bench
        SOURCES ${bench_sources}
        LINK kelm_driver sim_core benchmark::benchmark benchmark::benchmark_main)
endif()
if(enumeration_bench_sources AND benchmark_FOUND)
    kelm_program(bench-enumeration
        SOURCES ${enumeration_bench_sources}
        LINK kelm_driver sim_core benchmark::benchmark)
    set_target_properties(bench-enumeration PROPERTIES
        OUTPUT_NAME enumeration RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bench")
endif()

# Each source directly in fuzz/ is one target, fuzz-<Name>. Without libFuzzer it replays the inputs
# in fuzz/corpus/<Name>, as a test. Only those named here have the simulated server within reach.
set(fuzz_with_server MachineFile)
file(GLOB fuzz_sources CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/fuzz/*.cpp")
foreach(source IN LISTS fuzz_sources)
    cmake_path(GET source STEM name)
    set(fuzzed kelm_formats sim_images)
    if(name IN_LIST fuzz_with_server)
        set(fuzzed sim_core)
    endif()
    if(KELM_FUZZ)
        kelm_program(fuzz-${name} SOURCES "${source}" LINK ${fuzzed})
        target_link_options(fuzz-${name} PRIVATE -fsanitize=fuzzer)
    else()
        kelm_program(fuzz-${name} SOURCES "${source}" tools/FuzzReplay.cpp LINK ${fuzzed})
        add_test(NAME fuzz-${name}
            COMMAND fuzz-${name} "${CMAKE_SOURCE_DIR}/fuzz/corpus/${name}")
        set_tests_properties(fuzz-${name} PROPERTIES TIMEOUT 120)
    endif()
endforeach()
