#pragma once

#include <Base/Failure.h>
#include <Models/ReleaseVersionOverride.h>

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>

namespace halvo {

/// What a command reports to its user.
class CLIError : public CodedFailure {
public:
    using CodedFailure::CodedFailure;
    explicit CLIError(const CodedFailure& failure) : CodedFailure(failure) {}

    /// Signing needs a provisioning profile and none was given; `details` is what xcodebuild said.
    static CLIError provisioningProfileRequired(const std::string& details);
    /// A profile was given, and xcodebuild still found a target that needs one.
    static CLIError provisioningProfileMismatch(const std::string& bundleIdentifier,
                                                const std::string& details);
    /// The archived app does not carry the versions that were asked for.
    static CLIError buildVersionOverrideIgnored(const ReleaseVersionOverrideError& error);
    /// "Not logged in."
    static CLIError notAuthenticated();
    /// The lines of `details` that matter, as they are appended to a message; empty when there are none.
    static std::string xcodebuildReport(const std::string& details);
};

void to_json(nlohmann::json& json, const CLIError& error);

} // namespace halvo
