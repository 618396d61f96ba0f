// The exception that asks the program to end with an exit code, unwinding on the way; its
// message, when there is one, is what the user is told.
#pragma once

#include "nex_Exception.h"

class VLTUTL_API nex_ExitException : public nex_Exception {
public:
    nex_ExitException(const cow_String& message, int32_t exitCode);
    // Empty, exit code 0: the fields are filled in afterwards by ReadData.
    explicit nex_ExitException(bio_Ifilter& in);
    nex_ExitException(const nex_ExitException&) = default;
    nex_ExitException& operator=(const nex_ExitException&) = default;
    ~nex_ExitException() override;

    // The message; without one, "Exit code: " and the code.
    cow_String AsString() const override;
    [[noreturn]] void Propagate() const override;
    nex_Exception* Copy() const override;
    unsigned DynTypeId() const override;

    const cow_String& Message() const { return message_; }
    int32_t ExitCode() const { return exitCode_; }

    static constexpr unsigned TypeId() { return 0x1f0006u; }
    static void* CtorFunc(bio_Ifilter& in, void* place);
    static void ReadData(bio_Ifilter& in, void* object);
    static bio_Ofilter& WriteData(bio_Ofilter& out, const void* object);
    static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* object);

private:
    cow_String message_;
    int32_t exitCode_ = 0;
};
