#pragma once

#include <HalvoCore/DistributionTools.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace halvo::test {

/// Signs and packs nothing: notes each call as a line, answers as the fields say, and fails where it is told.
class FakeDistributionTools final : public DistributionTools {
public:
    bool isSignedForDistribution(const URL& appURL) override {
        note("isSignedForDistribution " + appURL.lastPathComponent());
        return appIsSigned;
    }
    void sign(const URL& appURL, const CodesignIdentity& identity) override {
        note("sign " + appURL.lastPathComponent() + " as " + identity.name);
    }
    std::vector<CodesignIdentity> availableIdentities() override {
        note("availableIdentities");
        return identities;
    }
    void assertDistributable(const URL& appURL) override {
        note("assertDistributable " + appURL.lastPathComponent());
    }
    URL exportArchive(const URL& archiveURL, const std::string& teamID,
                      const std::optional<ArchiveExporter::Signing>& signing) override {
        std::string way = "absent";
        if (signing)
            way = std::holds_alternative<ArchiveExporter::Signing::Manual>(signing->value) ? "manual"
                                                                                           : "automatic";
        note("export " + archiveURL.lastPathComponent() + " for " + teamID + ", signing " + way);
        return exportedApp;
    }
    URL createDMG(const URL& appURL, const std::string& appName, const PackageFormat::DMG&,
                  const ByteProgress&) override {
        note("createDMG " + appName + " from " + appURL.lastPathComponent());
        return dmg;
    }
    void notarize(const URL& fileURL, const NotarizationCredentials&, const NotarizationObserver&) override {
        note("notarize " + fileURL.lastPathComponent());
    }
    bool isNotarized(const URL& fileURL) override {
        note("isNotarized " + fileURL.lastPathComponent());
        return appIsNotarized;
    }

    bool appIsSigned = false;
    bool appIsNotarized = false;
    std::vector<CodesignIdentity> identities{};
    URL dmg{}; ///< what building a disk image gives
    URL exportedApp = URL::file("/exported/Exported.app");
    std::string failingAt{}; ///< the operation that throws a Failure
    std::vector<std::string> calls{};

private:
    void note(const std::string& call) {
        calls.push_back(call);
        if (!failingAt.empty() && call.starts_with(failingAt))
            throw Failure(failingAt + " failed");
    }
};

} // namespace halvo::test
