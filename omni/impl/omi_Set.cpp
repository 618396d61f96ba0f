#include "omi_Set.h"

void omi_Set::Clear() {
    nonNegative.Clear();
    negative.Clear();
}

omi_Set& omi_Set::operator+=(const omi_Set& other) {
    nonNegative |= other.nonNegative;
    negative |= other.negative;
    return *this;
}

omi_SetIT::omi_SetIT(const omi_Set& set)
    : nonNegative(set.nonNegative), negative(set.negative), onNegative(false), onNonNegative(false),
      negativeBit(0), nonNegativeBit(0) {}

void omi_SetIT::First() {
    onNegative = negative.First(negativeBit);
    onNonNegative = nonNegative.First(nonNegativeBit);
}

void omi_SetIT::Next() {
    if (onNegative) {
        onNegative = negative.Next(negativeBit);
    } else if (onNonNegative) {
        onNonNegative = nonNegative.Next(nonNegativeBit);
    }
}

int omi_SetIT::CurrentItem() const {
    if (onNegative) {
        return static_cast<int>(0u - negativeBit);
    }
    return onNonNegative ? static_cast<int>(nonNegativeBit) : 0;
}
