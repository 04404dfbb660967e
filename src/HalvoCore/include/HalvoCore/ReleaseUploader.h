#pragma once

#include <Models/App.h>
#include <Models/BundleInfo.h>
#include <Models/Release.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace halvo {

/// What a delivery left behind.
struct UploadResult {
    URL downloadURL{};
    std::int64_t fileSize = 0; ///< in bytes
    Release release{};
    App app{};
};

/// Delivers a prepared file to the place that an app is published from.
class ReleaseUploaderProtocol {
public:
    virtual ~ReleaseUploaderProtocol() = default;
    /// Refuses a release that the destination could not take, before any work is spent on it.
    virtual void preflightCheck(const BundleInfo&) {}
    /// `signature` is the base64 of the file's Ed25519 signature.
    virtual UploadResult upload(const std::filesystem::path& file, const BundleInfo& bundleInfo,
                                const std::string& signature, const ReleaseConfiguration& configuration) = 0;
};

} // namespace halvo
