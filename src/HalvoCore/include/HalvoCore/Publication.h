#pragma once

#include <HalvoCore/PreparedBinary.h>

#include <Base/Failure.h>
#include <Models/BundleInfo.h>
#include <Models/Release.h>
#include <Platform/HTTPSession.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo {

struct ReleaseCases {
    struct DuplicateVersion {
        std::int64_t bundleVersion = 0;
        std::string description() const {
            return "A release with bundle version " + std::to_string(bundleVersion) +
                   " already exists. Increment your bundle version before releasing.";
        }
    };
    using Case = std::variant<DuplicateVersion>;
};

/// A release that its place does not take.
using ReleaseError = FailureOf<ReleaseCases>;

/// Sentences for the user about what an operation does or did besides what was asked.
using Warnings = std::vector<std::string>;

/// Where the releases of one app are published: a bucket of the user's own with a feed in it, or the hosted
/// service. The one place that knows what can be done there; `release`, its build numbers, and `releases` all
/// ask it.
///
/// Operations throw S3UploadError, APIError or HTTPError when the place cannot be reached, and a CodedFailure
/// `not_authenticated` where the service does not know the user.
class Publication {
public:
    struct Listing {
        std::vector<Release> releases{}; ///< in the order of the place
        Warnings unread{};               ///< about what stands there and is not shown
    };

    /// What a delivery left behind.
    struct Uploaded {
        Release release{};
        std::optional<URL>
            latestDownloadURL{}; ///< always gives the newest release; absent where there is none
    };

    virtual ~Publication() = default;

    /// "S3" for a bucket: where users are told that things go. Empty for the service.
    virtual std::string place() const = 0;

    /// The public address of the feed.
    virtual URL feedURL() const = 0;

    virtual Listing list() = 0;
    /// One more than the largest build that stands there, drafts and every channel counted; 1 when there is
    /// none. Throws Failure where a build that stands there is not an integer.
    virtual std::int64_t nextBuildNumber() = 0;

    /// Looks whether the place can be reached and read, before anything is built.
    virtual void reach() = 0;
    /// Refuses a release that the place could not take, before any work is spent on it, and tells what it
    /// will do there. `fileSize` where it is known already.
    virtual Warnings preflightCheck(const BundleInfo& bundleInfo, const ReleaseConfiguration& configuration,
                                    std::optional<std::uint64_t> fileSize) = 0;
    /// Delivers a file that was signed.
    virtual Uploaded upload(const PreparedBinary& prepared, const BundleInfo& bundleInfo,
                            const ReleaseConfiguration& configuration, const TransferProgress& progress) = 0;
    /// After a failed upload: a line about what the place now holds; may be empty.
    virtual std::string leftovers() const { return ""; }

    /// Changes what was given of a listed release, and nothing else.
    virtual Warnings update(const Release& release, const ReleaseChanges& changes) = 0;
    virtual Warnings remove(const Release& release) = 0;
};

} // namespace halvo
