# What nearly every file includes, read once instead of hundreds of times, in the presets with checkers. The release
# preset does without, as clang-tidy does, so that a file which forgets an include does not go unnoticed.

set(TALLYRIG_HEADERS <algorithm> <array> <atomic> <chrono> <cmath> <cstdint> <filesystem> <functional> <map> <memory>
  <mutex> <optional> <span> <string> <string_view> <system_error> <utility> <vector>)

if(NOT TALLYRIG_SANITIZE)
  function(tallyrig_shares_headers)
  endfunction()
  return()
endif()

# Some libraries ask for it of whoever links them, and all who share a header must agree.
add_compile_definitions(_REENTRANT)

# tallyrig_headers(<name> <libraries>... HEADERS <headers>)
function(tallyrig_headers name)
  cmake_parse_arguments(ARG "" "" "HEADERS" ${ARGN})
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} STATIC ${CMAKE_BINARY_DIR}/${name}.cpp)
  target_compile_options(${name} PRIVATE ${TALLYRIG_WARNINGS})
  target_link_libraries(${name} PRIVATE ${ARG_UNPARSED_ARGUMENTS})
  target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
endfunction()

tallyrig_headers(tallyrig_plain_headers HEADERS ${TALLYRIG_HEADERS})
tallyrig_headers(tallyrig_core_headers Qt6::Core HEADERS ${TALLYRIG_HEADERS} <QObject> <QString> <QStringList>)
tallyrig_headers(tallyrig_quick_headers Qt6::Quick HEADERS ${TALLYRIG_HEADERS} <QGuiApplication> <QQmlEngine>
  <QQuickItem> <QQuickWindow> <QtQml/qqmlprivate.h>)

# tallyrig_shares_headers(<target> <libraries>...): by what it links, as Qt's headers may be read with Qt's options only.
function(tallyrig_shares_headers target)
  if(ARGN MATCHES "Qt6::Quick")
    target_precompile_headers(${target} REUSE_FROM tallyrig_quick_headers)
  elseif(ARGN MATCHES "Qt6::Core")
    target_precompile_headers(${target} REUSE_FROM tallyrig_core_headers)
  else()
    target_precompile_headers(${target} REUSE_FROM tallyrig_plain_headers)
  endif()
endfunction()
