#include <HalvoNotarization/Codesigner.h>

#include <Base/Unicode.h>

#include <algorithm>
#include <optional>

namespace halvo {
namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";
constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexadecimal = "0123456789ABCDEFabcdef";
constexpr std::string_view teamCharacters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

/// Takes characters of a set from the front.
std::string_view take(std::string_view& text, std::string_view set) {
    const std::string_view taken = text.substr(0, text.find_first_not_of(set));
    text.remove_prefix(taken.size());
    return taken;
}

bool take(std::string_view& text, char character) {
    if (!text.starts_with(character))
        return false;
    text.remove_prefix(1);
    return true;
}

/// What stands in the last parentheses of a name that ends with them.
std::optional<std::string_view> teamOf(std::string_view name) {
    const std::size_t open = name.rfind('(');
    if (open == std::string_view::npos || !name.ends_with(')'))
        return std::nullopt;
    const std::string_view team = name.substr(open + 1, name.size() - open - 2);
    if (team.empty() || team.find_first_not_of(teamCharacters) != std::string_view::npos)
        return std::nullopt;
    return team;
}

//   <identity> ::= <number> ")" <blanks> <hash: hexadecimal> <blanks> '"' <name> '"' <end of line>
std::optional<CodesignIdentity> takeIdentity(std::string_view& text) {
    take(text, blanks);
    if (take(text, digits).empty() || !take(text, ')') || take(text, blanks).empty())
        return std::nullopt;
    const std::string_view hash = take(text, hexadecimal);
    if (hash.empty() || take(text, blanks).empty() || !take(text, '"'))
        return std::nullopt;
    const std::string_view rest = text.substr(0, text.find_first_of("\r\n"));
    if (!rest.ends_with('"'))
        return std::nullopt;
    const std::string_view name = rest.substr(0, rest.size() - 1);
    const auto team = teamOf(name);
    if (!team)
        return std::nullopt;
    text.remove_prefix(rest.size());
    return CodesignIdentity{std::string(hash), std::string(name), std::string(*team)};
}

} // namespace

std::vector<CodesignIdentity> Codesigner::parseIdentities(std::string_view text) {
    std::vector<CodesignIdentity> identities;
    while (!text.empty()) {
        std::string_view rest = text;
        if (auto identity = takeIdentity(rest)) {
            identities.push_back(std::move(*identity));
            text = rest;
        }
        const std::size_t end = text.find_first_of("\r\n");
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return identities;
}

std::vector<CodesignIdentity> Codesigner::availableIdentities() {
    const ProcessResult result = processes.run({.executable = "/usr/bin/security",
                                                .arguments = {"find-identity", "-v", "-p", "codesigning"},
                                                .ownGroup = true,
                                                .cancellation = cancellation});
    const std::string output = repairedUTF8(result.standardOutput);
    log.write(LogLevel::debug, "Codesigner", "security find-identity output: " + output);
    if (!result.succeeded())
        throw CodesigningError(CodesigningError::DiscoveryFailed{result.errorText()});
    return parseIdentities(output);
}

std::vector<CodesignIdentity> Codesigner::developerIDIdentities() {
    std::vector<CodesignIdentity> identities = availableIdentities();
    std::erase_if(identities, [](const CodesignIdentity& identity) { return !identity.isDeveloperID(); });
    return identities;
}

void Codesigner::sign(const std::filesystem::path& app, const std::string& identity) {
    std::error_code ignored;
    if (!std::filesystem::exists(app, ignored))
        throw CodesigningError(CodesigningError::AppNotFound{app});
    const ProcessResult result = processes.run(
        {.executable = "/usr/bin/codesign",
         .arguments = {"--deep", "--force", "--verify", "--verbose", "--sign", identity, "--options",
                       "runtime", "--timestamp", "--preserve-metadata=entitlements", app.string()},
         .ownGroup = true,
         .cancellation = cancellation});
    if (!result.succeeded())
        throw CodesigningError(CodesigningError::SigningFailed{result.errorText()});
}

bool Codesigner::isSignedForDistribution(const std::filesystem::path& app) {
    try {
        const ProcessResult result = processes.run({.executable = "/usr/bin/codesign",
                                                    .arguments = {"-dvv", app.string()},
                                                    .ownGroup = true,
                                                    .cancellation = cancellation});
        return result.standardError.find("Authority=Developer ID Application:") != std::string::npos;
    } catch (const ProcessError&) {
        return false;
    }
}

} // namespace halvo
