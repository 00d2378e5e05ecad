# Flies the quick-shot demo on the virtual aircraft with the text trace, the capture and the summary
# on, then checks the text trace, the summary, and what tshark decodes from the capture with the
# generated dissector: the target box sent, the flight state pushed in the air, the mission's status,
# and the remote controller's sticks dropped (the aircraft pushes them; the demo has no handler).
#   cmake -DSIM=cirrow-sim -DAPP=demo -DTSHARK=... -DLUA=... -DEXPECTED=... -DOUT=... -P check_capture.cmake
cmake_policy(SET CMP0007 NEW)
set(ENV{MBUS_QUIET} 1)
set(ENV{MBUS_TRACE} ${OUT}/capture.trace)
set(ENV{MBUS_PCAP} ${OUT}/capture.pcap)
set(ENV{MBUS_TRACE_SUMMARY} 1)
execute_process(COMMAND ${SIM} --speed 4 -- ${APP} OUTPUT_QUIET ERROR_VARIABLE summary RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${APP} failed: ${rc}\n${summary}")
endif()
file(READ ${OUT}/capture.trace trace)
foreach(want "REQ  10/32   -> 0x1107 vision.qs_set_box              len=20 value0=1 box=\\[0.4,0.35,0.2,0.3\\]"
    "PUSH 3/91    <-        flight.fc_state                len=12 phase=3 control=1 submode=0 height_dm=12"
    "PUSH 10/150  <-        vision.qs_finished             len=1 active=0"
    "DROP 10/6    <-        rc.sticks                      len=8 no-handler")
  if(NOT trace MATCHES "${want}")
    message(FATAL_ERROR "text trace lacks: ${want}")
  endif()
endforeach()
if(NOT summary MATCHES "link summary: 8 requests \\(0 failed\\), [0-9]+ pushes \\([0-9]+ dropped\\)"
   OR NOT summary MATCHES "REQ  10/32   vision.qs_set_box                   1\n")
  message(FATAL_ERROR "summary:\n${summary}")
endif()

if(NOT TSHARK)
  message("tshark is missing: capture not decoded")
  return()
endif()
execute_process(COMMAND ${TSHARK} -n -X lua_script:${LUA} -r ${OUT}/capture.pcap -T fields -E separator=|
    -Y "cirrow.msg matches \"^vision.qs_\" || cirrow.push.flight.fc_state.phase == 3" -e cirrow.dir -e cirrow.msg
    -e cirrow.req.vision.qs_set_box.box -e cirrow.push.flight.fc_state.height_dm -e cirrow.push.vision.qs_result.code
    -e cirrow.push.vision.qs_finished.active
  OUTPUT_VARIABLE decoded ERROR_VARIABLE err RESULT_VARIABLE rc)
string(REPLACE "\n" ";" decoded "${decoded}")
list(REMOVE_DUPLICATES decoded)
list(REMOVE_ITEM decoded "")
list(SORT decoded)
list(JOIN decoded "\n" decoded)
file(READ ${EXPECTED} expected)
if(NOT rc EQUAL 0 OR NOT "${decoded}\n" STREQUAL expected)
  message(FATAL_ERROR "tshark (${rc}) decoded:\n${decoded}\nexpected:\n${expected}\n${err}")
endif()
