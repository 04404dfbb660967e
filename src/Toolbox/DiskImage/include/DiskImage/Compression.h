#pragma once

namespace halvo {

/// How the chunks of a disk image are stored.
enum class Compression {
    zlib, ///< UDZO, read by every macOS
    lzma, ///< ULMO, read since macOS 10.15
};

} // namespace halvo
