ws_bench(bag mfwcore header_only)
