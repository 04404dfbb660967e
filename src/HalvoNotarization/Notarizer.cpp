#include <HalvoNotarization/Notarizer.h>

#include "SubmissionOutput.h"

#include <Base/Text.h>
#include <HalvoNotarization/KeyFile.h>

#include <algorithm>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using Rejected = NotarizationError::Rejected;

constexpr auto progressInterval = 30s; // a log of a build machine gets a line each time
constexpr auto statusInterval = 2s;    // how soon a line counts that the tool has only begun

void requireFile(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored))
        throw NotarizationError(NotarizationError::FileNotFound{file});
}

void tell(const std::function<void(const std::string&)>& listener, const std::string& text) {
    if (listener)
        listener(text);
}

/// The options that let notarytool sign in, and the key file behind them.
struct SignIn {
    SignIn(const std::filesystem::path& temporaryDirectory, const NotarizationCredentials& credentials) {
        if (const auto* profile = std::get_if<NotarizationCredentials::KeychainProfile>(&credentials.value)) {
            arguments = {"--keychain-profile", profile->name};
            return;
        }
        const auto& key = std::get<NotarizationCredentials::APIKey>(credentials.value);
        try {
            file.emplace(temporaryDirectory, "asc-", "key.p8", key.keyData);
        } catch (const FileError&) {
            throw NotarizationError(
                NotarizationError::SubmissionFailed{"Failed to write notarization key to disk."});
        }
        arguments = {"--key", file->path().string(), "--key-id", key.keyID, "--issuer", key.issuer};
    }

    Arguments arguments;
    std::optional<KeyFile> file;
};

/// Why a submission got no verdict, told by what the tool said.
NotarizationError submissionFailure(const SubmissionOutput& output,
                                    const NotarizationCredentials& credentials) {
    const std::string text = output.text();
    const auto says = [&](std::string_view part) { return containsIgnoringCase(text, part); };
    if (says("agreement"))
        return NotarizationError(NotarizationError::AgreementRequired{text});
    const auto* profile = std::get_if<NotarizationCredentials::KeychainProfile>(&credentials.value);
    if (profile && says("No Keychain password item found"))
        return NotarizationError(NotarizationError::ProfileMissing{profile->name, text});
    constexpr std::string_view lostConnection[] = {
        "NSURLErrorDomain",  "connection was lost",   "connection appears to be offline",
        "request timed out", "could not connect",     "hostname could not be found",
        "deadlineExceeded",  "network is unreachable"};
    if (std::ranges::any_of(lostConnection, says))
        return NotarizationError(NotarizationError::Unreachable{output.submission(), text});
    return NotarizationError(NotarizationError::SubmissionFailed{text});
}

/// Empty when the key is missing or null.
std::string textOf(const json& object, const char* key) {
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_string() ? entry->get<std::string>() : std::string();
}

/// The ticket is not at the service yet, with which the tool asks its database in vain.
bool lacksTicket(const ProcessResult& stapling) {
    constexpr int dataError = 65;
    return stapling.termination == Termination{Termination::Kind::exited, dataError} &&
           (stapling.standardOutput + stapling.standardError).find("Record not found") != std::string::npos;
}

} // namespace

ProcessRequest Notarizer::request(Arguments arguments) const {
    return {.executable = "/usr/bin/xcrun",
            .arguments = std::move(arguments),
            .ownGroup = true,
            .cancellation = cancellation};
}

void Notarizer::notarize(const std::filesystem::path& file, const NotarizationCredentials& credentials,
                         const NotarizationObserver& observer) {
    requireFile(file);
    awaitVerdict({"notarytool", "submit", file.string()}, "", credentials, observer);
    staple(file, observer);
}

void Notarizer::resume(const std::string& submission, const std::filesystem::path& file,
                       const NotarizationCredentials& credentials, const NotarizationObserver& observer) {
    requireFile(file);
    awaitVerdict({"notarytool", "wait", submission}, submission, credentials, observer);
    staple(file, observer);
}

void Notarizer::awaitVerdict(Arguments command, std::string submission,
                             const NotarizationCredentials& credentials,
                             const NotarizationObserver& observer) {
    const SignIn signIn(temporaryDirectory, credentials);
    const bool submits = submission.empty();
    command.insert(command.end(), signIn.arguments.begin(), signIn.arguments.end());
    if (submits)
        command.emplace_back("--wait");
    SubmissionOutput output(std::move(submission));
    const auto start = std::chrono::steady_clock::now();
    const auto process = services.processes.start(request(std::move(command)));
    auto nextLine = start + progressInterval;
    for (;;) {
        const auto event = process->next(std::chrono::steady_clock::now() + statusInterval);
        const auto known = std::pair(output.submission(), output.status());
        if (const auto* line = std::get_if<RunningProcess::Line>(&event))
            output.take(*line);
        else if (const auto* late = std::get_if<RunningProcess::TimeOut>(&event))
            output.takeBegun(late->begun);
        if (known.first != output.submission())
            tell(observer.onSubmission, output.submission());
        if (const auto* end = std::get_if<RunningProcess::End>(&event)) {
            // The exit code alone says only that the service gave a verdict.
            if (end->termination.succeeded() && output.status() == "Accepted")
                return;
            if (output.status() == "Invalid" || output.status() == "Rejected")
                throw NotarizationError(
                    fetchLog({output.submission(), output.status(), {}, {}}, signIn.arguments));
            throw submissionFailure(output, credentials);
        }
        const auto now = std::chrono::steady_clock::now();
        if (known != std::pair(output.submission(), output.status())) {
            tell(observer.onProgress, output.progressLine(0s));
        } else if (now >= nextLine) {
            tell(observer.onProgress,
                 output.progressLine(std::chrono::floor<std::chrono::seconds>(now - start)));
            nextLine = now + progressInterval;
        }
    }
}

Rejected Notarizer::fetchLog(Rejected verdict, const Arguments& signIn) {
    if (verdict.submission.empty())
        return verdict;
    Arguments arguments{"notarytool", "log", verdict.submission};
    arguments.insert(arguments.end(), signIn.begin(), signIn.end());
    ProcessRequest asking = request(std::move(arguments));
    asking.outputLimit = 64 << 20; // a line for every file of an app that nobody signed
    ProcessResult result;
    try {
        result = services.processes.run(asking);
    } catch (const ProcessError& error) {
        verdict.summary = "its log could not be fetched: " + error.description();
        return verdict;
    }
    const std::size_t start = result.standardOutput.find('{');
    const json log = json::parse(result.standardOutput.substr(std::min(start, result.standardOutput.size())),
                                 nullptr, /*allow_exceptions=*/false);
    if (!result.succeeded() || !log.is_object()) {
        verdict.summary = "its log could not be fetched: " + result.errorText();
        return verdict;
    }
    verdict.summary = textOf(log, "statusSummary");
    if (const auto issues = log.find("issues"); issues != log.end() && issues->is_array())
        for (const json& issue : *issues)
            if (issue.is_object())
                verdict.issues.push_back({textOf(issue, "path"), textOf(issue, "severity"),
                                          textOf(issue, "message"), textOf(issue, "architecture")});
    return verdict;
}

void Notarizer::staple(const std::filesystem::path& file, const NotarizationObserver& observer) {
    constexpr auto patience = 2min;
    const auto giveUp = services.clock.steadyNow() + patience;
    for (auto pause = 5s;; pause = std::min(pause * 2, 30s)) {
        const ProcessResult result = services.processes.run(request({"stapler", "staple", file.string()}));
        if (result.succeeded())
            return;
        if (!lacksTicket(result) || services.clock.steadyNow() + pause > giveUp)
            throw NotarizationError(NotarizationError::StapleFailed{result.errorText()});
        tell(observer.onProgress, "Apple's ticket is not out yet; stapling again in " +
                                      std::to_string(pause.count()) + " seconds");
        services.clock.sleep(pause, cancellation);
    }
}

bool Notarizer::isNotarized(const std::filesystem::path& file) {
    requireFile(file);
    if (services.processes.run(request({"stapler", "validate", file.string()})).succeeded())
        return true;
    ProcessRequest assessment = request({"--assess", "-v", file.string()});
    assessment.executable = "/usr/sbin/spctl";
    return services.processes.run(assessment).succeeded();
}

bool Notarizer::verifyProfile(const std::string& profile) {
    return services.processes.run(request({"notarytool", "history", "--keychain-profile", profile}))
        .succeeded();
}

void Notarizer::storeCredentials(const std::string& profileName, const std::string& appleID,
                                 const std::string& password, const std::string& teamID) {
    ProcessRequest storing =
        request({"notarytool", "store-credentials", profileName, "--apple-id", appleID, "--team-id", teamID});
    storing.input = password + "\n";
    const ProcessResult result = services.processes.run(storing);
    if (!result.succeeded())
        throw NotarizationError(NotarizationError::StoreCredentialsFailed{result.errorText()});
}

} // namespace halvo
