! Fortran access to the command line and the resource monitor of the VLTutl library.
!
! The library's flat entry points take each string followed directly by its length, passed
! by value as a 32-bit integer. gfortran cannot produce that order on its own: without
! BIND(C) it appends the hidden lengths (size_t, by value) after the last argument and
! decorates the name (utl_commandlineinteger_). So the interfaces below are BIND(C) and the
! lengths are explicit arguments; pass len(name), or a shorter count. Names are trimmed of
! blanks at both ends, so a blank-padded CHARACTER variable works as a name.
!
! No C++ exception ever reaches a Fortran frame: a value that is not a whole number comes
! back as a status (utl_option_malformed), and a value longer than the caller's buffer
! (utl_option_too_long) is told apart from an absent option (utl_option_absent).
! utl_CommandLineStringC and utl_getArgs take a NUL-terminated name (name // c_null_char).
!
! Start-up: a Fortran main program hands its own arguments to the library once, before
! anything reads them:
!
!     use vlt_commandline
!     call utl_setCommandLineFromProgram()
!
! A C or C++ host calls utl_setCommandLine(argc, argv) from main instead (utl_CommandLine.h).
! The installed CMake package names this file in VLTutl_FORTRAN_MODULE_SOURCE: compile it
! into the Fortran program, since a compiled .mod file fits only the compiler that wrote it.
module vlt_commandline
    use, intrinsic :: iso_c_binding, only: c_char, c_int, c_int32_t, c_ptr, c_null_ptr, &
                                           c_null_char, c_loc
    use, intrinsic :: iso_fortran_env, only: error_unit
    implicit none
    private
    public :: UTL_COMMANDLINEINTEGER, UTL_COMMANDLINEISMEMBER, UTL_COMMANDLINESTRING
    public :: utl_optionInteger, utl_optionString, utl_CommandLineStringC, utl_getArgs
    public :: utl_setCommandLine, utl_setCommandLineFromProgram
    public :: utl_ResourceMonitorMark, utl_ResourceMonitorStartTimer
    public :: utl_ResourceMonitorStopTimer

    ! The statuses of the readers.
    integer, parameter, public :: utl_option_found = 0, utl_option_absent = 1, &
                                  utl_option_malformed = 2, utl_option_too_long = 3

    interface
        function c_integer_status(name, name_length, result) &
            bind(C, name="utl_CommandLineIntegerStatus") result(status)
            import :: c_char, c_int, c_int32_t
            character(kind=c_char), intent(in) :: name(*)
            integer(c_int32_t), value, intent(in) :: name_length
            integer(c_int), intent(out) :: result
            integer(c_int) :: status
        end function c_integer_status

        function c_string_status(name, name_length, buffer, buffer_length, length) &
            bind(C, name="utl_CommandLineStringStatus") result(status)
            import :: c_char, c_int, c_int32_t
            character(kind=c_char), intent(in) :: name(*)
            integer(c_int32_t), value, intent(in) :: name_length
            character(kind=c_char), intent(inout) :: buffer(*)
            integer(c_int32_t), value, intent(in) :: buffer_length
            integer(c_int), intent(out) :: length
            integer(c_int) :: status
        end function c_string_status

        ! Writes the value blank-padded to n characters and returns its length; an absent
        ! option, or a value longer than n, returns 0. The name ends with c_null_char.
        function utl_CommandLineStringC(name, buffer, n) &
            bind(C, name="utl_CommandLineStringC") result(length)
            import :: c_char, c_int
            character(kind=c_char), intent(in) :: name(*)
            character(kind=c_char), intent(inout) :: buffer(*)
            integer(c_int), value, intent(in) :: n
            integer(c_int) :: length
        end function utl_CommandLineStringC

        ! Copies the value and a terminating c_null_char into out, which must have room for
        ! both, and returns its length; an absent option returns 0. The name ends with
        ! c_null_char.
        function utl_getArgs(name, out) bind(C, name="utl_getArgs") result(length)
            import :: c_char, c_int
            character(kind=c_char), intent(in) :: name(*)
            character(kind=c_char), intent(inout) :: out(*)
            integer(c_int) :: length
        end function utl_getArgs

        subroutine c_monitor_mark(label) bind(C, name="utl_ResourceMonitorMark")
            import :: c_char
            character(kind=c_char), intent(in) :: label(*)
        end subroutine c_monitor_mark

        subroutine c_monitor_start(index, name) bind(C, name="utl_ResourceMonitorStartTimer")
            import :: c_char, c_int
            integer(c_int), value, intent(in) :: index
            character(kind=c_char), intent(in) :: name(*)
        end subroutine c_monitor_start

        ! Stops timer index of the resource monitor.
        subroutine utl_ResourceMonitorStopTimer(index) &
            bind(C, name="utl_ResourceMonitorStopTimer")
            import :: c_int
            integer(c_int), value, intent(in) :: index
        end subroutine utl_ResourceMonitorStopTimer

        ! Stores 0 when the option IS present and 1 when it is absent: a status code
        ! (0 = found), not a truth value. Deliberate; test for 0.
        subroutine UTL_COMMANDLINEISMEMBER(name, name_length, result) &
            bind(C, name="UTL_COMMANDLINEISMEMBER")
            import :: c_char, c_int, c_int32_t
            character(kind=c_char), intent(in) :: name(*)
            integer(c_int32_t), value, intent(in) :: name_length
            integer(c_int), intent(out) :: result
        end subroutine UTL_COMMANDLINEISMEMBER

        ! Writes the value blank-padded to buffer_length characters and stores its length.
        ! An absent option, or a value longer than the buffer, stores 0 and leaves the
        ! buffer untouched.
        subroutine UTL_COMMANDLINESTRING(name, name_length, buffer, buffer_length, result) &
            bind(C, name="UTL_COMMANDLINESTRING")
            import :: c_char, c_int, c_int32_t
            character(kind=c_char), intent(in) :: name(*)
            integer(c_int32_t), value, intent(in) :: name_length
            character(kind=c_char), intent(inout) :: buffer(*)
            integer(c_int32_t), value, intent(in) :: buffer_length
            integer(c_int), intent(out) :: result
        end subroutine UTL_COMMANDLINESTRING

        ! The C start-up call: argc words, argv(1) the program name, argv(argc + 1) null.
        subroutine utl_setCommandLine(argc, argv) bind(C, name="utl_setCommandLine")
            import :: c_int, c_ptr
            integer(c_int), value, intent(in) :: argc
            type(c_ptr), intent(in) :: argv(*)
        end subroutine utl_setCommandLine
    end interface

    ! One argument as a terminated C string.
    type :: c_word
        character(kind=c_char), allocatable :: text(:)
    end type c_word

contains

    ! Stores the option's value as a whole number, or 0 when it is absent. Without status, a
    ! value that is not a whole number stops the program with a message; with it, the caller
    ! gets utl_option_malformed and decides.
    subroutine UTL_COMMANDLINEINTEGER(name, name_length, result, status)
        character(kind=c_char, len=*), intent(in) :: name
        integer(c_int32_t), intent(in) :: name_length
        integer(c_int), intent(out) :: result
        integer, intent(out), optional :: status
        integer :: found

        found = c_integer_status(name, name_length, result)
        if (present(status)) then
            status = found
        else if (found == utl_option_malformed) then
            write (error_unit, '(3a)') 'option -', name(1:min(len(name), name_length)), &
                ' needs a whole number'
            error stop 2
        end if
    end subroutine UTL_COMMANDLINEINTEGER

    ! The option's value as a whole number (0 unless found) and its status.
    subroutine utl_optionInteger(name, value, status)
        character(len=*), intent(in) :: name
        integer, intent(out) :: value
        integer, intent(out) :: status
        integer(c_int) :: result

        status = c_integer_status(name, int(len(name), c_int32_t), result)
        value = result
    end subroutine utl_optionInteger

    ! The option's value blank-padded into value when it fits (else value is unchanged), its
    ! length whenever the option is present, and the status.
    subroutine utl_optionString(name, value, status, length)
        character(len=*), intent(in) :: name
        character(len=*), intent(inout) :: value
        integer, intent(out) :: status
        integer, intent(out), optional :: length
        integer(c_int) :: found_length

        status = c_string_status(name, int(len(name), c_int32_t), value, &
                                 int(len(value), c_int32_t), found_length)
        if (present(length)) length = found_length
    end subroutine utl_optionString

    ! A mark row of the resource monitor, labelled with the trimmed text.
    subroutine utl_ResourceMonitorMark(label)
        character(len=*), intent(in) :: label
        call c_monitor_mark(trim(label)//c_null_char)
    end subroutine utl_ResourceMonitorMark

    ! Starts timer index of the resource monitor under the trimmed name.
    subroutine utl_ResourceMonitorStartTimer(index, name)
        integer, intent(in) :: index
        character(len=*), intent(in) :: name
        call c_monitor_start(int(index, c_int), trim(name)//c_null_char)
    end subroutine utl_ResourceMonitorStartTimer

    ! Hands the program's own arguments (the program name first) to the library. The library
    ! copies them, so nothing here needs to outlive the call.
    subroutine utl_setCommandLineFromProgram()
        type(c_word), allocatable, target :: words(:)
        type(c_ptr), allocatable :: argv(:)
        integer :: count, i

        count = command_argument_count()
        allocate (words(0:count), argv(count + 2))
        do i = 0, count
            call to_c_word(i, words(i))
            argv(i + 1) = c_loc(words(i)%text)
        end do
        argv(count + 2) = c_null_ptr
        call utl_setCommandLine(int(count + 1, c_int), argv)
    end subroutine utl_setCommandLineFromProgram

    subroutine to_c_word(position, word)
        integer, intent(in) :: position
        type(c_word), intent(out) :: word
        character(len=:), allocatable :: argument
        integer :: length, k

        call get_command_argument(position, length=length)
        allocate (character(len=length) :: argument)
        if (length > 0) call get_command_argument(position, argument)
        allocate (word%text(length + 1))
        do k = 1, length
            word%text(k) = argument(k:k)
        end do
        word%text(length + 1) = c_null_char
    end subroutine to_c_word

end module vlt_commandline
