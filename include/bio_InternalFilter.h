// The internal filters: the binary encoding streamed through a device.
//
// Each scalar goes through `shortMove` with its width, a string's bytes and the vectors through
// `longMove`. The vector widths are deliberately unequal: `bio_OinternalFilter::insertVector`
// writes n bytes whatever the element type (a caller writing wider elements passes n already
// multiplied by the element's width on the stream), while `bio_IinternalFilter::extractVector`
// reads n elements. The filters do not own their devices.
#pragma once

#include "bio_FilterOverrides.h"
#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "vlt_Export.h"

class VLTUTL_API bio_OinternalFilter : public bio_Ofilter {
public:
    explicit bio_OinternalFilter(bio_Odevice& device) : bio_Ofilter(&device) {}
    ~bio_OinternalFilter() override;

    // insertVector's n is a count of bytes, not of elements (deliberate, see above).
    BIO_OFILTER_VALUE_OVERRIDES
};

class VLTUTL_API bio_IinternalFilter : public bio_Ifilter {
public:
    explicit bio_IinternalFilter(bio_Idevice& device) : bio_Ifilter(&device) {}
    ~bio_IinternalFilter() override;

    BIO_IFILTER_VALUE_OVERRIDES
};
