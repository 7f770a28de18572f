# The machinery every command-line tool shares: the version header, the
# install rule, a man page made from the tool's --help by help2man (when it
# is installed) and a bash completion. A new tool is one call in its folder:
#
#   vireo_add_tool(vireo-foo DESCRIPTION "one line for the man page"
#                  SOURCES main.cpp Foo.cpp LIBRARIES vireo_core)
#
# A script installed as a tool uses vireo_add_script_tool(NAME SCRIPT DESCRIPTION).
# The man page is made from `NAME --help` (which must exit 0), with the
# version given from here; `--version` itself is each program's to answer
# (vireo/Version.h: Vireo::AnswerVersion).

configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.h.in
               ${PROJECT_BINARY_DIR}/generated/vireo/Version.h @ONLY)
add_library(vireo_version INTERFACE)
target_include_directories(vireo_version INTERFACE ${PROJECT_BINARY_DIR}/generated)

find_program(VIREO_HELP2MAN help2man)
if(NOT VIREO_HELP2MAN)
  message(STATUS "help2man not found (Debian: help2man): no man pages")
endif()
set(VIREO_COMPLETION_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/completion.bash.in)

# Man page and completion of a tool that `program` (a target's file or a
# script) runs; `depends` is what must be built first.
function(vireo_tool_extras name description program depends)
  if(VIREO_HELP2MAN AND NOT CMAKE_CROSSCOMPILING)
    set(page ${PROJECT_BINARY_DIR}/man/${name}.1)
    add_custom_command(OUTPUT ${page}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
      COMMAND ${VIREO_HELP2MAN} --no-info --no-discard-stderr --section=1
              --version-string=${PROJECT_VERSION}
              "--name=${description}" --output=${page} ${program}
      DEPENDS ${depends}
      COMMENT "Man page of ${name}" VERBATIM)
    add_custom_target(${name}_man ALL DEPENDS ${page})
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endif()
  set(VIREO_TOOL_NAME ${name})
  configure_file(${VIREO_COMPLETION_TEMPLATE}
                 ${PROJECT_BINARY_DIR}/completions/${name} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/completions/${name}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endfunction()

function(vireo_add_tool name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "DESCRIPTION" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} vireo_version vireo_warnings)
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # The tests ask every tool of this list for --help and --version.
  set_property(GLOBAL APPEND PROPERTY VIREO_TOOL_TARGETS ${name})
  vireo_tool_extras(${name} "${ARG_DESCRIPTION}" $<TARGET_FILE:${name}> ${name})
endfunction()

# A shell script installed under the tool's name.
function(vireo_add_script_tool name script description)
  install(PROGRAMS ${script} DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME ${name})
  vireo_tool_extras(${name} "${description}" ${script} ${script})
endfunction()
