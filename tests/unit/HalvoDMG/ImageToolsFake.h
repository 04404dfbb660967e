#pragma once

#include <HalvoDMG/DMGCreator.h>

#include <Support/DemoApp.h>
#include <Support/FakeClock.h>
#include <Support/TemporaryFolder.h>

#include <functional>
#include <string>
#include <vector>

namespace halvo::test {

/// What a tool answers in place of success; absent leaves it at that.
using FakeAnswer = std::function<std::optional<ProcessResult>(const ProcessRequest&)>;

inline ProcessResult failed(const std::string& text) {
    return {.termination = {.value = 1}, .standardError = text};
}

/// Tools for which a disk image is a folder, `volume`: what `hdiutil create` is given lies there. A tool that
/// is to fail does so after its work, so that there is something to clean up.
class ImageToolsFake final : public ProcessRunner {
public:
    ImageToolsFake();

    URL create(const std::optional<std::filesystem::path>& outputPath);
    URL create() { return create(output); }
    /// What making the image fails with.
    std::string failure();
    void failAt(const std::string& tool, const std::string& verb, FakeAnswer answer);
    /// Names in the temporary folder.
    std::vector<std::string> leftovers() const;

    ProcessResult run(const ProcessRequest& request) override;
    std::unique_ptr<RunningProcess> start(const ProcessRequest&) override { return nullptr; }

    TemporaryFolder folder;
    std::filesystem::path app = writeDemoApp(folder, "My App.app");
    std::filesystem::path temporary = folder / "temporary";
    std::filesystem::path volume = folder / "Volumes/My App";
    std::filesystem::path output = folder / "out.dmg";
    DMGConfiguration configuration{};
    FakeClock clock;
    std::stop_source cancellation;

    std::string limits = "400000 500000 600000";
    std::string attachAnswer = "/dev/disk9s1\tApple_APFS\t{}\n"; ///< {} stands for the volume

    std::vector<Arguments> commands{};
    std::vector<ProcessRequest> requests{};

private:
    std::string work(const ProcessRequest& request) const;

    SystemVolumeFacts volumes{};
    std::string failingTool{};
    std::string failingVerb{};
    FakeAnswer fault{};
};

} // namespace halvo::test
