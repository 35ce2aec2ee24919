nevrad_test_run(mv_dynamic TARGET nevrad_mv_tests FILTER "*smaller_team*:*documented_order*"
  ENVIRONMENT OMP_DYNAMIC=true)
