! fortran_counters.f90 - what the Fortran check of the drop-in library shares: the tally, and the
! emulated GPU's counters (zuli_emu.h) read through C interoperability.
module counters
  use iso_c_binding
  implicit none
  integer :: passed = 0, failed = 0

  type, bind(c) :: emu_counters
    integer(c_long_long) :: copies(13)  ! bytes and counts of copies, memsets, launches, syncs, calls
    real(c_double) :: blas_flops
    integer(c_long_long) :: memory(7)
  end type

  interface
    subroutine zuliEmuGetCounters(c) bind(c, name='zuliEmuGetCounters')
      import emu_counters
      type(emu_counters), intent(out) :: c
    end subroutine
    subroutine zuliEmuResetCounters() bind(c, name='zuliEmuResetCounters')
    end subroutine
  end interface

contains
  subroutine record(ok, what, n)
    logical, intent(in) :: ok
    character(*), intent(in) :: what
    integer, intent(in) :: n
    if (ok) then
      passed = passed + 1
    else
      failed = failed + 1
      print '(a, a, a, i0)', 'FAILED: ', what, ' n=', n
    end if
  end subroutine

  subroutine reset_counters()
    call zuliEmuResetCounters()
  end subroutine

  ! Did the library run the last call (bytes to the device, kernels or cuBLAS calls)? It must from
  ! the threshold (ZULI_DROPIN_MIN_ORDER) on, and must not below it.
  subroutine expect_where(order, what, n)
    integer, intent(in) :: order, n
    character(*), intent(in) :: what
    type(emu_counters) :: c
    character(len=32) :: setting
    integer :: threshold, status
    logical :: device
    call get_environment_variable('ZULI_DROPIN_MIN_ORDER', setting, status=status)
    threshold = huge(threshold)
    if (status == 0) read (setting, *) threshold
    call zuliEmuGetCounters(c)
    device = c%copies(2) + c%copies(11) + c%copies(13) > 0  ! h2dBytes, launches, blasCalls
    call record(device .eqv. order >= threshold, what // ' ran where the threshold says', n)
  end subroutine
end module
