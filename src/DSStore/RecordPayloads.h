#pragma once

#include <DSStore/ViewSettings.h>

// The bytes that the well-known records hold; integers are big-endian.
namespace halvo::dsstore {

/// "Iloc": x and y in 32 bits each, then FF FF FF FF FF FF 00 00. Throws Error (`writeFailed`), which names
/// the file, for a coordinate that 32 bits cannot hold.
Bytes iconLocationPayload(const IconPosition& position, const std::string& filename);

/// "fwi0": top, left, bottom and right in 16 bits each, the code of the view style, four zero bytes. Throws
/// Error (`writeFailed`) for a side that 16 bits cannot hold. Without a style, the window is an icon view.
Bytes windowInfoPayload(const WindowBounds& bounds);

/// "BKGD": the code of the kind, then eight bytes: colour or zeros.
Bytes backgroundPayload(const BackgroundType& background);
/// The same for a picture whose alias of that length stands in a record of its own.
Bytes pictureBackgroundPayload(std::uint32_t aliasLength);

} // namespace halvo::dsstore
