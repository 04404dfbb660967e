#include "Commands/Commands.h"
#include "Services.h"

#include <HalvoDMG/Background.h>
#include <Platform/Files.h>

#include <filesystem>

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
    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        const std::filesystem::path file = std::filesystem::absolute(output).lexically_normal();
        std::error_code unreadable;
        if (std::filesystem::symlink_status(file, unreadable).type() !=
            std::filesystem::file_type::not_found) {
            terminal->printError(TerminalText::danger("A file already exists at " + file.string() + "."));
            throw ExitCode{ExitCode::failure};
        }
        const Bytes picture = drawBackgroundTemplate({}, services.platform.images);
        writeNewFile(file, picture, 0644);
        terminal->print("Template written to " + TerminalText::path(file.string()));
        terminal->print("Design over it, export at the same pixel size, then run " +
                        TerminalText::command("halvo config set release dmg-background <your-file>") + ".");
    }

private:
    std::string output = "dmg-background-template.png";
};

} // namespace

std::unique_ptr<Command> makeDMGTemplateCommand() { return std::make_unique<DMGTemplateCommand>(); }

} // namespace halvo
