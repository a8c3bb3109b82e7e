! fortran_main.f90 - a Fortran program calling every routine of the drop-in library in every
! precision (the modules written from fortran_check.f90.in), then the mixed-precision drivers and
! the precision conversions, on a host-sized, a small and a blocked problem. Prints
! "N passed, N failed".
program fortran_check
  use counters
  use check_s
  use check_d
  use check_c
  use check_z
  implicit none
  integer :: n, k
  integer, parameter :: sizes(3) = [8, 40, 200]
  do k = 1, 3
    n = sizes(k)
    call run_s(n)
    call run_d(n)
    call run_c(n)
    call run_z(n)
    call mixed(n)
  end do
  print '(i0, a, i0, a)', passed, ' passed, ', failed, ' failed'
  if (failed > 0) stop 1

contains
  subroutine mixed(n)
    integer, intent(in) :: n
    real(8) :: a(n, n), b(n, 1), x(n, 1), work(n), re(n, n)
    real(4) :: swork(n * (n + 1)), sa(n, n)
    complex(8) :: za(n, n), zb(n, 1), zx(n, 1), zwork(n)
    complex(4) :: cwork(n * (n + 1)), ca(n, n)
    integer :: ipiv(n), iter, info, i
    call random_number(a)
    call random_number(re)
    do i = 1, n
      a(i, i) = a(i, i) + n
    end do
    a = a + transpose(a)
    za = cmplx(a, re - transpose(re), 8)
    b = 1
    zb = (1, 1)
    call reset_counters()
    call dsgesv(n, 1, a, n, ipiv, b, n, x, n, work, swork, iter, info)
    call expect_where(n, 'dsgesv', n)
    call record(info == 0 .and. iter >= 0 .and. solved(matmul(a, x) - b), 'dsgesv', n)
    call dsposv('U', n, 1, a, n, b, n, x, n, work, swork, iter, info)
    call record(info == 0 .and. iter >= 0 .and. solved(matmul(a, x) - b), 'dsposv', n)
    call zcgesv(n, 1, za, n, ipiv, zb, n, zx, n, zwork, cwork, work, iter, info)
    call record(info == 0 .and. iter >= 0 .and. solved(abs(matmul(za, zx) - zb)), 'zcgesv', n)
    call zcposv('L', n, 1, za, n, zb, n, zx, n, zwork, cwork, work, iter, info)
    call record(info == 0 .and. iter >= 0 .and. solved(abs(matmul(za, zx) - zb)), 'zcposv', n)
    ! Conversions: exactly Fortran's rounding; info 1 beyond single precision.
    call dlag2s(n, n, a, n, sa, n, info)
    call record(info == 0 .and. all(sa == real(a, 4)), 'dlag2s', n)
    call slag2d(n, n, sa, n, re, n, info)
    call record(info == 0 .and. all(re == real(sa, 8)), 'slag2d', n)
    call zlag2c(n, n, za, n, ca, n, info)
    call record(info == 0 .and. all(ca == cmplx(za, kind=4)), 'zlag2c', n)
    call clag2z(n, n, ca, n, za, n, info)
    call record(info == 0 .and. all(za == cmplx(ca, kind=8)), 'clag2z', n)
    sa = 0
    info = 0
    call dlat2s('L', n, a, n, sa, n, info)
    call record(info == 0 .and. sa(n, 1) == real(a(n, 1), 4) .and. sa(1, n) == 0, 'dlat2s', n)
    ca = 0
    call zlat2c('U', n, za, n, ca, n, info)
    call record(info == 0 .and. ca(1, n) == cmplx(za(1, n), kind=4) .and. ca(n, 1) == 0, 'zlat2c', n)
    a(2, 1) = 1d300
    call dlag2s(n, n, a, n, sa, n, info)
    call record(info == 1, 'dlag2s overflow info', n)
  end subroutine

  logical function solved(r)
    real(8), intent(in) :: r(:, :)
    solved = maxval(abs(r)) < 1d-10
  end function
end program
