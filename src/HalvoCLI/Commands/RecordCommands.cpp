#include "Commands/Commands.h"
#include "Services.h"

#include <Models/ServiceAddresses.h>

namespace halvo {
namespace {

/// Says that records of this kind are administered elsewhere, and ends with the status of a failure.
class RecordCommand final : public Command {
public:
    RecordCommand(std::string_view records, std::string_view summary) : records(records), summary(summary) {}

    std::string_view name() const override { return records; }
    std::string_view abstract() const override { return summary; }

    void run(Services& services) override {
        services.makeTerminal()->printError(
            TerminalText::danger("This build of Halvo does not administer " + std::string(records) +
                                 ". Use the service's website, https://" + servicePublicHost + ", instead."));
        throw ExitCode{ExitCode::failure};
    }

private:
    std::string_view records;
    std::string_view summary;
};

} // namespace

std::unique_ptr<Command> makeLicensesCommand() {
    return std::make_unique<RecordCommand>("licenses", "Manage the licenses of your products");
}

std::unique_ptr<Command> makeProductsCommand() {
    return std::make_unique<RecordCommand>("products", "Manage the products you sell");
}

} // namespace halvo
