ws_bench(backup_items maintenance crypto)
