ws_bench(dispatch ws_admin_frame)
