// The exception that carries a plain text: what the library throws for a failure that needs
// no class of its own, notably an operating-system failure ("%s: %s" of a context naming the
// member and the system's message).
#pragma once

#include "nex_Exception.h"

class VLTUTL_API nex_TextException : public nex_Exception {
public:
    explicit nex_TextException(const cow_String& text);
    nex_TextException(const nex_TextException&) = default;
    nex_TextException& operator=(const nex_TextException&) = default;
    ~nex_TextException() override;

    // The text, unchanged.
    cow_String AsString() const override;
    [[noreturn]] void Propagate() const override;
    nex_Exception* Copy() const override;
    unsigned DynTypeId() const override;

    const cow_String& Text() const { return text_; }

    static constexpr unsigned TypeId() { return 0x1f0002u; }

private:
    cow_String text_;
};
