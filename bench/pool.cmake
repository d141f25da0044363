ws_bench(pool ldap_layer platform_portable)
