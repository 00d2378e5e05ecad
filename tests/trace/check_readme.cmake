# The README shows what the build holds: the example applications verbatim, and the modules'
# table as the link reference generates it.
#   cmake -DREADME=README.md -DAPP="examples/first_flight.c;examples/hello_link.c" -DREFERENCE=<build>/docs/link_reference.md -P check_readme.cmake
file(READ ${README} readme)
foreach(file IN LISTS APP)
  file(READ ${file} app)
  string(FIND "${readme}" "```c\n${app}```" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "README.md does not show ${file} as it is: copy the file into its code block")
  endif()
endforeach()
file(READ ${REFERENCE} reference)
string(REGEX MATCH "\\| Module \\|[^\n]*\n(\\|[^\n]*\n)+" table "${reference}")
string(FIND "${readme}" "${table}" at)
if(table STREQUAL "" OR at EQUAL -1)
  message(FATAL_ERROR "README.md's table of the modules differs from the one in ${REFERENCE}:\n${table}")
endif()
