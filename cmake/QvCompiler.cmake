# Compiler set-up shared by every target: ccache, warnings, sanitizers.

find_program(QV_CCACHE ccache)
if(QV_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QV_CCACHE})
endif()

add_library(qv_warnings INTERFACE)
target_compile_options(qv_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Wno-unused-parameter)

if(QV_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(QV_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT QV_SANITIZE STREQUAL "")
  message(FATAL_ERROR "QV_SANITIZE must be empty, 'address' or 'thread' (got '${QV_SANITIZE}')")
endif()

# SDK libraries must never see Qt: this guard turns an accidental Qt include into a build error.
function(qv_forbid_qt target)
  target_compile_definitions(${target} PRIVATE QV_SDK_NO_QT=1)
  get_target_property(_libs ${target} LINK_LIBRARIES)
  if(_libs)
    foreach(_l IN LISTS _libs)
      if(_l MATCHES "^Qt")
        message(FATAL_ERROR "${target} is part of the SDK and must not link ${_l}")
      endif()
    endforeach()
  endif()
endfunction()
