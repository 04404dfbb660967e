#pragma once

#include <Models/BundleInfo.h>

namespace halvo {

/// A signed artefact that is ready to be uploaded.
struct PreparedBinary {
    URL fileURL{};
    BundleInfo bundleInfo{};
    std::string signature{};    ///< Ed25519 over the file's bytes, in base64
    bool shouldCleanup = false; ///< the file is a temporary one, removed after a successful upload

    bool operator==(const PreparedBinary&) const = default;
};

} // namespace halvo
