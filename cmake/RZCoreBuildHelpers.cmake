# Build conventions shared by every target of the project.

# ccache, when present. Sloppiness lets precompiled headers hit the cache; the base directory and
# no-hash-dir let a second checkout of the same sources (CI's clean clone) hit it too.
find_program(RZCORE_CCACHE ccache)
if(RZCORE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(_rz_launcher ${CMAKE_COMMAND} -E env
      "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
      "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" "CCACHE_NOHASHDIR=1"
      ${RZCORE_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${_rz_launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${_rz_launcher})
endif()

# Source paths in __FILE__ and in debug information are project-relative ("RZCore/log/RZBaseLog.cpp"),
# whether the compiler sees them absolute or, through ccache's base directory, relative to the build
# folder; objects then do not depend on where the checkout lives.
if(CMAKE_C_COMPILER_ID MATCHES "GNU|Clang")
  file(RELATIVE_PATH _rz_src_from_build "${CMAKE_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
  string(REGEX REPLACE "/$" "" _rz_src_from_build "${_rz_src_from_build}")
  add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${_rz_src_from_build}/=")
endif()

# The everyday build keeps its assertions: RelWithDebInfo without NDEBUG.
foreach(_lang C CXX)
  string(REPLACE "-DNDEBUG" "" CMAKE_${_lang}_FLAGS_RELWITHDEBINFO "${CMAKE_${_lang}_FLAGS_RELWITHDEBINFO}")
endforeach()

if(RZCORE_SANITIZE STREQUAL "address")
  set(_rz_san -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
elseif(RZCORE_SANITIZE STREQUAL "thread")
  set(_rz_san -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT RZCORE_SANITIZE STREQUAL "")
  message(FATAL_ERROR "RZCORE_SANITIZE must be address, thread or empty")
endif()
if(_rz_san)
  add_compile_options(${_rz_san})
  add_link_options(${_rz_san})
  # Sanitized builds check behaviour, not speed of compilation; PCH and sanitizers fight over flags.
  set(RZCORE_USE_PCH OFF)
endif()

# Warnings and Qt hygiene for our own targets.
function(rzcore_target_defaults target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  elseif(MSVC)
    target_compile_options(${target} PRIVATE /W4 /utf-8)
  endif()
  target_compile_definitions(${target} PRIVATE QT_NO_FOREACH QT_USE_QSTRINGBUILDER QT_NO_CAST_FROM_BYTEARRAY)
endfunction()

# Precompiled Qt headers for targets that include them heavily.
function(rzcore_target_pch target)
  if(RZCORE_USE_PCH)
    target_precompile_headers(${target} PRIVATE
      <QtCore/QObject> <QtCore/QString> <QtCore/QStringList> <QtCore/QList> <QtCore/QMap>
      <QtCore/QHash> <QtCore/QSet> <QtCore/QVariant> <QtCore/QDebug> <QtCore/QPointer>
      <QtCore/QMutex> <QtCore/QThread> <QtCore/QTimer> <QtCore/QCoreApplication>
      <QtCore/QDir> <QtCore/QFile> <QtCore/QFileInfo>
      <string> <vector> <memory> <functional> <mutex> <atomic>)
  endif()
endfunction()

# rzcore_add_translations(<target> DIR <folder> [TS <files...>] [QT_LANGUAGES <codes...>])
# Puts the translation files an RZLocale host reads into <folder> (normally "Lang" beside the
# executable) when <target> is built: <name>.qm from each <name>.ts through lrelease, and Qt's own
# qt_<code>.qm with the catalogues it pulls in (qtbase_<code>.qm, ...) for each code the system has.
function(rzcore_add_translations target)
  cmake_parse_arguments(ARG "" "DIR" "TS;QT_LANGUAGES" ${ARGN})
  get_target_property(_qmake Qt5::qmake IMPORTED_LOCATION)
  get_filename_component(_qt_bin "${_qmake}" DIRECTORY)
  find_program(RZCORE_LRELEASE NAMES lrelease lrelease-qt5 HINTS "${_qt_bin}")
  if(ARG_TS AND NOT RZCORE_LRELEASE)
    message(FATAL_ERROR "lrelease not found (Debian: qttools5-dev-tools)")
  endif()
  execute_process(COMMAND "${_qmake}" -query QT_INSTALL_TRANSLATIONS
    OUTPUT_VARIABLE _qt_translations OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(_outputs)
  foreach(_ts IN LISTS ARG_TS)
    get_filename_component(_name "${_ts}" NAME_WE)
    get_filename_component(_source "${_ts}" ABSOLUTE)
    add_custom_command(OUTPUT "${ARG_DIR}/${_name}.qm"
      COMMAND "${CMAKE_COMMAND}" -E make_directory "${ARG_DIR}"
      COMMAND "${RZCORE_LRELEASE}" -silent "${_source}" -qm "${ARG_DIR}/${_name}.qm"
      DEPENDS "${_source}" VERBATIM)
    list(APPEND _outputs "${ARG_DIR}/${_name}.qm")
  endforeach()
  foreach(_code IN LISTS ARG_QT_LANGUAGES)
    file(GLOB _qt_files "${_qt_translations}/qt_${_code}.qm" "${_qt_translations}/qtbase_${_code}.qm"
      "${_qt_translations}/qtscript_${_code}.qm" "${_qt_translations}/qtmultimedia_${_code}.qm"
      "${_qt_translations}/qtxmlpatterns_${_code}.qm")
    foreach(_file IN LISTS _qt_files)
      get_filename_component(_name "${_file}" NAME)
      add_custom_command(OUTPUT "${ARG_DIR}/${_name}"
        COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${_file}" "${ARG_DIR}/${_name}"
        DEPENDS "${_file}" VERBATIM)
      list(APPEND _outputs "${ARG_DIR}/${_name}")
    endforeach()
  endforeach()
  add_custom_target(${target}_translations DEPENDS ${_outputs})
  add_dependencies(${target} ${target}_translations)
endfunction()
