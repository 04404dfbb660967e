#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class DMGTemplateCommand final : public Command {
public:
    std::string_view name() const override { return "dmg-template"; }
    std::string_view abstract() const override {
        return "Write a blueprint template image for designing custom DMG backgrounds";
    }
    std::string_view discussion() const override {
        return "The template marks exactly where Finder places the app icon, the\n"
               "Applications link, and their labels, on the same canvas the DMG\n"
               "ships with. Design over it, export it unscaled, then configure it:\n"
               "  halvo config set release dmg-background <your-file> -b <bundle-id>";
    }
    void declare(CommandArguments& arguments) override {
        arguments.typedOption<std::string>(
            "--output", output, "Output path for the template PNG",
            [](const std::string& text) { return std::optional(text); }, output);
    }
    void run(Services& services) override { reportUnavailable(services, "dmg-template"); }

private:
    std::string output = "dmg-background-template.png";
};

} // namespace

std::unique_ptr<Command> makeDMGTemplateCommand() { return std::make_unique<DMGTemplateCommand>(); }

} // namespace halvo
