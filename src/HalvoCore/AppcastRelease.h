#pragma once

#include <Appcast/AppcastItem.h>
#include <Models/Release.h>

namespace halvo {

/// The release that an item of a feed stands for.
Release makeRelease(const AppcastItem& item, const UUID& id);

} // namespace halvo
