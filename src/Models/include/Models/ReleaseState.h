#pragma once

#include <Models/Release.h>

#include <string_view>
#include <variant>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

/// How far a release is.
struct ReleaseState {
    /// What the pipeline does, in this order.
    enum class Step {
        preflight,
        exporting,
        zipping,
        codesigningApp,
        creatingDMG,
        notarizing,
        signing,
        uploading,
    };

    struct Publishing {
        Step step = Step::preflight;
        bool operator==(const Publishing&) const = default;
    };
    struct Published {
        Release release;
        bool operator==(const Published&) const = default;
    };
    /// The record exists, its file does not: the upload can be tried again.
    struct UploadFailed {
        URL uploadURL;
        UUID releaseID;
        bool shouldCleanup = false; ///< the file at `uploadURL` is a temporary one
        bool operator==(const UploadFailed&) const = default;
    };
    struct Idle {
        bool operator==(const Idle&) const = default;
    };

    std::variant<Publishing, Published, UploadFailed, Idle> value = Idle();

    bool operator==(const ReleaseState&) const = default;
};

/// The text that a step shows: "Code signing app...".
std::string_view text(ReleaseState::Step step);

void to_json(nlohmann::json& json, ReleaseState::Step step);
void from_json(const nlohmann::json& json, ReleaseState::Step& step); ///< throws ModelError

} // namespace halvo
