! Usage: nevrad_fortran_tests frame|vector|mv|sv|mm|sm|spsp|external
program nevrad_fortran_tests
  use checks
  use typed_c
  use typed_d
  use typed_s
  use typed_z
  implicit none
  interface
    subroutine test_frame()
    end subroutine
    subroutine test_external()
    end subroutine
  end interface
  character(16) :: family

  call get_command_argument(1, family)
  select case (family)
  case ("frame")
    call test_frame()
  case ("external")
    call test_external()
  case ("vector")
    call vector_s()
    call vector_d()
    call vector_c()
    call vector_z()
  case ("mv")
    call mv_s()
    call mv_d()
    call mv_c()
    call mv_z()
  case ("sv")
    call sv_s()
    call sv_d()
    call sv_c()
    call sv_z()
  case ("mm")
    call mm_s()
    call mm_d()
    call mm_c()
    call mm_z()
  case ("sm")
    call sm_s()
    call sm_d()
    call sm_c()
    call sm_z()
  case ("spsp")
    call spsp_s()
    call spsp_d()
    call spsp_c()
    call spsp_z()
  case default
    error stop "no such family"
  end select

  print "(a, ': ', i0, ' comparisons, ', i0, ' failed')", trim(family), compared, failed
  if (failed > 0 .or. compared == 0) error stop "FAILED"
end program
