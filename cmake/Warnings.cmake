# The rules of every target: warnings are errors, in both builds.
function(ws_rules target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
  # Natively eight files of a folder are compiled as one, because most of it is the same headers and templates; more at
  # once would make an edit wait for its whole folder, as in the other builds. Then a local name may be that of another
  # file's function, and what is unnamed stands in an included file.
  if(CMAKE_UNITY_BUILD)
    target_compile_options(${target} PRIVATE -Wno-shadow -Wshadow=local -Wno-subobject-linkage)
  endif()
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR}/src)
  if(WIN32)
    target_compile_definitions(${target} PRIVATE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
  else()
    # One unique symbol of a library's template would keep the plug-in loaded for ever.
    target_compile_options(${target} PRIVATE -fno-gnu-unique)
  endif()
endfunction()

# Line numbers are what a backtrace needs; full debug information doubles the time that a build takes.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")
if(WIN32)  # the linker strips it
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -DNDEBUG")
endif()

if(WS_SANITIZE)
  # The address sanitizer's code takes half again as long to compile with -O1.
  if(WS_SANITIZE MATCHES address)
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-Og -g1")
  else()
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
  endif()
  add_compile_options(-fsanitize=${WS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # These three check every access through a pointer, a sixth of the build's time; the address sanitizer stops at what
  # they would find, but for misaligned reads, which the processor allows.
  add_compile_options(-fno-sanitize=null,alignment,object-size)
  add_link_options(-fsanitize=${WS_SANITIZE})
  # The instrumentation hides from the compiler what sets a variable; the other builds keep the warning.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
endif()
