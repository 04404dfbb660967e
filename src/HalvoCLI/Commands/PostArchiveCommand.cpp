#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

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
    void run(Services& services) override { reportUnavailable(services, "post-archive"); }

private:
    std::optional<std::string> archivePath{};
    std::string text =
        "Use this command in your Xcode archive post-actions to release a new version with Halvo "
        "after archiving completes.\nLearn More: " +
        std::string(helpAddress::postArchive);
};

} // namespace

std::unique_ptr<Command> makePostArchiveCommand() { return std::make_unique<PostArchiveCommand>(); }

} // namespace halvo
