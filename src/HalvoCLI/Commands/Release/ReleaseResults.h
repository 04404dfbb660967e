#pragma once

#include "Output/OutputContext.h"

#include <Models/Release.h>

namespace halvo {

struct ReleaseAppSummary {
    std::string name{};
    std::string bundleIdentifier{};
};

/// What a delivered release reports.
class ReleaseUploadResult final : public OutputData {
public:
    ReleaseUploadResult(ReleaseAppSummary app, Release release, std::optional<URL> latestDownloadURL)
        : app(std::move(app)), release(std::move(release)), latestDownloadURL(std::move(latestDownloadURL)) {}

    /// {"app": {...}, "latestDownloadURL": ..., "release": {...}}, dates in ISO 8601.
    nlohmann::json json() const override;
    TerminalText humanText() const override;

private:
    ReleaseAppSummary app;
    Release release;
    std::optional<URL> latestDownloadURL;
};

/// What a local build reports.
class ReleaseBuildResult final : public OutputData {
public:
    std::string bundleIdentifier{};
    std::string name{};
    std::int64_t version = 0;
    std::string versionString{};
    std::string format{}; ///< "dmg" or "zip"
    std::int64_t fileSize = 0;
    std::string path{}; ///< absolute

    nlohmann::json json() const override;
    TerminalText humanText() const override;
};

/// The warning that goes with a new signing key.
Alert backUpSparkleKeyAlert(const std::string& bundleIdentifier);

} // namespace halvo
