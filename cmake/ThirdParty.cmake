# Libraries from Debian's packages. The header-only ones are reached through a folder of links of our own, so that
# the cross build sees them without seeing the machine's other headers.
set(WS_HEADERS ${CMAKE_BINARY_DIR}/sysroot/include)
file(MAKE_DIRECTORY ${WS_HEADERS})
foreach(name asio asio.hpp nlohmann CLI toml++ tl)
  if(NOT EXISTS /usr/include/${name})
    message(FATAL_ERROR "/usr/include/${name} is missing: run scripts/install-packages.sh")
  endif()
  file(CREATE_LINK /usr/include/${name} ${WS_HEADERS}/${name} SYMBOLIC)
endforeach()

add_library(header_only INTERFACE)
target_include_directories(header_only SYSTEM INTERFACE ${WS_HEADERS})
target_compile_definitions(header_only INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
if(WS_SANITIZE MATCHES thread)
  # The thread sanitizer knows no fences. They only strengthen what asio's locks already order.
  target_compile_definitions(header_only INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()
find_package(Threads REQUIRED)
target_link_libraries(header_only INTERFACE Threads::Threads)
if(WIN32)
  target_link_libraries(header_only INTERFACE ws2_32 mswsock)
endif()

add_library(crypto INTERFACE)
if(WIN32)
  # Cross-built from Debian's source tarball, cached outside the tree.
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/openssl-mingw.sh OUTPUT_VARIABLE openssl
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  target_include_directories(crypto SYSTEM INTERFACE ${openssl}/include)
  target_link_libraries(crypto INTERFACE ${openssl}/libcrypto.a ws2_32 crypt32)
  add_library(tls INTERFACE)
  target_link_libraries(tls INTERFACE ${openssl}/libssl.a crypto)
else()
  find_package(OpenSSL 3 REQUIRED)
  target_link_libraries(crypto INTERFACE OpenSSL::Crypto)
  add_library(tls INTERFACE)
  target_link_libraries(tls INTERFACE OpenSSL::SSL crypto)
endif()

if(WIN32)
  # The compiler's own run-time libraries stand beside the programs: shared, so that exceptions cross module borders.
  foreach(name libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}.dll
      OUTPUT_VARIABLE library OUTPUT_STRIP_TRAILING_WHITESPACE)
    file(COPY ${library} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  endforeach()
endif()
