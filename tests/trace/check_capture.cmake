# Runs the short flight with the text trace and the capture on, then checks the text trace, the
# summary, and what tshark decodes from the capture with the generated dissector.
#   cmake -DAPP=... -DTSHARK=... -DLUA=... -DEXPECTED=... -DOUT=... -P check_capture.cmake
set(ENV{MBUS_QUIET} 1)
set(ENV{MBUS_TRACE} ${OUT}/capture.trace)
set(ENV{MBUS_PCAP} ${OUT}/capture.pcap)
execute_process(COMMAND ${APP} OUTPUT_VARIABLE summary RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${APP} failed: ${rc}")
endif()
file(READ ${OUT}/capture.trace trace)
foreach(want
    "#1     REQ  3/141   -> 0x0306 flight.submode_set             len=2 wait=200000us mode=3 submode=1"
    "#1     ANS  3/141   <- 0x0306 flight.submode_set             rc=0 len=1 result=0"
    "#2     ANS  3/248   <- 0x0306 flight.param_read              rc=0 len=6 result=0 hash=305419896 value=42"
    "#3     FAIL 3/21    <- 0x0306 flight.ds_reset                rc=-110 \\(timeout\\)"
    "#4     REQ  10/32   -> 0x1107 vision.qs_set_box              len=20 value0=1 box=\\[0.25,0.5,0.75,1\\] value1=2 value2=300"
    "#5     PUSH 3/91    <-        flight.fc_state                len=12 phase=1 control=2 submode=3 height_dm=4660 speed_cms=0"
    "#6     DROP 4/5     <-        gimbal.info                    len=8 no-handler joint=\\[513)
  if(NOT trace MATCHES "${want}")
    message(FATAL_ERROR "text trace lacks: ${want}\n${trace}")
  endif()
endforeach()
if(NOT summary MATCHES "link summary: 4 requests \\(1 failed\\), 2 pushes \\(1 dropped\\)"
   OR NOT summary MATCHES "REQ  3/21    flight.ds_reset                     1  failed 1 \\[-110 x1\\]")
  message(FATAL_ERROR "summary:\n${summary}")
endif()

if(NOT TSHARK)
  message("tshark is missing: capture not decoded")
  return()
endif()
execute_process(COMMAND ${TSHARK} -n -X lua_script:${LUA} -r ${OUT}/capture.pcap -T fields -E separator=|
    -e cirrow.seq -e cirrow.dir -e cirrow.msg -e cirrow.result -e cirrow.req.flight.submode_set.submode
    -e cirrow.ans.flight.param_read.value -e cirrow.ans.flight.param_read.hash -e cirrow.req.vision.qs_set_box.box
    -e cirrow.req.vision.qs_set_box.value2 -e cirrow.push.flight.fc_state.height_dm
  OUTPUT_VARIABLE decoded ERROR_VARIABLE err RESULT_VARIABLE rc)
file(READ ${EXPECTED} expected)
if(NOT rc EQUAL 0 OR NOT decoded STREQUAL expected)
  message(FATAL_ERROR "tshark (${rc}) decoded:\n${decoded}\nexpected:\n${expected}\n${err}")
endif()
