! Drives the command line and the resource monitor from Fortran through the module. CTest
! starts it with
!     -n 42 -name abc -flag -long twelve_chars -steps x2
! and it exits non-zero on the first wrong answer.
program vlt_commandline_test
    use, intrinsic :: iso_c_binding, only: c_int, c_null_char
    use vlt_commandline
    implicit none
    integer(c_int) :: answer
    character(len=10) :: buffer
    character(len=16) :: copy
    integer :: value, status, length

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

    ! A bad number is a status, never a C++ exception through these frames.
    call UTL_COMMANDLINEINTEGER('steps', 5, answer, status)
    call expect(status == utl_option_malformed .and. answer == 0, 'malformed integer status')
    call utl_optionInteger('n', value, status)
    call expect(status == utl_option_found .and. value == 42, 'integer option found')
    call utl_optionInteger('steps', value, status)
    call expect(status == utl_option_malformed, 'integer option malformed')
    call utl_optionInteger('missing', value, status)
    call expect(status == utl_option_absent .and. value == 0, 'integer option absent')

    buffer = 'XXXXXXXXXX'
    call utl_optionString('long', buffer, status, length)
    call expect(status == utl_option_too_long .and. length == 12, 'too long is not absent')
    call expect(buffer == 'XXXXXXXXXX', 'too long writes nothing')
    call utl_optionString('missing', buffer, status)
    call expect(status == utl_option_absent, 'string option absent')
    call utl_optionString('name', buffer, status, length)
    call expect(status == utl_option_found .and. length == 3 .and. buffer == 'abc', &
                'string option found')

    buffer = 'XXXXXXXXXX'
    answer = utl_CommandLineStringC('name'//c_null_char, buffer, len(buffer, c_int))
    call expect(answer == 3 .and. buffer == 'abc', 'utl_CommandLineStringC')
    answer = utl_getArgs('long'//c_null_char, copy)
    call expect(answer == 12 .and. copy(1:13) == 'twelve_chars'//c_null_char, 'utl_getArgs')

    call utl_ResourceMonitorMark('fortran mark')
    call utl_ResourceMonitorStartTimer(3, 'fortran timer')
    call utl_ResourceMonitorStopTimer(3_c_int)

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
