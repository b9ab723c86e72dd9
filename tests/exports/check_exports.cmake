# Checks the export table of dal_storage.dll: every name a host calls is
# there, and nothing of the platform layer's internals or of the statically
# linked runtime leaks out.
#
#   cmake -DOBJDUMP=<objdump> -DDLL=<dal_storage.dll>
#         -DEXPORTED=<name,name,...> -DHIDDEN=<name,name,...> -P check_exports.cmake
#
# Names are plain identifiers (classes, functions); a C++ name counts when
# its mangled form <length><name> appears in an exported symbol, an extern
# "C" name when it is exported as it stands.
foreach(variable OBJDUMP DLL EXPORTED HIDDEN)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "check_exports: ${variable} not given")
  endif()
endforeach()
string(REPLACE "," ";" EXPORTED "${EXPORTED}")
string(REPLACE "," ";" HIDDEN "${HIDDEN}")

execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE dump RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "check_exports: ${OBJDUMP} -p ${DLL} failed (${result})")
endif()

# The names stand in the "[Ordinal/Name Pointer] Table", one per line, each
# as "[ n] name", up to the first empty line. Brackets go first: CMake lists
# do not split inside them.
string(FIND "${dump}" "[Ordinal/Name Pointer] Table\n" start)
if(start EQUAL -1)
  message(FATAL_ERROR "check_exports: ${DLL} exports nothing")
endif()
string(SUBSTRING "${dump}" ${start} -1 table)
string(FIND "${table}" "\n\n" stop)
string(SUBSTRING "${table}" 0 ${stop} table)
string(REPLACE "[" "" table "${table}")
string(REPLACE "]" "" table "${table}")
string(REPLACE "\n" ";" lines "${table}")
set(symbols "")
foreach(line IN LISTS lines)
  if(line MATCHES "^[ \t]*[0-9]+[ \t]+([^ \t]+)$")
    list(APPEND symbols "${CMAKE_MATCH_1}")
  endif()
endforeach()
list(LENGTH symbols count)

function(fnx_symbols_naming name out)
  string(LENGTH "${name}" length)
  set(found "")
  foreach(symbol IN LISTS symbols)
    if(symbol STREQUAL name OR symbol MATCHES "[^0-9]${length}${name}")
      list(APPEND found "${symbol}")
    endif()
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

set(failures "")
foreach(name IN LISTS EXPORTED)
  fnx_symbols_naming(${name} found)
  if(NOT found)
    string(APPEND failures "  not exported: ${name}\n")
  endif()
endforeach()
foreach(name IN LISTS HIDDEN)
  fnx_symbols_naming(${name} found)
  if(found)
    string(APPEND failures "  exported but internal: ${name} (${found})\n")
  endif()
endforeach()
# The runtime is linked in statically; an export of its own means that the
# linker fell back to exporting every symbol.
foreach(symbol IN LISTS symbols)
  if(symbol MATCHES "^(_ZNS[tao]|_ZSt|__cxa_|__gxx_|pthread_|_Unwind_)")
    string(APPEND failures "  runtime symbol exported: ${symbol}\n")
  endif()
endforeach()

if(failures)
  message(FATAL_ERROR "${DLL} (${count} exports):\n${failures}")
endif()
message(STATUS "${DLL}: ${count} exports, the host's names present, internals hidden")
