#include <Terminal/TerminalDescription.h>

#include <Base/Text.h>

#include <sys/ioctl.h>
#include <unistd.h>

namespace halvo {
namespace {

std::string valueOf(const VariableLookup& variables, const std::string& name) {
    return variables(name).value_or("");
}

std::size_t chooseLength(std::size_t reported, const std::string& variable, std::size_t otherwise) {
    if (reported > 0)
        return reported;
    const auto set = parseInteger(variable);
    constexpr std::int64_t most = 10'000;
    return set && *set > 0 && *set <= most ? static_cast<std::size_t>(*set) : otherwise;
}

} // namespace

TerminalDescription describeOutput(std::optional<TerminalSize> size, const VariableLookup& variables) {
    const std::string kind = valueOf(variables, "TERM");
    const std::string forced = valueOf(variables, "CLICOLOR_FORCE");
    const bool refused = !valueOf(variables, "NO_COLOR").empty() || valueOf(variables, "CLICOLOR") == "0";

    TerminalDescription description;
    description.interactive = size && !kind.empty() && kind != "dumb";
    description.coloured = !refused && (description.interactive || (!forced.empty() && forced != "0"));
    const TerminalSize reported = size.value_or(TerminalSize());
    description.width = chooseLength(reported.width, valueOf(variables, "COLUMNS"), description.width);
    description.height = chooseLength(reported.height, valueOf(variables, "LINES"), description.height);
    return description;
}

TerminalDescription detectTerminal(int descriptor, const VariableLookup& variables) {
    if (::isatty(descriptor) == 0)
        return describeOutput(std::nullopt, variables);
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0)
        return describeOutput(TerminalSize(), variables);
    return describeOutput(TerminalSize{size.ws_col, size.ws_row}, variables);
}

} // namespace halvo
