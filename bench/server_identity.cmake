# The plug-ins are loaded as a host loads them; names of accounts are no operation, so these are asked of the library.
ws_bench(server_identity identity platform_factory header_only)
target_include_directories(server_identity PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_compile_definitions(server_identity PRIVATE WS_BIN_DIR="${CMAKE_BINARY_DIR}/bin")
add_dependencies(server_identity ws_admin winauth)
