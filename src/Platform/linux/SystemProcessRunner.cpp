#include <Platform/SystemProcessRunner.h>

#include "../LineSplitter.h"
#include "ChildProcess.h"

namespace halvo {
namespace {

class StreamedChild final : public RunningProcess {
public:
    StreamedChild(const std::filesystem::path& executable, const ProcessRequest& request,
                  const Environment& environment)
        : child(executable, request, environment) {}

    std::optional<std::string> readLine(OutputStream stream) override {
        Reader& reader = readers[static_cast<std::size_t>(stream)];
        for (;;) {
            if (auto line = reader.splitter.next())
                return line;
            if (reader.atEnd)
                return std::nullopt;
            const std::size_t count = child.read(stream, reader.buffer);
            reader.atEnd = count == 0;
            if (reader.atEnd)
                reader.splitter.finish();
            else
                reader.splitter.feed(std::span(reader.buffer).first(count));
        }
    }

    bool signalGroup(int signal) override { return child.signal(signal); }

    Termination wait() override {
        try {
            return child.wait();
        } catch (const CancelledError&) {
            child.tearDown();
            throw;
        }
    }

private:
    struct Reader {
        LineSplitter splitter{};
        std::vector<char> buffer = std::vector<char>(64 << 10);
        bool atEnd = false;
    };

    ChildProcess child;
    Reader readers[2];
};

} // namespace

SystemProcessRunner::SystemProcessRunner(const Environment& environment, ToolPaths tools)
    : environment(environment), tools(std::move(tools)) {
    struct sigaction action {};
    if (::sigaction(SIGCHLD, nullptr, &action) == 0 &&
        (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0))
        ::signal(SIGCHLD, SIG_DFL);
}

ProcessResult SystemProcessRunner::run(const ProcessRequest& request) {
    ChildProcess child(tools.resolve(request.executable), request, environment);
    ProcessResult result;
    child.readBoth([&](OutputStream stream, std::span<const char> bytes) {
        std::string& text =
            stream == OutputStream::standardOutput ? result.standardOutput : result.standardError;
        if (bytes.size() > request.outputLimit - text.size())
            throw ProcessError(ProcessError::OutputLimitExceeded{request.outputLimit});
        text.append(bytes.data(), bytes.size());
    });
    result.termination = child.wait();
    return result;
}

std::unique_ptr<RunningProcess> SystemProcessRunner::start(const ProcessRequest& request) {
    return std::make_unique<StreamedChild>(tools.resolve(request.executable), request, environment);
}

} // namespace halvo
