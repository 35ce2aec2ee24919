nevrad_test_run(frame_thread_limit TARGET nevrad_frame_tests FILTER "budget.*:regions.*"
  ENVIRONMENT OMP_THREAD_LIMIT=4)
nevrad_test_run(frame_one_thread TARGET nevrad_frame_tests FILTER "budget.is_cut*"
  ENVIRONMENT OMP_THREAD_LIMIT=1)
nevrad_test_run(frame_dynamic TARGET nevrad_frame_tests FILTER "regions.*:partition.*"
  ENVIRONMENT OMP_DYNAMIC=true)
