#include "Commands/Commands.h"
#include "Commands/Release/ReleaseController.h"

#include "CommandLine/CIEnvironment.h"
#include "Output/AppManagementSettingsPrompt.h"

#include <HalvoDMG/DMGCreationError.h>
#include <HalvoNotarization/NotarizationError.h>
#include <HalvoNotarization/XcodeArchiveError.h>

namespace halvo {
namespace {

constexpr const char* discussionText =
    "Workflow:\n"
    "1. Import - Accepts .app bundles, .dmg files, .zip archives, Xcode archives,\n"
    "   or builds directly from Xcode projects/workspaces\n"
    "2. Code Sign - Signs the app with your Developer ID certificate\n"
    "3. Create DMG - Packages the app into a DMG with a custom background\n"
    "4. Notarize - Submits to Apple for notarization and staples the ticket\n"
    "5. Upload - Uploads and distributes the release via Halvo\n"
    "\n"
    "When no path is provided, auto-discovers .xcodeproj in the current directory.\n"
    "\n"
    "Release types:\n"
    "- Standard releases are published immediately to all users\n"
    "- Channel releases (--channel beta) are distributed to that channel's subscribers only\n"
    "- Critical releases (--critical) prompt users to update immediately\n"
    "- Phased rollout (--phased-rollout) gradually releases to users\n"
    "- Draft releases (--draft) are uploaded but not published\n"
    "\n"
    "Examples:\n"
    "  halvo release MyApp.app\n"
    "  halvo release MyApp.dmg\n"
    "  halvo release MyApp.xcodeproj --scheme MyApp\n"
    "  halvo release MyApp.xcworkspace --scheme MyApp\n"
    "  halvo release --scheme MyApp\n"
    "  halvo release MyApp.xcarchive\n"
    "  halvo release MyApp.app --release-notes \"Fixes a crash at launch\"\n"
    "  halvo release MyApp.app --channel beta\n"
    "  halvo release MyApp.app --output .\n"
    "  halvo release MyApp.app --format json";

/// Whether the system refused a tool that builds disk images what only its user can allow.
bool isNotPermitted(const std::exception& error) {
    const auto* creation = dynamic_cast<const DMGCreationError*>(&error);
    return creation != nullptr &&
           std::holds_alternative<DMGCreationError::OperationNotPermitted>(creation->which);
}

/// The notary service's verdict; null for any other failure.
const NotarizationError::Rejected* rejectionIn(const std::exception& error) {
    const auto* notarization = dynamic_cast<const NotarizationError*>(&error);
    return notarization ? std::get_if<NotarizationError::Rejected>(&notarization->which) : nullptr;
}

Table tableOf(const std::vector<NotarizationIssue>& issues) {
    Table table{{{.header = "Path", .overflow = ColumnOverflow::wraps},
                 {.header = "Severity", .overflow = ColumnOverflow::keeps},
                 {.header = "Message", .overflow = ColumnOverflow::wraps},
                 {.header = "Architecture", .overflow = ColumnOverflow::keeps}},
                {}};
    for (const NotarizationIssue& issue : issues)
        table.rows.push_back({issue.path, issue.severity, issue.message, issue.architecture});
    return table;
}

/// Failures of the notary service that the user can mend have codes of their own.
const char* codeOf(const NotarizationError& error) {
    if (error.is<NotarizationError::AgreementRequired>())
        return "notary_agreement_required";
    if (error.is<NotarizationError::ProfileMissing>())
        return "notary_profile_missing";
    return error.is<NotarizationError::Unreachable>() ? "notary_unreachable" : "release_failed";
}

/// What a failure is reported as, whatever the format.
CLIError reportOf(const std::exception& error) {
    if (const auto* coded = dynamic_cast<const CodedFailure*>(&error))
        return CLIError(*coded);
    if (const auto* service = dynamic_cast<const APIError*>(&error))
        return {"api_error", "API error: " + service->description()};
    const std::string text = describe(error);
    if (const auto* notarization = dynamic_cast<const NotarizationError*>(&error))
        return {codeOf(*notarization), "Release failed: " + text};
    if (dynamic_cast<const KeychainError*>(&error) != nullptr)
        return {"keychain_error", "Key error: " + text};
    if (const auto* exporting = dynamic_cast<const ArchiveExportError*>(&error))
        if (const auto* needed =
                std::get_if<ArchiveExportError::ProvisioningProfileRequired>(&exporting->which))
            return CLIError::provisioningProfileRequired(needed->text);
    if (const auto* archiving = dynamic_cast<const XcodeArchiveError*>(&error))
        if (const auto* needed =
                std::get_if<XcodeArchiveError::ProvisioningProfileRequired>(&archiving->which))
            return CLIError::provisioningProfileRequired(needed->text);
    if (isNotPermitted(error))
        return {"release_failed", text};
    return {"release_failed", "Release failed: " + text};
}

class ReleaseCommand final : public Command {
public:
    std::string_view name() const override { return "release"; }
    std::string_view abstract() const override { return "Build, sign, notarize, and publish an app release"; }
    std::string_view discussion() const override { return discussionText; }
    void declare(CommandArguments& arguments) override { options.declare(arguments); }

    void run(Services& services) override {
        const bool interactive =
            !options.nonInteractive && !CIEnvironment::isActive(services.platform.environment.all());
        const OutputContext context = OutputContext::make(services, options.format, interactive);
        if (options.beta)
            services.streams.standardError->write(
                "warning: --beta is deprecated; use --channel beta instead.\n");
        const auto tell = [&services](const std::string& line) {
            services.streams.standardError->write("warning: " + line + "\n");
        };
        Warnings leftovers;
        try {
            ReleaseController controller(options, services.platform, context, tell);
            try {
                controller.run();
            } catch (...) {
                leftovers = controller.leftovers();
                throw;
            }
        } catch (const CancelledError&) {
            context.emit(CLIError("cancelled", "The release was cancelled."));
            endWith(leftovers, services);
        } catch (const std::exception& error) {
            report(error, services, context);
            endWith(leftovers, services);
        }
    }

private:
    [[noreturn]] static void endWith(const Warnings& leftovers, const Services& services) {
        for (const std::string& line : leftovers)
            services.streams.standardError->write(line + "\n");
        throw ExitCode{ExitCode::failure};
    }

    static void report(const std::exception& error, const Services& services, const OutputContext& context) {
        CLIError report = reportOf(error);
        report.setAdvice(adviceOf(error));
        const auto* rejection = context.format() == OutputFormat::text ? rejectionIn(error) : nullptr;
        if (rejection && !rejection->issues.empty()) {
            context.emit(CLIError(report.code, "Release failed: " + rejection->headline()));
            context.noora().table(tableOf(rejection->issues));
            return;
        }
        context.emit(report);
        if (report.code == "missing_argument" && context.format() == OutputFormat::text)
            services.streams.standardOutput->write("\n" + services.commandHelp);
        if (isNotPermitted(error) && context.format() == OutputFormat::text && context.interactive() &&
            context.noora().interactive())
            AppManagementSettingsPrompt::offerToOpen(context.noora(), services.platform.workspace);
    }

    ReleaseOptions options{};
};

} // namespace

std::unique_ptr<Command> makeReleaseCommand() { return std::make_unique<ReleaseCommand>(); }

} // namespace halvo
