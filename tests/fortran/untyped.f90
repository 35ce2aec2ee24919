! What has no element type, and what a Fortran caller may take otherwise than it is.
subroutine test_frame()
  use, intrinsic :: iso_c_binding
  use checks
  use nevrad
  implicit none
  type(version_record) :: record
  real(c_float) :: y(3)

  call holds("the budget is one at the start", orv_get_thread_num() == 1)
  call holds("a budget of three is taken", orv_set_thread_num(3) == orv_sparse_status_success)
  call holds("the budget is three", orv_get_thread_num() == 3)
  call holds("a budget of none is refused", &
      orv_set_thread_num(0) == orv_sparse_status_invalid_value)
  call holds("the budget stays three", orv_get_thread_num() == 3)

  call holds("the version is filled in", nevrad_get_version(record) == 1)
  call holds("the version has its place", all(record%package_version(1:11) == &
      transfer("1.26.1.RC1" // c_null_char, record%package_version, 11)))

  ! Positions of packed vectors count from 0 in Fortran as well.
  y = [1, 2, 3]
  call holds("saxpyi runs", orv_sparse_saxpyi(1, 2.0, [5.0], [1], y) == 0)
  call holds("saxpyi adds to the second element", all(y == [1.0, 12.0, 3.0]))
  call holds("a bad value gives its status by reference", &
      orv_sparse_saxpyi(0, 2.0, [5.0], [1], y) == orv_sparse_status_invalid_value)
end subroutine
