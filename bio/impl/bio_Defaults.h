// The module's default memory devices, made by bio_initialize and handed to the filter bases
// of every bio_IOmemFilter (which never use them). Null while the module is not initialised.
#pragma once

#include "bio_Device.h"

namespace vlt::detail {

bio_Odevice* bio_DefaultOdevice();
bio_Idevice* bio_DefaultIdevice();

} // namespace vlt::detail
