ws_bench(slapd_federation federation platform_factory header_only)
target_include_directories(slapd_federation PRIVATE ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(slapd_federation PRIVATE ldap lber)
