# The two kinds of target that the project is made of: one static library per source folder, so that a dependency
# which the design does not allow fails to link, and one test program per test folder.

set(TALLYRIG_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Werror)

if(TALLYRIG_SANITIZE STREQUAL "address")
  # Not the check of virtual calls: it makes a system call now and then, which the real-time guard takes for ours.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # Lets libFuzzer see which inputs reach new code.
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
elseif(TALLYRIG_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -O1)
  # GCC's thread checker does not model stand-alone fences; none of our own code uses them, Asio's headers do.
  add_compile_options(-Wno-tsan)
  add_link_options(-fsanitize=thread)
elseif(NOT TALLYRIG_SANITIZE STREQUAL "")
  message(FATAL_ERROR "TALLYRIG_SANITIZE is address, thread or empty, not ${TALLYRIG_SANITIZE}")
endif()
# What a report of the checkers shows are functions and lines; the rest of the debug information takes a fifth of the
# build's time. The tests' own code runs seldom but is much, and optimising it takes longer than it saves. LLVM's linker
# takes a quarter of the time of the other.
set(TALLYRIG_TEST_OPTIONS)
if(TALLYRIG_SANITIZE)
  add_compile_options(-g1)
  add_link_options(-fuse-ld=lld)
  set(TALLYRIG_TEST_OPTIONS -Og)
endif()

# tallyrig_library(<name> SOURCES <files> [LINKS <public libraries>] [PRIVATE <private libraries>])
#
# A folder's library. PRIVATE keeps a third party's headers inside the one folder that may include them. Headers among
# the sources are those with Q_OBJECT; without any the library needs nothing of Qt's code generators.
function(tallyrig_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(${name} PRIVATE ${TALLYRIG_WARNINGS})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE ${ARG_PRIVATE})
  tallyrig_shares_headers(${name} ${ARG_LINKS})
  if(ARG_SOURCES MATCHES "\\.h(;|$)")
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
  endif()
endfunction()

# tallyrig_test(<name> RING <unit|scenario|system|disk|fuzz> SOURCES <files> LINKS <libraries> [ENVIRONMENT <VAR=value>...])
#
# One GoogleTest program and one ctest entry, labelled with its ring. Every test program carries the real-time guard. Up
# to eight of its sources are compiled as one, in half the time: they must not give one name to two things.
function(tallyrig_test name)
  cmake_parse_arguments(ARG "" "RING;TIMEOUT" "SOURCES;LINKS;ENVIRONMENT" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(${name} PRIVATE ${TALLYRIG_WARNINGS} ${TALLYRIG_TEST_OPTIONS})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS} tallyrig_test_support GTest::gmock)
  target_precompile_headers(${name} REUSE_FROM tallyrig_test_support)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  if(NOT TARGET tests_${ARG_RING})
    add_custom_target(tests_${ARG_RING})
  endif()
  add_dependencies(tests_${ARG_RING} ${name})
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES LABELS ${ARG_RING} TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${ARG_ENVIRONMENT}")
endfunction()

# tallyrig_fuzz(<name> SOURCES <files> LINKS <libraries> CORPUS <folder> MUTATIONS <count>)
#
# A program around `LLVMFuzzerTestOneInput` and one ctest entry, labelled fuzz: the kept inputs of the folder and as many
# mutations of them as take about 10 s, from a fixed seed. Under clang the target is libFuzzer's, and the same count
# bounds its run; a longer hunt is the same program with other arguments.
function(tallyrig_fuzz name)
  cmake_parse_arguments(ARG "" "CORPUS;MUTATIONS" "SOURCES;LINKS" ${ARGN})
  set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_CORPUS})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(${name} PRIVATE ${TALLYRIG_WARNINGS})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set(found ${CMAKE_CURRENT_BINARY_DIR}/${name}-found)
    file(MAKE_DIRECTORY ${found})
    add_test(NAME ${name} COMMAND ${name} -runs=${ARG_MUTATIONS} -seed=1 ${found} ${corpus})
  else()
    target_link_libraries(${name} PRIVATE tallyrig_fuzz_driver)
    add_test(NAME ${name} COMMAND ${name} --mutations=${ARG_MUTATIONS} --seed=1 ${corpus})
  endif()
  set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT 300)
endfunction()
