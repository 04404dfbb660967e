#include "Commands/Commands.h"
#include "Services.h"

#include <Base/URL.h>
#include <Models/ServiceAddresses.h>

namespace halvo {
namespace {

class PostArchiveCommand final : public Command {
public:
    std::string_view name() const override { return "post-archive"; }
    std::string_view abstract() const override { return "Xcode archive post-action"; }
    std::string_view discussion() const override { return text; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("archive-path", archivePath, "Path to the archive");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        if (!archivePath || archivePath->empty())
            archivePath = services.platform.environment.nonEmpty("ARCHIVE_PATH");
        if (!archivePath) {
            terminal->print(
                "Neither environment variable `ARCHIVE_PATH` nor argument `archivePath` was provided!");
            return;
        }
        // Xcode's archives have blanks in their names.
        if (!services.platform.workspace.open("halvo:///post-archive?archivePath=" +
                                              percentEncoded(*archivePath, "/")))
            terminal->print(
                TerminalText::danger(
                    "Could not hand over " + *archivePath +
                    ": nothing on this system opens halvo: addresses, which the companion Mac app does. To publish from here, run ") +
                TerminalText::command("halvo release <archive>"));
    }

private:
    std::optional<std::string> archivePath{};
    std::string text =
        "Use this command in your Xcode archive post-actions to release a new version with Halvo after archiving completes.\nLearn More: " +
        std::string(helpAddress::postArchive);
};

} // namespace

std::unique_ptr<Command> makePostArchiveCommand() { return std::make_unique<PostArchiveCommand>(); }

} // namespace halvo
