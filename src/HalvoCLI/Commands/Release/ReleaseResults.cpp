#include "Commands/Release/ReleaseResults.h"

#include <Base/Text.h>
#include <Models/JSONFields.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

/// A heading and lines of "label: value".
class Summary {
public:
    explicit Summary(const char* heading) : text(TerminalText::section(heading)) {}

    Summary& line(const char* label, const TerminalText& value) {
        text += TerminalText("\n" + std::string(label) + ": ") + value;
        return *this;
    }
    TerminalText take() { return std::move(text); }

private:
    TerminalText text;
};

std::string sizeText(std::int64_t bytes) {
    return formatByteCount(static_cast<std::uint64_t>(std::max<std::int64_t>(0, bytes)));
}

} // namespace

nlohmann::json ReleaseUploadResult::json() const {
    nlohmann::json result{{"app", {{"name", app.name}, {"bundleIdentifier", app.bundleIdentifier}}},
                          {"release", encodeJSON(release, DateForm::iso8601)}};
    if (latestDownloadURL)
        result["latestDownloadURL"] = latestDownloadURL->absoluteString();
    return result;
}

TerminalText ReleaseUploadResult::humanText() const {
    Summary summary("Release Summary");
    summary.line("Bundle ID", TerminalText::secondary(app.bundleIdentifier))
        .line("Version", TerminalText::primary(release.versionDescription()))
        .line("Size", sizeText(release.fileSize));
    if (release.channel)
        summary.line("Channel", *release.channel);
    if (release.downloadURL)
        summary.line("URL", TerminalText::secondary(release.downloadURL->absoluteString()));
    if (latestDownloadURL)
        summary.line("Latest", TerminalText::secondary(latestDownloadURL->absoluteString()) +
                                   TerminalText::muted(" (always points to the latest release)"));
    return summary.take();
}

nlohmann::json ReleaseBuildResult::json() const {
    return {{"bundleIdentifier", bundleIdentifier},
            {"name", name},
            {"version", version},
            {"versionString", versionString},
            {"format", format},
            {"fileSize", fileSize},
            {"path", path}};
}

TerminalText ReleaseBuildResult::humanText() const {
    return Summary("Build Summary")
        .line("Bundle ID", TerminalText::secondary(bundleIdentifier))
        .line("Version", TerminalText::primary(versionString + " (" + std::to_string(version) + ")"))
        .line("Format", uppercased(format))
        .line("Size", sizeText(fileSize))
        .line("Path", TerminalText::path(path))
        .take();
}

Alert backUpSparkleKeyAlert(const std::string& bundleIdentifier) {
    return {
        .message =
            "Back up your Sparkle signing key. It's stored only in this Mac's keychain, and without it you "
            "can't sign updates for your existing users.",
        .nextSteps = {"Run " + TerminalText::command("halvo export sparkle-key -b " + bundleIdentifier) +
                      " and save the output in a password manager."}};
}

} // namespace halvo
