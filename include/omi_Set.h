// A set of signed integers made of two blocked bit vectors, and its iterator.
//
// `omi_Set` keeps a non-negative member m as bit m of one vector and a negative member as bit -m
// of the other. `omi_SetIT` visits the negative members first, in order of increasing magnitude
// (-1 before -3), then the others in ascending order: a deliberate order that clients rely on.
// A set owns its vectors and is copied in full; it is not shared and takes no locks. An
// iterator must not outlive a change to its set that frees blocks.
#pragma once

#include "omi_BlkBitVect.h"
#include "vlt_Export.h"

class VLTUTL_API omi_Set {
public:
    void Insert(int member) { HalfOf(member).SetBit(Magnitude(member)); }
    void Remove(int member) { HalfOf(member).UnsetBit(Magnitude(member)); }
    bool IsMember(int member) const { return HalfOf(member).TestBit(Magnitude(member)); }
    void Clear();
    unsigned Size() const { return nonNegative.BitCount() + negative.BitCount(); }
    omi_Set& operator+=(const omi_Set& other);

private:
    friend class omi_SetIT;

    static unsigned Magnitude(int member) { return vlt::detail::omi_Magnitude(member); }
    omi_BlkBitVect& HalfOf(int member) { return member < 0 ? negative : nonNegative; }
    const omi_BlkBitVect& HalfOf(int member) const { return member < 0 ? negative : nonNegative; }

    omi_BlkBitVect nonNegative;
    omi_BlkBitVect negative;
};

class VLTUTL_API omi_SetIT {
public:
    explicit omi_SetIT(const omi_Set& set);

    void First();
    void Next();
    bool IsDone() const { return !onNegative && !onNonNegative; }
    // The member at the current place; 0 once the iteration is done.
    int CurrentItem() const;

private:
    omi_BlkBitVectTrav nonNegative;
    omi_BlkBitVectTrav negative;
    bool onNegative;
    bool onNonNegative;
    unsigned negativeBit;
    unsigned nonNegativeBit;
};
