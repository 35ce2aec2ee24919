! Gauss-Seidel on the five-point Laplacian of a square grid: each sweep is a product with the matrix
! and a solve with its lower triangle, both read from the same arrays.
program gauss_seidel
  use, intrinsic :: iso_c_binding, only: c_double, c_int
  use nevrad
  implicit none
  integer(c_int), parameter :: side = 20, n = side * side
  integer(c_int) :: row(n + 1), column(5 * n), entries = 0, sweeps, status
  real(c_double) :: value(5 * n), x(n), r(n), d(n)

  call make_matrix()
  x = 0
  status = orv_set_thread_num(1)
  do sweeps = 1, 2000
    ! r = 1 - A x. "G00F": a general matrix, indices from 1.
    r = 1
    status = orv_sparse_dcsrmv(0, n, n, -1.0_c_double, "G00F", value, column, row, row(2:), x, &
        1.0_c_double, r)
    if (status /= orv_sparse_status_success) error stop "orv_sparse_dcsrmv failed"
    if (maxval(abs(r)) < 1e-10_c_double) exit
    ! (D + L) d = r. "TLNF": the lower triangle with its stored diagonal; the upper one is skipped.
    status = orv_sparse_dcsrsv(0, n, 1.0_c_double, "TLNF", value, column, row, row(2:), r, d)
    if (status /= orv_sparse_status_success) error stop "orv_sparse_dcsrsv failed"
    x = x + d
  end do
  print "(i0, a, i0, a, es7.1)", n, " unknowns: ", sweeps, " sweeps, largest residual ", &
      maxval(abs(r))
  if (maxval(abs(r)) >= 1e-10_c_double) error stop "not solved"

contains

  subroutine make_matrix()
    integer(c_int) :: i
    do i = 1, n
      row(i) = entries + 1
      if (i > side) call add(i - side, -1.0_c_double)
      if (mod(i - 1, side) > 0) call add(i - 1, -1.0_c_double)
      call add(i, 4.0_c_double)
      if (mod(i, side) > 0) call add(i + 1, -1.0_c_double)
      if (i <= n - side) call add(i + side, -1.0_c_double)
    end do
    row(n + 1) = entries + 1
  end subroutine

  subroutine add(j, element)
    integer(c_int), intent(in) :: j
    real(c_double), intent(in) :: element
    entries = entries + 1
    column(entries) = j
    value(entries) = element
  end subroutine

end program
