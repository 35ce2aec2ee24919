! Interfaces of nevrad, a sparse BLAS, for Fortran callers.
!
! Compile this file with your program, and say "use nevrad". Each function is the form of the
! library that takes scalars by reference, under its name without the trailing underscore, and
! returns a status. The full description of each stands in nevrad.h.
!
! Arrays are of assumed size; the shape that is read or written stands above each group. Indices are
! zero-based or one-based as the group or the descriptor says, whatever the arrays' lower bounds.
! What is written is intent(inout), since a call that fails leaves it as it was. Fortran lets no
! array that is written be passed twice, so a solve in place needs a copy of its right-hand side.
!
! Written by fortran/generate from include/nevrad.h.
module nevrad
  use, intrinsic :: iso_c_binding, only: c_char, c_double, c_double_complex, c_float, &
      c_float_complex, c_int, c_int32_t
  implicit none
  public
  private :: c_char, c_double, c_double_complex, c_float, c_float_complex, c_int, c_int32_t

  integer(c_int32_t), parameter :: orv_sparse_status_success = 0
  integer(c_int32_t), parameter :: orv_sparse_status_null_pointer = 1
  integer(c_int32_t), parameter :: orv_sparse_status_alloc_failed = 2
  integer(c_int32_t), parameter :: orv_sparse_status_invalid_value = 3
  integer(c_int32_t), parameter :: orv_sparse_status_not_supported = 6

  ! Eight texts of 100 characters, each ended by a null character.
  type, bind(C) :: version_record
    character(kind=c_char) :: product_name(100), product_version(100)
    character(kind=c_char) :: component_name(100), component_version(100), component_revision(100)
    character(kind=c_char) :: compiler_name(100)
    character(kind=c_char) :: package_name(100), package_version(100)
  end type

  interface

    ! Fills the record; returns 1, which is no status.
    function nevrad_get_version(record) bind(C, name="NEVRADGetVersion") result(filled)
      import :: c_int32_t, version_record
      type(version_record), intent(inout) :: record
      integer(c_int32_t) :: filled
    end function

    ! Thread budget: n from 1 to 640, for the whole process. Some products lower it.
    function orv_set_thread_num(n) bind(C, name="orv_set_thread_num_") result(status)
      import :: c_int, c_int32_t
      integer(c_int), intent(in) :: n
      integer(c_int32_t) :: status
    end function
    function orv_get_thread_num() bind(C, name="orv_get_thread_num_") result(count)
      import :: c_int
      integer(c_int) :: count
    end function

    ! y(indx(i) + 1) = y(indx(i) + 1) + alpha x(i): x(nnz), indx(nnz) zero-based, y(:)
    function orv_sparse_saxpyi(nnz, alpha, x, indx, y) bind(C, name="orv_sparse_saxpyi_") &
        result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_float), intent(in) :: alpha, x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_daxpyi(nnz, alpha, x, indx, y) bind(C, name="orv_sparse_daxpyi_") &
        result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_double), intent(in) :: alpha, x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_caxpyi(nnz, alpha, x, indx, y) bind(C, name="orv_sparse_caxpyi_") &
        result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_float_complex), intent(in) :: alpha, x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zaxpyi(nnz, alpha, x, indx, y) bind(C, name="orv_sparse_zaxpyi_") &
        result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_double_complex), intent(in) :: alpha, x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! x(i) = y(indx(i) + 1): y(:), x(nnz), indx(nnz) zero-based
    function orv_sparse_sgthr(nnz, y, x, indx) bind(C, name="orv_sparse_sgthr_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_float), intent(in) :: y(*)
      real(c_float), intent(inout) :: x(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dgthr(nnz, y, x, indx) bind(C, name="orv_sparse_dgthr_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_double), intent(in) :: y(*)
      real(c_double), intent(inout) :: x(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_cgthr(nnz, y, x, indx) bind(C, name="orv_sparse_cgthr_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_float_complex), intent(in) :: y(*)
      complex(c_float_complex), intent(inout) :: x(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zgthr(nnz, y, x, indx) bind(C, name="orv_sparse_zgthr_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_double_complex), intent(in) :: y(*)
      complex(c_double_complex), intent(inout) :: x(*)
      integer(c_int32_t) :: status
    end function

    ! x(i) = y(indx(i) + 1), which becomes zero: y(:), x(nnz), indx(nnz) zero-based
    function orv_sparse_sgthrz(nnz, y, x, indx) bind(C, name="orv_sparse_sgthrz_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_float), intent(inout) :: y(*), x(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dgthrz(nnz, y, x, indx) bind(C, name="orv_sparse_dgthrz_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_double), intent(inout) :: y(*), x(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_cgthrz(nnz, y, x, indx) bind(C, name="orv_sparse_cgthrz_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_float_complex), intent(inout) :: y(*), x(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zgthrz(nnz, y, x, indx) bind(C, name="orv_sparse_zgthrz_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_double_complex), intent(inout) :: y(*), x(*)
      integer(c_int32_t) :: status
    end function

    ! y(indx(i) + 1) = x(i): x(nnz), indx(nnz) zero-based, y(:)
    function orv_sparse_ssctr(nnz, x, indx, y) bind(C, name="orv_sparse_ssctr_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_float), intent(in) :: x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dsctr(nnz, x, indx, y) bind(C, name="orv_sparse_dsctr_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_double), intent(in) :: x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_csctr(nnz, x, indx, y) bind(C, name="orv_sparse_csctr_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_float_complex), intent(in) :: x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zsctr(nnz, x, indx, y) bind(C, name="orv_sparse_zsctr_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_double_complex), intent(in) :: x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! Plane rotation of x(nnz) and the elements of y(:) at indx(nnz), zero-based
    function orv_sparse_sroti(nnz, x, indx, y, c, s) bind(C, name="orv_sparse_sroti_") &
        result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_float), intent(inout) :: x(*), y(*)
      real(c_float), intent(in) :: c, s
      integer(c_int32_t) :: status
    end function
    function orv_sparse_droti(nnz, x, indx, y, c, s) bind(C, name="orv_sparse_droti_") &
        result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_double), intent(inout) :: x(*), y(*)
      real(c_double), intent(in) :: c, s
      integer(c_int32_t) :: status
    end function

    ! result = sum of x(i) y(indx(i) + 1): x(nnz), indx(nnz) zero-based, y(:)
    function orv_sparse_sdoti(nnz, x, indx, y, result) bind(C, name="orv_sparse_sdoti_") &
        result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_float), intent(in) :: x(*), y(*)
      real(c_float), intent(inout) :: result
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ddoti(nnz, x, indx, y, result) bind(C, name="orv_sparse_ddoti_") &
        result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      real(c_double), intent(in) :: x(*), y(*)
      real(c_double), intent(inout) :: result
      integer(c_int32_t) :: status
    end function

    ! result = sum of x(i) y(indx(i) + 1): x(nnz), indx(nnz) zero-based, y(:)
    function orv_sparse_cdotui_sub(nnz, x, indx, y, result) bind(C, name="orv_sparse_cdotui_sub_") &
        result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_float_complex), intent(in) :: x(*), y(*)
      complex(c_float_complex), intent(inout) :: result
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zdotui_sub(nnz, x, indx, y, result) bind(C, name="orv_sparse_zdotui_sub_") &
        result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_double_complex), intent(in) :: x(*), y(*)
      complex(c_double_complex), intent(inout) :: result
      integer(c_int32_t) :: status
    end function

    ! result = sum of conjg(x(i)) y(indx(i) + 1): x(nnz), indx(nnz) zero-based, y(:)
    function orv_sparse_cdotci_sub(nnz, x, indx, y, result) bind(C, name="orv_sparse_cdotci_sub_") &
        result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_float_complex), intent(in) :: x(*), y(*)
      complex(c_float_complex), intent(inout) :: result
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zdotci_sub(nnz, x, indx, y, result) bind(C, name="orv_sparse_zdotci_sub_") &
        result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: nnz, indx(*)
      complex(c_double_complex), intent(in) :: x(*), y(*)
      complex(c_double_complex), intent(inout) :: result
      integer(c_int32_t) :: status
    end function

    ! y = alpha op(A) x + beta y, A m by k, by rows; transa: 0 A, 1 transpose, 2 conjugate
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(m), pntre(m)
    ! x(k), y(m); transposed: x(m), y(k)
    function orv_sparse_scsrmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_scsrmv_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      real(c_float), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_dcsrmv_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      real(c_double), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_ccsrmv_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      complex(c_float_complex), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_zcsrmv_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      complex(c_double_complex), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! y = alpha op(A) x + beta y, A m by k, by columns
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(k), pntre(k)
    ! x(k), y(m); transposed: x(m), y(k)
    function orv_sparse_scscmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_scscmv_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      real(c_float), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcscmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_dcscmv_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      real(c_double), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccscmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_ccscmv_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      complex(c_float_complex), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcscmv(transa, m, k, alpha, matdescra, val, indx, pntrb, pntre, x, beta, &
        y) bind(C, name="orv_sparse_zcscmv_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, k, indx(*), pntrb(*), pntre(*)
      complex(c_double_complex), intent(in) :: alpha, val(*), x(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! y = op(A) x, A general of order m, by rows
    ! orv_sparse_: one-based, orv_csparse_: zero-based
    ! a(nnz), ia(m + 1), ja(nnz), x(m), y(m)
    function orv_sparse_scsrgemv(transa, m, a, ia, ja, x, y) bind(C, name="orv_sparse_scsrgemv_") &
        result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      real(c_float), intent(in) :: a(*), x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrgemv(transa, m, a, ia, ja, x, y) bind(C, name="orv_sparse_dcsrgemv_") &
        result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      real(c_double), intent(in) :: a(*), x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrgemv(transa, m, a, ia, ja, x, y) bind(C, name="orv_sparse_ccsrgemv_") &
        result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      complex(c_float_complex), intent(in) :: a(*), x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrgemv(transa, m, a, ia, ja, x, y) bind(C, name="orv_sparse_zcsrgemv_") &
        result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      complex(c_double_complex), intent(in) :: a(*), x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_scsrgemv(transa, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_scsrgemv_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      real(c_float), intent(in) :: a(*), x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_dcsrgemv(transa, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_dcsrgemv_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      real(c_double), intent(in) :: a(*), x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_ccsrgemv(transa, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_ccsrgemv_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      complex(c_float_complex), intent(in) :: a(*), x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_zcsrgemv(transa, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_zcsrgemv_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, ia(*), ja(*)
      complex(c_double_complex), intent(in) :: a(*), x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! y = A x, A symmetric of order m; uplo: 0 the lower triangle counts, 1 the upper
    ! orv_sparse_: one-based, orv_csparse_: zero-based
    ! a(nnz), ia(m + 1), ja(nnz), x(m), y(m)
    function orv_sparse_scsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_sparse_scsrsymv_") &
        result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      real(c_float), intent(in) :: a(*), x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_sparse_dcsrsymv_") &
        result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      real(c_double), intent(in) :: a(*), x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_sparse_ccsrsymv_") &
        result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      complex(c_float_complex), intent(in) :: a(*), x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_sparse_zcsrsymv_") &
        result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      complex(c_double_complex), intent(in) :: a(*), x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_scsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_csparse_scsrsymv_") &
        result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      real(c_float), intent(in) :: a(*), x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_dcsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_csparse_dcsrsymv_") &
        result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      real(c_double), intent(in) :: a(*), x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_ccsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_csparse_ccsrsymv_") &
        result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      complex(c_float_complex), intent(in) :: a(*), x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_zcsrsymv(uplo, m, a, ia, ja, x, y) bind(C, name="orv_csparse_zcsrsymv_") &
        result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, m, ia(*), ja(*)
      complex(c_double_complex), intent(in) :: a(*), x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! op(A) y = alpha x, A triangular (T) or diagonal (D) of order m, by rows
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(m), pntre(m)
    ! x(m), y(m)
    function orv_sparse_scsrsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_scsrsv_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      real(c_float), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_dcsrsv_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      real(c_double), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_ccsrsv_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      complex(c_float_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_zcsrsv_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      complex(c_double_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! op(A) y = alpha x, A triangular (T) or diagonal (D) of order m, by columns
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(m), pntre(m)
    ! x(m), y(m)
    function orv_sparse_scscsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_scscsv_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      real(c_float), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcscsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_dcscsv_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      real(c_double), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccscsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_ccscsv_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      complex(c_float_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcscsv(transa, m, alpha, matdescra, val, indx, pntrb, pntre, x, y) bind(C, &
        name="orv_sparse_zcscsv_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, indx(*), pntrb(*), pntre(*)
      complex(c_double_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! op(A) y = x, A triangular; uplo: 0 lower, 1 upper; diag: 0 stored, 1 taken as ones
    ! orv_sparse_: one-based, orv_csparse_: zero-based
    ! a(nnz), ia(m + 1), ja(nnz), x(m), y(m)
    function orv_sparse_scsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_sparse_scsrtrsv_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      real(c_float), intent(in) :: a(*), x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_sparse_dcsrtrsv_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      real(c_double), intent(in) :: a(*), x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_sparse_ccsrtrsv_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      complex(c_float_complex), intent(in) :: a(*), x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_sparse_zcsrtrsv_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      complex(c_double_complex), intent(in) :: a(*), x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_scsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_scsrtrsv_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      real(c_float), intent(in) :: a(*), x(*)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_dcsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_dcsrtrsv_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      real(c_double), intent(in) :: a(*), x(*)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_ccsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_ccsrtrsv_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      complex(c_float_complex), intent(in) :: a(*), x(*)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_csparse_zcsrtrsv(uplo, transa, diag, m, a, ia, ja, x, y) bind(C, &
        name="orv_csparse_zcsrtrsv_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: uplo, transa, diag, m, ia(*), ja(*)
      complex(c_double_complex), intent(in) :: a(*), x(*)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! C = alpha op(A) B + beta C, A m by k, by rows
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(m), pntre(m)
    ! F: b(ldb, n) of k rows, c(ldc, n) of m rows; transposed: of m and k rows
    ! C: their rows one behind the other, b(ldb, k), c(ldc, m); transposed: b(ldb, m), c(ldc, k)
    function orv_sparse_scsrmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_scsrmm_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      real(c_float), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_dcsrmm_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      real(c_double), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_ccsrmm_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      complex(c_float_complex), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_zcsrmm_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      complex(c_double_complex), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function

    ! C = alpha op(A) B + beta C, A m by k, by columns
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(k), pntre(k)
    ! F: b(ldb, n) of k rows, c(ldc, n) of m rows; transposed: of m and k rows
    ! C: their rows one behind the other, b(ldb, k), c(ldc, m); transposed: b(ldb, m), c(ldc, k)
    function orv_sparse_scscmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_scscmm_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      real(c_float), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcscmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_dcscmm_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      real(c_double), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccscmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_ccscmm_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      complex(c_float_complex), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcscmm(transa, m, n, k, alpha, matdescra, val, indx, pntrb, pntre, b, ldb, &
        beta, c, ldc) bind(C, name="orv_sparse_zcscmm_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, indx(*), pntrb(*), pntre(*), ldb, ldc
      complex(c_double_complex), intent(in) :: alpha, val(*), b(*), beta
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function

    ! op(A) Y = alpha X, A triangular (T) or diagonal (D) of order m, by rows
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(m), pntre(m)
    ! F: x(ldx, n), y(ldy, n) of m rows; C: their rows, x(ldx, m), y(ldy, m)
    function orv_sparse_scsrsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_scsrsm_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      real(c_float), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_dcsrsm_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      real(c_double), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_ccsrsm_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      complex(c_float_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_zcsrsm_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      complex(c_double_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! op(A) Y = alpha X, A triangular (T) or diagonal (D) of order m, by columns
    ! matdescra: structure (G, S, H, T, D), triangle (L, U), diagonal (N, U), base (F, C)
    ! val(nnz), indx(nnz), pntrb(m), pntre(m)
    ! F: x(ldx, n), y(ldy, n) of m rows; C: their rows, x(ldx, m), y(ldy, m)
    function orv_sparse_scscsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_scscsm_") result(status)
      import :: c_char, c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      real(c_float), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_float), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcscsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_dcscsm_") result(status)
      import :: c_char, c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      real(c_double), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      real(c_double), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccscsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_ccscsm_") result(status)
      import :: c_char, c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      complex(c_float_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_float_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcscsm(transa, m, n, alpha, matdescra, val, indx, pntrb, pntre, x, ldx, y, &
        ldy) bind(C, name="orv_sparse_zcscsm_") result(status)
      import :: c_char, c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, indx(*), pntrb(*), pntre(*), ldx, ldy
      complex(c_double_complex), intent(in) :: alpha, val(*), x(*)
      character(kind=c_char), intent(in) :: matdescra(4)
      complex(c_double_complex), intent(inout) :: y(*)
      integer(c_int32_t) :: status
    end function

    ! C = A + beta op(B), A and C m by n; request: 0 all of C, 1 ic alone, 2 c and jc
    ! a(nnz of A), ja(nnz of A), ia(m + 1), one-based; b, jb, ib the same for B
    ! c(nzmax), jc(nzmax), ic(m + 1); with request 1 neither c nor jc is touched
    function orv_sparse_scsradd(transa, request, sort, m, n, a, ja, ia, beta, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_scsradd_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, ja(*), ia(*), jb(*), ib(*), nzmax
      real(c_float), intent(in) :: a(*), beta, b(*)
      real(c_float), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsradd(transa, request, sort, m, n, a, ja, ia, beta, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_dcsradd_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, ja(*), ia(*), jb(*), ib(*), nzmax
      real(c_double), intent(in) :: a(*), beta, b(*)
      real(c_double), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsradd(transa, request, sort, m, n, a, ja, ia, beta, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_ccsradd_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, ja(*), ia(*), jb(*), ib(*), nzmax
      complex(c_float_complex), intent(in) :: a(*), beta, b(*)
      complex(c_float_complex), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsradd(transa, request, sort, m, n, a, ja, ia, beta, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_zcsradd_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, ja(*), ia(*), jb(*), ib(*), nzmax
      complex(c_double_complex), intent(in) :: a(*), beta, b(*)
      complex(c_double_complex), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function

    ! C = op(A) B, A m by n, B with k columns; request as above; sort is not read
    ! a(nnz of A), ja(nnz of A), ia(m + 1), one-based; b, jb, ib the same for B
    ! c(nzmax), jc(nzmax), ic(m + 1); transposed: ic(n + 1)
    function orv_sparse_scsrmultcsr(transa, request, sort, m, n, k, a, ja, ia, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_scsrmultcsr_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, k, ja(*), ia(*), jb(*), ib(*), &
          nzmax
      real(c_float), intent(in) :: a(*), b(*)
      real(c_float), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrmultcsr(transa, request, sort, m, n, k, a, ja, ia, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_dcsrmultcsr_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, k, ja(*), ia(*), jb(*), ib(*), &
          nzmax
      real(c_double), intent(in) :: a(*), b(*)
      real(c_double), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrmultcsr(transa, request, sort, m, n, k, a, ja, ia, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_ccsrmultcsr_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, k, ja(*), ia(*), jb(*), ib(*), &
          nzmax
      complex(c_float_complex), intent(in) :: a(*), b(*)
      complex(c_float_complex), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrmultcsr(transa, request, sort, m, n, k, a, ja, ia, b, jb, ib, c, jc, &
        ic, nzmax) bind(C, name="orv_sparse_zcsrmultcsr_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, request, sort, m, n, k, ja(*), ia(*), jb(*), ib(*), &
          nzmax
      complex(c_double_complex), intent(in) :: a(*), b(*)
      complex(c_double_complex), intent(inout) :: c(*)
      integer(c_int), intent(inout) :: jc(*), ic(*)
      integer(c_int32_t) :: status
    end function

    ! C = op(A) B, A m by n, B with k columns
    ! a(nnz of A), ja(nnz of A), ia(m + 1), one-based; b, jb, ib the same for B
    ! c(ldc, k), of which m rows are written; transposed: n rows
    function orv_sparse_scsrmultd(transa, m, n, k, a, ja, ia, b, jb, ib, c, ldc) bind(C, &
        name="orv_sparse_scsrmultd_") result(status)
      import :: c_float, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, ja(*), ia(*), jb(*), ib(*), ldc
      real(c_float), intent(in) :: a(*), b(*)
      real(c_float), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_dcsrmultd(transa, m, n, k, a, ja, ia, b, jb, ib, c, ldc) bind(C, &
        name="orv_sparse_dcsrmultd_") result(status)
      import :: c_double, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, ja(*), ia(*), jb(*), ib(*), ldc
      real(c_double), intent(in) :: a(*), b(*)
      real(c_double), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_ccsrmultd(transa, m, n, k, a, ja, ia, b, jb, ib, c, ldc) bind(C, &
        name="orv_sparse_ccsrmultd_") result(status)
      import :: c_float_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, ja(*), ia(*), jb(*), ib(*), ldc
      complex(c_float_complex), intent(in) :: a(*), b(*)
      complex(c_float_complex), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function
    function orv_sparse_zcsrmultd(transa, m, n, k, a, ja, ia, b, jb, ib, c, ldc) bind(C, &
        name="orv_sparse_zcsrmultd_") result(status)
      import :: c_double_complex, c_int, c_int32_t
      integer(c_int), intent(in) :: transa, m, n, k, ja(*), ia(*), jb(*), ib(*), ldc
      complex(c_double_complex), intent(in) :: a(*), b(*)
      complex(c_double_complex), intent(inout) :: c(*)
      integer(c_int32_t) :: status
    end function

  end interface

end module nevrad
