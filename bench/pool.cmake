ws_bench(pool ldap_layer)
