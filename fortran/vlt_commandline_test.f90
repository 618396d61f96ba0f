! Drives the command line from Fortran through the module's interfaces. CTest starts it with
!     -n 42 -name abc -flag -long twelve_chars
! and it exits non-zero on the first wrong answer.
program vlt_commandline_test
    use, intrinsic :: iso_c_binding, only: c_int
    use vlt_commandline
    implicit none
    integer(c_int) :: answer
    character(len=10) :: buffer

    call utl_setCommandLineFromProgram()

    call UTL_COMMANDLINEINTEGER('n', 1, answer)
    call expect(answer == 42, 'integer value of n')
    call UTL_COMMANDLINEINTEGER('n   ', 4, answer)
    call expect(answer == 42, 'blank-padded name n')
    call UTL_COMMANDLINEINTEGER('missing', 7, answer)
    call expect(answer == 0, 'integer of an absent option is 0')

    call UTL_COMMANDLINEISMEMBER('flag', 4, answer)
    call expect(answer == 0, 'present option gives status 0')
    call UTL_COMMANDLINEISMEMBER('  flag  ', 8, answer)
    call expect(answer == 0, 'name trimmed at both ends')
    call UTL_COMMANDLINEISMEMBER('nope', 4, answer)
    call expect(answer == 1, 'absent option gives status 1')

    buffer = 'XXXXXXXXXX'
    call UTL_COMMANDLINESTRING('name', 4, buffer, len(buffer), answer)
    call expect(answer == 3, 'string length of name')
    call expect(buffer(1:3) == 'abc', 'string value of name')
    call expect(verify(buffer(4:), ' ') == 0, 'value padded with blanks')

    buffer = 'XXXXXXXXXX'
    call UTL_COMMANDLINESTRING('long', 4, buffer, len(buffer), answer)
    call expect(answer == 0, 'value longer than the buffer answers 0')
    call expect(buffer == 'XXXXXXXXXX', 'value longer than the buffer writes nothing')

    call UTL_COMMANDLINESTRING('flag', 4, buffer, len(buffer), answer)
    call expect(answer == 0, 'empty value answers 0')
    call expect(verify(buffer, ' ') == 0, 'empty value blanks the whole buffer')

contains

    subroutine expect(condition, what)
        logical, intent(in) :: condition
        character(len=*), intent(in) :: what
        if (.not. condition) then
            write (*, '(2a)') 'FAILED: ', what
            error stop 1
        end if
    end subroutine expect

end program vlt_commandline_test
