! Calls without the module, as programs make them that know the names alone: the compiler adds the
! underscore, and the length of a text behind the last argument.
subroutine test_external()
  use checks
  implicit none
  integer, external :: orv_set_thread_num, orv_get_thread_num
  integer, external :: orv_sparse_dcsrmv, orv_sparse_zcsrmv, orv_sparse_saxpyi, orv_csparse_scsrgemv
  !     [ 2 0 1 ]
  ! A = [ 0 3 0 ]
  !     [ 4 0 5 ]
  integer :: ia(4) = [1, 3, 4, 6], ja(5) = [1, 3, 2, 1, 3]
  double precision :: a(5) = [2, 1, 3, 4, 5], x(3) = [1, 2, 3], y(3) = [10, 20, 30]
  complex(kind(1d0)) :: za(5), zx(3), zy(3)
  real :: sa(5), sx(3), sy(3)
  character(4) :: descriptor = 'G00F'
  character(30) :: longer = 'G00F, and what follows'

  call holds('set_thread_num', orv_set_thread_num(2) == 0)
  call holds('get_thread_num', orv_get_thread_num() == 2)
  call holds('set_thread_num back', orv_set_thread_num(1) == 0)

  call holds('dcsrmv', orv_sparse_dcsrmv(0, 3, 3, 2d0, descriptor, a, ja, ia, ia(2), x, 1d0, y) == 0)
  call holds('dcsrmv: y', all(y == [20d0, 32d0, 68d0]))
  call holds('dcsrmv again', orv_sparse_dcsrmv(1, 3, 3, 1d0, longer, a, ja, ia, ia(2), x, 0d0, y) == 0)
  call holds('dcsrmv: transposed', all(y == [14d0, 6d0, 16d0]))

  ! A complex scalar is its two parts, one behind the other.
  za = a
  zx = x
  zy = (0d0, 1d0)
  call holds('zcsrmv', orv_sparse_zcsrmv(0, 3, 3, (1d0, -2d0), 'G00F', za, ja, ia, ia(2), zx, &
      (0d0, 3d0), zy) == 0)
  call holds('zcsrmv: y', all(zy == (1d0, -2d0) * [5, 6, 19] - 3))

  sa = real(a)
  sx = real(x)
  sy = 0
  call holds('csrgemv, zero-based', orv_csparse_scsrgemv(0, 3, sa, ia - 1, ja - 1, sx, sy) == 0)
  call holds('csrgemv: y', all(sy == [5.0, 6.0, 19.0]))
  call holds('saxpyi', orv_sparse_saxpyi(2, 2.0, sx, [2, 0], sy) == 0)
  call holds('saxpyi: y', all(sy == [9.0, 6.0, 21.0]))
end subroutine
