! Fortran access to the command line of the VLTutl library.
!
! The library's flat entry points take each string followed directly by its length, passed
! by value as a 32-bit integer. gfortran cannot produce that order on its own: without
! BIND(C) it appends the hidden lengths (size_t, by value) after the last argument and
! decorates the name (utl_commandlineinteger_). So the interfaces below are BIND(C) and the
! lengths are explicit arguments; pass len(name), or a shorter count. Names are trimmed of
! blanks at both ends, so a blank-padded CHARACTER variable works as a name.
!
! Start-up: a Fortran main program hands its own arguments to the library once, before
! anything reads them:
!
!     use vlt_commandline
!     call utl_setCommandLineFromProgram()
!
! A C or C++ host calls utl_setCommandLine(argc, argv) from main instead (utl_CommandLine.h).
module vlt_commandline
    use, intrinsic :: iso_c_binding, only: c_char, c_int, c_int32_t, c_ptr, c_null_ptr, &
                                           c_null_char, c_loc
    implicit none
    private
    public :: UTL_COMMANDLINEINTEGER, UTL_COMMANDLINEISMEMBER, UTL_COMMANDLINESTRING
    public :: utl_setCommandLine, utl_setCommandLineFromProgram

    interface
        ! Stores the option's value as a whole number, or 0 when it is absent.
        subroutine UTL_COMMANDLINEINTEGER(name, name_length, result) &
            bind(C, name="UTL_COMMANDLINEINTEGER")
            import :: c_char, c_int, c_int32_t
            character(kind=c_char), intent(in) :: name(*)
            integer(c_int32_t), value, intent(in) :: name_length
            integer(c_int), intent(out) :: result
        end subroutine UTL_COMMANDLINEINTEGER

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
