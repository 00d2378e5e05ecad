# How the library's own sources are compiled: for libcirrow and for any copy of them that a test
# builds with other settings. The settings themselves are defined here, once.
function(cw_library_compile_settings target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include/cirrow
    ${PROJECT_SOURCE_DIR}/cw_basic/cw_communication/cw_link ${PROJECT_SOURCE_DIR}/platform/include
    # The modules' internal cache headers, as "<module>/src/cw_<module>_cache.h".
    ${PROJECT_SOURCE_DIR}/cw_basic/cw_communication/cw_application)
  target_compile_options(${target} PRIVATE
    ${CW_WARNINGS}
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    # The leveled log names source files relative to the build directory.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=../)
endfunction()
