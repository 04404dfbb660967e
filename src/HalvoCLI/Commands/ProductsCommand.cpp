#include "Commands/Commands.h"
#include "Commands/NotAdministered.h"

namespace halvo {
namespace {

class ProductsCommand final : public Command {
public:
    std::string_view name() const override { return "products"; }
    std::string_view abstract() const override { return "Manage the products you sell"; }
    void run(Services& services) override { reportNotAdministered(services, "products"); }
};

} // namespace

std::unique_ptr<Command> makeProductsCommand() { return std::make_unique<ProductsCommand>(); }

} // namespace halvo
