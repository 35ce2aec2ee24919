! A program with OpenMP regions of its own, that calls nevrad between and inside them.
program openmp
  use, intrinsic :: iso_c_binding, only: c_double, c_int
  use omp_lib, only: omp_get_num_threads
  use nevrad
  implicit none
  integer(c_int), parameter :: n = 10000
  integer(c_int) :: indx(n), i, status, team
  real(c_double) :: x(n), y(n, 2), expected

  team = 0
  status = orv_set_thread_num(3)
  !$omp parallel do reduction(max:team)
  do i = 1, n
    x(i) = i
    y(i, :) = 1
    indx(i) = i - 1
    team = max(team, omp_get_num_threads())
  end do
  status = orv_sparse_daxpyi(n, 2.0_c_double, x, indx, y(:, 1))
  if (status /= 0 .or. team /= 2) error stop "between regions"
  !$omp parallel do reduction(+:status)
  do i = 1, 2
    status = status + orv_sparse_daxpyi(n, 2.0_c_double, x, indx, y(:, i))
  end do
  expected = n * (n + 1.0_c_double)
  if (status /= 0 .or. nint(sum(y(:, 1)) - n) /= nint(2 * expected)) error stop "inside a region, 1"
  if (nint(sum(y(:, 2)) - n) /= nint(expected)) error stop "inside a region, 2"
  print "(a)", "the sums are right"
end program
