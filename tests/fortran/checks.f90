! Compares two results to the bit, and keeps count.
module checks
  use, intrinsic :: iso_c_binding, only: c_int, c_int32_t, c_size_t
  implicit none
  integer :: compared = 0, failed = 0

  interface
    function memcmp(a, b, n) bind(C) result(order)
      import :: c_int, c_size_t
      type(*), intent(in) :: a(*), b(*)
      integer(c_size_t), intent(in), value :: n
      integer(c_int) :: order
    end function
  end interface

contains

  ! Both calls have succeeded, and written the same bits, which are not the ones from before.
  subroutine same(name, status, status_by_value, got, got_by_value, before, bytes)
    character(*), intent(in) :: name
    integer(c_int32_t), intent(in) :: status, status_by_value
    type(*), intent(in) :: got(*), got_by_value(*), before(*)
    integer, intent(in) :: bytes
    compared = compared + 1
    if (status /= 0 .or. status_by_value /= 0) then
      print *, name, ": statuses ", status, status_by_value
    else if (memcmp(got, got_by_value, int(bytes, c_size_t)) /= 0) then
      print *, name, ": the forms by reference and by value differ"
    else if (memcmp(got, before, int(bytes, c_size_t)) == 0) then
      print *, name, ": nothing was written"
    else
      return
    end if
    failed = failed + 1
  end subroutine

  subroutine holds(name, condition)
    character(*), intent(in) :: name
    logical, intent(in) :: condition
    compared = compared + 1
    if (condition) return
    print *, name
    failed = failed + 1
  end subroutine

end module
