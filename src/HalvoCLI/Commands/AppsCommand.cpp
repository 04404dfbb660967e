#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class AppsListCommand final : public Command {
public:
    std::string_view name() const override { return "list"; }
    std::string_view abstract() const override { return "List all apps"; }
    void run(Services& services) override { reportUnavailable(services, "apps list"); }
};

class AppsDeleteCommand final : public Command {
public:
    std::string_view name() const override { return "delete"; }
    std::string_view abstract() const override { return "Delete an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.flag("--yes", yes, "Skip confirmation prompt");
    }
    void run(Services& services) override { reportUnavailable(services, "apps delete"); }

private:
    std::string bundleId{};
    bool yes = false;
};

class AppsCommand final : public CommandGroup {
public:
    AppsCommand() { add(std::make_unique<AppsListCommand>(), std::make_unique<AppsDeleteCommand>()); }
    std::string_view name() const override { return "apps"; }
    std::string_view abstract() const override { return "Manage apps"; }
    std::string_view discussion() const override {
        return "List and manage your apps.\n"
               "\n"
               "  halvo apps list\n"
               "  halvo apps delete -b com.example.App";
    }
};

} // namespace

std::unique_ptr<Command> makeAppsCommand() { return std::make_unique<AppsCommand>(); }

} // namespace halvo
